// The strict interface against independent implementations, for every
// encoding the generator describes (its oracle rows): Python's codecs
// (reference data made at build time) and glibc's iconv (run in this
// process on the same input). Characters and byte sequences whose
// conversion differs from a peer by a documented mapping choice are left out
// for that peer; the reasons are in the generator's oracle rows.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>

#include "strict/strict_harness.h"

namespace nls_test {
namespace {

constexpr char kPivot[] = NLS_PIVOT_ENCODING;  // UTF-16LE on both targets

class Strict : public ::testing::TestWithParam<std::string> {
 protected:
  static void SetUpTestSuite() { NLS_EncInitialize(nullptr, NLS_BINARY_DIR "/data"); }
  const EncodingCase& c() const { return CaseOf(GetParam()); }
  const char* name() const { return c().name.c_str(); }
  bool Has(const char* tag) const { return c().data.count(tag) != 0; }
  const Bytes& Data(const char* tag) const { return c().data.at(tag); }
};

std::vector<std::string> With(std::string EncodingCase::*peer) {
  std::vector<std::string> names;
  for (const EncodingCase& e : EncodingCases())
    if (!(e.*peer).empty()) names.push_back(e.name);
  return names;
}

std::string Tag(const ::testing::TestParamInfo<std::string>& info) {
  std::string tag;
  for (char ch : info.param) tag += std::isalnum(static_cast<unsigned char>(ch)) ? ch : '_';
  return tag;
}

// The valid byte sequences, without those that start with one of `drop`.
Bytes ValidWithout(const EncodingCase& e, const std::vector<Bytes>& drop) {
  const Bytes& valid = e.data.at("valid");
  const Bytes& lengths = e.data.at("validlengths");
  Bytes out;
  size_t at = 0;
  for (unsigned char n : lengths) {
    const Bytes seq(valid.begin() + static_cast<long>(at),
                    valid.begin() + static_cast<long>(at + n));
    at += n;
    bool dropped = false;
    for (const Bytes& d : drop)
      dropped = dropped || std::equal(d.begin(), d.end(), seq.begin(),
                                      seq.begin() + std::min(seq.size(), d.size()));
    if (!dropped) out.insert(out.end(), seq.begin(), seq.end());
  }
  return out;
}

bool StartsWithAny(const Bytes& input, size_t at, const std::vector<Bytes>& prefixes) {
  for (const Bytes& p : prefixes)
    if (input.size() - at >= p.size() &&
        std::equal(p.begin(), p.end(), input.begin() + static_cast<long>(at)))
      return true;
  return false;
}

// Whether one of `sequences` starts anywhere before `end`: such an input may
// convert differently before its error for a documented reason. (Matched
// bytewise, not by character: a few more inputs are skipped than must be.)
bool HoldsAnyBefore(const Bytes& input, size_t end, const std::vector<Bytes>& sequences) {
  for (size_t at = 0; at < std::min(end, input.size()); ++at)
    if (StartsWithAny(input, at, sequences)) return true;
  return false;
}

// ---- Python's codecs ----------------------------------------------------------

using PythonOracle = Strict;

TEST_P(PythonOracle, EncodesEveryCharacterAsTheCodec) {
  ASSERT_TRUE(Has("text")) << "no reference data for " << name();
  AtEveryVectorLevel([&] {
    const Outcome ours = Convert(Ours(), name(), kPivot, Data("text"));
    ASSERT_EQ(ours.error, 0) << Describe(ours);
    if (c().pythonBytesDiffer) {  // the same text, spelled otherwise
      EXPECT_EQ(Convert(Ours(), kPivot, name(), ours.output).output, Data("text"));
    } else {
      EXPECT_EQ(ours.output, Data("bytes"));
    }
  });
}

TEST_P(PythonOracle, DecodesEverySequenceAsTheCodec) {
  AtEveryVectorLevel([&] {
    for (const auto& [input, text] : {std::pair{"bytes", "bytestext"}, {"valid", "validtext"}}) {
      if (!Has(text)) continue;
      const Outcome ours = Convert(Ours(), kPivot, name(), Data(input));
      EXPECT_EQ(ours.error, 0) << input << ": " << Describe(ours);
      EXPECT_EQ(ours.output, Data(text)) << input;
    }
  });
}

TEST_P(PythonOracle, StopsWhereTheCodecFindsAnError) {
  int mismatches = 0;
  for (const EncodingCase::Bad& bad : c().bad) {
    const Outcome ours = Convert(Ours(), kPivot, name(), bad.input);
    int expected = bad.incomplete ? EINVAL : EILSEQ;
    if (c().endsDiffer.count("python") && ours.error == EILSEQ && expected == EINVAL)
      expected = EILSEQ;  // documented: the codec calls it cut
    if (ours.error != expected || ours.stop != bad.start || ours.output != bad.prefix) {
      if (++mismatches <= 5)
        ADD_FAILURE() << name() << ": input " << Hex(bad.input) << ", error at " << bad.start
                      << " (" << (bad.incomplete ? "cut" : "invalid")
                      << ") by the codec; ours: " << Describe(ours);
    }
  }
  EXPECT_EQ(mismatches, 0);
}

INSTANTIATE_TEST_SUITE_P(Encodings, PythonOracle, ::testing::ValuesIn(With(&EncodingCase::python)),
                         Tag);

// ---- glibc's iconv ------------------------------------------------------------

using GlibcIconv = Strict;

void ExpectSame(const char* what, const Outcome& ours, const Outcome& theirs) {
  EXPECT_TRUE(ours == theirs) << what << ": ours " << Describe(ours) << "; glibc "
                              << Describe(theirs)
                              << (ours.output == theirs.output ? "" : " (the bytes differ)");
}

TEST_P(GlibcIconv, AgreesOnTextBothWays) {
  const EncodingCase& e = c();
  const char* peer = e.glibc.c_str();
  const std::set<uint32_t> none;
  const auto differing = e.differingChars.find("glibc");
  Bytes text;
  if (Has("text")) {
    text =
        WithoutChars(Data("text"), differing == e.differingChars.end() ? none : differing->second);
  } else {
    // No reference data: printable ASCII and what the encoding round-trips of
    // a mixed sample.
    for (uint32_t u = 0x20; u < 0x7F; ++u)
      text.insert(text.end(), {static_cast<unsigned char>(u), 0});
  }
  const Outcome ours = Convert(Ours(), name(), kPivot, text);
  const Outcome theirs = Convert(Glibc(), peer, "UTF-16LE", text);
  if (e.glibcBytesDiffer) {
    // The same text with shifts and escape sequences placed otherwise (the
    // oracle row says why): glibc reads ours back as the text.
    EXPECT_EQ(ours.error, theirs.error) << Describe(ours) << "; glibc " << Describe(theirs);
    EXPECT_EQ(Convert(Glibc(), "UTF-16LE", peer, ours.output).output, text) << "glibc reading ours";
  } else {
    ExpectSame("encoding", ours, theirs);
  }
  ExpectSame("decoding", Convert(Ours(), kPivot, name(), ours.output),
             Convert(Glibc(), "UTF-16LE", peer, ours.output));
  if (Has("valid")) {
    const auto bytes = e.differingBytes.find("glibc");
    const Bytes valid =
        ValidWithout(e, bytes == e.differingBytes.end() ? std::vector<Bytes>{} : bytes->second);
    ExpectSame("every sequence", Convert(Ours(), kPivot, name(), valid),
               Convert(Glibc(), "UTF-16LE", peer, valid));
  }
}

TEST_P(GlibcIconv, AgreesOnWhereInputIsInvalid) {
  const EncodingCase& e = c();
  const auto differing = e.differingBytes.find("glibc");
  const std::vector<Bytes> skip =
      differing == e.differingBytes.end() ? std::vector<Bytes>{} : differing->second;
  int mismatches = 0;
  for (const EncodingCase::Bad& bad : e.bad) {
    const Outcome ours = Convert(Ours(), kPivot, name(), bad.input);
    Outcome theirs = Convert(Glibc(), "UTF-16LE", e.glibc.c_str(), bad.input);
    // Skipped: a documented difference up to where either stops.
    if (HoldsAnyBefore(bad.input, std::max(ours.stop, theirs.stop) + 1, skip)) continue;
    // Documented: one calls an input that ends inside a sequence that can
    // never become valid cut, the other invalid.
    if (e.endsDiffer.count("glibc") && ours.stop == theirs.stop &&
        ((ours.error == EILSEQ && theirs.error == EINVAL) ||
         (ours.error == EINVAL && theirs.error == EILSEQ)))
      theirs.error = ours.error;
    if (!(ours == theirs) && ++mismatches <= 5)
      ADD_FAILURE() << name() << ": input " << Hex(bad.input) << ": ours " << Describe(ours)
                    << "; glibc " << Describe(theirs);
  }
  EXPECT_EQ(mismatches, 0);
}

TEST_P(GlibcIconv, AgreesOnCharactersTheTargetLacks) {
  // A sample of characters around the encoding's repertoire: each one after
  // a run of 1 to 19 "a", so that both stop at the same place or convert the
  // same (also inside an encoder's steps over several characters).
  const EncodingCase& e = c();
  const std::set<uint32_t>& differing =
      e.differingChars.count("glibc") ? e.differingChars.at("glibc") : std::set<uint32_t>{};
  int mismatches = 0;
  size_t run = 0;
  for (uint32_t cp : {0x00A0u, 0x00E9u, 0x0100u, 0x0410u, 0x05D0u, 0x0E01u, 0x20ACu, 0x2122u,
                      0x3042u, 0x4E00u, 0xAC00u, 0xFF5Eu, 0x1F600u, 0x20000u}) {
    if (differing.count(cp)) continue;
    Bytes text;
    run = run % 19 + 1;
    for (size_t k = 0; k < run; ++k) text.insert(text.end(), {'a', 0});
    AppendUtf16(&text, cp);
    const Outcome ours = Convert(Ours(), name(), kPivot, text);
    Outcome theirs = Convert(Glibc(), e.glibc.c_str(), "UTF-16LE", text);
    // Spelled otherwise: the same stop, and glibc reads ours as what it
    // converted (its count of irreversible conversions aside).
    if (e.glibcBytesDiffer && ours.error == theirs.error && ours.stop == theirs.stop &&
        Convert(Glibc(), "UTF-16LE", e.glibc.c_str(), ours.output).output ==
            Convert(Glibc(), "UTF-16LE", e.glibc.c_str(), theirs.output).output) {
      theirs.output = ours.output;
      theirs.irreversible = ours.irreversible;
    }
    if (!(ours == theirs) && ++mismatches <= 5)
      ADD_FAILURE() << name() << ": U+" << std::hex << cp << std::dec << ": ours " << Describe(ours)
                    << "; glibc " << Describe(theirs);
  }
  EXPECT_EQ(mismatches, 0);
}

INSTANTIATE_TEST_SUITE_P(Encodings, GlibcIconv, ::testing::ValuesIn(With(&EncodingCase::glibc)),
                         Tag);

// ---- Streaming ------------------------------------------------------------------

using Streaming = Strict;

// `text` (of the reference text's characters) as the codec reads it back
// after writing it: a one-way mapping (U+00A5 written as the code of U+FFE5)
// comes back as the other character. The reference text and its decoding
// pair up character by character.
Bytes RoundTripped(const EncodingCase& e, const Bytes& text) {
  if (!e.data.count("text") || !e.data.count("bytestext")) return text;
  const std::vector<uint32_t> from = CodePoints(e.data.at("text"));
  const std::vector<uint32_t> to = CodePoints(e.data.at("bytestext"));
  if (from.size() != to.size()) return text;
  std::map<uint32_t, uint32_t> back;
  for (size_t i = 0; i < from.size(); ++i)
    if (from[i] != to[i]) back[from[i]] = to[i];
  Bytes out;
  for (uint32_t cp : CodePoints(text)) {
    const auto it = back.find(cp);
    if (it != back.end()) cp = it->second;
    AppendUtf16(&out, cp);
  }
  return out;
}

// Text for streaming: the reference text's first few thousand characters,
// or a mixed sample that the encoding round-trips.
Bytes SampleText(const EncodingCase& e) {
  if (e.data.count("text")) {
    const Bytes& text = e.data.at("text");
    // Spread over the repertoire: every k-th character, up to 1000.
    const std::vector<uint32_t> cps = CodePoints(text);
    const size_t step = std::max<size_t>(1, cps.size() / 1000);
    Bytes out;
    std::mt19937 rng(7);
    for (size_t i = 0; i < cps.size(); i += step) {
      const uint32_t cp = cps[i];
      // ASCII between the others, as in real text.
      if (rng() % 3 == 0) out.insert(out.end(), {static_cast<unsigned char>('a' + rng() % 26), 0});
      AppendUtf16(&out, cp);
    }
    return out;
  }
  const char* mixed =
      "Grüße, \xd0\x9f\xd1\x80\xd0\xb8\xd0\xb2\xd0\xb5\xd1\x82 \xe6\x97\xa5\xe6\x9c\xac "
      "\\u00e9 +- &- \xf0\x9f\x98\x80 end\n";
  Outcome utf16 = Convert(Ours(), NLS_PIVOT_ENCODING, "UTF-8", B(mixed));
  return utf16.output;
}

TEST_P(Streaming, AnyCutAndOutputSizeGiveTheWholeResult) {
  const Bytes text = SampleText(c());
  const Outcome whole = Convert(Ours(), name(), kPivot, text);
  ASSERT_TRUE(whole.opened);
  // The sample may hold characters the encoding lacks only when it has no
  // reference text; convert what it has then.
  const Bytes encoded = whole.output;
  const Outcome back = Convert(Ours(), kPivot, name(), encoded);
  if (whole.error == 0) {
    EXPECT_EQ(back.output, RoundTripped(c(), text)) << "round trip of the sample";
  }
  const std::vector<std::vector<size_t>> cuts = {{1}, {2}, {5, 1, 7}, {13}, {64, 1}};
  for (const auto& pieces : cuts) {
    for (size_t chunk : {1, 3, 4, 7, 16}) {
      const Outcome e = Convert(Ours(), name(), kPivot, text, pieces, chunk);
      EXPECT_TRUE(e == whole) << "encoding in pieces of " << pieces[0] << ", output " << chunk
                              << ": " << Describe(e) << " vs " << Describe(whole);
      const Outcome d = Convert(Ours(), kPivot, name(), encoded, pieces, chunk);
      EXPECT_TRUE(d == back) << "decoding in pieces of " << pieces[0] << ", output " << chunk
                             << ": " << Describe(d) << " vs " << Describe(back);
    }
  }
}

// Damaged input (the sample with a few bytes or units overwritten at random
// places): the whole input and the same input in pieces stop at the same
// place with the same output. This holds the fast runs of every codec to
// its step-by-step form, which pieces of one byte use.
TEST_P(Streaming, DamagedInputStopsAtTheSamePlaceInPieces) {
  const Bytes text = SampleText(c());
  const Bytes encoded = Convert(Ours(), name(), kPivot, text).output;
  std::mt19937 rng(11);
  int mismatches = 0;
  for (int round = 0; round < 24; ++round) {
    Bytes bytes = encoded, units = text;
    for (int k = 0; k < 3; ++k) {
      if (!bytes.empty()) bytes[rng() % bytes.size()] = static_cast<unsigned char>(rng());
      // A lone surrogate or a value above the text's repertoire.
      if (units.size() >= 2) {
        const size_t at = (rng() % (units.size() / 2)) * 2;
        const uint16_t u = round % 2 ? static_cast<uint16_t>(0xD800 + rng() % 0x800)
                                     : static_cast<uint16_t>(rng());
        units[at] = static_cast<unsigned char>(u);
        units[at + 1] = static_cast<unsigned char>(u >> 8);
      }
    }
    const std::vector<size_t> pieces = {1 + rng() % 3, 1 + rng() % 40};
    const size_t chunk = 1 + rng() % 24;
    const Outcome decoded = Convert(Ours(), kPivot, name(), bytes);
    const Outcome decodedInPieces = Convert(Ours(), kPivot, name(), bytes, pieces, chunk);
    const Outcome encodedWhole = Convert(Ours(), name(), kPivot, units);
    const Outcome encodedInPieces = Convert(Ours(), name(), kPivot, units, pieces, chunk);
    if (!(decoded == decodedInPieces) && ++mismatches <= 3)
      ADD_FAILURE() << "decoding round " << round << ": whole " << Describe(decoded)
                    << "; in pieces " << Describe(decodedInPieces);
    if (!(encodedWhole == encodedInPieces) && ++mismatches <= 3)
      ADD_FAILURE() << "encoding round " << round << ": whole " << Describe(encodedWhole)
                    << "; in pieces " << Describe(encodedInPieces);
  }
  EXPECT_EQ(mismatches, 0);
}

INSTANTIATE_TEST_SUITE_P(Encodings, Streaming, ::testing::ValuesIn(EncodingNames()), Tag);

}  // namespace
}  // namespace nls_test

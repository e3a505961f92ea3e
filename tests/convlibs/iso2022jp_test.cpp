// ISO-2022-JP converters: every JIS X 0208 code and every character against
// Python's iso2022_jp codec, random texts both ways, the state kept between
// calls (escape sequences and characters cut by the end of the input, the
// current set of the encoder), and exact examples of malformed input.
#include <gtest/gtest.h>

#include <string>

#include "convlibs/convlibs_support.h"
#include "support/converter_harness.h"

namespace {

using convlibs_test::Bytes;
using convlibs_test::ConvertAll;
using convlibs_test::Converted;
using convlibs_test::Hex;
using convlibs_test::LeUnits;
using nls_test::B;
using nls_test::Ucs2;
using nls_test::Units;
using U = std::vector<uint16_t>;

class Iso2022Jp : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(dec_, nullptr);
    ASSERT_NE(enc_, nullptr);
    ASSERT_EQ(dec_->GetStatus(), 1);
    ASSERT_EQ(enc_->GetStatus(), 1);
  }
  void TearDown() override {
    if (dec_) dec_->ReleaseEncodingConverter();
    if (enc_) enc_->ReleaseEncodingConverter();
  }
  // One call from the initial state.
  U Decode(const Bytes& in) {
    dec_->Reset();
    Converted r = ConvertAll(dec_, in, static_cast<unsigned>(2 * in.size() + 2));
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.used, in.size());
    return LeUnits(r.out);
  }
  Bytes Encode(const U& text) {
    enc_->Reset();
    Converted r = ConvertAll(enc_, Ucs2(text), static_cast<unsigned>(8 * text.size() + 4));
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.used, 2 * text.size());
    return r.out;
  }
  TEncodingConverter* dec_ = NEWISO2022JPTOUNICODEENCODINGCONVERTER();
  TEncodingConverter* enc_ = NEWUNICODETOISO2022JPENCODINGCONVERTER();
};

const U kKan = {0x6F22};                // 漢 = JIS 0x3441 ("4A")
const U kKanji = {0x6F22, 0x5B57};      // 漢字 = "4A;z"
const std::string kToJis = "\x1b$B";    // JIS X 0208
const std::string kToAscii = "\x1b(B";  // ASCII
const std::string kToRoman = "\x1b(J";  // JIS X 0201 Roman

TEST_F(Iso2022Jp, DecodesEveryJisX0208CodeAsTheCodecDoes) {
  const Bytes data = nls_test::ReadFile(nls_test::OraclePath("convlibs_iso2022_jp.decode"));
  ASSERT_EQ(data.size(), 94u * 94u * 4u);
  Bytes in = B(kToJis);
  U want;
  for (size_t pos = 0; pos < data.size(); pos += 4) {
    in.push_back(data[pos + 1]);  // little-endian code: high byte second
    in.push_back(data[pos]);
    const uint16_t value = static_cast<uint16_t>(data[pos + 2] | data[pos + 3] << 8);
    want.push_back(value != 0 ? value : 0xFFFD);  // unassigned pair: one U+FFFD
  }
  const U got = Decode(in);
  ASSERT_EQ(got.size(), want.size());
  int failures = 0;
  for (size_t i = 0; i < want.size() && failures < 10; ++i) {
    if (got[i] != want[i]) {
      ++failures;
      ADD_FAILURE() << "JIS " << Hex({in[3 + 2 * i], in[4 + 2 * i]}) << " gives U+" << std::hex
                    << got[i] << ", expected U+" << want[i];
    }
  }
  int assigned = 0;
  for (uint16_t v : want) assigned += v != 0xFFFD;
  EXPECT_EQ(assigned, 6879);
}

TEST_F(Iso2022Jp, EncodesEveryCharacterAsTheCodecDoes) {
  const auto encodings = convlibs_test::ReadEncodings("convlibs_iso2022_jp.encode");
  ASSERT_EQ(encodings.size(), 128u + 2u + 6879u);
  int failures = 0;
  for (uint32_t c = 0; c < 0x10000 && failures < 10; ++c) {
    auto it = encodings.find(static_cast<uint16_t>(c));
    // The codec refuses the others; they become "?" in ASCII.
    const Bytes want = it != encodings.end() ? it->second : Bytes{'?'};
    const Bytes got = Encode({static_cast<uint16_t>(c)});
    if (got != want) {
      ++failures;
      ADD_FAILURE() << "U+" << std::hex << c << " gives " << Hex(got) << ", expected " << Hex(want);
    }
  }
}

TEST_F(Iso2022Jp, RandomTextsMatchTheCodecBothWays) {
  const auto texts = convlibs_test::ReadPairs("convlibs_iso2022_jp.texts");
  ASSERT_EQ(texts.size(), 300u);
  for (const auto& [ucs2le, jis] : texts) {
    const U text = LeUnits(ucs2le);
    EXPECT_EQ(Encode(text), jis) << Hex(jis);
    EXPECT_EQ(Decode(jis), text) << Hex(jis);
  }
}

TEST_F(Iso2022Jp, DecodingIsTheSameWhereverTheInputIsCut) {
  const auto texts = convlibs_test::ReadPairs("convlibs_iso2022_jp.texts");
  // Every cut of some texts into two pieces, and every text byte by byte.
  for (size_t t = 0; t < texts.size(); ++t) {
    const Bytes& jis = texts[t].second;
    const U whole = Decode(jis);
    std::vector<size_t> cuts;
    if (t < 20) {
      for (size_t p = 0; p <= jis.size(); ++p) cuts.push_back(p);
    }
    for (size_t p : cuts) {
      dec_->Reset();
      const Bytes a(jis.begin(), jis.begin() + static_cast<long>(p));
      const Bytes b(jis.begin() + static_cast<long>(p), jis.end());
      Converted ra = ConvertAll(dec_, a, static_cast<unsigned>(2 * a.size() + 2));
      Converted rb = ConvertAll(dec_, b, static_cast<unsigned>(2 * b.size() + 8));
      ASSERT_EQ(ra.used, a.size());
      ASSERT_EQ(rb.used, b.size());
      U joined = LeUnits(ra.out);
      const U second = LeUnits(rb.out);
      joined.insert(joined.end(), second.begin(), second.end());
      ASSERT_EQ(joined, whole) << "cut at " << p << " of " << Hex(jis);
    }
    dec_->Reset();
    U joined;
    for (unsigned char byte : jis) {
      Converted r = ConvertAll(dec_, Bytes{byte}, 8);
      ASSERT_EQ(r.status, 1);
      const U units = LeUnits(r.out);
      joined.insert(joined.end(), units.begin(), units.end());
    }
    ASSERT_EQ(joined, whole) << "byte by byte: " << Hex(jis);
  }
}

TEST_F(Iso2022Jp, ResumesThroughEveryOutputSize) {
  const auto texts = convlibs_test::ReadPairs("convlibs_iso2022_jp.texts");
  for (size_t t = 0; t < 12; ++t) {
    // Decoding needs 4 bytes for a character and its terminator; encoding at
    // most 9 (a designation, two bytes, the return to ASCII, the NUL).
    nls_test::ExpectResumeIdentity(dec_, texts[t].second, 2, 4);
    nls_test::ExpectResumeIdentity(
        enc_, texts[t].first.size() ? Ucs2(LeUnits(texts[t].first)) : Bytes{}, 1, 9);
  }
  // Resumed output is exactly the codec's.
  const Bytes& jis = texts[3].second;
  const Bytes text = Ucs2(LeUnits(texts[3].first));
  enc_->Reset();
  Bytes joined;
  size_t pos = 0;
  while (pos < text.size()) {
    Converted r = ConvertAll(enc_, Bytes(text.begin() + static_cast<long>(pos), text.end()), 10);
    ASSERT_GT(r.used, 0u);
    joined.insert(joined.end(), r.out.begin(), r.out.end());
    pos += r.used;
  }
  EXPECT_EQ(joined, jis);
}

// True when the last escape sequence of `out`, if any, selects ASCII.
bool EndsInAscii(const Bytes& out) {
  for (size_t i = out.size(); i-- > 0;) {
    if (out[i] == 0x1B) return i + 2 < out.size() && out[i + 1] == '(' && out[i + 2] == 'B';
  }
  return true;
}

TEST_F(Iso2022Jp, EncoderEndsEveryCompleteCallInAscii) {
  // Input cut between characters: each piece is a text of its own.
  U text = {'a'};
  text.insert(text.end(), kKanji.begin(), kKanji.end());
  text.push_back(0xA5);
  text.push_back(0x6F22);
  for (size_t p = 0; p <= text.size(); ++p) {
    enc_->Reset();
    const Converted a =
        ConvertAll(enc_, Ucs2(U(text.begin(), text.begin() + static_cast<long>(p))), 64);
    const Converted b =
        ConvertAll(enc_, Ucs2(U(text.begin() + static_cast<long>(p), text.end())), 64);
    EXPECT_EQ(a.status, 1);
    EXPECT_EQ(b.status, 1);
    EXPECT_TRUE(EndsInAscii(a.out)) << Hex(a.out);
    EXPECT_TRUE(EndsInAscii(b.out)) << Hex(b.out);
    Bytes joined = a.out;
    joined.insert(joined.end(), b.out.begin(), b.out.end());
    EXPECT_EQ(Decode(joined), text) << "cut at " << p;
  }
  EXPECT_EQ(Encode(text), B("a" + kToJis + "4A;z" + kToRoman + "\\" + kToJis + "4A" + kToAscii));
}

TEST_F(Iso2022Jp, StateSurvivesCallsAndResetClearsIt) {
  // Decoder: the set designated in one call holds in the next.
  Converted first = ConvertAll(dec_, B(kToJis), 8);
  EXPECT_EQ(first.status, 1);
  EXPECT_TRUE(first.out.empty());
  EXPECT_EQ(LeUnits(ConvertAll(dec_, B("4A"), 8).out), kKan);
  dec_->Reset();
  EXPECT_EQ(LeUnits(ConvertAll(dec_, B("4A"), 8).out), (U{'4', 'A'}));

  // Encoder: a call that stops early keeps its set; the next call goes on
  // without designating again and ends in ASCII.
  enc_->Reset();
  Converted part = ConvertAll(enc_, Ucs2(kKanji), 6);  // ESC $ B 4 A, NUL
  EXPECT_EQ(part.status, 2);
  EXPECT_EQ(part.used, 2u);
  EXPECT_EQ(part.out, B(kToJis + "4A"));
  Converted rest = ConvertAll(enc_, Ucs2({0x5B57}), 16);
  EXPECT_EQ(rest.status, 1);
  EXPECT_EQ(rest.out, B(";z" + kToAscii));
  // After an early stop, a call without input returns to ASCII.
  enc_->Reset();
  ConvertAll(enc_, Ucs2(kKanji), 6);
  Converted flush = ConvertAll(enc_, Bytes{}, 8);
  EXPECT_EQ(flush.status, 1);
  EXPECT_EQ(flush.out, B(kToAscii));
  // Reset forgets the set: the same character is designated again.
  enc_->Reset();
  ConvertAll(enc_, Ucs2(kKanji), 6);
  enc_->Reset();
  EXPECT_EQ(ConvertAll(enc_, Ucs2({0x5B57}), 16).out, B(kToJis + ";z" + kToAscii));
}

TEST_F(Iso2022Jp, CutSequencesAreHeldUntilTheNextCall) {
  // An escape sequence cut after ESC and after ESC $.
  Converted a = ConvertAll(dec_, B("x\x1b"), 16);
  EXPECT_EQ(a.status, 1);
  EXPECT_EQ(a.used, 2u);
  EXPECT_EQ(LeUnits(a.out), U{'x'});
  EXPECT_EQ(ConvertAll(dec_, B("$"), 16).out, Bytes{});
  EXPECT_EQ(LeUnits(ConvertAll(dec_, B("B4A"), 16).out), kKan);
  // A character cut after its first byte.
  dec_->Reset();
  EXPECT_EQ(LeUnits(ConvertAll(dec_, B(kToJis + "4A;"), 16).out), kKan);
  EXPECT_EQ(LeUnits(ConvertAll(dec_, B("z"), 16).out), (U{0x5B57}));
  // ESC $ ( B fed one byte at a time.
  dec_->Reset();
  for (char ch : std::string("\x1b$("))
    EXPECT_TRUE(ConvertAll(dec_, Bytes{(unsigned char)ch}, 8).out.empty());
  EXPECT_EQ(LeUnits(ConvertAll(dec_, B("B4A"), 16).out), kKan);
  // A held ESC that turns out to start nothing known.
  dec_->Reset();
  ConvertAll(dec_, B("\x1b"), 8);
  EXPECT_EQ(LeUnits(ConvertAll(dec_, B("x"), 16).out), (U{0xFFFD, 'x'}));
  // Reset drops held bytes.
  dec_->Reset();
  ConvertAll(dec_, B(kToJis + "4"), 8);
  dec_->Reset();
  EXPECT_EQ(LeUnits(ConvertAll(dec_, B("A"), 8).out), U{'A'});
  // Output full while bytes are held: nothing is lost.
  dec_->Reset();
  ConvertAll(dec_, B(kToJis + "4"), 8);
  Converted tight = ConvertAll(dec_, B("A;z"), 4);  // room for one character
  EXPECT_EQ(tight.status, 2);
  EXPECT_EQ(tight.used, 1u);
  EXPECT_EQ(LeUnits(tight.out), kKan);
  EXPECT_EQ(LeUnits(ConvertAll(dec_, B(";z"), 8).out), (U{0x5B57}));
}

TEST_F(Iso2022Jp, DecodesExactExamples) {
  EXPECT_EQ(Decode(B(kToRoman + "\\~a")), (U{0xA5, 0x203E, 'a'}));
  EXPECT_EQ(Decode(B("\x1b$@4A\x1b$(B4A\x1b$(@4A")), (U{0x6F22, 0x6F22, 0x6F22}));
  // Controls pass in every set, and the set stays.
  EXPECT_EQ(Decode(B(kToJis + "4A\r\n4A")), (U{0x6F22, '\r', '\n', 0x6F22}));
  EXPECT_EQ(Decode(Bytes{'A', 0, 'B'}), (U{'A', 0, 'B'}));  // a 0 byte is a character here
  // Malformed input: one U+FFFD per byte, or per unassigned pair.
  EXPECT_EQ(Decode(B("\x1b(I1")), (U{0xFFFD, '(', 'I', '1'}));  // katakana set: unknown
  EXPECT_EQ(Decode(B("\x1b$(D")), (U{0xFFFD, '$', '(', 'D'}));  // JIS X 0212: unknown
  EXPECT_EQ(Decode(Bytes{0x80, 0xA4, 0xFF, 'a'}), (U{0xFFFD, 0xFFFD, 0xFFFD, 'a'}));
  EXPECT_EQ(Decode(B(kToJis + "4\n")), (U{0xFFFD, '\n'}));                // cut by a control
  EXPECT_EQ(Decode(B(kToJis + "\x22\x2f" + "4A")), (U{0xFFFD, 0x6F22}));  // unassigned
  EXPECT_EQ(Decode(B(kToJis + "\x7f" + "4A")), (U{0xFFFD, 0x6F22}));
  EXPECT_EQ(Decode(B(kToJis + "4\x80")), (U{0xFFFD, 0xFFFD}));
  EXPECT_EQ(Decode(B(kToJis + " ")), (U{' '}));
}

TEST_F(Iso2022Jp, EncodesExactExamples) {
  // Designations only where the set changes; controls and ASCII in ASCII.
  EXPECT_EQ(Encode({'a', 0x6F22, 'b', 0xA5, 0xA5, 'c', 0x203E, 0x6F22, 0x5B57}),
            B("a" + kToJis + "4A" + kToAscii + "b" + kToRoman + "\\\\" + kToAscii + "c" + kToRoman +
              "~" + kToJis + "4A;z" + kToAscii));
  EXPECT_EQ(Encode({0x6F22, '\n'}), B(kToJis + "4A" + kToAscii + "\n"));
  EXPECT_EQ(Encode({0x5C, 0xFF3C}), B("\\" + kToJis + "!@" + kToAscii));
  // Unmapped characters, surrogates and half-width katakana: "?" in ASCII.
  EXPECT_EQ(Encode({0x6F22, 0x20AC, 0xD800, 0xFF71}), B(kToJis + "4A" + kToAscii + "???"));
  EXPECT_EQ(Encode({}), Bytes{});
  // An odd last byte is left over.
  Converted odd = ConvertAll(enc_, Bytes{'a', 0, 'b'}, 16);
  EXPECT_EQ(odd.status, 2);
  EXPECT_EQ(odd.used, 2u);
}

TEST_F(Iso2022Jp, TargetBufferSizeHoldsTheWorstCase) {
  unsigned size = 0;
  dec_->TargetBufferSize(nullptr, 10, &size);
  EXPECT_EQ(size, 22u);
  enc_->TargetBufferSize(nullptr, 10, &size);
  EXPECT_EQ(size, 42u);
  // Alternating sets, and a single character, fit the size asked for.
  for (const U& text : {U{0x6F22}, U{0xA5}, U{'a', 0x6F22, 'a', 0x6F22, 0xA5, 0x6F22}}) {
    const Bytes in = Ucs2(text);
    enc_->Reset();
    enc_->TargetBufferSize(in.data(), static_cast<unsigned>(in.size()), &size);
    nls_test::ConvertResult r = nls_test::ConvertOnce(enc_, in, size, 1);
    EXPECT_EQ(r.status, 1);
    EXPECT_TRUE(r.terminated);
  }
}

TEST_F(Iso2022Jp, RefusesNullArguments) {
  unsigned produced = 0, used = 0;
  unsigned char out[8];
  const unsigned char in[2] = {'a', 0};
  EXPECT_EQ(dec_->Convert(nullptr, &produced, 8, in, 1, &used), -1009);
  EXPECT_EQ(enc_->Convert(out, nullptr, 8, in, 2, &used), -1009);
  EXPECT_EQ(dec_->Convert(out, &produced, 8, nullptr, 4, &used), -1009);
  EXPECT_EQ(enc_->Convert(out, &produced, 8, in, 2, nullptr), -1009);
}

}  // namespace

// UTF-7 <-> UCS-2 converters: exact examples, malformed input, the output
// full rules and resumption of an interrupted base64 run, and round trips
// through Python's utf-7 codec.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "converters/drain.h"
#include "converters/oracle_records.h"
#include "nlscnv/builtin/builtin_module.h"
#include "support/converter_harness.h"

using nls_test::B;
using nls_test::Bytes;
using nls_test::ConvertOnce;
using nls_test::Ucs2;
using nls_test::Units;

namespace {

using Result = nls_test::ConvertResult;
using U16 = std::vector<uint16_t>;

// Latin-1 text as units.
U16 U(const std::string& text) {
  U16 units;
  for (unsigned char c : text) units.push_back(c);
  return units;
}

U16 Cat(U16 a, const U16& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

class Utf7Test : public ::testing::Test {
 protected:
  Result Decode(const Bytes& in, unsigned dstSize = 4096) {
    return ConvertOnce(dec_, in, dstSize, 2);
  }
  Result Encode(const U16& units, unsigned dstSize = 4096) {
    return ConvertOnce(enc_, Ucs2(units), dstSize, 1);
  }
  std::string EncodeText(const U16& units) {
    Result r = Encode(units);
    EXPECT_EQ(r.status, 1);
    EXPECT_TRUE(r.terminated);
    return std::string(r.out.begin(), r.out.end());
  }
  void TearDown() override {
    dec_->ReleaseEncodingConverter();
    enc_->ReleaseEncodingConverter();
  }
  TEncodingConverter* dec_ = NEWUTF7TOUNICODEENCODINGCONVERTER();
  TEncodingConverter* enc_ = NEWUNICODETOUTF7ENCODINGCONVERTER();
};

TEST_F(Utf7Test, FactoriesAndBufferSizes) {
  EXPECT_EQ(dec_->GetStatus(), 1);
  EXPECT_EQ(enc_->GetStatus(), 1);
  unsigned size = 0;
  dec_->TargetBufferSize(nullptr, 10, &size);
  EXPECT_EQ(size, 22u);
  enc_->TargetBufferSize(nullptr, 10, &size);
  EXPECT_EQ(size, 62u);
}

TEST_F(Utf7Test, EncodesExactExamples) {
  EXPECT_EQ(EncodeText(Cat(U("Hi Mom -"), Cat({0x263A}, U("-!")))), "Hi Mom -+Jjo--!");
  EXPECT_EQ(EncodeText({0x41, 0x2262, 0x391, 0x2E}), "A+ImIDkQ.");
  EXPECT_EQ(EncodeText(U("+")), "+-");
  EXPECT_EQ(EncodeText(U("~")), "+AH4");  // no "-" at the end of the input
  EXPECT_EQ(EncodeText(U("!")), "!");
  EXPECT_EQ(EncodeText(U("~a")), "+AH4-a");          // "-" before a base64 digit
  EXPECT_EQ(EncodeText(U("~ ")), "+AH4 ");           // but not before a space
  EXPECT_EQ(EncodeText({0x263A, 0x2B}), "+JjoAKw");  // "+" inside a run is encoded
  EXPECT_EQ(EncodeText({0xD83D, 0xDE00}), "+2D3eAA");
  EXPECT_EQ(EncodeText({}), "");
}

TEST_F(Utf7Test, CharacterClasses) {
  // Written as themselves: the directly encoded characters, the optional
  // direct characters and the space characters (backspace included).
  const std::string asIs =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789'(),-./:?"
      "!\"#$%&*;<=>@[]^_`{|} \t\r\n\b";
  for (uint16_t c = 0; c < 0x80; ++c) {
    std::string out = EncodeText({c});
    if (c != 0 && asIs.find(static_cast<char>(c)) != std::string::npos) {
      EXPECT_EQ(out, std::string(1, static_cast<char>(c))) << c;
    } else if (c != '+') {
      EXPECT_EQ(out.substr(0, 2), "+A") << c;  // base64 of 0x00xx starts with "A"
    }
  }
}

TEST_F(Utf7Test, DecodesExactExamples) {
  EXPECT_EQ(Units(Decode(B("+-")).out), U("+"));
  Result mom = Decode(B("Hi Mom -+Jjo--!"));
  EXPECT_EQ(mom.status, 1);
  EXPECT_EQ(Units(mom.out), Cat(U("Hi Mom -"), Cat({0x263A}, U("-!"))));
  EXPECT_EQ(Units(Decode(B("+AGE-x")).out), U("ax"));
  EXPECT_EQ(Units(Decode(B("A+ImIDkQ.")).out), (U16{0x41, 0x2262, 0x391, 0x2E}));
  // Any byte other than "+" outside a run is a character, classes unchecked.
  EXPECT_EQ(Units(Decode(B("~\\\x01")).out), (U16{0x7E, 0x5C, 0x01}));
  for (const char* zeroBits : {"+AGE", "+AGEA"}) {
    Result r = Decode(B(zeroBits));
    EXPECT_EQ(r.status, 1) << zeroBits;
    EXPECT_EQ(Units(r.out), U("a")) << zeroBits;
    EXPECT_TRUE(r.terminated);
  }
}

TEST_F(Utf7Test, MalformedInputIsConvertedAndReported) {
  struct Case {
    Bytes in;
    U16 units;
  };
  const Case cases[] = {
      {B("+"), {}},
      {B("+!"), U("!")},
      {B("+A-"), {}},
      {B("+AGF"), U("a")},                             // leftover bits "01"
      {{0xE9}, {0xE9}},                                // 8-bit byte outside a run
      {{0x2B, 0x41, 0x47, 0x45, 0xE9}, {0x61, 0xE9}},  // a byte above 0x7F ends a run
      {B("x+.y"), U("x.y")},
  };
  for (const Case& c : cases) {
    Result r = Decode(c.in);
    EXPECT_EQ(r.status, -1302) << std::string(c.in.begin(), c.in.end());
    EXPECT_EQ(Units(r.out), c.units) << std::string(c.in.begin(), c.in.end());
    EXPECT_EQ(r.used, c.in.size());
    EXPECT_TRUE(r.terminated);
  }
  // The report belongs to the conversion that met the fault, not the next.
  EXPECT_EQ(Decode(B("ok")).status, 1);
  EXPECT_EQ(Decode({0xE9}, 2).status, 2);  // output full wins over malformed
}

TEST_F(Utf7Test, DecoderOutputFull) {
  Result empty = Decode({}, 2);
  EXPECT_EQ(empty.status, 1);
  EXPECT_TRUE(empty.terminated);
  EXPECT_EQ(Decode({}, 1).status, 2);

  Result r = Decode(B("abc"), 6);  // all stored, no room for the terminator
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.used, 3u);

  // A run stops at the digit that completes a unit without room; the next
  // call continues the run from the kept bits.
  r = Decode(B("+JjomOg"), 2);
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(Units(r.out), U16{0x263A});
  EXPECT_EQ(r.used, 6u);
  r = Decode(B("g"), 4);
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(Units(r.out), U16{0x263A});
  EXPECT_TRUE(r.terminated);

  // "+-" waits for room for its "+" with the run kept open.
  r = Decode(B("a+-"), 3);
  EXPECT_EQ(r.used, 2u);
  EXPECT_EQ(Units(r.out), U("a"));
  r = Decode(B("-"), 4);
  EXPECT_EQ(Units(r.out), U("+"));
  EXPECT_EQ(r.status, 1);
}

TEST_F(Utf7Test, EncoderWritesWholeUnitsOnly) {
  // "~" needs "+AH4": with 3 bytes nothing is written and nothing consumed.
  Result r = Encode(U("~"), 3);
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.used, 0u);
  EXPECT_TRUE(r.out.empty());
  EXPECT_TRUE(r.terminated);
  r = Encode(U("~"), 4);  // fits, the terminator does not
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.used, 2u);
  EXPECT_EQ(r.out, B("+AH4"));
  EXPECT_FALSE(r.terminated);
  EXPECT_EQ(Encode(U("a"), 0).status, 2);

  // Two smileys, 4 bytes: "+Jj" holds the first unit's whole sextets; the
  // second unit (3 digits and the final one) does not fit. The next call
  // continues the run without a new "+".
  r = Encode({0x263A, 0x263A}, 4);
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.used, 2u);
  EXPECT_EQ(r.out, B("+Jj"));
  EXPECT_TRUE(r.terminated);
  r = Encode({0x263A}, 8);
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, B("omOg"));
}

TEST_F(Utf7Test, ResetDropsAKeptRun) {
  Result r = Encode({0x263A, 0x263A}, 4);
  ASSERT_EQ(r.used, 2u);
  enc_->Reset();
  EXPECT_EQ(EncodeText(U("a")), "a");

  r = Decode(B("+JjomOg"), 2);
  ASSERT_EQ(r.used, 6u);
  dec_->Reset();
  r = Decode(B("AGE"));
  EXPECT_EQ(Units(r.out), U("AGE"));
  EXPECT_EQ(r.status, 1);
}

U16 SampleText() {
  U16 text = Cat(U("Hi Mom -"), Cat({0x263A}, U("-! +x~y\\z")));
  for (uint16_t u = 0x4E00; u < 0x4E40; ++u) text.push_back(u);  // a long run
  text = Cat(text, U("-end+"));
  text = Cat(text, {0xD83D, 0xDE00, 0x2D, 0xDC00, 0x41, 0xE9});
  return text;
}

TEST_F(Utf7Test, ResumesThroughEveryOutputSize) {
  const Bytes units = Ucs2(SampleText());
  nls_test::ExpectResumeIdentity(enc_, units, 1, 4);
  Result encoded = Encode(SampleText());
  ASSERT_EQ(encoded.status, 1);
  nls_test::ExpectResumeIdentity(dec_, encoded.out, 2, 2);
  // Malformed pieces resume the same way.
  nls_test::ExpectResumeIdentity(dec_, B("a+AGF+!+\xE9+-+A-+AGEAYg-b+"), 2, 2);
}

TEST_F(Utf7Test, RandomDrainsKeepTheResult) {
  std::mt19937 rng(77);
  const Bytes units = Ucs2(SampleText());
  Result whole = Encode(SampleText());
  const Bytes bad = B("x+AGEA\xE9+ZeVnLIqe-y+!z");
  Result wholeBad = Decode(bad);
  ASSERT_EQ(wholeBad.status, -1302);
  for (int i = 0; i < 200; ++i) {
    auto e = nls_test::DrainRandom(enc_, units, 1, rng, 4, 12);
    ASSERT_TRUE(e.finished);
    ASSERT_EQ(e.out, whole.out);
    auto d = nls_test::DrainRandom(dec_, whole.out, 2, rng, 2, 9);
    ASSERT_TRUE(d.finished);
    ASSERT_EQ(d.out, units);
    // A malformed piece met in an early call is reported by the last one.
    auto m = nls_test::DrainRandom(dec_, bad, 2, rng, 2, 9);
    ASSERT_EQ(m.out, wholeBad.out);
    if (m.lastStatus != 2) {
      ASSERT_EQ(m.lastStatus, -1302);
    }
  }
}

TEST_F(Utf7Test, RoundTripsThroughPythonsCodec) {
  auto records = nls_test::LoadRecords("utf7_vectors.bin", 3);
  ASSERT_GT(records.size(), 1000u);
  for (const auto& rec : records) {
    const Bytes& ucs2 = rec[0];
    const Bytes& python = rec[1];
    const Bytes& expected = rec[2];
    // Our encoding is the one that Python reads back to the text.
    Result e = ConvertOnce(enc_, ucs2, static_cast<unsigned>(ucs2.size() * 3 + 1), 1);
    ASSERT_EQ(e.status, 1);
    ASSERT_EQ(e.out, expected);
    // Python's encoding, and ours, read back to the text.
    for (const Bytes* utf7 : {&python, &expected}) {
      Result d = ConvertOnce(dec_, *utf7, static_cast<unsigned>(utf7->size() * 2 + 2), 2);
      ASSERT_EQ(d.status, 1) << std::string(utf7->begin(), utf7->end());
      ASSERT_EQ(d.out, ucs2) << std::string(utf7->begin(), utf7->end());
    }
  }
}

}  // namespace

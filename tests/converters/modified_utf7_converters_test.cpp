// IMAP modified UTF-7 <-> UCS-2 converters: the examples of RFC 3501,
// malformed input, output full (results 2 and -1303) and resumption, and
// ICU's "IMAP-mailbox-name" converter as the oracle on random mailbox names.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "converters/drain.h"
#include "converters/oracle_records.h"
#include "nlscnv/builtin/builtin_module.h"
#include "nlscnv/converters/modified_utf7_converters.h"
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

class ModifiedUtf7Test : public ::testing::Test {
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
  TEncodingConverter* dec_ = NEWMODIFIEDUTF7TOUNICODEENCODINGCONVERTER();
  TEncodingConverter* enc_ = NEWUNICODETOMODIFIEDUTF7ENCODINGCONVERTER();
};

const U16 kTaipei = {0x53F0, 0x5317};
const U16 kNihongo = {0x65E5, 0x672C, 0x8A9E};

TEST_F(ModifiedUtf7Test, FactoriesAndBufferSizes) {
  EXPECT_EQ(dec_->GetStatus(), 1);
  EXPECT_EQ(enc_->GetStatus(), 1);
  EXPECT_EQ(static_cast<TModifiedUTF7ToUnicodeConverter*>(dec_)->shifted, 0);
  EXPECT_EQ(static_cast<TUnicodeToModifiedUTF7Converter*>(enc_)->shifted, 0);
  unsigned size = 0;
  dec_->TargetBufferSize(nullptr, 10, &size);
  EXPECT_EQ(size, 62u);
  enc_->TargetBufferSize(nullptr, 10, &size);
  EXPECT_EQ(size, 62u);
}

TEST_F(ModifiedUtf7Test, EncodesExactExamples) {
  const U16 mailbox = Cat(U("~user/mail/"), Cat(kTaipei, Cat(U("/"), kNihongo)));
  EXPECT_EQ(EncodeText(mailbox), "~user/mail/&U,BTFw-/&ZeVnLIqe-");
  EXPECT_EQ(EncodeText(Cat(U("~peter/mail/"), Cat(kTaipei, Cat(U("/"), kNihongo)))),
            "~peter/mail/&U,BTFw-/&ZeVnLIqe-");
  EXPECT_EQ(EncodeText(Cat(U("Hi Mom -"), Cat({0x263A}, U("-!")))), "Hi Mom -&Jjo--!");
  EXPECT_EQ(EncodeText(U("a&b")), "a&-b");
  EXPECT_EQ(EncodeText(U("\xE9&x")), "&AOk-&-x");
  EXPECT_EQ(EncodeText(U("\t")), "&AAk-");
  EXPECT_EQ(EncodeText(U("\x7F")), "&AH8-");
  EXPECT_EQ(EncodeText(U("~\\+,")), "~\\+,");  // printable ASCII stands for itself
  EXPECT_EQ(EncodeText({0x263A, 0x2C}), "&Jjo-,");
  EXPECT_EQ(EncodeText({0xD83D, 0xDE00}), "&2D3eAA-");
  EXPECT_EQ(EncodeText({}), "");
}

TEST_F(ModifiedUtf7Test, DecodesExactExamples) {
  EXPECT_EQ(Units(Decode(B("&-")).out), U("&"));
  EXPECT_EQ(Units(Decode(B("&U,BTFw-")).out), kTaipei);
  EXPECT_EQ(Units(Decode(B("~peter/mail/&U,BTFw-/&ZeVnLIqe-")).out),
            Cat(U("~peter/mail/"), Cat(kTaipei, Cat(U("/"), kNihongo))));
  for (const char* in : {"&AOk.", "&AOk"}) {
    Result r = Decode(B(in));
    EXPECT_EQ(r.status, 1) << in;
    EXPECT_EQ(Units(r.out), in[4] ? U("\xE9.") : U("\xE9")) << in;
  }
  // "&" also ends a run, and is absorbed; control characters pass as
  // themselves.
  EXPECT_EQ(Units(Decode(B("&AOk&x")).out), U("\xE9x"));
  EXPECT_EQ(Units(Decode(B("\t\x01")).out), U("\t\x01"));
}

TEST_F(ModifiedUtf7Test, MalformedInputIsConvertedAndReported) {
  struct Case {
    Bytes in;
    U16 units;
  };
  const Case cases[] = {
      {B("&&"), {}},           {B("&"), {}},          {B("&."), U(".")}, {B("&A-"), {}},
      {B("&AOl-"), U("\xE9")},  // leftover bits "01"
      {{0xE9}, {0xE9}},        {B("a&/b"), U("a/b")},
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
  EXPECT_EQ(Decode(B("&&"), 1).status, 2);
}

TEST_F(ModifiedUtf7Test, EncoderOutputFull) {
  Result r = Encode({0xE9}, 1);
  EXPECT_EQ(r.status, -1303);
  EXPECT_TRUE(r.out.empty());
  EXPECT_EQ(r.used, 0u);
  EXPECT_TRUE(r.terminated);
  EXPECT_EQ(Encode({0xE9}, 0).status, 2);

  // "&-" is written only with a byte left for the terminator.
  r = Encode(U("&"), 2);
  EXPECT_EQ(r.status, -1303);
  EXPECT_TRUE(r.out.empty());
  r = Encode(U("&"), 3);
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, B("&-"));
  EXPECT_TRUE(r.terminated);
  // Inside a run, "-&-" asks for 4 bytes after the run's last digit.
  r = Encode({0xE9, 0x26}, 8);
  EXPECT_EQ(r.out, B("&AOk-&-"));
  EXPECT_EQ(r.status, 1);
  r = Encode({0xE9, 0x26}, 7);
  EXPECT_EQ(r.status, -1303);
  EXPECT_EQ(r.used, 2u);
  EXPECT_EQ(r.out, B("&AO"));
  EXPECT_EQ(static_cast<TUnicodeToModifiedUTF7Converter*>(enc_)->shifted, 1);
  r = Encode({0x26}, 5);  // the kept run is closed first
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, B("k-&-"));
  EXPECT_EQ(static_cast<TUnicodeToModifiedUTF7Converter*>(enc_)->shifted, 0);

  // Exactly filled: everything consumed but no room for the terminator.
  r = Encode(U("ab"), 2);
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.used, 4u);
}

TEST_F(ModifiedUtf7Test, DecoderKeepsItsRunAcrossAFullOutput) {
  Result r = Decode(B("&ZeVnLIqe-x"), 4);
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(Units(r.out), (U16{0x65E5, 0x672C}));
  EXPECT_EQ(r.used, 8u);
  EXPECT_EQ(static_cast<TModifiedUTF7ToUnicodeConverter*>(dec_)->shifted, 1);
  r = Decode(B("e-x"));
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(Units(r.out), (U16{0x8A9E, 0x78}));
  EXPECT_EQ(static_cast<TModifiedUTF7ToUnicodeConverter*>(dec_)->shifted, 0);

  r = Decode(B("&ZeVnLIqe-x"), 4);
  dec_->Reset();
  EXPECT_EQ(static_cast<TModifiedUTF7ToUnicodeConverter*>(dec_)->shifted, 0);
  EXPECT_EQ(Units(Decode(B("e-x")).out), U("e-x"));
}

U16 SampleName() {
  U16 name = Cat(U("~user/mail/"), Cat(kTaipei, U("/&/")));
  for (uint16_t u = 0x0400; u < 0x0440; ++u) name.push_back(u);  // a long run
  name = Cat(name, U("&-x\t"));
  name = Cat(name, {0xD83D, 0xDE00, 0x26, 0xE9, 0x2D, 0x7F});
  return name;
}

TEST_F(ModifiedUtf7Test, ResumesThroughEveryOutputSize) {
  nls_test::ExpectResumeIdentity(enc_, Ucs2(SampleName()), 1, 5);
  Result encoded = Encode(SampleName());
  ASSERT_EQ(encoded.status, 1);
  nls_test::ExpectResumeIdentity(dec_, encoded.out, 2, 2);
  nls_test::ExpectResumeIdentity(dec_, B("a&&b&AOl-&x&\xE9&-&A-&ZeVnLIqe&b&"), 2, 2);
}

TEST_F(ModifiedUtf7Test, RandomDrainsKeepTheResult) {
  std::mt19937 rng(3501);
  const Bytes units = Ucs2(SampleName());
  Result whole = Encode(SampleName());
  const Bytes bad = B("x&AOkA\xE9&ZeVnLIqe-y&&z");
  Result wholeBad = Decode(bad);
  ASSERT_EQ(wholeBad.status, -1302);
  for (int i = 0; i < 200; ++i) {
    auto e = nls_test::DrainRandom(enc_, units, 1, rng, 5, 12);
    ASSERT_TRUE(e.finished);
    ASSERT_EQ(e.out, whole.out);
    auto d = nls_test::DrainRandom(dec_, whole.out, 2, rng, 2, 9);
    ASSERT_TRUE(d.finished);
    ASSERT_EQ(d.out, units);
    auto m = nls_test::DrainRandom(dec_, bad, 2, rng, 2, 9);
    ASSERT_EQ(m.out, wholeBad.out);
    if (m.lastStatus != 2) {
      ASSERT_EQ(m.lastStatus, -1302);
    }
  }
}

TEST_F(ModifiedUtf7Test, AgreesWithIcuOnMailboxNames) {
  auto records = nls_test::LoadRecords("imap_utf7_vectors.bin", 2);
  ASSERT_GT(records.size(), 1000u);
  for (const auto& rec : records) {
    const Bytes& ucs2 = rec[0];
    const Bytes& imap = rec[1];
    Result e = ConvertOnce(enc_, ucs2, static_cast<unsigned>(imap.size() + 1), 1);
    ASSERT_EQ(e.status, 1);
    ASSERT_EQ(e.out, imap);
    Result d = ConvertOnce(dec_, imap, static_cast<unsigned>(ucs2.size() + 2), 2);
    ASSERT_EQ(d.status, 1) << std::string(imap.begin(), imap.end());
    ASSERT_EQ(d.out, ucs2) << std::string(imap.begin(), imap.end());
  }
}

}  // namespace

// ISO-8859-1 <-> UCS-2: every byte and every 16-bit unit, the output-size
// contract, misaligned buffers and resumption.
#include <gtest/gtest.h>

#include "nlscnv/builtin/builtin_module.h"
#include "nlscnv/converters/latin1_converter.h"
#include "nlscnv/support/diagnostics.h"
#include "support/converter_harness.h"

using nls_test::Bytes;
using nls_test::ConvertOnce;
using nls_test::StderrCapture;
using nls_test::Ucs2;
using nls_test::Units;

namespace {

struct Latin1 : ::testing::Test {
  void TearDown() override {
    dec->ReleaseEncodingConverter();
    enc->ReleaseEncodingConverter();
  }
  TEncodingConverter* dec = NEWLATIN1TOUNICODEENCODINGCONVERTER();
  TEncodingConverter* enc = NEWUNICODETOLATIN1ENCODINGCONVERTER();
};

TEST_F(Latin1, FactoriesAndSizes) {
  EXPECT_EQ(dec->GetStatus(), 1);
  EXPECT_EQ(enc->GetStatus(), 1);
  EXPECT_NE(dynamic_cast<TLatin1EncodingConverter*>(dec), nullptr);
  unsigned size = 0;
  dec->TargetBufferSize(nullptr, 10, &size);
  EXPECT_EQ(size, 22u);
  enc->TargetBufferSize(nullptr, 10, &size);
  EXPECT_EQ(size, 12u);
}

TEST_F(Latin1, EveryByteIsItsCharacter) {
  Bytes all;
  std::vector<uint16_t> expected;
  for (int round = 0; round < 3; ++round)
    for (int b = 0; b < 256; ++b) {
      all.push_back(static_cast<unsigned char>(b));
      expected.push_back(static_cast<uint16_t>(b));
    }
  auto r = ConvertOnce(dec, all, static_cast<unsigned>(2 * all.size() + 2), 2);
  EXPECT_EQ(r.status, 1);  // a 0 byte does not end the input
  EXPECT_EQ(r.used, all.size());
  EXPECT_TRUE(r.terminated);
  EXPECT_EQ(Units(r.out), expected);
}

TEST_F(Latin1, EveryUnitKeepsItsLowByte) {
  std::vector<uint16_t> all(65536);
  Bytes expected(65536);
  for (unsigned u = 0; u < 65536; ++u) {
    all[u] = static_cast<uint16_t>(u);
    expected[u] = static_cast<unsigned char>(u & 0xFF);
  }
  auto r = ConvertOnce(enc, Ucs2(all), 65537, 1);
  EXPECT_EQ(r.status, 1);
  EXPECT_TRUE(r.terminated);
  EXPECT_EQ(r.out, expected);
  EXPECT_EQ(ConvertOnce(enc, Ucs2({0x00E9, 0x0100, 0x0141, 0x20AC}), 8, 1).out,
            (Bytes{0xE9, 0x00, 0x41, 0xAC}));
}

TEST_F(Latin1, ToUnicodeOutputSizes) {
  const Bytes five = {1, 2, 3, 4, 5};
  auto r = ConvertOnce(dec, five, 6, 2);
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.out.size(), 4u);
  EXPECT_EQ(r.used, 2u);
  EXPECT_TRUE(r.terminated);
  // Characters go in while more than 2 bytes remain; the terminator only
  // where it fits.
  for (unsigned size = 1; size <= 13; ++size) {
    r = ConvertOnce(dec, five, size, 2);
    const unsigned chars = std::min(5u, (size - 1) / 2);
    SCOPED_TRACE(size);
    EXPECT_EQ(r.used, chars);
    EXPECT_EQ(r.out.size(), 2 * chars);
    EXPECT_EQ(r.terminated, size - 2 * chars >= 2);
    EXPECT_EQ(r.status, chars == 5 ? 1 : 2);
  }
}

TEST_F(Latin1, ToUnicodeRejectsBadArguments) {
  unsigned char dst[4] = {9, 9, 9, 9};
  const unsigned char src[1] = {0x41};
  unsigned len = 7, used = 7;
  EXPECT_EQ(dec->Convert(nullptr, &len, 4, src, 1, &used), -1009);
  EXPECT_EQ(dec->Convert(dst, nullptr, 4, src, 1, &used), -1009);
  EXPECT_EQ(dec->Convert(dst, &len, 4, nullptr, 1, &used), -1009);
  EXPECT_EQ(dec->Convert(dst, &len, 0, src, 1, &used), -1009);
  EXPECT_EQ(dec->Convert(dst, &len, 4, src, 0, &used), -1009);
  EXPECT_EQ(len, 7u);
  EXPECT_EQ(used, 7u);
  EXPECT_EQ(dst[0], 9);
}

TEST_F(Latin1, FromUnicodeOutputSizes) {
  const Bytes four = Ucs2({0x41, 0x42, 0x43, 0x44});
  auto r = ConvertOnce(enc, four, 3, 1);
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.out, (Bytes{0x41, 0x42}));
  EXPECT_EQ(r.used, 4u);
  EXPECT_TRUE(r.terminated);

  Bytes odd = four;
  odd.push_back(0x45);
  r = ConvertOnce(enc, odd, 64, 1);
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.used, 8u);

  // No output at all: nothing converted, no NUL, and the diagnostic.
  StderrCapture capture;
  r = ConvertOnce(enc, four, 0, 1);
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.used, 0u);
  EXPECT_EQ(capture.Text(), nls_test::AssertText(40, nls::unit::kLat1cn));
  capture.Restore();

  StderrCapture quiet;
  r = ConvertOnce(enc, four, 1, 1);
  EXPECT_EQ(r.status, 2);
  EXPECT_TRUE(r.terminated);
  EXPECT_EQ(quiet.Text(), "");
}

TEST_F(Latin1, MisalignedBuffers) {
  // Long enough for the vector loops, at every offset.
  Bytes text(300);
  for (size_t i = 0; i < text.size(); ++i) text[i] = static_cast<unsigned char>(i * 7 + 3);
  for (unsigned offset = 0; offset < 4; ++offset) {
    Bytes src(offset, 0xEE);
    src.insert(src.end(), text.begin(), text.end());
    Bytes wide(offset + 2 * text.size() + 2);
    unsigned len = 0, used = 0;
    ASSERT_EQ(
        dec->Convert(wide.data() + offset, &len, 2 * 300 + 2, src.data() + offset, 300, &used), 1);
    const std::vector<uint16_t> units =
        Units(Bytes(wide.begin() + offset, wide.begin() + offset + len));
    ASSERT_EQ(units.size(), 300u);
    for (size_t i = 0; i < 300; ++i) EXPECT_EQ(units[i], text[i]);

    Bytes narrow(offset + 301);
    ASSERT_EQ(enc->Convert(narrow.data() + offset, &len, 301, wide.data() + offset, 600, &used), 1);
    EXPECT_EQ(Bytes(narrow.begin() + offset, narrow.begin() + offset + 300), text);
  }
}

TEST_F(Latin1, ResumesThroughSmallBuffers) {
  Bytes text;
  for (int b = 0; b < 256; ++b) text.push_back(static_cast<unsigned char>(b));
  nls_test::ExpectResumeIdentity(dec, text, 2, 3);
  std::vector<uint16_t> units;
  for (unsigned u = 0; u < 0x10000; u += 251) units.push_back(static_cast<uint16_t>(u));
  nls_test::ExpectResumeIdentity(enc, Ucs2(units), 1, 2);
}

}  // namespace

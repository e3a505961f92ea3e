// MacRoman through the built-in factories: every byte and every 16-bit unit
// against Python's mac_roman codec (tests/oracle/macroman_vectors.py), the
// characters where the library's form differs from the codec, and
// resumption through small output buffers.
#include <gtest/gtest.h>

#include "nlscnv/builtin/builtin_module.h"
#include "support/converter_harness.h"
#include "support/test_support.h"

using nls_test::Bytes;
using nls_test::ConvertOnce;
using nls_test::Ucs2;
using nls_test::Units;

namespace {

struct MacRoman : ::testing::Test {
  void TearDown() override {
    dec->ReleaseEncodingConverter();
    enc->ReleaseEncodingConverter();
  }
  std::vector<uint16_t> Decode(const Bytes& in) {
    auto r = ConvertOnce(dec, in, static_cast<unsigned>(2 * in.size() + 2), 2);
    EXPECT_EQ(r.status, 1);
    EXPECT_TRUE(r.terminated);
    return Units(r.out);
  }
  Bytes Encode(const std::vector<uint16_t>& in) {
    auto r = ConvertOnce(enc, Ucs2(in), static_cast<unsigned>(in.size() + 1), 1);
    EXPECT_EQ(r.status, 1);
    EXPECT_TRUE(r.terminated);
    return r.out;
  }
  TEncodingConverter* dec = NEWMACROMANTOUNICODEENCODINGCONVERTER();
  TEncodingConverter* enc = NEWUNICODETOMACROMANENCODINGCONVERTER();
};

std::vector<uint16_t> OracleDecode() {
  Bytes raw = nls_test::ReadFile(nls_test::OraclePath("macroman_decode.bin"));
  EXPECT_EQ(raw.size(), 512u);
  std::vector<uint16_t> out;
  for (size_t i = 0; i + 1 < raw.size(); i += 2) out.push_back(uint16_t(raw[i] | raw[i + 1] << 8));
  return out;
}

TEST_F(MacRoman, FactoriesLoadTheirTables) {
  EXPECT_EQ(dec->GetStatus(), 1);
  EXPECT_EQ(enc->GetStatus(), 1);
  EXPECT_EQ(gModuleRef, 1u);
  unsigned size = 0;
  dec->TargetBufferSize(nullptr, 10, &size);
  EXPECT_EQ(size, 22u);
  enc->TargetBufferSize(nullptr, 10, &size);
  EXPECT_EQ(size, 12u);
}

TEST_F(MacRoman, EveryByteAgainstTheOracle) {
  const std::vector<uint16_t> oracle = OracleDecode();
  ASSERT_EQ(oracle.size(), 256u);
  Bytes all;
  for (int b = 1; b < 256; ++b) all.push_back(static_cast<unsigned char>(b));
  EXPECT_EQ(Decode(all), std::vector<uint16_t>(oracle.begin() + 1, oracle.end()));
  for (int b = 1; b < 256; ++b)
    EXPECT_EQ(Decode({static_cast<unsigned char>(b)}), std::vector<uint16_t>{oracle[b]}) << b;
}

TEST_F(MacRoman, EveryUnitAgainstTheOracle) {
  const Bytes oracle = nls_test::ReadFile(nls_test::OraclePath("macroman_encode.bin"));
  ASSERT_EQ(oracle.size(), 65536u);
  std::vector<uint16_t> all(65536);
  for (unsigned u = 0; u < 65536; ++u) all[u] = static_cast<uint16_t>(u);
  const Bytes out = Encode(all);
  ASSERT_EQ(out.size(), oracle.size());
  for (unsigned u = 0; u < 65536; ++u) ASSERT_EQ(out[u], oracle[u]) << "U+" << std::hex << u;
}

TEST_F(MacRoman, FormWithCurrencyAndOhmSigns) {
  EXPECT_EQ(Decode({0xDB, 0xBD, 0x7F, 0xF0, 0xDF}),
            (std::vector<uint16_t>{0x00A4, 0x2126, 0xFFFD, 0xF8FF, 0xFB02}));
  EXPECT_EQ(Encode({0x20AC, 0x03A9, 0x2126, 0x00A4, 0xFB02, 0x007F, 0x000A}),
            (Bytes{'?', '?', 0xBD, 0xDB, 0xDF, '?', 0x0A}));
}

TEST_F(MacRoman, ResumesThroughSmallBuffers) {
  Bytes text;
  for (int i = 0; i < 3; ++i)
    for (int b = 1; b < 256; ++b) text.push_back(static_cast<unsigned char>(b));
  nls_test::ExpectResumeIdentity(dec, text, 2, 3);
  std::vector<uint16_t> units;
  for (unsigned u = 0; u < 0x2300; u += 7) units.push_back(static_cast<uint16_t>(u));
  nls_test::ExpectResumeIdentity(enc, Ucs2(units), 1, 2);
}

}  // namespace

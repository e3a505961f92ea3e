// Every table-driven encoding of the converter libraries against Python's
// codecs: every single byte, every two-byte sequence with a lead byte from
// 0x80 (and every 0x8F sequence of EUC-JP) to UCS-2, and every UCS-2 unit
// back.
//
// The oracle decodes invalid input by turning one byte into U+FFFD and going
// on with the next byte, which is what the table engine does. Where the
// engine's documented rules give another answer, the expectation below
// applies the rule:
// - to UCS-2, a 0 byte ends the input (no input here holds one; see
//   table_rules_test.cpp);
// - to UCS-2, bytes below 0x20 are themselves without a table lookup (all of
//   these codecs agree);
// - to UCS-2, the two-byte tables with high bits set (EUC-JP, GB2312, EUC-KR)
//   and the JIS X 0212 table of EUC-JP do not check the high bit of the
//   trail bytes: lead + 0x41 reads as lead + 0xC1;
// - from UCS-2, a character that no table maps is "?" (or itself when at
//   most 0x20).
// And where the tables knowingly depart from the codec:
// - EUC-KR 0xA4 0xD4 is U+3164 HANGUL FILLER (the codec reads it only as the
//   start of an eight-byte composition), and the syllables the codec writes
//   as eight-byte compositions are "?".
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "convlibs/convlibs_support.h"

namespace {

using convlibs_test::Bytes;
using convlibs_test::ConvertAll;
using convlibs_test::Converted;
using convlibs_test::Hex;
using convlibs_test::LeUnits;
using convlibs_test::TableEncoding;

class TableOracle : public ::testing::TestWithParam<TableEncoding> {
 protected:
  void SetUp() override {
    dec_ = GetParam().toUcs2();
    enc_ = GetParam().fromUcs2();
    ASSERT_NE(dec_, nullptr);
    ASSERT_NE(enc_, nullptr);
    ASSERT_EQ(dec_->GetStatus(), 1);
    ASSERT_EQ(enc_->GetStatus(), 1);
  }
  void TearDown() override {
    if (dec_) dec_->ReleaseEncodingConverter();
    if (enc_) enc_->ReleaseEncodingConverter();
  }
  TEncodingConverter* dec_ = nullptr;
  TEncodingConverter* enc_ = nullptr;
};

// The character that a complete sequence stands for, or -1.
int OneCharacter(const TableEncoding& e, const Bytes& seq, const std::map<Bytes, Bytes>& all) {
  if (std::string(e.name) == "EUC-KR" && seq == Bytes{0xA4, 0xD4}) return 0x3164;
  auto it = all.find(seq);
  if (it == all.end() || it->second.size() != 2) return -1;
  const uint16_t c = LeUnits(it->second)[0];
  return c == 0xFFFD ? -1 : c;
}

// The engine's answer for an input of one to three bytes; `all` holds the
// oracle's answer for every single byte and every pair with a lead from 0x80.
std::vector<uint16_t> Expected(const TableEncoding& e, const Bytes& in,
                               const std::map<Bytes, Bytes>& all) {
  if (in.size() == 3) {  // 0x8F b1 b2 of EUC-JP
    const int c = OneCharacter(e, Bytes{0x8F, uint8_t(in[1] | 0x80), uint8_t(in[2] | 0x80)}, all);
    if (c >= 0) return {static_cast<uint16_t>(c)};
    std::vector<uint16_t> rest = Expected(e, Bytes(in.begin() + 1, in.end()), all);
    rest.insert(rest.begin(), 0xFFFD);
    return rest;
  }
  if (in.size() == 2) {
    if (e.grLast != 0 && in[0] >= e.grFirst && in[0] <= e.grLast) {
      const int c = OneCharacter(e, Bytes{in[0], uint8_t(in[1] | 0x80)}, all);
      if (c >= 0) return {static_cast<uint16_t>(c)};
    }
    const int c = OneCharacter(e, in, all);
    if (c >= 0) return {static_cast<uint16_t>(c)};
    if (in[0] < 0x80) {
      std::vector<uint16_t> out = Expected(e, Bytes{in[0]}, all);
      out.push_back(Expected(e, Bytes{in[1]}, all).at(0));
      return out;
    }
  }
  return LeUnits(all.at(in));
}

TEST_P(TableOracle, EveryByteSequenceDecodesAsTheCodecDoes) {
  const TableEncoding& e = GetParam();
  const auto records = convlibs_test::ReadPairs(std::string("convlibs_") + e.codec + ".decode");
  ASSERT_GE(records.size(), 255u);
  const std::map<Bytes, Bytes> all(records.begin(), records.end());
  int failures = 0;
  for (const auto& record : records) {
    const Bytes& in = record.first;
    const std::vector<uint16_t> want = Expected(e, in, all);
    const Converted got = ConvertAll(dec_, in, 64);
    if (got.status != 1 || got.used != in.size() || LeUnits(got.out) != want) {
      if (++failures <= 10)
        ADD_FAILURE() << e.name << ": " << Hex(in) << " gives " << Hex(got.out) << " (status "
                      << got.status << "), expected " << Hex(nls_test::Ucs2(want));
    }
  }
  EXPECT_EQ(failures, 0);
}

TEST_P(TableOracle, EveryCharacterEncodesAsTheCodecDoes) {
  const TableEncoding& e = GetParam();
  const auto encodings =
      convlibs_test::ReadEncodings(std::string("convlibs_") + e.codec + ".encode");
  ASSERT_GE(encodings.size(), 128u);
  const bool euckr = std::string(e.name) == "EUC-KR";
  std::vector<Bytes> want(0x10000);
  for (uint32_t c = 0; c < 0x10000; ++c) {
    auto it = encodings.find(static_cast<uint16_t>(c));
    if (it != encodings.end() && !(euckr && it->second.size() == 8)) {
      want[c] = it->second;
    } else {
      want[c] = Bytes{static_cast<unsigned char>(c <= 0x20 ? c : '?')};
    }
  }
  // All 65536 units in one call.
  std::vector<uint16_t> units(0x10000);
  Bytes expected;
  for (uint32_t c = 0; c < 0x10000; ++c) {
    units[c] = static_cast<uint16_t>(c);
    expected.insert(expected.end(), want[c].begin(), want[c].end());
  }
  const Converted all = ConvertAll(enc_, nls_test::Ucs2(units), 4 * 0x10000 + 16);
  EXPECT_EQ(all.status, 1);
  EXPECT_EQ(all.used, 2u * 0x10000);
  if (all.out == expected) return;
  // Find the characters that differ.
  int failures = 0;
  for (uint32_t c = 0; c < 0x10000 && failures < 10; ++c) {
    const Converted one = ConvertAll(enc_, nls_test::Ucs2({static_cast<uint16_t>(c)}), 16);
    if (one.out != want[c]) {
      ++failures;
      ADD_FAILURE() << e.name << ": U+" << std::hex << c << " gives " << Hex(one.out)
                    << ", expected " << Hex(want[c]);
    }
  }
  ADD_FAILURE() << e.name << ": the output of all characters differs from the oracle";
}

std::string ParamName(const ::testing::TestParamInfo<TableEncoding>& info) {
  return info.param.codec;
}

INSTANTIATE_TEST_SUITE_P(AllTableEncodings, TableOracle,
                         ::testing::ValuesIn(convlibs_test::TableEncodings()), ParamName);

}  // namespace

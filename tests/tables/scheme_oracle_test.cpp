// The byte schemes against Python's codecs (tests/oracle/table_scheme_vectors.py):
// UTF-8 through an identity table for every 16-bit unit, and the whole
// Shift_JIS character set in tables built here from the codec's pairs.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>

#include "tables/synthetic_sets.h"

using nls_test::Bytes;
using nls_test::Cell;
using nls_test::Engine;
using nls_test::Outcome;
using nls_test::TableConverter;
using nls_test::Ucs2;
using nls_test::Units;

namespace {

using Pairs = std::map<uint16_t, uint16_t>;

Pairs ReadPairs(const char* name) {
  const Bytes raw = nls_test::ReadFile(nls_test::OraclePath(name));
  Pairs pairs;
  for (size_t i = 0; i + 3 < raw.size(); i += 4)
    pairs[uint16_t(raw[i] | raw[i + 1] << 8)] = uint16_t(raw[i + 2] | raw[i + 3] << 8);
  return pairs;
}

// A mapping table of format-1 ranges: keys less than 16 apart share a range,
// the gaps hold the unmapped value.
const uint16_t* RangeTable(const Pairs& pairs) {
  std::vector<Cell> cells;
  std::vector<uint16_t> values;
  for (auto it = pairs.begin(); it != pairs.end();) {
    const uint16_t first = it->first;
    uint16_t last = first;
    const auto start = static_cast<uint16_t>(values.size());
    values.push_back(it->second);
    for (++it; it != pairs.end() && it->first - last < 16; ++it) {
      values.insert(values.end(), it->first - last - 1u, uint16_t{0xFFFD});
      values.push_back(it->second);
      last = it->first;
    }
    cells.push_back({1, first, last, start});
  }
  return nls_test::MakeTable(cells, values);
}

Bytes CodeBytes(uint16_t code) {
  return code < 0x100 ? Bytes{uint8_t(code)} : Bytes{uint8_t(code >> 8), uint8_t(code)};
}

struct ShiftJisOracle : ::testing::Test {
  static void SetUpTestSuite() {
    decode = new Pairs(ReadPairs("sjis_decode.bin"));
    encode = new Pairs(ReadPairs("sjis_encode.bin"));
    slots = new std::vector<nls_test::SlotSpec>{
        {4, 0x00, 0xFF, RangeTable(*decode), RangeTable(*encode)}};
  }
  static void TearDownTestSuite() {
    delete decode;
    delete encode;
    delete slots;
  }
  static Pairs* decode;
  static Pairs* encode;
  static std::vector<nls_test::SlotSpec>* slots;
};
Pairs* ShiftJisOracle::decode;
Pairs* ShiftJisOracle::encode;
std::vector<nls_test::SlotSpec>* ShiftJisOracle::slots;

TEST_F(ShiftJisOracle, EveryCode) {
  ASSERT_GT(decode->size(), 7000u);
  TableConverter dec(*slots, 0);
  ASSERT_EQ(dec.GetStatus(), 1);
  Bytes all;
  std::vector<uint16_t> expected;
  for (const auto& [code, ch] : *decode) {
    if (code == 0) continue;
    const Bytes in = CodeBytes(code);
    Outcome o = nls_test::RunUncaptured(dec, in, 8, Engine::kFast);
    ASSERT_EQ(Units(o.Out()), std::vector<uint16_t>{ch}) << std::hex << code;
    ASSERT_EQ(o.used, in.size());
    all.insert(all.end(), in.begin(), in.end());
    expected.push_back(ch);
  }
  Outcome o = nls_test::RunOnce(dec, all, static_cast<unsigned>(2 * all.size() + 2));
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(Units(o.Out()), expected);
}

TEST_F(ShiftJisOracle, EveryUnit) {
  TableConverter enc(*slots, 1);
  ASSERT_EQ(enc.GetStatus(), 1);
  std::vector<uint16_t> units(65536);
  Bytes expected;
  for (unsigned u = 0; u < 65536; ++u) {
    units[u] = static_cast<uint16_t>(u);
    auto it = encode->find(static_cast<uint16_t>(u));
    if (it != encode->end()) {
      const Bytes b = CodeBytes(it->second);
      expected.insert(expected.end(), b.begin(), b.end());
    } else {
      expected.push_back(u <= 0x20 ? static_cast<unsigned char>(u) : '?');
    }
  }
  Outcome o = nls_test::RunOnce(enc, Ucs2(units), 3 * 65536);
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.diagnostics, "");
  ASSERT_EQ(o.Out().size(), expected.size());
  EXPECT_TRUE(o.Out() == expected);
}

TEST_F(ShiftJisOracle, RandomTextMatchesTheReferenceEngine) {
  TableConverter dec(*slots, 0), enc(*slots, 1);
  std::vector<uint16_t> chars;
  for (const auto& pair : *encode) chars.push_back(pair.first);
  std::mt19937 rng(7);
  for (int i = 0; i < 300; ++i) {
    std::vector<uint16_t> text;
    for (unsigned n = rng() % 40; n > 0; --n)
      text.push_back(rng() % 5 ? chars[rng() % chars.size()] : static_cast<uint16_t>(rng()));
    const unsigned size = static_cast<unsigned>(rng() % 90);
    const Outcome fast = nls_test::RunOnce(enc, Ucs2(text), size);
    ASSERT_EQ(fast, nls_test::RunOnce(enc, Ucs2(text), size, Engine::kReference));
    Bytes bytes = fast.Out();
    if (!bytes.empty() && rng() % 2) bytes.pop_back();  // may cut a sequence
    if (bytes.empty()) continue;
    const unsigned dsize = static_cast<unsigned>(rng() % 90 + 1);
    ASSERT_EQ(nls_test::RunOnce(dec, bytes, dsize),
              nls_test::RunOnce(dec, bytes, dsize, Engine::kReference));
  }
}

TEST(Utf8Oracle, EveryUnitBothWays) {
  const Bytes raw = nls_test::ReadFile(nls_test::OraclePath("utf8_bmp.bin"));
  TableConverter dec(nls_test::synth::Utf8(), 0), enc(nls_test::synth::Utf8(), 1);
  std::vector<uint16_t> units(65536), decodable;
  Bytes encoded, decodableBytes;
  size_t pos = 0;
  for (unsigned u = 0; u < 65536; ++u) {
    units[u] = static_cast<uint16_t>(u);
    ASSERT_LT(pos, raw.size());
    const Bytes seq(raw.begin() + static_cast<long>(pos) + 1,
                    raw.begin() + static_cast<long>(pos) + 1 + raw[pos]);
    pos += 1 + raw[pos];
    // U+FFFD is the table's unmapped value; U+0000 would end the input.
    if (u == 0xFFFD) {
      encoded.push_back('?');
      continue;
    }
    encoded.insert(encoded.end(), seq.begin(), seq.end());
    if (u == 0) continue;
    decodable.push_back(static_cast<uint16_t>(u));
    decodableBytes.insert(decodableBytes.end(), seq.begin(), seq.end());
  }
  Outcome o = nls_test::RunOnce(enc, Ucs2(units), 3 * 65536 + 1);
  EXPECT_EQ(o.status, 1);
  EXPECT_TRUE(o.Out() == encoded);
  o = nls_test::RunOnce(dec, decodableBytes, 2 * 65536 + 2);
  EXPECT_EQ(o.status, 1);
  EXPECT_TRUE(Units(o.Out()) == decodable);
}

}  // namespace

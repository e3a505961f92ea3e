// The encode arrays of UCS-2-to-bytes conversion with shift tables whose
// sequences do not all fit a plain one- or two-byte entry: codes whose second
// byte is 0, codes that spell the array's marker, cells that write another
// number of bytes than they count, longer sequences, unknown cell classes.
// Every unit with every small output size must give what the reference engine
// gives. Also the cache: built once, shared across threads, rebuilt for a
// changed table.
#include <gtest/gtest.h>

#include <thread>

#include "nlscnv/table_access.h"
#include "nlscnv/tables/mapping_tables.h"
#include "nlscnv/tables/shift_tables.h"
#include "nlscnv/tables/table_encoding_fast.h"
#include "tables/table_test_support.h"

using nls_test::Bytes;
using nls_test::Engine;
using nls_test::Outcome;
using nls_test::TableConverter;
using nls_test::Ucs2;

namespace {

// A one-slot converter from UCS-2 whose shift table the test chooses.
struct Encoder {
  TableConverter conv;
  Encoder(const uint16_t* from, const ShiftTable* shift) : conv({{1, 0x00, 0xFF, from, from}}, 1) {
    conv.Set().shiftTables[0] = shift;
  }
  const uint16_t* Map() {
    const uint16_t* direct[4] = {nls::DirectMap(conv.Set().tables[0], nls::kFullMapSize)};
    return nls::EncodeMap(conv.Set(), 1, direct);
  }
};

void ExpectSameAsReference(TableConverter& c,
                           const std::vector<std::pair<Bytes, unsigned>>& cases) {
  std::vector<Outcome> runs[2];
  std::string text[2];
  const Engine engines[2] = {Engine::kFast, Engine::kReference};
  for (int e = 0; e < 2; ++e) {
    nls_test::StderrCapture capture;
    for (const auto& k : cases) {
      runs[e].push_back(nls_test::RunUncaptured(c, k.first, k.second, engines[e]));
      std::fputs("--\n", stderr);  // keeps each case's lines apart
    }
    text[e] = capture.Text();
  }
  for (size_t i = 0; i < cases.size(); ++i) {
    ASSERT_TRUE(runs[1][i].guardIntact);
    ASSERT_EQ(runs[0][i], runs[1][i]) << "case " << i << ", room " << cases[i].second;
  }
  EXPECT_EQ(text[0], text[1]);
}

// All units in one call; every mapped unit (and a sample of the others,
// which all take the unmapped rule) alone with 0 to 5 bytes of room, and
// followed by an "A" in 3 bytes.
void ExpectEveryUnitSame(TableConverter& c) {
  const uint16_t* direct = nls::DirectMap(c.Set().tables[0], nls::kFullMapSize);
  ASSERT_NE(direct, nullptr);
  std::vector<std::pair<Bytes, unsigned>> cases;
  std::vector<uint16_t> all;
  for (unsigned u = 0; u < 65536; ++u) {
    all.push_back(static_cast<uint16_t>(u));
    if (direct[u] == nls::kUnmapped && u % 61 != 0) continue;
    const Bytes one = Ucs2({static_cast<uint16_t>(u)});
    for (unsigned room = 0; room <= 5; ++room) cases.push_back({one, room});
    cases.push_back({Ucs2({static_cast<uint16_t>(u), 0x41}), 3});
  }
  cases.push_back({Ucs2(all), 5 * 65536});
  cases.push_back({Ucs2(all), 777});
  ExpectSameAsReference(c, cases);
}

TEST(EncodeMap, TwoByteCodesWithASecondByteOfZeroOrTheMarkerValue) {
  // U+0100-U+01FF -> 0x4100-0x41FF (0x4100 ends in a 0 byte), U+0200 ->
  // 0xFFFF (the bytes of the marker), U+0201 -> 0x0041 (first byte 0),
  // U+0202 -> 0x00FF, U+0203 -> 0xFF00.
  const uint16_t* from = nls_test::MakeTable({{0, 0x0000, 0x007F, 0x0000},
                                              {0, 0x0100, 0x01FF, 0x4100},
                                              {2, 0x0200, 0, 0xFFFF},
                                              {2, 0x0201, 0, 0x0041},
                                              {2, 0x0202, 0, 0x00FF},
                                              {2, 0x0203, 0, 0xFF00}});
  Encoder e(from, &tbShiftT);
  const uint16_t* map = e.Map();
  ASSERT_NE(map, nullptr);
  EXPECT_EQ(map[0x0100], nls::kEncodeGeneral);
  EXPECT_EQ(map[0x0200], nls::kEncodeGeneral);
  EXPECT_EQ(map[0x0201], 0x4100);  // bytes 0x00 0x41
  EXPECT_EQ(map[0x0101], 0x0141);  // bytes 0x41 0x01
  ExpectEveryUnitSame(e.conv);

  Outcome o = nls_test::RunOnce(e.conv, Ucs2({0x0100, 0x0200, 0x0203, 0x41}), 16);
  EXPECT_EQ(o.Out(), (Bytes{0x41, 0x00, 0xFF, 0xFF, 0xFF, 0x00, 0x00, 0x41}));
}

TEST(EncodeMap, CellsOfEveryClassAndDisagreeingLengths) {
  static const ShiftTable cells = {
      8,
      2,
      {
          {0, 1, 0x00, 0x7F, 0x00, 0x00, 0x00, 0x7F},  // ASCII
          {1, 1, 0x00, 0x00, 0x30, 0x00, 0x3F, 0xFF},  // writes two bytes, counts one
          {0, 2, 0x00, 0x00, 0x00, 0x80, 0x00, 0xFF},  // writes one byte, counts two
          {5, 3, 0x00, 0x00, 0x40, 0x00, 0x4F, 0xFF},  // three bytes
          {9, 2, 0x00, 0x00, 0x50, 0x00, 0x50, 0xFF},  // unknown class
          {3, 2, 0x00, 0x00, 0x60, 0xA1, 0x60, 0xDF},  // 0x8E + low byte
          {4, 2, 0x00, 0x00, 0x07, 0x00, 0x07, 0xFF},  // two-byte UTF-8 form
          {2, 2, 0x00, 0x00, 0x21, 0x21, 0x7E, 0x7E},  // high bits set
      }};
  const uint16_t* from = nls_test::MakeTable({{0, 0x0000, 0x007F, 0x0000},
                                              {0, 0x3000, 0x30FF, 0x3000},
                                              {0, 0x0080, 0x00FF, 0x0080},
                                              {0, 0x4000, 0x40FF, 0x4000},
                                              {0, 0x5000, 0x50FF, 0x5000},
                                              {0, 0x6000, 0x60FF, 0x6000},
                                              {0, 0x0700, 0x07FF, 0x0700},
                                              {0, 0x2121, 0x217E, 0x2121},
                                              {2, 0x9000, 0, 0x9000}});  // no cell
  Encoder e(from, &cells);
  const uint16_t* map = e.Map();
  ASSERT_NE(map, nullptr);
  // Sequences of three bytes, and generation that prints its lines.
  for (uint16_t general : {0x4000, 0x5000, 0x9000})
    EXPECT_EQ(map[general], nls::kEncodeGeneral) << std::hex << general;
  EXPECT_EQ(map[0x60A1], 0xA18E);
  EXPECT_EQ(map[0x0741], 0x81DD);
  EXPECT_EQ(map[0x2122], 0xA2A1);
  ExpectEveryUnitSame(e.conv);
}

TEST(EncodeMap, SchemesOfThreeAndFourBytesAndAnUnknownClass) {
  const uint16_t* from = nls_test::MakeTable({{0, 0x0000, 0x00FF, 0x0000},
                                              {0, 0x4E00, 0x4EFF, 0x3021},
                                              {1, 0x5000, 0x5001, 0},
                                              {2, 0x5002, 0, 0xFFFD}},
                                             {0x7F7F, 0x0000});
  static const ShiftTable badClass = {0, 9, {}};
  for (const ShiftTable* shift : {&x0212ShiftT, &cns2ShiftT, &badClass, &tbGRShiftT}) {
    Encoder e(from, shift);
    ASSERT_NE(e.Map(), nullptr);
    ExpectEveryUnitSame(e.conv);
  }
}

TEST(EncodeMap, ChangedTableAtTheSameAddressGetsANewArray) {
  static std::vector<uint16_t> table = {2,      4,      5,      11, 0x0000, 0x0000,
                                        0x007F, 0x0000, 0x4E00, 0,  0x8140};
  table[4] = 0x0020;  // formats: cell 0 range, cell 1 single code
  Encoder e(table.data(), &sjisShiftT);
  Outcome before = nls_test::RunOnce(e.conv, Ucs2({0x4E00, 0x41}), 16);
  EXPECT_EQ(before.Out(), (Bytes{0x81, 0x40, 0x41}));
  table[10] = 0x889F;
  Outcome after = nls_test::RunOnce(e.conv, Ucs2({0x4E00, 0x41}), 16);
  EXPECT_EQ(after.Out(), (Bytes{0x88, 0x9F, 0x41}));
  EXPECT_EQ(after, nls_test::RunOnce(e.conv, Ucs2({0x4E00, 0x41}), 16, Engine::kReference));
}

TEST(EncodeMap, ConcurrentFirstUseBuildsOneArray) {
  const uint16_t* from =
      nls_test::MakeTable({{0, 0x0000, 0x007F, 0x0000}, {0, 0x4E00, 0x4FFF, 0x8840}});
  Encoder e(from, &sjisShiftT);
  const uint16_t* direct[4] = {nls::DirectMap(from, nls::kFullMapSize)};
  const uint16_t* seen[8] = {};
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i)
    threads.emplace_back([&, i] { seen[i] = nls::EncodeMap(e.conv.Set(), 1, direct); });
  for (auto& t : threads) t.join();
  ASSERT_NE(seen[0], nullptr);
  for (const uint16_t* s : seen) EXPECT_EQ(s, seen[0]);
  EXPECT_EQ(seen[0][0x4E01], 0x4188);  // bytes 0x88 0x41
  EXPECT_EQ(seen[0][0x41], 0x41);
  EXPECT_EQ(seen[0][0x3000], '?');
  EXPECT_EQ(seen[0][0x0A], 0x0A);
}

TEST(EncodeMap, NoArrayWithoutDirectArrays) {
  const uint16_t* from = nls_test::MakeTable({{0, 0x0000, 0x007F, 0x0000}});
  Encoder e(from, &sjisShiftT);
  const uint16_t* none[4] = {};
  EXPECT_EQ(nls::EncodeMap(e.conv.Set(), 1, none), nullptr);
  EXPECT_EQ(nls::EncodeMap(e.conv.Set(), 5, none), nullptr);
}

}  // namespace

// Mapping-table lookup, table lists, resource maps, loading a table set and
// the choice of shift table by table id; the built-in table data.
#include <gtest/gtest.h>

#include <cstring>
#include <set>

#include "nlscnv/converter.h"
#include "nlscnv/tables/mapping_tables.h"
#include "nlscnv/tables/shift_tables.h"
#include "tables/synthetic_sets.h"

using nls::LookupMappingTable;
using nls_test::Cell;
using nls_test::MakeTable;
using nls_test::SlotSpec;
using nls_test::TableConverter;

namespace {

constexpr uint16_t F = 0xFFFD;

TEST(MappingTableLookup, CellFormats) {
  const uint16_t* t = MakeTable({{0, 0x0041, 0x0042, 0xFFFF},  // offset wraps modulo 65536
                                 {1, 0x0100, 0x0103, 1},       // through the mapping array
                                 {2, 0x0200, 0x0999, 0x1234},  // single code; last not read
                                 {0, 0x0041, 0x0050, 0x3000},  // shadowed by cell 0 for A-B
                                 {1, 0x0300, 0x0300, 0}},
                                {0x1111, 0x2222, F, 0x3333, 0x4444});
  EXPECT_EQ(LookupMappingTable(t, 0x41), 0xFFFF);
  EXPECT_EQ(LookupMappingTable(t, 0x42), 0x0000);
  EXPECT_EQ(LookupMappingTable(t, 0x43), 0x3002);  // the later cell where the earlier ends
  EXPECT_EQ(LookupMappingTable(t, 0x100), 0x2222);
  EXPECT_EQ(LookupMappingTable(t, 0x101), F);  // matched, but the entry is unmapped
  EXPECT_EQ(LookupMappingTable(t, 0x103), 0x4444);
  EXPECT_EQ(LookupMappingTable(t, 0x104), F);
  EXPECT_EQ(LookupMappingTable(t, 0x200), 0x1234);
  EXPECT_EQ(LookupMappingTable(t, 0x201), F);
  EXPECT_EQ(LookupMappingTable(t, 0x300), 0x1111);
  EXPECT_EQ(LookupMappingTable(t, 0x0000), F);
  EXPECT_EQ(LookupMappingTable(t, 0xFFFF), F);
}

TEST(MappingTableLookup, Iso88591Table) {
  const uint16_t words[] = {0x0002, 0x0004, 0x0005, 0x000b, 0x0000, 0x0000,
                            0x007e, 0x0000, 0x00a0, 0x00ff, 0x00a0};
  EXPECT_EQ(std::memcmp(iso88591ToTbl, words, sizeof words), 0);
  EXPECT_EQ(std::memcmp(iso88591FromTbl, words, sizeof words), 0);
  for (unsigned c = 0; c < 0x10000; ++c) {
    const bool mapped = c <= 0x7E || (c >= 0xA0 && c <= 0xFF);
    ASSERT_EQ(LookupMappingTable(iso88591ToTbl, uint16_t(c)), mapped ? c : F) << c;
  }
}

TEST(TableLists, FindUTable) {
  const uint16_t a[] = {0}, b[] = {0}, c[] = {0};
  const UnicodeTableList list[] = {{5, a}, {70, b}, {5, c}, {0, nullptr}, {9, c}};
  EXPECT_EQ(FindUTable(5, list), a);
  EXPECT_EQ(FindUTable(70, list), b);
  EXPECT_EQ(FindUTable(6, list), nullptr);  // not by id modulo 64
  EXPECT_EQ(FindUTable(9, list), nullptr);  // after the end
  EXPECT_EQ(FindUTable(5, nullptr), nullptr);
  EXPECT_EQ(FindUTable(2, gStaticUnicodeToTableList), iso88591ToTbl);
  EXPECT_EQ(FindUTable(2, gStaticUnicodeFromTableList), iso88591FromTbl);
  EXPECT_NE(FindUTable(6, gStaticUnicodeToTableList), nullptr);
  EXPECT_NE(FindUTable(6, gStaticUnicodeFromTableList), FindUTable(6, gStaticUnicodeToTableList));
  EXPECT_EQ(gStaticUnicodeToTableList[2].tableId, 0);
  EXPECT_EQ(gStaticUnicodeFromTableList[2].tableId, 0);
}

TEST(TableLists, FindUTableName) {
  const char* const* names = FindUTableName(2, resourceTableStatic, 1);
  ASSERT_NE(names, nullptr);
  EXPECT_STREQ(names[0], "L8859-1.UF");
  EXPECT_EQ(names[1], nullptr);
  EXPECT_STREQ(FindUTableName(2, resourceTableStatic, 0)[0], "L8859-1.UT");
  EXPECT_STREQ(FindUTableName(6, resourceTableStatic, 1)[0], "MACROMAN.UF");
  EXPECT_STREQ(FindUTableName(6, resourceTableStatic, 0)[0], "MACROMAN.UT");
  EXPECT_EQ(FindUTableName(6, resourceTableStatic, 0), resourceTableStatic[1].toUnicodeNames);
  EXPECT_EQ(FindUTableName(3, resourceTableStatic, 0), nullptr);
  EXPECT_EQ(FindUTableName(2, nullptr, 0), nullptr);
  EXPECT_EQ(resourceTableStatic[2].tableId, 0);
}

TEST(BuiltinTables, SetsAndMacRomanLayout) {
  for (const UnicodeTableSet* s : {&latin1unicodetableset, &macromanunicodetableset}) {
    EXPECT_EQ(s->slots[0].tableId, s->setId);
    EXPECT_EQ(s->slots[0].firstByte, 0x00);
    EXPECT_EQ(s->slots[0].lastByte, 0xFF);
    for (int i = 1; i < 4; ++i) {
      EXPECT_EQ(s->slots[i].tableId, 0);
      EXPECT_EQ(s->slots[i].firstByte, 0xFF);
      EXPECT_EQ(s->slots[i].lastByte, 0x00);
    }
  }
  EXPECT_EQ(latin1unicodetableset.setId, 2);
  EXPECT_EQ(macromanunicodetableset.setId, 6);

  // The from-table: 18 cells in a fixed layout over a 198-entry mapping
  // array (checked further by the exhaustive MacRoman tests).
  const uint16_t* from = FindUTable(6, gStaticUnicodeFromTableList);
  const unsigned formats[18] = {0, 1, 2, 1, 2, 2, 1, 1, 2, 1, 1, 1, 2, 2, 1, 2, 2, 1};
  const uint16_t firsts[18] = {0x0000, 0x00A0, 0x0131, 0x0152, 0x0178, 0x0192,
                               0x02C6, 0x02D8, 0x03C0, 0x2013, 0x2122, 0x2202,
                               0x222B, 0x2248, 0x2260, 0x25CA, 0xF8FF, 0xFB01};
  const uint16_t values[18] = {0x00, 0,   0xF5, 96,   0xD9, 0xC4, 98,   100,  0xB9,
                               106,  156, 161,  0xBA, 0xC5, 190,  0xD7, 0xF0, 196};
  ASSERT_EQ(from[0], 18);
  unsigned arrayEntries = 0;
  for (unsigned j = 0; j < 18; ++j) {
    const uint16_t* cell = from + from[2] + 3 * j;
    EXPECT_EQ(nls::MappingCellFormat(from, j), formats[j]) << j;
    EXPECT_EQ(cell[0], firsts[j]) << j;
    EXPECT_EQ(cell[2], values[j]) << j;
    if (formats[j] == 2) {
      EXPECT_EQ(cell[1], 0) << j;
    }
    if (formats[j] == 1) {
      EXPECT_EQ(cell[2], arrayEntries) << j;  // the ranges follow one another
      arrayEntries += cell[1] - cell[0] + 1u;
    }
  }
  EXPECT_EQ(arrayEntries, 198u);

  const uint16_t* to = FindUTable(6, gStaticUnicodeToTableList);
  ASSERT_EQ(to[0], 2);
  EXPECT_EQ(nls::MappingCellFormat(to, 0), 0u);
  EXPECT_EQ(nls::MappingCellFormat(to, 1), 1u);
  const uint16_t* cells = to + to[2];
  EXPECT_EQ(std::vector<uint16_t>(cells, cells + 6),
            (std::vector<uint16_t>{0x00, 0x7E, 0x0000, 0x80, 0xFF, 0}));
}

// The scheme that each table id selects, as documented in shift_tables.h.
const ShiftTable* ExpectedScheme(unsigned id) {
  static const std::set<unsigned> none = {3, 5, 9, 13, 32, 33, 35, 36, 38};
  static const std::set<unsigned> gr = {8, 12, 24, 26, 28, 31};
  id %= 64;
  if (none.count(id) || id >= 47) return nullptr;
  if (gr.count(id)) return &tbGRShiftT;
  switch (id) {
    case 4:
      return &sjisShiftT;
    case 7:
    case 37:
      return &big5ShiftT;
    case 25:
      return &cns2ShiftT;
    case 27:
      return &x0201ShiftT;
    case 30:
      return &x0212ShiftT;
    case 34:
      return &utf8ShiftT;
    default:
      return &sbShiftT;
  }
}

TEST(TableSetLoading, ShiftTableByTableIdModulo64) {
  const uint16_t* t = MakeTable({{0, 0, 0xFF, 0}});
  for (unsigned id = 1; id < 200; ++id) {
    for (char dir : {0, 1}) {
      TableConverter c({{uint16_t(id), 0x00, 0xFF, t, t}}, dir);
      const ShiftTable* expected = ExpectedScheme(id);
      SCOPED_TRACE(id);
      if (expected == nullptr) {
        EXPECT_EQ(c.GetStatus(), -1010);
        EXPECT_EQ(c.TableCount(), 0u);
      } else {
        EXPECT_EQ(c.GetStatus(), 1);
        EXPECT_EQ(c.TableCount(), 1u);
        EXPECT_EQ(c.Set().shiftTables[0], expected);
        EXPECT_EQ(c.Set().tables[0], t);
      }
    }
  }
  // The classes and cell counts of the built-in schemes.
  EXPECT_EQ(sbShiftT.tableClass, 0);
  EXPECT_EQ(tbShiftT.tableClass, 1);
  EXPECT_EQ(tbGRShiftT.tableClass, 3);
  EXPECT_EQ(x0212ShiftT.tableClass, 4);
  EXPECT_EQ(cns2ShiftT.tableClass, 5);
  for (const ShiftTable* s : {&sjisShiftT, &big5ShiftT, &x0201ShiftT, &utf8ShiftT})
    EXPECT_EQ(s->tableClass, 2);
  EXPECT_EQ(sjisShiftT.cellCount, 4);
  EXPECT_EQ(big5ShiftT.cellCount, 2);
  EXPECT_EQ(x0201ShiftT.cellCount, 2);
  EXPECT_EQ(utf8ShiftT.cellCount, 3);
}

TEST(TableSetLoading, FillsOnlyTheSetOfTheDirection) {
  const auto layout = nls_test::synth::EucJp();
  for (char dir : {0, 1}) {
    TableConverter c(layout, dir);
    ASSERT_EQ(c.GetStatus(), 1);
    EXPECT_EQ(c.TableCount(), 4u);
    for (int i = 0; i < 4; ++i) {
      EXPECT_EQ(c.Set().tables[i], dir ? layout[i].fromTable : layout[i].toTable);
      EXPECT_EQ(c.Set().slots[i].tableId, layout[i].id);
      EXPECT_EQ(c.Set().slots[i].firstByte, layout[i].first);
      EXPECT_EQ(c.Set().slots[i].lastByte, layout[i].last);
      EXPECT_EQ(c.OtherSet().tables[i], nullptr);
      EXPECT_EQ(c.OtherSet().shiftTables[i], nullptr);
      EXPECT_EQ(c.OtherSet().slots[i].tableId, 0);
    }
  }
}

TEST(TableSetLoading, StopsAtTheFirstEmptySlot) {
  const uint16_t* t = MakeTable({{0, 0, 0xFF, 0}});
  TableConverter none({{0, 0x00, 0xFF, t, t}, {1, 0x00, 0xFF, t, t}}, 0);
  EXPECT_EQ(none.GetStatus(), 1);
  EXPECT_EQ(none.TableCount(), 0u);
  EXPECT_EQ(none.Set().tables[1], nullptr);
  EXPECT_EQ(none.Set().slots[0].firstByte, 0xFF);

  TableConverter one({{1, 0x00, 0x7F, t, t}, {0, 0x80, 0xFF, t, t}, {1, 0, 0xFF, t, t}}, 1);
  EXPECT_EQ(one.TableCount(), 1u);
  EXPECT_EQ(one.Set().tables[2], nullptr);
}

TEST(TableSetLoading, MissingTableOrSchemeFails) {
  const uint16_t* t = MakeTable({{0, 0, 0xFF, 0}});
  // The second slot's table is only in the to-list.
  const std::vector<SlotSpec> layout = {{1, 0x00, 0x7F, t, t}, {10, 0x80, 0xFF, t, nullptr}};
  TableConverter from(layout, 1);
  EXPECT_EQ(from.GetStatus(), -1010);
  EXPECT_EQ(from.TableCount(), 0u);
  EXPECT_EQ(from.Set().tables[0], t);          // filled before the failure
  EXPECT_EQ(from.Set().slots[1].tableId, 10);  // copied before the search
  EXPECT_EQ(from.Set().tables[1], nullptr);
  TableConverter to(layout, 0);
  EXPECT_EQ(to.GetStatus(), 1);
  EXPECT_EQ(to.TableCount(), 2u);

  // A scheme with no shift table (35) in the third slot.
  TableConverter noScheme({{1, 0, 0x7F, t, t}, {10, 0x80, 0xFF, t, t}, {35, 0, 0, t, t}}, 0);
  EXPECT_EQ(noScheme.GetStatus(), -1010);

  // A later successful load reports 1 again.
  EXPECT_EQ(to.LoadUCS2TableSet(0, &to.Set(), 0), 1);
  EXPECT_EQ(from.LoadUCS2TableSet(0, &from.Set(), 0), 1);  // to-list this time
  EXPECT_EQ(from.GetStatus(), 1);
  EXPECT_EQ(from.TableCount(), 2u);
}

TEST(TableSetLoading, UnloadClearsSlots) {
  const auto layout = nls_test::synth::EucJp();
  TableConverter c(layout, 0);
  c.UnloadUCS2TableSet(&c.Set(), 0);
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(c.Set().slots[i].tableId, 0);
    EXPECT_EQ(c.Set().tables[i], nullptr);
    EXPECT_EQ(c.Set().shiftTables[i], nullptr);
  }
  c.UnloadUCS2TableSet(nullptr, 0);
  EXPECT_EQ(c.LoadToUCS2Table(27), layout[1].toTable);
  EXPECT_EQ(c.LoadFromUCS2Table(27), layout[1].fromTable);
  EXPECT_EQ(c.LoadToUCS2Table(28), nullptr);
}

TEST(TableSetLoading, ConverterWithoutResourceMapLoadsNothing) {
  const uint16_t* t = MakeTable({{0, 0, 0xFF, 0}});
  const UnicodeTableList list[] = {{1, t}, {0, nullptr}};
  const UnicodeTableSet set = {1, {{1, 0, 0xFF}, {0, 0xFF, 0}, {0, 0xFF, 0}, {0, 0xFF, 0}}};
  TEncodingConverter c("a", "b", &set, list, list, 1, 2, nullptr, 0, 0);
  EXPECT_EQ(c.GetStatus(), 1);
  unsigned char out[8];
  unsigned len = 0, used = 0;
  const unsigned char in[] = {0x41, 0x0A};
  EXPECT_EQ(c.Convert(out, &len, sizeof out, in, 2, &used), 1);
  EXPECT_EQ(nls_test::Units(nls_test::Bytes(out, out + len)), (std::vector<uint16_t>{F, 0x0A}));
}

}  // namespace

// Small table sets in the forms of real multi-byte encodings, one per byte
// scheme. Each holds a few characters chosen so that the tests can tell the
// schemes, cell formats and slot orders apart. Table ids above 63 check that
// the scheme is chosen by the id modulo 64.
#ifndef NLSCNV_TESTS_TABLES_SYNTHETIC_SETS_H
#define NLSCNV_TESTS_TABLES_SYNTHETIC_SETS_H

#include <ostream>
#include <string>
#include <vector>

#include "nlscnv/converter.h"
#include "tables/table_test_support.h"

namespace nls_test::synth {

inline const uint16_t* Ascii() {
  static const uint16_t* t = MakeTable({{0, 0x00, 0x7F, 0x00}});
  return t;
}

// Shift_JIS form, table id 68 (scheme 4): ASCII without DEL, half-width
// katakana, a format-1 range holding an unmapped code (0x8142), single codes
// with both lead-byte ranges. U+00A5 maps to 0x0080, which no byte form of
// the scheme can spell. Each table ends with a cell that an earlier one
// shadows (the unmapped entry of the range still ends the search).
inline std::vector<SlotSpec> ShiftJis() {
  static const uint16_t* to = MakeTable({{0, 0x0000, 0x007E, 0x0000},
                                         {0, 0x00A1, 0x00DF, 0xFF61},
                                         {1, 0x8140, 0x8143, 0},
                                         {2, 0x889F, 0, 0x4E9C},
                                         {2, 0xE040, 0, 0x6F3E},
                                         {2, 0xFC4B, 0, 0x9ED1},
                                         {2, 0x8142, 0, 0x3003}},  // shadowed
                                        {0x3000, 0x3001, 0xFFFD, 0x3002});
  static const uint16_t* from = MakeTable({{0, 0x0000, 0x007E, 0x0000},
                                           {0, 0xFF61, 0xFF9F, 0x00A1},
                                           {1, 0x3000, 0x3002, 0},
                                           {2, 0x4E9C, 0, 0x889F},
                                           {2, 0x6F3E, 0, 0xE040},
                                           {2, 0x9ED1, 0, 0xFC4B},
                                           {2, 0x00A5, 0, 0x0080},
                                           {2, 0xFF61, 0, 0x1234}},  // shadowed
                                          {0x8140, 0x8141, 0x8143});
  return {{68, 0x00, 0xFF, to, from}};
}

// EUC-JP form in four slots: ASCII (id 1), half-width katakana after 0x8E
// (id 27), JIS X 0208 in GR (id 72, scheme 8), JIS X 0212 after 0x8F
// (id 30). U+4E9C is in both the GR and the 0212 from-tables: the earlier
// slot wins.
inline std::vector<SlotSpec> EucJp() {
  static const uint16_t* kanaTo = MakeTable({{0, 0x00A1, 0x00DF, 0xFF61}});
  static const uint16_t* kanaFrom = MakeTable({{0, 0xFF61, 0xFF9F, 0x00A1}});
  static const uint16_t* jisTo =
      MakeTable({{1, 0x2121, 0x2123, 0}, {2, 0x3021, 0, 0x4E9C}}, {0x3000, 0x3001, 0x3002});
  static const uint16_t* jisFrom =
      MakeTable({{1, 0x3000, 0x3002, 0}, {2, 0x4E9C, 0, 0x3021}}, {0x2121, 0x2122, 0x2123});
  static const uint16_t* supTo = MakeTable({{2, 0x3021, 0, 0x4E02}, {2, 0x2237, 0, 0xFF5E}});
  static const uint16_t* supFrom =
      MakeTable({{2, 0x4E02, 0, 0x3021}, {2, 0xFF5E, 0, 0x2237}, {2, 0x4E9C, 0, 0x1234}});
  return {{1, 0x00, 0x7F, Ascii(), Ascii()},
          {27, 0x8E, 0x8E, kanaTo, kanaFrom},
          {72, 0xA1, 0xFE, jisTo, jisFrom},
          {30, 0x8F, 0x8F, supTo, supFrom}};
}

// EUC-TW form: ASCII (id 1), CNS plane 2 after 0x8E 0xA2 (id 25), plane 1
// in GR (id 24).
inline std::vector<SlotSpec> EucTw() {
  static const uint16_t* p2To = MakeTable({{2, 0x2121, 0, 0x4E42}, {0, 0x2122, 0x2123, 0x4E43}});
  static const uint16_t* p2From = MakeTable({{2, 0x4E42, 0, 0x2121}, {0, 0x4E43, 0x4E44, 0x2122}});
  static const uint16_t* p1To = MakeTable({{2, 0x4421, 0, 0x4E00}});
  static const uint16_t* p1From = MakeTable({{2, 0x4E00, 0, 0x4421}});
  return {{1, 0x00, 0x7F, Ascii(), Ascii()},
          {25, 0x8E, 0x8E, p2To, p2From},
          {24, 0xA1, 0xFE, p1To, p1From}};
}

// Big5 form, table id 7.
inline std::vector<SlotSpec> Big5() {
  static const uint16_t* to =
      MakeTable({{0, 0x00, 0x7F, 0x00}, {1, 0xA140, 0xA142, 0}, {2, 0xA440, 0, 0x4E00}},
                {0x3000, 0xFF0C, 0x3001});
  static const uint16_t* from = MakeTable({{0, 0x00, 0x7F, 0x00},
                                           {2, 0x3000, 0, 0xA140},
                                           {2, 0xFF0C, 0, 0xA141},
                                           {2, 0x3001, 0, 0xA142},
                                           {2, 0x4E00, 0, 0xA440}});
  return {{7, 0x00, 0xFF, to, from}};
}

// UTF-8 through an identity table (id 98, scheme 34): the scheme alone
// decides the bytes. U+FFFD is the unmapped value and so stays unmapped.
inline std::vector<SlotSpec> Utf8() {
  static const uint16_t* identity = MakeTable({{0, 0x0000, 0xFFFF, 0x0000}});
  return {{98, 0x00, 0xFF, identity, identity}};
}

// Two single-byte slots with split first-byte ranges. The first slot's table
// covers Latin-1, but its range stops at 0x7F, so bytes from 0x80 go to the
// second slot (every even byte a Cyrillic letter, odd bytes unmapped). From
// UCS-2 the ranges play no part: Latin-1 characters come out of the first
// slot, Cyrillic ones out of the second.
inline std::vector<SlotSpec> SplitSingleByte() {
  static const uint16_t* latin = MakeTable({{0, 0x0000, 0x00FF, 0x0000}});
  static const uint16_t* highTo = [] {
    std::vector<uint16_t> values;
    for (int b = 0x80; b <= 0xFF; ++b)
      values.push_back(b % 2 ? uint16_t{0xFFFD} : static_cast<uint16_t>(0x0400 + (b - 0x80) / 2));
    return MakeTable({{1, 0x80, 0xFF, 0}}, values);
  }();
  static const uint16_t* highFrom = [] {
    std::vector<uint16_t> values;
    for (int i = 0; i < 64; ++i) values.push_back(static_cast<uint16_t>(0x80 + 2 * i));
    return MakeTable({{1, 0x0400, 0x043F, 0}}, values);
  }();
  return {{1, 0x00, 0x7F, latin, latin}, {10, 0x80, 0xFF, highTo, highFrom}};
}

// A single-byte table with an unknown cell format (3) between two good
// cells: upper-case letters map to lower case, '0' to U+2080, and every
// lookup that gets past the first cell prints the diagnostic of the bad one.
inline std::vector<SlotSpec> UnknownFormat() {
  static const uint16_t* to =
      MakeTable({{0, 0x41, 0x5A, 0x61}, {3, 0x00, 0xFF, 0x00}, {2, 0x30, 0, 0x2080}});
  static const uint16_t* from =
      MakeTable({{0, 0x61, 0x7A, 0x41}, {3, 0x00, 0xFFFF, 0x00}, {2, 0x2080, 0, 0x30}});
  return {{1, 0x00, 0xFF, to, from}};
}

// A single-byte table without the C0 controls and DEL (from UCS-2 without
// the space either): control bytes and characters up to U+0020 pass
// without it.
inline std::vector<SlotSpec> Printable() {
  static const uint16_t* to = MakeTable({{0, 0x20, 0x7E, 0x20}});
  static const uint16_t* from = MakeTable({{0, 0x21, 0x7E, 0x21}});
  return {{1, 0x00, 0xFF, to, from}};
}

// The built-in single-byte tables.
inline std::vector<SlotSpec> MacRoman() {
  return {{6, 0x00, 0xFF, FindUTable(6, gStaticUnicodeToTableList),
           FindUTable(6, gStaticUnicodeFromTableList)}};
}
inline std::vector<SlotSpec> Iso88591() {
  return {{2, 0x00, 0xFF, iso88591ToTbl, iso88591FromTbl}};
}

struct NamedSet {
  std::string name;
  std::vector<SlotSpec> slots;
};

inline void PrintTo(const NamedSet& set, std::ostream* os) { *os << set.name; }

inline std::vector<NamedSet> AllSets() {
  return {{"MacRoman", MacRoman()},   {"Iso88591", Iso88591()},
          {"ShiftJis", ShiftJis()},   {"EucJp", EucJp()},
          {"EucTw", EucTw()},         {"Big5", Big5()},
          {"Utf8", Utf8()},           {"Split", SplitSingleByte()},
          {"Printable", Printable()}, {"Unknown", UnknownFormat()}};
}

}  // namespace nls_test::synth

#endif  // NLSCNV_TESTS_TABLES_SYNTHETIC_SETS_H

// Lookup of a code value in a mapping table: the cells are tried in order and
// the first one that holds the code gives the result.
#ifndef NLSCNV_TABLES_MAPPING_TABLES_H
#define NLSCNV_TABLES_MAPPING_TABLES_H

#include <cstdint>

#include "nlscnv/converter.h"
#include "nlscnv/support/diagnostics.h"

namespace nls {

inline constexpr uint16_t kUnmapped = 0xFFFD;

// Word offsets of the table header.
enum MappingTableHeader : int {
  kCellCount = 0,
  kFormatOffset = 1,
  kCellOffset = 2,
  kMapOffset = 3
};

// The 4-bit format of cell j: four formats per word, lowest bits first.
inline unsigned MappingCellFormat(const uint16_t* table, unsigned j) {
  return (table[table[kFormatOffset] + j / 4] >> (4 * (j % 4))) & 0xF;
}

// The character (or code) for c, or kUnmapped. An unknown cell format prints
// its diagnostic and the cell is skipped.
inline uint16_t LookupMappingTable(const uint16_t* table, uint16_t c) {
  const unsigned count = table[kCellCount];
  const uint16_t* cell = table + table[kCellOffset];
  for (unsigned j = 0; j < count; ++j, cell += 3) {
    const uint16_t first = cell[0];
    switch (MappingCellFormat(table, j)) {
      case 0:
        if (c >= first && c <= cell[1]) return static_cast<uint16_t>(c - first + cell[2]);
        break;
      case 1:
        if (c >= first && c <= cell[1]) return table[table[kMapOffset] + cell[2] + (c - first)];
        break;
      case 2:
        if (c == first) return cell[2];
        break;
      default:
        AssertLine(site::kBadCellFormat);
        break;
    }
  }
  return kUnmapped;
}

}  // namespace nls

#endif  // NLSCNV_TABLES_MAPPING_TABLES_H

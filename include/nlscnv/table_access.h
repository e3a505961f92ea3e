// Direct lookup arrays for mapping tables, built once per table and shared by
// every converter and thread: entry c holds what the cell search gives for
// code c. The table engine uses them in place of the per-character search.
#ifndef NLSCNV_TABLE_ACCESS_H
#define NLSCNV_TABLE_ACCESS_H

#include <cstdint>

#include "nlscnv.h"

namespace nls {

// Entries for codes 0 to 255 (single-byte scanning) or 0 to 65535.
inline constexpr uint32_t kByteMapSize = 256;
inline constexpr uint32_t kFullMapSize = 65536;

// Returns an array of at least `size` entries with
// entry[c] == LookupMappingTable(table, c), building it on first use; null
// when the table holds an unknown cell format (whose lookup must print its
// diagnostic) or memory runs out. Thread-safe; the arrays live until the
// process ends. A cached array is keyed by the table's address and checked
// against the table's header and cells, so that a table unloaded with its
// library and replaced by a different one at the same address is not served
// a stale array.
NLS_EXPORT const uint16_t* DirectMap(const uint16_t* table, uint32_t size);

}  // namespace nls

#endif  // NLSCNV_TABLE_ACCESS_H

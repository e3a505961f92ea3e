// UCS-2 to bytes for table sets with multi-byte slots through one array per
// set: entry c holds the bytes that the slot search and the shift table
// write for the character c, so that the per-character work is one load and
// one store. Characters whose output is not one or two plain bytes (longer
// sequences, failed generation with its diagnostic) are marked and take the
// general step, which also decides everything that depends on the room left.
#ifndef NLSCNV_TABLES_TABLE_ENCODING_FAST_H
#define NLSCNV_TABLES_TABLE_ENCODING_FAST_H

#include <cstdint>

#include "nlscnv/converter.h"

namespace nls {

// Result of TableFromUnicodeFast when the set has no encode array.
inline constexpr int kNoEncodeMap = 0;

// Converts like the general UCS-2-to-bytes loop over the first `count` slots
// (count <= 4) of set, whose used slots have the full direct arrays `direct`
// (see table_fastpath.h). Returns the result (1 or 2) with the counts and
// output of the general loop, or kNoEncodeMap without touching anything when
// no encode array exists for the set (a slot without its direct array, or no
// memory).
int TableFromUnicodeFast(const uTableSet& set, uint32_t count, const uint16_t* const direct[4],
                         unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
                         const unsigned char* src, unsigned int srcLen, unsigned int* srcUsed);

// The encode array of the set (built on first use, cached for the process,
// thread-safe), or null. Entry c is the first output byte in its low 8 bits
// and the second, if any, in its high 8 bits (a second byte is never 0);
// kEncodeGeneral marks a character for the general step.
const uint16_t* EncodeMap(const uTableSet& set, uint32_t count, const uint16_t* const direct[4]);
inline constexpr uint16_t kEncodeGeneral = 0xFFFF;

}  // namespace nls

#endif  // NLSCNV_TABLES_TABLE_ENCODING_FAST_H

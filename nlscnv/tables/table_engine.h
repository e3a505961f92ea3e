// The table engine on a loaded table set. The converter base class runs the
// fast form; the reference form searches the cells of a mapping table for
// every character and serves as the yardstick of the fast one, which gives
// byte-identical results (output, status, counts and diagnostics).
#ifndef NLSCNV_TABLES_TABLE_ENGINE_H
#define NLSCNV_TABLES_TABLE_ENGINE_H

#include <cstdint>

#include "nlscnv/converter.h"

namespace nls {

// Bytes to UCS-2 through the first tableCount slots of set.
int TableToUnicode(const uTableSet& set, uint32_t tableCount, unsigned char* dst,
                   unsigned int* dstLen, unsigned int dstSize, const unsigned char* src,
                   unsigned int srcLen, unsigned int* srcUsed);
// UCS-2 to bytes through the first tableCount slots of set.
int TableFromUnicode(const uTableSet& set, uint32_t tableCount, unsigned char* dst,
                     unsigned int* dstLen, unsigned int dstSize, const unsigned char* src,
                     unsigned int srcLen, unsigned int* srcUsed);

// The same conversions with a linear cell search per character.
int TableToUnicodeReference(const uTableSet& set, uint32_t tableCount, unsigned char* dst,
                            unsigned int* dstLen, unsigned int dstSize, const unsigned char* src,
                            unsigned int srcLen, unsigned int* srcUsed);
int TableFromUnicodeReference(const uTableSet& set, uint32_t tableCount, unsigned char* dst,
                              unsigned int* dstLen, unsigned int dstSize, const unsigned char* src,
                              unsigned int srcLen, unsigned int* srcUsed);

}  // namespace nls

#endif  // NLSCNV_TABLES_TABLE_ENGINE_H

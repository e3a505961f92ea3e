// Compiled decoding plans for the bytes -> UCS-2 direction of the table
// engine. A plan is worked out once per table set from the slots, their
// shift tables and the direct lookup arrays, and records for every first
// byte what the general step (try the slots in order, scan, look up) gives
// whatever follows it:
//
//   stop     the byte is 0: conversion ends before it
//   single   one byte, always the same character
//   pair     two bytes; the character is row[second byte], where U+FFFD in
//            a row means the general step decides (an unmapped pair falls
//            through to later slots and may end as one byte of U+FFFD)
//   general  anything else (three- and four-byte forms, odd cell lengths,
//            shift-table classes that print diagnostics): the general step
//
// A single-byte plan (every byte single or stop) converts through one
// 256-entry array with vector NUL checks and widening of ASCII runs. Plans
// are cached process-wide, thread-safe, keyed by the slot descriptions, the
// shift tables' contents and the direct arrays, and live until the process
// ends.
#ifndef NLSCNV_TABLES_TABLE_DECODING_FAST_H
#define NLSCNV_TABLES_TABLE_DECODING_FAST_H

#include <cstdint>

#include "nlscnv/converter.h"

namespace nls {

enum DecodeLeadKind : uint32_t {
  kLeadSingle = 0,
  kLeadPair = 1,
  kLeadGeneral = 2,
  kLeadStop = 3,
};

struct DecodePlan {
  // Per first byte: the kind in bits 16-17; the character (single) or the
  // row number (pair) in bits 0-15.
  uint32_t lead[256];
  // The character of every byte for single-byte plans (entry 0 unused).
  uint16_t bytes[256];
  // The same split into low and high bytes, 16 bytes of each per group of
  // 16 byte values (the high nibble), for byte shuffles.
  uint8_t groupLow[16][16];
  uint8_t groupHigh[16][16];
  // Bytes 0x01 to 16 * identityGroups - 1 map to themselves (at least the
  // control characters 0x01-0x1F do, so this is 2 or more).
  uint8_t identityGroups;
  // 256 entries per pair row.
  const uint16_t* rows;
  bool singleByte;  // every first byte is single or stop
};

// The plan of the first `count` slots of `set`, whose direct arrays are
// `direct` (as the engine fetched them; null where a table has none). Null
// when the set cannot be planned (a used slot without a direct array) or the
// cache is full; the caller then uses the general loops.
const DecodePlan* DecodePlanFor(const uTableSet& set, uint32_t count,
                                const uint16_t* const direct[4]);

// Single-byte plans: converts src[0..n) into n units at dst and returns n,
// or the position of the first 0 byte before which it stopped.
unsigned DecodeSingleBytes(const DecodePlan& plan, unsigned char* dst, const unsigned char* src,
                           unsigned n);

// Converts from *in / *out while the plan decides the next character and
// *out < outLimit; stops before a 0 byte, a general first byte, a pair whose
// row says U+FFFD, a pair cut by the end of the input, or at the end.
void DecodePlannedRun(const DecodePlan& plan, unsigned char* dst, unsigned outLimit,
                      const unsigned char* src, unsigned srcLen, unsigned* in, unsigned* out);

}  // namespace nls

#endif  // NLSCNV_TABLES_TABLE_DECODING_FAST_H

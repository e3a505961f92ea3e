// The table engine: bytes to UCS-2 by scanning a sequence with a slot's shift
// table and looking its code up in the slot's mapping table, and UCS-2 to
// bytes by looking the character up and writing its code with the shift
// table. Slots are tried in order; the first one that maps wins.
//
// Both directions are written once over a lookup policy: the reference form
// searches the cells, the fast form reads the direct arrays of
// table_fastpath.h. To UCS-2, the fast form runs on the set's decoding plan
// (table_decoding_fast.h) and takes the general step only where the plan
// does not decide; from UCS-2 to a multi-byte set, it copies the bytes of
// the set's encoding array (table_encoding_fast.h) and takes the general
// step for the characters the array leaves to it. When every slot is
// single-byte, dedicated loops do the same work without the scan and
// generate steps.
#include "nlscnv/tables/table_engine.h"

#include <algorithm>

#include "nlscnv/support/diagnostics.h"
#include "nlscnv/table_access.h"
#include "nlscnv/tables/mapping_tables.h"
#include "nlscnv/tables/shift_tables.h"
#include "nlscnv/tables/table_decoding_fast.h"
#include "nlscnv/tables/table_encoding_fast.h"
#include "nlscnv/unaligned.h"

namespace nls {
namespace {

constexpr uint32_t kSlots = 4;
constexpr unsigned char kReplacement = '?';

struct SearchLookup {
  const uTableSet& set;
  uint16_t operator()(uint32_t slot, uint16_t code) const {
    return LookupMappingTable(set.tables[slot], code);
  }
};

struct DirectLookup {
  const uTableSet& set;
  const uint16_t* direct[kSlots];
  uint16_t operator()(uint32_t slot, uint16_t code) const {
    return direct[slot] != nullptr ? direct[slot][code]
                                   : LookupMappingTable(set.tables[slot], code);
  }
};

bool BadToUnicodeArguments(const unsigned char* dst, const unsigned int* dstLen,
                           unsigned int dstSize, const unsigned char* src, unsigned int srcLen) {
  return dst == nullptr || dstLen == nullptr || src == nullptr || dstSize == 0 || srcLen == 0;
}

// Characters stored to UCS-2 while more than 2 output bytes remain.
unsigned ToUnicodeCapacity(unsigned dstSize) { return (dstSize - 1) / 2; }
// Bytes written from UCS-2 one at a time while at least 2 remain.
unsigned FromUnicodeCapacity(unsigned dstSize) { return dstSize == 0 ? 0 : dstSize - 1; }

// The 16-bit terminator goes after the output only when it fits.
int FinishToUnicode(unsigned char* dst, unsigned out, unsigned dstSize, unsigned in,
                    unsigned srcLen, unsigned* dstLen, unsigned* srcUsed) {
  return FinishConvert(dst, dstSize, out, dstLen, in, srcLen, srcUsed, 2);
}

int FinishFromUnicode(unsigned char* dst, unsigned out, unsigned dstSize, unsigned read,
                      unsigned srcLen, unsigned* dstLen, unsigned* srcUsed) {
  if (out == dstSize) AssertLine(site::kOutputUsedUp);
  return nls::FinishConvert(dst, dstSize, out, dstLen, 2 * read, srcLen, srcUsed, 1);
}

// One step of the general loop at src (avail >= 1 bytes, src[0] != 0): the
// character and the number of bytes it takes.
template <typename Lookup>
inline uint16_t ToUnicodeStep(const uTableSet& set, uint32_t count, const Lookup& lookup,
                              const unsigned char* src, unsigned avail, unsigned* used) {
  const unsigned char b = src[0];
  *used = 1;
  if (b < 0x20) return b;
  for (uint32_t s = 0; s < count; ++s) {
    const UnicodeTableSlot& slot = set.slots[s];
    if (set.tables[s] == nullptr || set.shiftTables[s] == nullptr || b < slot.firstByte ||
        b > slot.lastByte)
      continue;
    uint16_t code;
    unsigned length;
    if (!ScanShift(set.shiftTables[s], src, avail, &code, &length)) continue;
    const uint16_t mapped = lookup(s, code);
    if (mapped != kUnmapped) {
      *used = length;
      return mapped;
    }
  }
  return kUnmapped;
}

template <typename Lookup>
int ToUnicodeLoop(const uTableSet& set, uint32_t count, const Lookup& lookup, unsigned char* dst,
                  unsigned* dstLen, unsigned dstSize, const unsigned char* src, unsigned srcLen,
                  unsigned* srcUsed) {
  unsigned in = 0, out = 0;
  while (in < srcLen && src[in] != 0 && dstSize - out > 2) {
    unsigned used;
    StoreUnit16(dst + out, ToUnicodeStep(set, count, lookup, src + in, srcLen - in, &used));
    out += 2;
    in += used;
  }
  return FinishToUnicode(dst, out, dstSize, in, srcLen, dstLen, srcUsed);
}

// Runs of characters that the set's decoding plan decides, with one general
// step wherever it does not.
int PlannedToUnicode(const DecodePlan& plan, const uTableSet& set, uint32_t count,
                     const DirectLookup& lookup, unsigned char* dst, unsigned* dstLen,
                     unsigned dstSize, const unsigned char* src, unsigned srcLen,
                     unsigned* srcUsed) {
  const unsigned capacity = ToUnicodeCapacity(dstSize);
  if (plan.singleByte) {
    const unsigned n = DecodeSingleBytes(plan, dst, src, std::min(srcLen, capacity));
    return FinishToUnicode(dst, 2 * n, dstSize, n, srcLen, dstLen, srcUsed);
  }
  const unsigned outLimit = 2 * capacity;
  unsigned in = 0, out = 0;
  for (;;) {
    DecodePlannedRun(plan, dst, outLimit, src, srcLen, &in, &out);
    if (in >= srcLen || src[in] == 0 || out >= outLimit) break;
    unsigned used;
    StoreUnit16(dst + out, ToUnicodeStep(set, count, lookup, src + in, srcLen - in, &used));
    out += 2;
    in += used;
  }
  return FinishToUnicode(dst, out, dstSize, in, srcLen, dstLen, srcUsed);
}

template <typename Lookup>
int FromUnicodeLoop(const uTableSet& set, uint32_t count, const Lookup& lookup, unsigned char* dst,
                    unsigned* dstLen, unsigned dstSize, const unsigned char* src, unsigned srcLen,
                    unsigned* srcUsed) {
  const unsigned chars = srcLen / 2;
  unsigned read = 0, out = 0;
  while (read < chars && dstSize - out >= 2) {
    const uint16_t c = LoadUnit16(src + 2 * read);
    ++read;
    uint32_t chosen = kSlots;
    uint16_t code = 0;
    for (uint32_t s = 0; s < count; ++s) {
      if (set.tables[s] == nullptr) continue;
      code = lookup(s, c);
      if (code != kUnmapped) {
        chosen = s;
        break;
      }
    }
    if (chosen == kSlots) {
      dst[out++] = c <= 0x20 ? static_cast<unsigned char>(c) : kReplacement;
      continue;
    }
    unsigned length;
    const ShiftTable* shift = set.shiftTables[chosen];
    if (shift != nullptr && GenerateShift(shift, code, dst + out, dstSize - out, &length)) {
      out += length;
    } else {
      AssertLine(site::kGenerateFailed);
      dst[out++] = kReplacement;
    }
  }
  return FinishFromUnicode(dst, out, dstSize, read, srcLen, dstLen, srcUsed);
}

// Single-byte sets: every byte is one character and every character one
// byte, so the counts follow from the buffer sizes.
int SingleByteToUnicode(const uTableSet& set, uint32_t count, const DirectLookup& lookup,
                        unsigned char* dst, unsigned* dstLen, unsigned dstSize,
                        const unsigned char* src, unsigned srcLen, unsigned* srcUsed) {
  const unsigned n = std::min(srcLen, ToUnicodeCapacity(dstSize));
  unsigned i = 0;
  const uint16_t* map = lookup.direct[0];
  if (count == 1 && map != nullptr && set.slots[0].firstByte == 0x00 &&
      set.slots[0].lastByte == 0xFF) {
    for (; i < n; ++i) {
      const unsigned char b = src[i];
      if (b == 0) break;
      StoreUnit16(dst + 2 * i, b < 0x20 ? b : map[b]);
    }
  } else {
    for (; i < n; ++i) {
      const unsigned char b = src[i];
      if (b == 0) break;
      uint16_t ch = b < 0x20 ? b : kUnmapped;
      for (uint32_t s = 0; b >= 0x20 && s < count; ++s) {
        if (lookup.direct[s] == nullptr || b < set.slots[s].firstByte || b > set.slots[s].lastByte)
          continue;
        const uint16_t mapped = lookup.direct[s][b];
        if (mapped != kUnmapped) {
          ch = mapped;
          break;
        }
      }
      StoreUnit16(dst + 2 * i, ch);
    }
  }
  return FinishToUnicode(dst, 2 * i, dstSize, i, srcLen, dstLen, srcUsed);
}

int SingleByteFromUnicode(uint32_t count, const DirectLookup& lookup, unsigned char* dst,
                          unsigned* dstLen, unsigned dstSize, const unsigned char* src,
                          unsigned srcLen, unsigned* srcUsed) {
  const unsigned n = std::min(srcLen / 2, FromUnicodeCapacity(dstSize));
  const uint16_t* map = lookup.direct[0];
  if (count == 1 && map != nullptr) {
    for (unsigned i = 0; i < n; ++i) {
      const uint16_t c = LoadUnit16(src + 2 * i);
      const uint16_t code = map[c];
      dst[i] = static_cast<unsigned char>(code != kUnmapped ? code : c <= 0x20 ? c : kReplacement);
    }
  } else {
    for (unsigned i = 0; i < n; ++i) {
      const uint16_t c = LoadUnit16(src + 2 * i);
      unsigned char byte = c <= 0x20 ? static_cast<unsigned char>(c) : kReplacement;
      for (uint32_t s = 0; s < count; ++s) {
        if (lookup.direct[s] == nullptr) continue;
        const uint16_t code = lookup.direct[s][c];
        if (code != kUnmapped) {
          byte = static_cast<unsigned char>(code);
          break;
        }
      }
      dst[i] = byte;
    }
  }
  return FinishFromUnicode(dst, n, dstSize, n, srcLen, dstLen, srcUsed);
}

// Fetches the direct arrays of the used slots. True when every used slot is
// single-byte and has its array (a slot without a table counts as unused).
bool PrepareDirect(const uTableSet& set, uint32_t count, bool toUnicode, DirectLookup* lookup) {
  bool singleByte = true;
  for (uint32_t s = 0; s < kSlots; ++s) lookup->direct[s] = nullptr;
  for (uint32_t s = 0; s < count; ++s) {
    if (set.tables[s] == nullptr) continue;
    const bool byteScheme = set.shiftTables[s] != nullptr && set.shiftTables[s]->tableClass == 0;
    const uint32_t size = toUnicode && byteScheme ? kByteMapSize : kFullMapSize;
    lookup->direct[s] = DirectMap(set.tables[s], size);
    singleByte = singleByte && byteScheme && lookup->direct[s] != nullptr;
  }
  return singleByte;
}

}  // namespace

int TableToUnicodeReference(const uTableSet& set, uint32_t tableCount, unsigned char* dst,
                            unsigned* dstLen, unsigned dstSize, const unsigned char* src,
                            unsigned srcLen, unsigned* srcUsed) {
  if (BadToUnicodeArguments(dst, dstLen, dstSize, src, srcLen)) return NLS_E_ARGUMENT;
  return ToUnicodeLoop(set, std::min(tableCount, kSlots), SearchLookup{set}, dst, dstLen, dstSize,
                       src, srcLen, srcUsed);
}

int TableFromUnicodeReference(const uTableSet& set, uint32_t tableCount, unsigned char* dst,
                              unsigned* dstLen, unsigned dstSize, const unsigned char* src,
                              unsigned srcLen, unsigned* srcUsed) {
  return FromUnicodeLoop(set, std::min(tableCount, kSlots), SearchLookup{set}, dst, dstLen, dstSize,
                         src, srcLen, srcUsed);
}

int TableToUnicode(const uTableSet& set, uint32_t tableCount, unsigned char* dst, unsigned* dstLen,
                   unsigned dstSize, const unsigned char* src, unsigned srcLen, unsigned* srcUsed) {
  if (BadToUnicodeArguments(dst, dstLen, dstSize, src, srcLen)) return NLS_E_ARGUMENT;
  const uint32_t count = std::min(tableCount, kSlots);
  DirectLookup lookup{set, {}};
  const bool singleByte = PrepareDirect(set, count, true, &lookup);
  if (const DecodePlan* plan = DecodePlanFor(set, count, lookup.direct))
    return PlannedToUnicode(*plan, set, count, lookup, dst, dstLen, dstSize, src, srcLen, srcUsed);
  if (singleByte)
    return SingleByteToUnicode(set, count, lookup, dst, dstLen, dstSize, src, srcLen, srcUsed);
  return ToUnicodeLoop(set, count, lookup, dst, dstLen, dstSize, src, srcLen, srcUsed);
}

int TableFromUnicode(const uTableSet& set, uint32_t tableCount, unsigned char* dst,
                     unsigned* dstLen, unsigned dstSize, const unsigned char* src, unsigned srcLen,
                     unsigned* srcUsed) {
  const uint32_t count = std::min(tableCount, kSlots);
  DirectLookup lookup{set, {}};
  if (PrepareDirect(set, count, false, &lookup))
    return SingleByteFromUnicode(count, lookup, dst, dstLen, dstSize, src, srcLen, srcUsed);
  const int fast =
      TableFromUnicodeFast(set, count, lookup.direct, dst, dstLen, dstSize, src, srcLen, srcUsed);
  if (fast != kNoEncodeMap) return fast;
  return FromUnicodeLoop(set, count, lookup, dst, dstLen, dstSize, src, srcLen, srcUsed);
}

}  // namespace nls

int TEncodingConverter::ConvertToUnicode(unsigned char* dst, unsigned int* dstLen,
                                         unsigned int dstSize, const unsigned char* src,
                                         unsigned int srcLen, unsigned int* srcUsed) {
  return nls::TableToUnicode(fToUnicodeSet, fTableCount, dst, dstLen, dstSize, src, srcLen,
                             srcUsed);
}

int TEncodingConverter::ConvertFromUnicode(unsigned char* dst, unsigned int* dstLen,
                                           unsigned int dstSize, const unsigned char* src,
                                           unsigned int srcLen, unsigned int* srcUsed) {
  return nls::TableFromUnicode(fFromUnicodeSet, fTableCount, dst, dstLen, dstSize, src, srcLen,
                               srcUsed);
}

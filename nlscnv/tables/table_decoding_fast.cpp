#include "nlscnv/tables/table_decoding_fast.h"

#include <atomic>
#include <cstring>
#include <mutex>
#include <new>

#include "nlscnv/support/simd.h"
#include "nlscnv/tables/mapping_tables.h"
#include "nlscnv/tables/shift_tables.h"
#include "nlscnv/unaligned.h"

#if defined(NLS_HAVE_SSE2)
#include <emmintrin.h>
#endif

namespace nls {

#if defined(NLS_HAVE_AVX2)
// table_decoding_fast_avx2.cpp
unsigned DecodeSingleBytesAvx2(const DecodePlan& plan, unsigned char* dst, const unsigned char* src,
                               unsigned n);
#endif

namespace {

constexpr uint32_t kSlots = 4;
constexpr unsigned kMaxPlans = 512;  // beyond this, sets run on the general loops

// ---- Working out a plan --------------------------------------------------

// What scanning with one slot's shift table does for a given first byte when
// at least 4 input bytes are readable.
enum class Scan {
  kFail,   // fails whatever follows (no cell, wrong prefix byte)
  kFixed,  // one byte, code = the byte
  kPair,   // two bytes, the code depends on both and nothing beyond
  kOther,  // reads further, has an unusual length, or prints a diagnostic
};

Scan Classify(const ShiftTable* shift, unsigned char b0) {
  switch (shift->tableClass) {
    case 0:
      return Scan::kFixed;
    case 1:
    case 3:
      return Scan::kPair;
    case 2: {
      const int count = shift->cellCount < kMaxShiftCells ? shift->cellCount : kMaxShiftCells;
      for (int j = 0; j < count; ++j) {
        const ShiftCell& cell = shift->cells[j];
        if (b0 < cell.firstMin || b0 > cell.firstMax) continue;
        if (cell.cellClass == 0 && cell.length == 1) return Scan::kFixed;
        if (cell.cellClass >= 1 && cell.cellClass <= 4 && cell.length == 2) return Scan::kPair;
        return Scan::kOther;
      }
      return Scan::kFail;
    }
    case 4:
      return b0 == 0x8F ? Scan::kOther : Scan::kFail;
    case 5:
      return b0 == 0x8E ? Scan::kOther : Scan::kFail;
    default:
      return Scan::kOther;
  }
}

// The code that the shift table scans from b0 b1 (Fixed and Pair only).
uint16_t ScanCode(const ShiftTable* shift, unsigned char b0, unsigned char b1) {
  const unsigned char bytes[4] = {b0, b1, 0, 0};
  uint16_t code = 0;
  unsigned length = 0;
  ScanShift(shift, bytes, sizeof bytes, &code, &length);
  return code;
}

struct PlanKey {
  uint32_t count;
  const uint16_t* tables[kSlots];
  const uint16_t* direct[kSlots];
  const ShiftTable* shiftTables[kSlots];
  ShiftTable shifts[kSlots];
  uint8_t first[kSlots];
  uint8_t last[kSlots];
};

void MakeKey(const uTableSet& set, uint32_t count, const uint16_t* const direct[4], PlanKey* key) {
  std::memset(key, 0, sizeof *key);
  key->count = count;
  for (uint32_t s = 0; s < count; ++s) {
    key->tables[s] = set.tables[s];
    key->direct[s] = direct[s];
    key->shiftTables[s] = set.shiftTables[s];
    if (set.shiftTables[s] != nullptr)
      std::memcpy(&key->shifts[s], set.shiftTables[s], sizeof(ShiftTable));
    key->first[s] = set.slots[s].firstByte;
    key->last[s] = set.slots[s].lastByte;
  }
}

struct PlanNode {
  PlanKey key;
  DecodePlan plan;
  bool usable;
  const PlanNode* next;
};

// Fills the lead entries; returns the number of pair rows, whose slots are
// noted in rowSlot (by row number).
unsigned PlanLeads(const PlanKey& key, DecodePlan* plan, uint8_t rowSlot[256]) {
  unsigned rows = 0;
  for (unsigned b = 0; b < 256; ++b) {
    const auto b0 = static_cast<unsigned char>(b);
    uint32_t entry = kLeadSingle << 16 | kUnmapped;
    if (b == 0) {
      entry = kLeadStop << 16;
    } else if (b < 0x20) {
      entry = kLeadSingle << 16 | b;
    } else {
      for (uint32_t s = 0; s < key.count; ++s) {
        if (key.tables[s] == nullptr || key.shiftTables[s] == nullptr || b0 < key.first[s] ||
            b0 > key.last[s])
          continue;
        const Scan scan = Classify(&key.shifts[s], b0);
        if (scan == Scan::kFail) continue;
        if (scan == Scan::kFixed) {
          const uint16_t mapped = key.direct[s][ScanCode(&key.shifts[s], b0, 0)];
          if (mapped == kUnmapped) continue;
          entry = kLeadSingle << 16 | mapped;
        } else if (scan == Scan::kPair) {
          rowSlot[rows] = static_cast<uint8_t>(s);
          entry = kLeadPair << 16 | rows++;
        } else {
          entry = kLeadGeneral << 16;
        }
        break;
      }
    }
    plan->lead[b] = entry;
  }
  return rows;
}

bool FillPlan(const PlanKey& key, DecodePlan* plan) {
  uint8_t rowSlot[256];
  const unsigned rows = PlanLeads(key, plan, rowSlot);
  uint16_t* rowData = nullptr;
  if (rows != 0) {
    rowData = new (std::nothrow) uint16_t[rows * 256];
    if (rowData == nullptr) return false;
  }
  plan->singleByte = true;
  unsigned identity = 1;
  while (identity < 256 && plan->lead[identity] == (kLeadSingle << 16 | identity)) ++identity;
  plan->identityGroups = static_cast<uint8_t>(identity / 16);
  for (unsigned b = 0; b < 256; ++b) {
    const uint32_t entry = plan->lead[b];
    const uint32_t kind = entry >> 16;
    plan->bytes[b] = static_cast<uint16_t>(entry);
    plan->groupLow[b >> 4][b & 15] = static_cast<uint8_t>(entry);
    plan->groupHigh[b >> 4][b & 15] = static_cast<uint8_t>(entry >> 8);
    if (kind != kLeadSingle && kind != kLeadStop) plan->singleByte = false;
    if (kind != kLeadPair) continue;
    const uint32_t row = entry & 0xFFFF;
    const uint32_t s = rowSlot[row];
    const ShiftTable* shift = &key.shifts[s];
    for (unsigned b1 = 0; b1 < 256; ++b1)
      rowData[row * 256 + b1] = key.direct[s][ScanCode(shift, static_cast<unsigned char>(b),
                                                       static_cast<unsigned char>(b1))];
  }
  plan->rows = rowData;
  return true;
}

// Published nodes are never changed or freed; new ones are pushed in front,
// so readers walk a bucket without a lock.
constexpr unsigned kBuckets = 64;
std::atomic<const PlanNode*> gBuckets[kBuckets] = {};
std::mutex gBuildMutex;
unsigned gPlanCount = 0;  // guarded by gBuildMutex

unsigned BucketOf(const PlanKey& key) {
  uintptr_t h = key.count;
  for (uint32_t s = 0; s < key.count; ++s)
    h = h * 31 + (reinterpret_cast<uintptr_t>(key.tables[s]) >> 3) + key.first[s] * 7u +
        key.last[s];
  return static_cast<unsigned>((h ^ (h >> 9)) % kBuckets);
}

const PlanNode* Find(const PlanKey& key, unsigned bucket) {
  for (const PlanNode* n = gBuckets[bucket].load(std::memory_order_acquire); n != nullptr;
       n = n->next)
    if (std::memcmp(&n->key, &key, sizeof key) == 0) return n;
  return nullptr;
}

// ---- Single-byte loops ---------------------------------------------------

// Bytes up to the first 0 through the array, one at a time.
inline unsigned DecodeBytesTail(const uint16_t* map, unsigned char* dst, const unsigned char* src,
                                unsigned i, unsigned n) {
  for (; i < n; ++i) {
    const unsigned char b = src[i];
    if (b == 0) break;
    StoreUnit16(dst + 2 * i, map[b]);
  }
  return i;
}

inline bool HasZeroByte(uint32_t w) { return ((w - 0x01010101u) & ~w & 0x80808080u) != 0; }

unsigned DecodeSingleBytesWords(const DecodePlan& plan, unsigned char* dst,
                                const unsigned char* src, unsigned n) {
  const uint16_t* map = plan.bytes;
  unsigned i = 0;
  for (; n - i >= 8; i += 8) {
    if (HasZeroByte(LoadUnit32(src + i)) || HasZeroByte(LoadUnit32(src + i + 4))) break;
    for (unsigned k = 0; k < 8; ++k) StoreUnit16(dst + 2 * (i + k), map[src[i + k]]);
  }
  return DecodeBytesTail(map, dst, src, i, n);
}

#if defined(NLS_HAVE_SSE2)
unsigned DecodeSingleBytesSse2(const DecodePlan& plan, unsigned char* dst, const unsigned char* src,
                               unsigned n) {
  const uint16_t* map = plan.bytes;
  const __m128i zero = _mm_setzero_si128();
  const bool ascii = plan.identityGroups >= 8;
  unsigned i = 0;
  for (; n - i >= 16; i += 16) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i));
    if (_mm_movemask_epi8(_mm_cmpeq_epi8(v, zero)) != 0) break;
    unsigned char* d = dst + 2 * i;
    if (ascii && _mm_movemask_epi8(v) == 0) {
      _mm_storeu_si128(reinterpret_cast<__m128i*>(d), _mm_unpacklo_epi8(v, zero));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 16), _mm_unpackhi_epi8(v, zero));
      continue;
    }
    for (unsigned k = 0; k < 16; ++k) StoreUnit16(d + 2 * k, map[src[i + k]]);
  }
  return DecodeBytesTail(map, dst, src, i, n);
}
#endif

}  // namespace

const DecodePlan* DecodePlanFor(const uTableSet& set, uint32_t count,
                                const uint16_t* const direct[4]) {
  if (count > kSlots) count = kSlots;
  for (uint32_t s = 0; s < count; ++s)
    if (set.tables[s] != nullptr && set.shiftTables[s] != nullptr && direct[s] == nullptr)
      return nullptr;
  PlanKey key;
  MakeKey(set, count, direct, &key);
  const unsigned bucket = BucketOf(key);
  if (const PlanNode* n = Find(key, bucket)) return n->usable ? &n->plan : nullptr;
  std::lock_guard<std::mutex> lock(gBuildMutex);
  if (const PlanNode* n = Find(key, bucket)) return n->usable ? &n->plan : nullptr;
  if (gPlanCount >= kMaxPlans) return nullptr;
  auto* node = new (std::nothrow) PlanNode;
  if (node == nullptr) return nullptr;
  node->key = key;
  node->usable = FillPlan(key, &node->plan);
  node->next = gBuckets[bucket].load(std::memory_order_relaxed);
  ++gPlanCount;
  gBuckets[bucket].store(node, std::memory_order_release);
  return node->usable ? &node->plan : nullptr;
}

unsigned DecodeSingleBytes(const DecodePlan& plan, unsigned char* dst, const unsigned char* src,
                           unsigned n) {
  switch (simd::LevelUpTo(simd::kAvx2)) {
#if defined(NLS_HAVE_AVX2)
    case simd::kAvx2:
      return DecodeSingleBytesAvx2(plan, dst, src, n);
#endif
#if defined(NLS_HAVE_SSE2)
    case simd::kSse2:
      return DecodeSingleBytesSse2(plan, dst, src, n);
#endif
    default:
      return DecodeSingleBytesWords(plan, dst, src, n);
  }
}

void DecodePlannedRun(const DecodePlan& plan, unsigned char* dst, unsigned outLimit,
                      const unsigned char* src, unsigned srcLen, unsigned* inPos,
                      unsigned* outPos) {
  unsigned in = *inPos, out = *outPos;
  const uint32_t* lead = plan.lead;
  const uint16_t* rows = plan.rows;
  while (in < srcLen && out < outLimit) {
    const uint32_t entry = lead[src[in]];
    const uint32_t kind = entry >> 16;
    if (kind == kLeadSingle) {
      StoreUnit16(dst + out, static_cast<uint16_t>(entry));
      in += 1;
    } else if (kind == kLeadPair && srcLen - in >= 2) {
      const uint16_t ch = rows[(entry & 0xFFFF) * 256 + src[in + 1]];
      if (ch == kUnmapped) break;
      StoreUnit16(dst + out, ch);
      in += 2;
    } else {
      break;
    }
    out += 2;
  }
  *inPos = in;
  *outPos = out;
}

}  // namespace nls

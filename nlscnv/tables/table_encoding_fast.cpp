#include "nlscnv/tables/table_encoding_fast.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <mutex>
#include <new>

#include "nlscnv/support/diagnostics.h"
#include "nlscnv/tables/mapping_tables.h"
#include "nlscnv/tables/shift_tables.h"
#include "nlscnv/unaligned.h"

namespace nls {
namespace {

constexpr uint32_t kSlots = 4;
constexpr uint32_t kCharacters = 65536;
constexpr unsigned char kReplacement = '?';

// What an encode array is built from. The direct arrays stand for the
// contents of the mapping tables (a changed table gets a new direct array);
// the shift tables are compared by contents.
struct EncodeKey {
  uint32_t count;
  const uint16_t* tables[kSlots];
  const uint16_t* direct[kSlots];
  const ShiftTable* shift[kSlots];
  ShiftTable shiftCopy[kSlots];

  bool operator==(const EncodeKey& o) const {
    if (count != o.count) return false;
    for (uint32_t s = 0; s < kSlots; ++s) {
      if (tables[s] != o.tables[s] || direct[s] != o.direct[s] || shift[s] != o.shift[s] ||
          std::memcmp(&shiftCopy[s], &o.shiftCopy[s], sizeof(ShiftTable)) != 0)
        return false;
    }
    return true;
  }
};

// A published node is never changed or freed; new nodes go in front.
struct EncodeNode {
  EncodeKey key;
  uint16_t* map;
  const EncodeNode* next;
};

std::atomic<const EncodeNode*> gEncodeMaps{nullptr};
std::mutex gEncodeBuildMutex;

EncodeKey MakeKey(const uTableSet& set, uint32_t count, const uint16_t* const direct[4]) {
  EncodeKey key;
  std::memset(&key, 0, sizeof key);
  key.count = count;
  for (uint32_t s = 0; s < count; ++s) {
    if (set.tables[s] == nullptr) continue;
    key.tables[s] = set.tables[s];
    key.direct[s] = direct[s];
    key.shift[s] = set.shiftTables[s];
    if (set.shiftTables[s] != nullptr) key.shiftCopy[s] = *set.shiftTables[s];
  }
  return key;
}

const EncodeNode* FindNode(const EncodeKey& key) {
  for (const EncodeNode* n = gEncodeMaps.load(std::memory_order_acquire); n != nullptr; n = n->next)
    if (n->key == key) return n;
  return nullptr;
}

// True when the shift table writes code as one or two bytes that it also
// counts, with no diagnostic and no dependence on the room beyond 2 bytes;
// the bytes are then in bytes[0..*length).
bool PlainSequence(const ShiftTable& shift, uint16_t code, unsigned char bytes[8],
                   unsigned* length) {
  static constexpr uint8_t kWrites[6] = {1, 2, 2, 2, 2, 3};
  switch (shift.tableClass) {
    case 0:
    case 1:
    case 3:
      break;
    case 2: {
      const auto high = static_cast<unsigned char>(code >> 8);
      const auto low = static_cast<unsigned char>(code);
      const int cells = shift.cellCount < kMaxShiftCells ? shift.cellCount : kMaxShiftCells;
      const ShiftCell* cell = nullptr;
      for (int j = 0; j < cells && cell == nullptr; ++j) {
        const ShiftCell& c = shift.cells[j];
        if (high >= c.codeMinHigh && high <= c.codeMaxHigh && low >= c.codeMinLow &&
            low <= c.codeMaxLow)
          cell = &c;
      }
      if (cell == nullptr || cell->cellClass > 5 || cell->length != kWrites[cell->cellClass] ||
          cell->length > 2)
        return false;
      break;
    }
    default:  // three or four bytes, or an unknown class with its diagnostic
      return false;
  }
  return GenerateShift(&shift, code, bytes, 8, length) && *length >= 1 && *length <= 2;
}

// Entry for c, as the slot search and the shift table give it.
uint16_t EncodeEntry(const EncodeKey& key, uint16_t c) {
  for (uint32_t s = 0; s < key.count; ++s) {
    if (key.tables[s] == nullptr) continue;
    const uint16_t code = key.direct[s][c];
    if (code == kUnmapped) continue;
    if (key.shift[s] == nullptr) return kEncodeGeneral;
    unsigned char bytes[8] = {};
    unsigned length = 0;
    if (!PlainSequence(key.shiftCopy[s], code, bytes, &length)) return kEncodeGeneral;
    if (length == 1) return bytes[0];
    const auto entry = static_cast<uint16_t>(bytes[0] | bytes[1] << 8);
    // A second byte of 0 would read as a one-byte entry.
    return bytes[1] == 0 || entry == kEncodeGeneral ? kEncodeGeneral : entry;
  }
  return c <= 0x20 ? c : kReplacement;
}

EncodeNode* BuildNode(const EncodeKey& key) {
  auto* node = new (std::nothrow) EncodeNode{key, nullptr, nullptr};
  if (node == nullptr) return nullptr;
  node->map = new (std::nothrow) uint16_t[kCharacters];
  if (node->map == nullptr) {
    delete node;
    return nullptr;
  }
  for (uint32_t c = 0; c < kCharacters; ++c)
    node->map[c] = EncodeEntry(key, static_cast<uint16_t>(c));
  return node;
}

// One character the general way: the slot search, then the shift table with
// the room that is left.
unsigned GeneralStep(const uTableSet& set, uint32_t count, const uint16_t* const direct[4],
                     uint16_t c, unsigned char* dst, unsigned room) {
  for (uint32_t s = 0; s < count; ++s) {
    if (set.tables[s] == nullptr) continue;
    const uint16_t code = direct[s][c];
    if (code == kUnmapped) continue;
    unsigned length;
    const ShiftTable* shift = set.shiftTables[s];
    if (shift != nullptr && GenerateShift(shift, code, dst, room, &length)) return length;
    AssertLine(site::kGenerateFailed);
    dst[0] = kReplacement;
    return 1;
  }
  dst[0] = c <= 0x20 ? static_cast<unsigned char>(c) : kReplacement;
  return 1;
}

}  // namespace

const uint16_t* EncodeMap(const uTableSet& set, uint32_t count, const uint16_t* const direct[4]) {
  if (count > kSlots) return nullptr;
  for (uint32_t s = 0; s < count; ++s)
    if (set.tables[s] != nullptr && direct[s] == nullptr) return nullptr;
  const EncodeKey key = MakeKey(set, count, direct);
  if (const EncodeNode* n = FindNode(key)) return n->map;
  std::lock_guard<std::mutex> lock(gEncodeBuildMutex);
  if (const EncodeNode* n = FindNode(key)) return n->map;
  EncodeNode* node = BuildNode(key);
  if (node == nullptr) return nullptr;
  node->next = gEncodeMaps.load(std::memory_order_relaxed);
  gEncodeMaps.store(node, std::memory_order_release);
  return node->map;
}

int TableFromUnicodeFast(const uTableSet& set, uint32_t count, const uint16_t* const direct[4],
                         unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
                         const unsigned char* src, unsigned int srcLen, unsigned int* srcUsed) {
  const uint16_t* map = EncodeMap(set, count, direct);
  if (map == nullptr) return kNoEncodeMap;
  const unsigned chars = srcLen / 2;
  unsigned read = 0, out = 0;
  while (read < chars && dstSize - out >= 2) {
    // Every character of this run has at least 2 bytes of room, so a plain
    // entry always fits. A one-byte entry also stores its high byte 0 behind
    // the output; the next character or the terminator overwrites it.
    const unsigned end = read + std::min(chars - read, (dstSize - out) / 2);
    unsigned char* d = dst + out;
    for (; read < end; ++read) {
      const uint16_t v = map[LoadUnit16(src + 2 * read)];
      if (v == kEncodeGeneral) break;
      d[0] = static_cast<unsigned char>(v);
      d[1] = static_cast<unsigned char>(v >> 8);
      d += 1 + ((v + 0xFF00u) >> 16);  // 2 when there is a second byte
    }
    out = static_cast<unsigned>(d - dst);
    if (read < end) {
      out += GeneralStep(set, count, direct, LoadUnit16(src + 2 * read), d, dstSize - out);
      ++read;
    }
  }
  if (out == dstSize) AssertLine(site::kOutputUsedUp);
  return nls::FinishConvert(dst, dstSize, out, dstLen, 2 * read, srcLen, srcUsed, 1);
}

}  // namespace nls

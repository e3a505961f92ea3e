#include "nlscnv/table_access.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <new>

#include "nlscnv/tables/mapping_tables.h"

namespace nls {
namespace {

// A published node is never changed or freed; newer nodes are pushed in
// front of older ones, so readers walk a bucket without a lock.
struct DirectMapNode {
  const uint16_t* table;
  uint32_t size;
  uint32_t keyWords;
  uint16_t* key;  // copy of the table's header, format words and cells
  uint16_t* map;  // null: not cacheable
  const DirectMapNode* next;
};

constexpr unsigned kBuckets = 64;
std::atomic<const DirectMapNode*> gBuckets[kBuckets] = {};
std::mutex gBuildMutex;

unsigned BucketOf(const uint16_t* table) {
  const auto p = reinterpret_cast<uintptr_t>(table);
  return static_cast<unsigned>((p >> 4) ^ (p >> 10)) % kBuckets;
}

// Number of leading words that describe the cells (everything but the
// mapping array).
uint32_t KeyWords(const uint16_t* table) {
  const uint32_t count = table[kCellCount];
  return std::max(
      {uint32_t{4}, table[kFormatOffset] + (count + 3) / 4, table[kCellOffset] + 3 * count});
}

const DirectMapNode* Find(const uint16_t* table, uint32_t size) {
  for (const DirectMapNode* n = gBuckets[BucketOf(table)].load(std::memory_order_acquire);
       n != nullptr; n = n->next) {
    if (n->table == table && n->size >= size &&
        std::memcmp(n->key, table, n->keyWords * sizeof(uint16_t)) == 0)
      return n;
  }
  return nullptr;
}

// Fills map so that map[c] is the result of the first cell holding c: the
// cells are applied last to first, each overwriting what later ones wrote.
bool Fill(const uint16_t* table, uint16_t* map, uint32_t size) {
  const unsigned count = table[kCellCount];
  for (unsigned j = 0; j < count; ++j)
    if (MappingCellFormat(table, j) > 2) return false;
  std::fill(map, map + size, kUnmapped);
  const uint16_t* cells = table + table[kCellOffset];
  for (unsigned j = count; j-- > 0;) {
    const uint16_t* cell = cells + 3 * j;
    const uint32_t first = cell[0];
    const uint32_t last = std::min<uint32_t>(cell[1], size - 1);
    switch (MappingCellFormat(table, j)) {
      case 0:
        for (uint32_t c = first; c <= last; ++c)
          map[c] = static_cast<uint16_t>(c - first + cell[2]);
        break;
      case 1: {
        const uint16_t* values = table + table[kMapOffset] + cell[2];
        for (uint32_t c = first; c <= last; ++c) map[c] = values[c - first];
        break;
      }
      default:
        if (first < size) map[first] = cell[2];
        break;
    }
  }
  return true;
}

DirectMapNode* Build(const uint16_t* table, uint32_t size) {
  auto* node =
      new (std::nothrow) DirectMapNode{table, size, KeyWords(table), nullptr, nullptr, nullptr};
  if (node == nullptr) return nullptr;
  node->key = new (std::nothrow) uint16_t[node->keyWords];
  node->map = new (std::nothrow) uint16_t[size];
  if (node->key == nullptr || node->map == nullptr) {
    delete[] node->key;
    delete[] node->map;
    delete node;
    return nullptr;
  }
  std::memcpy(node->key, table, node->keyWords * sizeof(uint16_t));
  if (!Fill(table, node->map, size)) {
    delete[] node->map;
    node->map = nullptr;
  }
  return node;
}

}  // namespace

const uint16_t* DirectMap(const uint16_t* table, uint32_t size) {
  if (const DirectMapNode* n = Find(table, size)) return n->map;
  std::lock_guard<std::mutex> lock(gBuildMutex);
  if (const DirectMapNode* n = Find(table, size)) return n->map;
  DirectMapNode* node = Build(table, size);
  if (node == nullptr) return nullptr;
  std::atomic<const DirectMapNode*>& bucket = gBuckets[BucketOf(table)];
  node->next = bucket.load(std::memory_order_relaxed);
  bucket.store(node, std::memory_order_release);
  return node->map;
}

}  // namespace nls

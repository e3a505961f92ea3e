#include "nlscnv/registry/registry_container.h"

#include <strings.h>

#include <new>

TRegistryEntry::~TRegistryEntry() = default;

int TRegistryEntry::equals(TRegistryEntry* entry, const char* primary, const char* secondary) {
  if (strcasecmp(entry->getPrimaryKey(), primary) != 0) return 0;
  const char* own = entry->getSecondaryKey();
  if (secondary == nullptr || own == nullptr) return 1;
  return strcasecmp(own, secondary) == 0 ? 1 : 0;
}

TRegistry::TRegistry() : TRegistry(kDefaultBucketCount) {}

TRegistry::TRegistry(int bucketCount)
    : fCount(0), fBucketCount(bucketCount < 1 ? 1 : bucketCount), fBuckets(nullptr) {
  fBuckets = new (std::nothrow) NLS_RegistryEntryNode*[fBucketCount];
  if (fBuckets == nullptr) return;
  for (int32_t i = 0; i < fBucketCount; ++i) fBuckets[i] = nullptr;
}

TRegistry::~TRegistry() {
  if (fBuckets == nullptr) return;
  for (int32_t i = 0; i < fBucketCount; ++i) {
    NLS_RegistryEntryNode* node = fBuckets[i];
    while (node != nullptr) {
      NLS_RegistryEntryNode* next = node->next;
      delete node->entry;
      delete node;
      node = next;
    }
  }
  delete[] fBuckets;
}

int32_t TRegistry::KeySum(const char* key) {
  if (key == nullptr) return 0;
  // Unsigned arithmetic: the sum wraps like a 32-bit register would and
  // never overflows a signed type, even for absurdly long keys.
  uint32_t sum = 0;
  for (const char* p = key; *p != '\0'; ++p) {
    signed char byte = static_cast<signed char>(*p);
    if (byte >= 'a' && byte <= 'z') byte = static_cast<signed char>(byte - 32);
    sum += static_cast<uint32_t>(static_cast<int32_t>(byte));
  }
  return static_cast<int32_t>(sum);
}

int32_t TRegistry::BucketIndex(const char* primary, const char* secondary) const {
  uint32_t h =
      3u * static_cast<uint32_t>(KeySum(secondary)) + static_cast<uint32_t>(KeySum(primary));
  int32_t index = static_cast<int32_t>(h) % fBucketCount;
  // Bytes above 0x7F count as negative values and can make the remainder
  // negative; such keys go to the bucket the remainder stands for.
  if (index < 0) index += fBucketCount;
  return index;
}

bool TRegistry::addEntry(TRegistryEntry* entry) {
  if (fBuckets == nullptr || entry == nullptr) return false;
  NLS_RegistryEntryNode* node = new (std::nothrow) NLS_RegistryEntryNode();
  if (node == nullptr) return false;
  int32_t bucket = BucketIndex(entry->getPrimaryKey(), entry->getSecondaryKey());
  node->entry = entry;
  // Published with release order: a lookup running unlocked in another
  // thread sees either the old chain or the complete new node. The swap
  // repeats when another thread inserted into the same chain meanwhile (the
  // loader's entry-point caches grow on several threads at once).
  NLS_RegistryEntryNode* head = __atomic_load_n(&fBuckets[bucket], __ATOMIC_RELAXED);
  do {
    node->next = head;
  } while (!__atomic_compare_exchange_n(&fBuckets[bucket], &head, node, true, __ATOMIC_RELEASE,
                                        __ATOMIC_RELAXED));
  __atomic_add_fetch(&fCount, 1, __ATOMIC_RELAXED);
  return true;
}

TRegistryEntry* TRegistry::lookup(const char* primary, const char* secondary) {
  if (fBuckets == nullptr || primary == nullptr) return nullptr;
  for (NLS_RegistryEntryNode* node =
           __atomic_load_n(&fBuckets[BucketIndex(primary, secondary)], __ATOMIC_ACQUIRE);
       node != nullptr; node = node->next) {
    if (TRegistryEntry::equals(node->entry, primary, secondary) == 1) return node->entry;
  }
  return nullptr;
}

TRegistryEnumeration::TRegistryEnumeration(TRegistry* registry)
    : fBucket(0), fNode(nullptr), fRegistry(registry) {}

TRegistryEntry* TRegistryEnumeration::next() {
  if (fNode != nullptr) {
    if (fNode->next != nullptr) {
      fNode = fNode->next;
      return fNode->entry;
    }
    fNode = nullptr;
    ++fBucket;
  }
  if (fRegistry == nullptr || fRegistry->fBuckets == nullptr) return nullptr;
  while (fBucket < fRegistry->fBucketCount) {
    NLS_RegistryEntryNode* head = __atomic_load_n(&fRegistry->fBuckets[fBucket], __ATOMIC_ACQUIRE);
    if (head != nullptr) {
      fNode = head;
      return fNode->entry;
    }
    ++fBucket;
  }
  return nullptr;
}

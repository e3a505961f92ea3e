// TRegistry: the keyed container behind every table of the encoding registry
// and every entry-point cache of the library loader. A fixed-size hash table
// with chained buckets over polymorphic entries that supply a primary and an
// optional secondary text key, compared without regard to ASCII letter case.
// The container owns its entries, keeps duplicates and answers a lookup with
// the entry added last.
#ifndef NLSCNV_REGISTRY_REGISTRY_CONTAINER_H
#define NLSCNV_REGISTRY_REGISTRY_CONTAINER_H

#include <cstdint>

#include "nlscnv.h"

// Base of everything stored in a TRegistry. The keys are read again at every
// hash and comparison, so they must not change while the entry is stored.
class TRegistryEntry {
 public:
  TRegistryEntry() = default;
  TRegistryEntry(const TRegistryEntry&) = delete;
  TRegistryEntry& operator=(const TRegistryEntry&) = delete;

  virtual ~TRegistryEntry();
  virtual const char* getPrimaryKey() = 0;
  // Null when the entry has no secondary key.
  virtual const char* getSecondaryKey() = 0;

  // The matching rule of TRegistry::lookup: the primary keys must be equal;
  // when either secondary key is null the primary key alone decides,
  // otherwise the secondary keys must be equal too. 1 on a match, else 0.
  static int equals(TRegistryEntry* entry, const char* primary, const char* secondary);
};

// One link of a bucket chain.
struct NLS_RegistryEntryNode {
  NLS_RegistryEntryNode() : next(nullptr), entry(nullptr) {}
  NLS_RegistryEntryNode* next;
  TRegistryEntry* entry;
};

class TRegistry {
 public:
  static constexpr int32_t kDefaultBucketCount = 91;

  TRegistry();
  // A count below 1 is taken as 1.
  explicit TRegistry(int bucketCount);
  // Destroys every entry (duplicates included), every node and the buckets.
  ~TRegistry();
  TRegistry(const TRegistry&) = delete;
  TRegistry& operator=(const TRegistry&) = delete;

  // Takes ownership of the entry and puts it at the head of its bucket's
  // chain. Returns false, leaving the entry with the caller, only when no
  // node could be allocated (or the bucket array is missing).
  bool addEntry(TRegistryEntry* entry);

  // The most recently added entry that matches (primary, secondary), or
  // null. Only the bucket of the arguments is searched. `primary` must not
  // be null; `secondary` may be.
  TRegistryEntry* lookup(const char* primary, const char* secondary);

  // Bucket of a key pair: (3 * sum(secondary) + sum(primary)) modulo the
  // bucket count, brought into range when the sum is negative.
  int32_t BucketIndex(const char* primary, const char* secondary) const;

  // Sum of the bytes of a key as signed 8-bit values, ASCII lower-case
  // letters counted as upper case; 0 for null.
  static int32_t KeySum(const char* key);

  int32_t fCount;                    // entries added so far, duplicates included
  int32_t fBucketCount;              // fixed at construction
  NLS_RegistryEntryNode** fBuckets;  // null only when its allocation failed
};

// Cursor over all entries of one registry: buckets in ascending index, and
// within a bucket from the newest entry to the oldest. It does not own the
// registry and must not outlive it.
class TRegistryEnumeration {
 public:
  explicit TRegistryEnumeration(TRegistry* registry);
  // The next entry, or null at the end (and on every call after it).
  TRegistryEntry* next();

  int32_t fBucket;
  NLS_RegistryEntryNode* fNode;
  TRegistry* fRegistry;
};

#endif  // NLSCNV_REGISTRY_REGISTRY_CONTAINER_H

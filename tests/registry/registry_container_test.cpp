// The keyed container and the two registry records: bucket placement of the
// worked examples, recency, enumeration order, case-blind keys, keys with
// bytes above 0x7F, ownership; alias and encoding entries.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "nlscnv/registry/registry_container.h"
#include "nlscnv/registry/registry_entries.h"

namespace {

// An entry with arbitrary keys that counts its destructions.
class KeyEntry : public TRegistryEntry {
 public:
  KeyEntry(const char* primary, const char* secondary, int* destroyed = nullptr)
      : primary_(primary), hasSecondary_(secondary != nullptr), destroyed_(destroyed) {
    if (secondary != nullptr) secondary_ = secondary;
  }
  ~KeyEntry() override {
    if (destroyed_ != nullptr) ++*destroyed_;
  }
  const char* getPrimaryKey() override { return primary_.c_str(); }
  const char* getSecondaryKey() override { return hasSecondary_ ? secondary_.c_str() : nullptr; }

 private:
  std::string primary_, secondary_;
  bool hasSecondary_;
  int* destroyed_;
};

std::vector<TRegistryEntry*> Enumerate(TRegistry* registry) {
  std::vector<TRegistryEntry*> all;
  TRegistryEnumeration walk(registry);
  while (TRegistryEntry* entry = walk.next()) all.push_back(entry);
  return all;
}

TEST(RegistryContainer, WorkedExampleBuckets) {
  TRegistry registry;
  EXPECT_EQ(registry.fBucketCount, 91);
  EXPECT_EQ(registry.BucketIndex("UTF-8", nullptr), 67);
  EXPECT_EQ(registry.BucketIndex("utf-8", nullptr), 67);
  EXPECT_EQ(registry.BucketIndex("ISO-10646-UCS-2", nullptr), 2);
  EXPECT_EQ(registry.BucketIndex("ISO_8859-1:1987", "ISO-10646-UCS-2"), 17);
  EXPECT_EQ(registry.BucketIndex("ISO-10646-UCS-2", "ISO_8859-1:1987"), 35);
  EXPECT_EQ(registry.BucketIndex("", nullptr), 0);
  EXPECT_EQ(TRegistry::KeySum("UTF-8"), 340);
  EXPECT_EQ(TRegistry::KeySum(nullptr), 0);

  // The entries really land at the head of those buckets.
  KeyEntry* utf8 = new KeyEntry("UTF-8", nullptr);
  KeyEntry* pair = new KeyEntry("ISO_8859-1:1987", "ISO-10646-UCS-2");
  ASSERT_TRUE(registry.addEntry(utf8));
  ASSERT_TRUE(registry.addEntry(pair));
  ASSERT_NE(registry.fBuckets[67], nullptr);
  EXPECT_EQ(registry.fBuckets[67]->entry, utf8);
  ASSERT_NE(registry.fBuckets[17], nullptr);
  EXPECT_EQ(registry.fBuckets[17]->entry, pair);
  EXPECT_EQ(registry.fCount, 2);

  TRegistry small(7);
  EXPECT_EQ(small.BucketIndex("UTF-8", nullptr), 4);
  TRegistry degenerate(0);
  EXPECT_EQ(degenerate.fBucketCount, 1);
  EXPECT_EQ(degenerate.BucketIndex("UTF-8", "x"), 0);
}

TEST(RegistryContainer, EnumerationFollowsBucketsNotInsertion) {
  TRegistry registry;
  KeyEntry* utf8 = new KeyEntry("UTF-8", nullptr);
  KeyEntry* ucs2 = new KeyEntry("ISO-10646-UCS-2", nullptr);
  registry.addEntry(utf8);  // bucket 67, added first
  registry.addEntry(ucs2);  // bucket 2
  EXPECT_EQ(Enumerate(&registry), (std::vector<TRegistryEntry*>{ucs2, utf8}));

  TRegistry reversed;
  KeyEntry* ucs2b = new KeyEntry("ISO-10646-UCS-2", nullptr);
  KeyEntry* utf8b = new KeyEntry("UTF-8", nullptr);
  reversed.addEntry(ucs2b);
  reversed.addEntry(utf8b);
  EXPECT_EQ(Enumerate(&reversed), (std::vector<TRegistryEntry*>{ucs2b, utf8b}));
}

TEST(RegistryContainer, NewestDuplicateWinsAndAllAreOwned) {
  int destroyed = 0;
  {
    TRegistry registry;
    KeyEntry* first = new KeyEntry("latin1", nullptr, &destroyed);
    KeyEntry* second = new KeyEntry("LATIN1", nullptr, &destroyed);
    KeyEntry* other = new KeyEntry("Latin1", "x", &destroyed);  // another bucket
    registry.addEntry(first);
    registry.addEntry(second);
    registry.addEntry(other);
    EXPECT_EQ(registry.fCount, 3);
    EXPECT_EQ(registry.lookup("latin1", nullptr), second);
    EXPECT_EQ(registry.lookup("lAtIn1", nullptr), second);
    std::vector<TRegistryEntry*> all = Enumerate(&registry);
    ASSERT_EQ(all.size(), 3u);
    // Same bucket: the newer duplicate comes first.
    auto at = [&](TRegistryEntry* e) { return std::find(all.begin(), all.end(), e) - all.begin(); };
    EXPECT_EQ(at(second) + 1, at(first));
    EXPECT_EQ(destroyed, 0);
  }
  EXPECT_EQ(destroyed, 3);
}

TEST(RegistryContainer, SecondaryKeyRules) {
  TRegistry registry;
  KeyEntry* bare = new KeyEntry("A", nullptr);       // bucket 65
  KeyEntry* paired = new KeyEntry("A", "B");         // bucket 81
  KeyEntry* emptySecondary = new KeyEntry("C", "");  // same bucket as ("C", null)
  registry.addEntry(bare);
  registry.addEntry(paired);
  registry.addEntry(emptySecondary);

  EXPECT_EQ(registry.lookup("A", "B"), paired);
  EXPECT_EQ(registry.lookup("a", "b"), paired);
  // ("A", null) searches bucket 65 only, where just the bare entry lives.
  EXPECT_EQ(registry.lookup("A", nullptr), bare);
  EXPECT_EQ(registry.lookup("A", "C"), nullptr);
  // An empty secondary argument matches an empty secondary key, not "B"...
  EXPECT_EQ(registry.lookup("C", ""), emptySecondary);
  EXPECT_EQ(registry.lookup("C", nullptr), emptySecondary);
  EXPECT_EQ(registry.lookup("A", ""), bare);  // ...but the bare entry has none
  EXPECT_EQ(registry.lookup("B", nullptr), nullptr);

  EXPECT_EQ(TRegistryEntry::equals(paired, "a", nullptr), 1);
  EXPECT_EQ(TRegistryEntry::equals(paired, "A", ""), 0);
  EXPECT_EQ(TRegistryEntry::equals(bare, "A", "anything"), 1);
  EXPECT_EQ(TRegistryEntry::equals(bare, "AB", nullptr), 0);
}

TEST(RegistryContainer, EmptyAndExhaustedEnumerations) {
  TRegistry empty;
  TRegistryEnumeration none(&empty);
  EXPECT_EQ(none.next(), nullptr);
  EXPECT_EQ(none.next(), nullptr);
  EXPECT_EQ(none.fBucket, empty.fBucketCount);

  TRegistry registry(7);
  KeyEntry* last = new KeyEntry("UTF-8", nullptr);  // bucket 4
  registry.addEntry(new KeyEntry("", nullptr));     // bucket 0
  registry.addEntry(last);
  TRegistryEnumeration walk(&registry);
  ASSERT_NE(walk.next(), nullptr);
  EXPECT_EQ(walk.next(), last);
  EXPECT_EQ(walk.next(), nullptr);
  EXPECT_EQ(walk.fBucket, 7);
  EXPECT_EQ(walk.next(), nullptr);
}

TEST(RegistryContainer, KeysWithBytesAboveAscii) {
  TRegistry registry;
  EXPECT_EQ(TRegistry::KeySum("\xE9\xE9"), -46);
  EXPECT_EQ(registry.BucketIndex("\xE9\xE9", nullptr), 45);
  EXPECT_EQ(registry.BucketIndex("\xC3\xA9", nullptr), 34);
  EXPECT_EQ(registry.BucketIndex("\xE9", "\xE9"), 90);
  std::string ff(200, '\xFF');
  EXPECT_EQ(registry.BucketIndex(ff.c_str(), nullptr), 73);
  TRegistry small(7);
  EXPECT_EQ(small.BucketIndex("\xC3\xA9", nullptr), 6);

  // Such keys are stored and found like any other; bytes above 0x7F are not
  // case-folded, so "\xC9" and "\xE9" stay different keys.
  KeyEntry* latin = new KeyEntry("caf\xE9", nullptr);
  KeyEntry* utf8 = new KeyEntry("CAF\xC3\xA9", "\xFF\xFE");
  KeyEntry* ffKey = new KeyEntry(ff.c_str(), nullptr);
  registry.addEntry(latin);
  registry.addEntry(utf8);
  registry.addEntry(ffKey);
  EXPECT_EQ(registry.lookup("CAF\xE9", nullptr), latin);
  EXPECT_EQ(registry.lookup("CAF\xC9", nullptr), nullptr);
  EXPECT_EQ(registry.lookup("caf\xC3\xA9", "\xFF\xFE"), utf8);
  EXPECT_EQ(registry.lookup(ff.c_str(), nullptr), ffKey);
  EXPECT_EQ(Enumerate(&registry).size(), 3u);
}

// ---- Entries ----------------------------------------------------------------

TEST(RegistryEntries, AliasEntry) {
  TAliasEntry alias("latin1", "ISO_8859-1:1987");
  EXPECT_STREQ(alias.getPrimaryKey(), "latin1");
  EXPECT_EQ(alias.getSecondaryKey(), nullptr);
  EXPECT_STREQ(alias.GetAliasName(), "latin1");
  EXPECT_STREQ(alias.GetNormalizedName(), "ISO_8859-1:1987");
  char buffer[64];
  std::memset(buffer, 'x', sizeof buffer);
  alias.GetNormalizedName(buffer);
  EXPECT_STREQ(buffer, "ISO_8859-1:1987");
  EXPECT_EQ(alias.AliasEqual("LATIN1"), 1);
  EXPECT_EQ(alias.AliasEqual("latin-1"), 0);
  EXPECT_EQ(alias.AliasEqual(nullptr), 0);
  TAliasEntry other("LATIN2", "x");
  EXPECT_LT(TAliasEntry::AliasCompare(&alias, &other), 0);
  EXPECT_EQ(TAliasEntry::AliasCompare(&alias, "Latin1"), 0);
  EXPECT_GT(TAliasEntry::AliasCompare(&other, "latin1"), 0);
}

TEST(RegistryEntries, EncodingEntryAndPatterns) {
  TEncodingEntry entry("UTF-8", "ISO-10646-UCS-2", "@@staticconvertersINTERNAL@@",
                       "NewUTF8ToUnicodeEncodingConverter", "#");
  EXPECT_STREQ(entry.getPrimaryKey(), "UTF-8");
  EXPECT_STREQ(entry.getSecondaryKey(), "ISO-10646-UCS-2");
  EXPECT_STREQ(entry.GetSourceEncodingName(), "UTF-8");
  EXPECT_STREQ(entry.GetDestinationEncodingName(), "ISO-10646-UCS-2");
  char library[64], entryPoint[64];
  entry.GetConverterEntry(library, entryPoint);
  EXPECT_STREQ(library, "@@staticconvertersINTERNAL@@");
  EXPECT_STREQ(entryPoint, "NewUTF8ToUnicodeEncodingConverter");
  entry.GetDetectorEntry(library, entryPoint);
  EXPECT_STREQ(entryPoint, "#");

  char equal = 7;
  EXPECT_EQ(TEncodingEntry::EncodingCompare(&entry, "*", "iso-10646-ucs-2", &equal), 0);
  EXPECT_EQ(equal, 1);
  EXPECT_NE(TEncodingEntry::EncodingCompare(&entry, "UNICODE-1-1-UTF-7", "*", &equal), 0);
  EXPECT_EQ(equal, 0);
  EXPECT_EQ(TEncodingEntry::EncodingCompare(&entry, nullptr, nullptr, &equal), 0);
  EXPECT_EQ(equal, 1);
  EXPECT_EQ(TEncodingEntry::EncodingCompare(&entry, "*anything", "utf-8", &equal), 0);
  EXPECT_EQ(equal, 0);  // the destination decides only the flag

  TEncodingEntry sameSource("utf-8", "UNICODE-1-1-UTF-7", "lib", "f", "#");
  EXPECT_EQ(TEncodingEntry::EncodingCompare(&entry, &sameSource, &equal), 0);
  EXPECT_EQ(equal, 0);
  TEncodingEntry twin("utf-8", "iso-10646-ucs-2", "other", "g", "h");
  EXPECT_EQ(TEncodingEntry::EncodingCompare(&entry, &twin, &equal), 0);
  EXPECT_EQ(equal, 1);
  TEncodingEntry later("X", "ISO-10646-UCS-2", "lib", "f", "#");
  EXPECT_LT(TEncodingEntry::EncodingCompare(&entry, &later, &equal), 0);
}

TEST(RegistryEntries, NamesNeverOverrunTheirFields) {
  std::string fits(63, 'n'), tooLong(64, 'n'), huge(300, 'h');
  EXPECT_TRUE(NLSNameFits(fits.c_str()));
  EXPECT_FALSE(NLSNameFits(tooLong.c_str()));
  EXPECT_FALSE(NLSNameFits(nullptr));
  // The entries cut what does not fit rather than writing past a field
  // (AddressSanitizer watches the neighbouring fields' bounds too).
  TEncodingEntry entry(huge.c_str(), huge.c_str(), huge.c_str(), huge.c_str(), huge.c_str());
  EXPECT_EQ(std::strlen(entry.fSource), 63u);
  EXPECT_EQ(std::strlen(entry.fDetectorEntry), 63u);
  TAliasEntry alias(fits.c_str(), nullptr);
  EXPECT_EQ(fits, alias.fAlias);
  EXPECT_STREQ(alias.fNormalized, "");
}

}  // namespace

// The two records of the encoding registry: TAliasEntry (a name and the
// normalized name it stands for) and TEncodingEntry (one conversion and the
// library entry points that create its converter and detector). Both keep
// their names in fixed 64-byte fields.
#ifndef NLSCNV_REGISTRY_REGISTRY_ENTRIES_H
#define NLSCNV_REGISTRY_REGISTRY_ENTRIES_H

#include <cstddef>

#include "nlscnv/registry/registry_container.h"

// Size of every name field and name buffer of the registry: 63 characters and
// the terminating NUL.
inline constexpr size_t kNLSNameFieldSize = 64;

// True when the name (not null) fits a name field with its NUL. Callers refuse
// longer names instead of storing them cut.
bool NLSNameFits(const char* name);

class TAliasEntry : public TRegistryEntry {
 public:
  // Copies both names; a null name is stored empty and a name too long for
  // its field is stored cut to 63 bytes (callers check NLSNameFits first).
  TAliasEntry(const char* alias, const char* normalized);
  ~TAliasEntry() override;
  const char* getPrimaryKey() override;    // fAlias
  const char* getSecondaryKey() override;  // null: found by the alias alone

  char* GetAliasName();
  char* GetNormalizedName();
  // Copies fNormalized into a buffer of at least 64 bytes.
  void GetNormalizedName(char* buffer);
  // 1 when the name equals fAlias (case-blind), else 0; 0 for null.
  int AliasEqual(const char* name);
  static int AliasCompare(TAliasEntry* entry, const char* name);
  static int AliasCompare(TAliasEntry* first, TAliasEntry* second);

  char fAlias[kNLSNameFieldSize];
  char fNormalized[kNLSNameFieldSize];
};

class TEncodingEntry : public TRegistryEntry {
 public:
  // Arguments in the order source, destination, library, converter entry
  // point, detector entry point ('#' as first character: no detector).
  // Copied like the names of TAliasEntry.
  TEncodingEntry(const char* source, const char* destination, const char* library,
                 const char* converterEntry, const char* detectorEntry);
  ~TEncodingEntry() override;
  const char* getPrimaryKey() override;    // fSource
  const char* getSecondaryKey() override;  // fDestination

  char* GetSourceEncodingName();
  char* GetDestinationEncodingName();
  // Copy fLibrary and the entry-point name into buffers of at least 64 bytes.
  void GetConverterEntry(char* library, char* entryPoint);
  void GetDetectorEntry(char* library, char* entryPoint);

  // Pattern match for listings: a null pattern or one beginning with '*'
  // matches every name, any other pattern matches case-blind. Sets *equal to
  // 1 when both names match, else 0; returns the source comparison.
  static int EncodingCompare(TEncodingEntry* entry, const char* sourcePattern,
                             const char* destinationPattern, char* equal);
  // The same between two entries, without wildcards.
  static int EncodingCompare(TEncodingEntry* first, TEncodingEntry* second, char* equal);

  char fDestination[kNLSNameFieldSize];
  char fSource[kNLSNameFieldSize];
  char fLibrary[kNLSNameFieldSize];
  char fConverterEntry[kNLSNameFieldSize];
  char fDetectorEntry[kNLSNameFieldSize];
};

#endif  // NLSCNV_REGISTRY_REGISTRY_ENTRIES_H

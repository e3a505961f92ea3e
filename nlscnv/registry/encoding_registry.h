// TEncodingRegistry: what conversions exist and through which entry points
// their converters are made, how encoding names normalize, and the Java names
// of encodings. Filled from the built-in lists (constructor), the registry
// files of the data directory (Initialize), the host's registrations and, as
// a side effect of normalization, every unknown name asked for. A later source
// overrides an earlier one, since every table answers with its newest match.
#ifndef NLSCNV_REGISTRY_ENCODING_REGISTRY_H
#define NLSCNV_REGISTRY_ENCODING_REGISTRY_H

#include <atomic>
#include <cstdint>
#include <cstdio>

#include "nlscnv/converter.h"
#include "nlscnv/registry/registry_container.h"
#include "nlscnv/registry/registry_entries.h"

class TDLLLinker;

class TEncodingRegistry {
 public:
  // Builds the containers and the library loader and enters the built-in
  // conversions and aliases, holding the library lock throughout; the loader
  // opens converter libraries from `dataDirectory` (which ends in "/").
  // Status 1, or -1002 with every pointer null.
  explicit TEncodingRegistry(const char* dataDirectory);
  virtual ~TEncodingRegistry();
  TEncodingRegistry(const TEncodingRegistry&) = delete;
  TEncodingRegistry& operator=(const TEncodingRegistry&) = delete;

  // Reads encreg.txt, aliasreg.txt and javareg.txt from the directory (which
  // ends in "/"), in that order, under the library lock; stops quietly at the
  // first missing file. 1, a reader's failure, -1002, -1009 for a null
  // directory, or -1002 untouched after a failed construction.
  int Initialize(const char* dataDirectory);

  // Readers of the open registry files: 1, or -1002 when an entry cannot be
  // created. Records are whitespace-separated tokens; "/" where a record
  // would begin starts a comment up to the end of the line.
  int ReadEncodingRegistry(FILE* file);
  int ReadAliasRegistry(FILE* file);
  int ReadJavaAliasRegistry(FILE* file);
  // Read the next complete record into the 64-byte buffers; false at the end
  // of the file. Records with a token too long for a field are skipped, and a
  // record cut short by the end of the file is dropped.
  bool ReadOneEncodingLine(FILE* file, char* source, char* destination, char* library,
                           char* converterEntry, char* detectorEntry);
  bool ReadOneAliasLine(FILE* file, char* first, char* second);

  // The normalized name of a name or alias (case-blind, one lookup, no
  // chains). An unknown name is remembered as its own normalized name in the
  // spelling of its first request. "" for null. Never null.
  const char* NormalizeEncodingName(const char* name);

  // The converter of the entry for the normalized pair; null with -1301 in
  // the status when there is none.
  // When `factory` is given, it receives the factory that made the converter.
  TEncodingConverter* CreateEncodingConverter(const char* source, const char* destination,
                                              NLS_ConverterFactory* factory = nullptr);
  // The converter of an entry, made by the factory its library exports.
  TEncodingConverter* CreateEncodingConverter(TEncodingEntry* entry,
                                              NLS_ConverterFactory* factory = nullptr);
  // The detector of an encoding: from the first conversion entry, in
  // enumeration order, whose source is the normalized name and which names a
  // detector entry point.
  TAutoDetector* CreateEncodingDetector(const char* name);

  // Number of conversions matching the patterns ("*" as first character
  // matches every name); for two plain names without a direct conversion, 1
  // when both halves through "ISO-10646-UCS-2" exist, else 0.
  int EnumerateEncodingConverters(const char* sourcePattern, const char* destinationPattern);
  // Appends the names of the matching conversions to the lists while *count
  // is below the capacity, and counts every match in *count.
  void ListEncodingConverters(const char* sourcePattern, const char* destinationPattern,
                              const char** sourceList, const char** destinationList,
                              unsigned int capacity, unsigned int* count);
  void ApplyCompare(const char* sourcePattern, const char* destinationPattern,
                    const char** sourceList, const char** destinationList, unsigned int capacity,
                    unsigned int* count);

  // Adds the host's conversions (NLS_StaticConverterEntry records ending
  // with a null entry-point name) under "@@staticconvertersINTERNAL@@". The
  // host's names become normalized names. Not locked.
  void RegisterStaticConverters(char* list);

  // Lookups without side effects; none normalizes its argument.
  const char* FindJavaEntityName(const char* normalizedName);
  const char* NormalizeJavaEntity(const char* javaName);
  TAliasEntry* FindAliasItem(const char* name);
  // The entry of the pair after normalizing both names, or null.
  TEncodingEntry* FindEncoding(const char* source, const char* destination);

  int AliasCount();
  int EncodingCount();

  // What a name pair resolved to: the canonical names and the factories of
  // the direct converter (secondFactory null) or of the two stages.
  struct ResolvedPair {
    const char* fromName;
    const char* toName;
    NLS_ConverterFactory factory;
    NLS_ConverterFactory secondFactory;
  };
  // The last few pairs that made a converter are remembered per thread. A
  // pair recalled from this registry skips the name normalizations, the
  // entry lookups and the entry-point lookups, whose outcome cannot have
  // changed while the registry has gained no alias or conversion (entries
  // are never removed); the registry's and the loader's statuses are left as
  // those lookups would have left them. Only lookups without side effects are
  // skipped: a name is remembered after its normalization has already stored
  // it.
  bool RecallPair(const char* from, const char* to, ResolvedPair* pair);
  void RememberPair(const char* from, const char* to, const ResolvedPair& pair);
  int GetStatus() { return fStatus; }

  TRegistry* fEncodings;         // TEncodingEntry, keyed (source, destination)
  TRegistry* fAliases;           // TAliasEntry: alias -> normalized name
  TRegistry* fJavaToNormalized;  // TAliasEntry: Java name -> normalized name
  TRegistry* fNormalizedToJava;  // TAliasEntry: normalized name -> Java name
  TDLLLinker* fLinker;
  char* fDataDirectory;  // copy of the directory given to Initialize
  // Written by converter creation, which threads run at the same time.
  std::atomic<int32_t> fStatus;
  // Tells this registry's remembered pairs from those of earlier registries.
  const uint64_t fSerial;

  // The built-in conversions (served by the pseudo-library) and aliases.
  static const NLS_StaticConverterEntry fStaticEntryList[];
  static const uint32_t fStaticEntryListLength;
  static const char* const fStaticAliasList[][2];  // (alias, normalized name)
  static const uint32_t fStaticAliasListLength;

 private:
  // Destroys whatever exists and leaves every pointer null.
  void ReleaseAll();
};

#endif  // NLSCNV_REGISTRY_ENCODING_REGISTRY_H

#include "nlscnv/registry/encoding_registry.h"

#include <strings.h>

#include <cstring>
#include <new>

#include "nlscnv/registry/dll_linker.h"
#include "nlscnv/registry/load_report.h"
#include "nlscnv/support/diagnostics.h"
#include "nlscnv/support/nls_mutex.h"

namespace {

constexpr char kNoDetector[] = "#";

bool IsWildcard(const char* pattern) { return pattern == nullptr || pattern[0] == '*'; }

// A new container, or null (the bucket array counts as part of it).
TRegistry* NewContainer() {
  TRegistry* registry = new (std::nothrow) TRegistry(TRegistry::kDefaultBucketCount);
  if (registry != nullptr && registry->fBuckets == nullptr) {
    delete registry;
    return nullptr;
  }
  return registry;
}

// Stores a new entry in the container; false (nothing stored, nothing
// leaked) when the entry or its node cannot be allocated.
template <typename Entry, typename... Names>
bool AddNew(TRegistry* registry, Names... names) {
  Entry* entry = new (std::nothrow) Entry(names...);
  if (entry == nullptr) return false;
  if (!registry->addEntry(entry)) {
    delete entry;
    return false;
  }
  return true;
}

// Registry objects are numbered from 1 so that remembered pairs of a
// destroyed registry never match a new one at the same address.
uint64_t NextSerial() {
  static std::atomic<uint64_t> next{1};
  return next.fetch_add(1, std::memory_order_relaxed);
}

}  // namespace

TEncodingRegistry::TEncodingRegistry(const char* dataDirectory)
    : fEncodings(nullptr),
      fAliases(nullptr),
      fJavaToNormalized(nullptr),
      fNormalizedToJava(nullptr),
      fLinker(nullptr),
      fDataDirectory(nullptr),
      fStatus(NLS_E_NOT_CONSTRUCTED),
      fSerial(NextSerial()) {
  NLSMutex lock;
  const nls::DiagnosticSite* failed = nullptr;
  if ((fEncodings = NewContainer()) == nullptr) {
    failed = &nls::site::kNoEncodingTable;
  } else if ((fAliases = NewContainer()) == nullptr) {
    failed = &nls::site::kNoAliasTable;
  } else if ((fJavaToNormalized = NewContainer()) == nullptr) {
    failed = &nls::site::kNoJavaTable;
  } else if ((fNormalizedToJava = NewContainer()) == nullptr) {
    failed = &nls::site::kNoReverseJavaTable;
  } else if ((fLinker = new (std::nothrow)
                  TDLLLinker(fStaticEntryList, fStaticEntryListLength, dataDirectory)) == nullptr) {
    failed = &nls::site::kNoLoader;
  } else if (fLinker->GetStatus() != 1) {
    failed = &nls::site::kLoaderFailed;
  }
  for (uint32_t i = 0; failed == nullptr && i < fStaticEntryListLength; ++i) {
    const NLS_StaticConverterEntry& row = fStaticEntryList[i];
    if (!AddNew<TEncodingEntry>(fEncodings, row.from, row.to, kNLSStaticLibraryName,
                                row.entryPointName, kNoDetector)) {
      failed = &nls::site::kBuiltinEntryNoMemory;
    } else if (!AddNew<TAliasEntry>(fAliases, row.from, row.from)) {
      failed = &nls::site::kBuiltinSourceAliasNoMemory;
    } else if (!AddNew<TAliasEntry>(fAliases, row.to, row.to)) {
      failed = &nls::site::kBuiltinDestinationAliasNoMemory;
    }
  }
  for (uint32_t i = 0; failed == nullptr && i < fStaticAliasListLength; ++i) {
    if (!AddNew<TAliasEntry>(fAliases, fStaticAliasList[i][0], fStaticAliasList[i][1])) {
      failed = &nls::site::kBuiltinAliasNoMemory;
    }
  }
  if (failed != nullptr) {
    nls::AssertLine(*failed);
    ReleaseAll();
    fStatus = NLS_E_NO_MEMORY;
    return;
  }
  fStatus = 1;
}

TEncodingRegistry::~TEncodingRegistry() {
  ReleaseAll();
  fStatus = 1;
}

void TEncodingRegistry::ReleaseAll() {
  delete fAliases;
  delete fEncodings;
  delete fJavaToNormalized;
  delete fNormalizedToJava;
  // The loader goes after the tables and unloads every converter library.
  delete fLinker;
  delete[] fDataDirectory;
  fAliases = fEncodings = fJavaToNormalized = fNormalizedToJava = nullptr;
  fLinker = nullptr;
  fDataDirectory = nullptr;
}

int TEncodingRegistry::Initialize(const char* dataDirectory) {
  NLSMutex lock;
  nls::ResetLoadReport();
  if (dataDirectory == nullptr) {
    nls::AssertLine(nls::site::kNullDataDirectory);
    fStatus = NLS_E_ARGUMENT;
    return fStatus;
  }
  // A failed construction left nothing to fill.
  if (fEncodings == nullptr) return NLS_E_NO_MEMORY;

  fStatus = 1;
  const size_t directoryLength = std::strlen(dataDirectory);
  char* copy = new (std::nothrow) char[directoryLength + 1];
  if (copy == nullptr) {
    nls::AssertLine(nls::site::kDataDirectoryNoMemory);
    fStatus = NLS_E_NO_MEMORY;
    return fStatus;
  }
  std::memcpy(copy, dataDirectory, directoryLength + 1);
  delete[] fDataDirectory;
  fDataDirectory = copy;

  struct RegistryFile {
    const char* name;
    int (TEncodingRegistry::*read)(FILE*);
    nls::DiagnosticSite pathFailed;
    nls::DiagnosticSite readFailed;
  };
  static const RegistryFile kFiles[] = {
      {"encreg.txt", &TEncodingRegistry::ReadEncodingRegistry, nls::site::kEncregPathNoMemory,
       nls::site::kEncregFailed},
      {"aliasreg.txt", &TEncodingRegistry::ReadAliasRegistry, nls::site::kAliasregPathNoMemory,
       nls::site::kAliasregFailed},
      {"javareg.txt", &TEncodingRegistry::ReadJavaAliasRegistry, nls::site::kJavaregPathNoMemory,
       nls::site::kJavaregFailed},
  };
  for (const RegistryFile& registryFile : kFiles) {
    // The directory ends in "/": the file name follows it directly.
    char* path = new (std::nothrow) char[directoryLength + 64];
    if (path == nullptr) {
      nls::AssertLine(registryFile.pathFailed);
      fStatus = NLS_E_NO_MEMORY;
      return fStatus;
    }
    std::memcpy(path, dataDirectory, directoryLength);
    std::strcpy(path + directoryLength, registryFile.name);
    const int index = static_cast<int>(&registryFile - kFiles);
    // Under the trust rule: a refused file is treated as a missing one.
    FILE* file = nls::OpenRegistryFile(path, index);
    if (file == nullptr) {
      // A missing file ends the reading quietly; later files are not read.
      delete[] path;
      return fStatus;
    }
    const int32_t entries = nls::RegistryFileEntries(this, index);
    fStatus = (this->*registryFile.read)(file);
    nls::ReportRegistryRecords(index, nls::RegistryFileEntries(this, index) - entries);
    std::fclose(file);
    delete[] path;
    if (fStatus != 1) {
      nls::AssertLine(registryFile.readFailed);
      return fStatus;
    }
  }
  fStatus = 1;
  return 1;
}

const char* TEncodingRegistry::NormalizeEncodingName(const char* name) {
  if (name == nullptr) return "";
  if (fAliases == nullptr) return name;
  TAliasEntry* alias = static_cast<TAliasEntry*>(fAliases->lookup(name, nullptr));
  if (alias != nullptr) return alias->fNormalized;
  // A name too long for an alias field is answered as it is and not kept; no
  // entry can hold it, so it finds no conversion.
  if (!NLSNameFits(name)) return name;

  NLSMutex lock;
  TAliasEntry* identity = new (std::nothrow) TAliasEntry(name, name);
  if (identity == nullptr || !fAliases->addEntry(identity)) {
    delete identity;
    nls::AssertLine(nls::site::kRememberNameNoMemory);
    return "";
  }
  return identity->fNormalized;
}

TEncodingConverter* TEncodingRegistry::CreateEncodingConverter(const char* source,
                                                               const char* destination,
                                                               NLS_ConverterFactory* factory) {
  TEncodingEntry* entry = FindEncoding(source, destination);
  if (entry == nullptr) {
    // The caller goes on with the two-stage path: no diagnostic here.
    fStatus = NLS_E_NO_CONVERSION;
    return nullptr;
  }
  return CreateEncodingConverter(entry, factory);
}

TEncodingConverter* TEncodingRegistry::CreateEncodingConverter(TEncodingEntry* entry,
                                                               NLS_ConverterFactory* factory) {
  if (entry == nullptr || fLinker == nullptr) {
    nls::AssertLine(nls::site::kNoEntryOrLoader);
    fStatus = fLinker != nullptr ? fLinker->GetStatus() : NLS_E_NO_MEMORY;
    return nullptr;
  }
  char library[kNLSNameFieldSize];
  char entryPoint[kNLSNameFieldSize];
  entry->GetConverterEntry(library, entryPoint);
  void* function = fLinker->NLS_FindSymbolInLibrary(library, entryPoint);
  if (function == nullptr) {
    nls::AssertLine(nls::site::kNoConverterEntryPoint);
    fStatus = fLinker->GetStatus();
    return nullptr;
  }
  const NLS_ConverterFactory make = reinterpret_cast<NLS_ConverterFactory>(function);
  if (factory != nullptr) *factory = make;
  return make();
}

TAutoDetector* TEncodingRegistry::CreateEncodingDetector(const char* name) {
  if (fEncodings == nullptr || fLinker == nullptr) {
    nls::AssertLine(nls::site::kNoDetector);
    fStatus = NLS_E_NO_MEMORY;
    return nullptr;
  }
  const char* normalized = NormalizeEncodingName(name);
  // Detectors are declared by conversion entries of the encoding; those that
  // name none ('#') are passed over.
  TEncodingEntry* entry = nullptr;
  TRegistryEnumeration walk(fEncodings);
  while (TEncodingEntry* candidate = static_cast<TEncodingEntry*>(walk.next())) {
    if (candidate->fDetectorEntry[0] != '#' && strcasecmp(candidate->fSource, normalized) == 0) {
      entry = candidate;
      break;
    }
  }
  if (entry == nullptr) {
    nls::AssertLine(nls::site::kNoDetector);
    fStatus = fLinker->GetStatus();
    return nullptr;
  }
  char library[kNLSNameFieldSize];
  char entryPoint[kNLSNameFieldSize];
  entry->GetDetectorEntry(library, entryPoint);
  if (entryPoint[0] == '#') return nullptr;
  void* function = fLinker->NLS_FindSymbolInLibrary(library, entryPoint);
  if (function == nullptr) {
    nls::AssertLine(nls::site::kNoDetectorEntryPoint);
    fStatus = fLinker->GetStatus();
    return nullptr;
  }
  return reinterpret_cast<NLS_DetectorFactory>(function)();
}

void TEncodingRegistry::ApplyCompare(const char* sourcePattern, const char* destinationPattern,
                                     const char** sourceList, const char** destinationList,
                                     unsigned int capacity, unsigned int* count) {
  if (fEncodings == nullptr || count == nullptr) return;
  auto append = [&](TEncodingEntry* entry) {
    if (sourceList != nullptr && destinationList != nullptr && *count < capacity) {
      sourceList[*count] = entry->fSource;
      destinationList[*count] = entry->fDestination;
    }
    ++*count;
  };
  if (!IsWildcard(sourcePattern) && !IsWildcard(destinationPattern)) {
    TEncodingEntry* entry = FindEncoding(sourcePattern, destinationPattern);
    if (entry != nullptr) append(entry);
    return;
  }
  TRegistryEnumeration walk(fEncodings);
  while (TEncodingEntry* entry = static_cast<TEncodingEntry*>(walk.next())) {
    char equal = 0;
    TEncodingEntry::EncodingCompare(entry, sourcePattern, destinationPattern, &equal);
    if (equal == 1) append(entry);
  }
}

void TEncodingRegistry::ListEncodingConverters(const char* sourcePattern,
                                               const char* destinationPattern,
                                               const char** sourceList,
                                               const char** destinationList, unsigned int capacity,
                                               unsigned int* count) {
  ApplyCompare(sourcePattern, destinationPattern, sourceList, destinationList, capacity, count);
}

int TEncodingRegistry::EnumerateEncodingConverters(const char* sourcePattern,
                                                   const char* destinationPattern) {
  unsigned int count = 0;
  ApplyCompare(sourcePattern, destinationPattern, nullptr, nullptr, 0, &count);
  if (count != 0) return static_cast<int>(count);
  if (IsWildcard(sourcePattern) || IsWildcard(destinationPattern)) return 0;
  return FindEncoding(sourcePattern, NLS_PIVOT_ENCODING) != nullptr &&
                 FindEncoding(NLS_PIVOT_ENCODING, destinationPattern) != nullptr
             ? 1
             : 0;
}

void TEncodingRegistry::RegisterStaticConverters(char* list) {
  if (fLinker != nullptr) fLinker->RegisterStaticConverters(list);
  if (list == nullptr || fEncodings == nullptr) return;
  const NLS_StaticConverterEntry* record = reinterpret_cast<const NLS_StaticConverterEntry*>(list);
  for (; record->entryPointName != nullptr; ++record) {
    // Names that do not fit the registry's fields cannot be registered.
    if (!NLSNameFits(record->from) || !NLSNameFits(record->to) ||
        !NLSNameFits(record->entryPointName)) {
      continue;
    }
    if (!AddNew<TEncodingEntry>(fEncodings, record->from, record->to, kNLSStaticLibraryName,
                                record->entryPointName, kNoDetector)) {
      nls::AssertLine(nls::site::kHostEntryNoMemory);
      return;
    }
    if (!AddNew<TAliasEntry>(fAliases, record->from, record->from)) {
      nls::AssertLine(nls::site::kHostSourceAliasNoMemory);
      return;
    }
    if (!AddNew<TAliasEntry>(fAliases, record->to, record->to)) {
      nls::AssertLine(nls::site::kHostDestinationAliasNoMemory);
      return;
    }
  }
}

const char* TEncodingRegistry::FindJavaEntityName(const char* normalizedName) {
  if (fNormalizedToJava == nullptr || normalizedName == nullptr) return nullptr;
  TAliasEntry* entry =
      static_cast<TAliasEntry*>(fNormalizedToJava->lookup(normalizedName, nullptr));
  return entry != nullptr ? entry->fNormalized : nullptr;
}

const char* TEncodingRegistry::NormalizeJavaEntity(const char* javaName) {
  if (fJavaToNormalized == nullptr || javaName == nullptr) return nullptr;
  TAliasEntry* entry = static_cast<TAliasEntry*>(fJavaToNormalized->lookup(javaName, nullptr));
  return entry != nullptr ? entry->fNormalized : nullptr;
}

TAliasEntry* TEncodingRegistry::FindAliasItem(const char* name) {
  if (fAliases == nullptr || name == nullptr) return nullptr;
  return static_cast<TAliasEntry*>(fAliases->lookup(name, nullptr));
}

TEncodingEntry* TEncodingRegistry::FindEncoding(const char* source, const char* destination) {
  if (fEncodings == nullptr) return nullptr;
  const char* normalizedDestination = NormalizeEncodingName(destination);
  const char* normalizedSource = NormalizeEncodingName(source);
  return static_cast<TEncodingEntry*>(fEncodings->lookup(normalizedSource, normalizedDestination));
}

int TEncodingRegistry::AliasCount() {
  return fAliases != nullptr ? __atomic_load_n(&fAliases->fCount, __ATOMIC_RELAXED) : 0;
}

int TEncodingRegistry::EncodingCount() { return fEncodings != nullptr ? fEncodings->fCount : 0; }

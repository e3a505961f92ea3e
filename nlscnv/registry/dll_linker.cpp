#include "nlscnv/registry/dll_linker.h"

#include <dlfcn.h>

#include <cstdlib>
#include <cstring>
#include <new>

#include "nlscnv/codec.h"
#include "nlscnv/registry/load_report.h"
#include "nlscnv/support/diagnostics.h"

namespace {

constexpr int32_t kEntryPointBuckets = 7;
constexpr size_t kFileNameSize = 64;

// A cleared record with an empty entry-point cache, or null.
NLS_Library* NewLibraryRecord() {
  NLS_Library* library = new (std::nothrow) NLS_Library();
  if (library == nullptr) return nullptr;
  library->entryPoints = new (std::nothrow) TRegistry(kEntryPointBuckets);
  if (library->entryPoints == nullptr || library->entryPoints->fBuckets == nullptr) {
    delete library->entryPoints;
    delete library;
    return nullptr;
  }
  return library;
}

}  // namespace

// ---- TEntryPoint ------------------------------------------------------------

TEntryPoint::TEntryPoint(void* function, const char* name) : function(function), name(nullptr) {
  if (name == nullptr) return;
  size_t size = std::strlen(name) + 1;
  this->name = static_cast<char*>(std::malloc(size));
  if (this->name != nullptr) std::memcpy(this->name, name, size);
}

TEntryPoint::~TEntryPoint() { std::free(name); }

const char* TEntryPoint::getPrimaryKey() { return name; }
const char* TEntryPoint::getSecondaryKey() { return nullptr; }

// ---- TDLLLinker -------------------------------------------------------------

TDLLLinker::TDLLLinker(const NLS_StaticConverterEntry* entries, unsigned int count,
                       const char* defaultLibraryPath)
    : fStatus(NLS_E_NOT_CONSTRUCTED),
      fDefaultLibraryPath(defaultLibraryPath),
      fLibraries(nullptr),
      fOwnedLibraryPath(nullptr) {
  NLS_Library* library = NewLibraryRecord();
  if (library == nullptr) {
    nls::AssertLine(nls::site::kBuiltinLibraryNoMemory);
    fStatus = NLS_E_NO_MEMORY;
    return;
  }
  std::memcpy(library->name, kNLSStaticLibraryName, sizeof kNLSStaticLibraryName);
  library->referenceCount = 1;
  // One pair more than the records: a null name ends the table.
  library->entries = new (std::nothrow) NLS_LibraryEntry[count + 1];
  if (library->entries == nullptr) {
    nls::AssertLine(nls::site::kBuiltinEntriesNoMemory);
    DestroyLibrary(library);
    fStatus = NLS_E_NO_MEMORY;
    return;
  }
  for (unsigned int i = 0; i < count; ++i) {
    library->entries[i].name = entries[i].entryPointName;
    library->entries[i].function = reinterpret_cast<void*>(entries[i].function);
  }
  library->entries[count] = NLS_LibraryEntry{nullptr, nullptr};
  fLibraries = library;
  fStatus = 1;
}

TDLLLinker::~TDLLLinker() {
  while (fLibraries != nullptr) {
    // A copy: the record and its name go away with the last unload.
    char name[sizeof fLibraries->name];
    std::memcpy(name, fLibraries->name, sizeof name);
    NLS_UnloadLibrary(name);
  }
  std::free(fOwnedLibraryPath);
}

void TDLLLinker::DestroyLibrary(NLS_Library* library) {
  delete library->entryPoints;
  delete[] library->entries;
  delete library;
}

int TDLLLinker::SetDefaultLibraryPath(const char* path) {
  size_t size = path == nullptr ? 1 : std::strlen(path) + 1;
  char* copy = static_cast<char*>(std::malloc(size));
  if (copy == nullptr) {
    nls::AssertLine(nls::site::kLibraryPathNoMemory);
    fStatus = NLS_E_NO_MEMORY;
    return NLS_E_NO_MEMORY;
  }
  std::memcpy(copy, path == nullptr ? "" : path, size);
  std::free(fOwnedLibraryPath);
  fOwnedLibraryPath = copy;
  fDefaultLibraryPath = copy;
  fStatus = 1;
  return 1;
}

char* TDLLLinker::GetDefaultLibraryPath() {
  if (fDefaultLibraryPath == nullptr) nls::AssertLine(nls::site::kNoLibraryPath);
  return const_cast<char*>(fDefaultLibraryPath);
}

NLS_Library* TDLLLinker::NLS_FindLibrary(const char* libraryName) {
  if (fLibraries == nullptr) {
    nls::AssertLine(nls::site::kNoLibraryList);
    return nullptr;
  }
  if (libraryName == nullptr) return nullptr;
  // Records are published with release order (NLS_LoadLibrary): another
  // thread may be adding one while this one searches.
  for (NLS_Library* library = fLibraries; library != nullptr;
       library = __atomic_load_n(&library->next, __ATOMIC_ACQUIRE)) {
    if (std::strcmp(library->name, libraryName) == 0) return library;
  }
  return nullptr;
}

int TDLLLinker::NLS_LoadLibrary(const char* libraryName) {
  NLS_Library* found = NLS_FindLibrary(libraryName);
  if (found != nullptr) {
    __atomic_add_fetch(&found->referenceCount, 1, __ATOMIC_RELAXED);
    fStatus = 1;
    return 1;
  }
  // A name whose file name would not fit cannot be loaded.
  if (libraryName == nullptr ||
      strnlen(libraryName, kNLSMaxLibraryNameLength + 1) > kNLSMaxLibraryNameLength) {
    nls::ReportLibraryFailure("library name missing or too long");
    nls::AssertLine(nls::site::kLibraryNotLoaded);
    fStatus = NLS_E_LIBRARY;
    return NLS_E_LIBRARY;
  }
  NLS_Library* library = NewLibraryRecord();
  if (library == nullptr) {
    nls::AssertLine(nls::site::kLibraryRecordNoMemory);
    fStatus = NLS_E_NO_MEMORY;
    return NLS_E_NO_MEMORY;
  }
  std::memcpy(library->name, libraryName, std::strlen(libraryName) + 1);
  Platform_LoadDynamicLibrary(library);
  if (library->handle == nullptr) {
    // The reason is in the status, unless another thread's search has
    // overwritten it meanwhile.
    int status = fStatus;
    if (status == 1) status = NLS_E_LIBRARY;
    nls::AssertLine(nls::site::kLibraryNotLoaded);
    DestroyLibrary(library);
    fStatus = status;
    return status;
  }
  library->referenceCount = 1;
  library->entries = nullptr;
  if (fLibraries == nullptr) {
    fLibraries = library;
    return 1;
  }
  // Behind the pseudo-library, which stays the head of the list. Converters
  // are created on several threads at once, so two threads may load the same
  // library together: the record goes in with a compare-and-swap, and a
  // thread that finds the library inserted meanwhile keeps the other record.
  NLS_Library* next = __atomic_load_n(&fLibraries->next, __ATOMIC_ACQUIRE);
  for (;;) {
    NLS_Library* other = nullptr;
    for (NLS_Library* l = next; l != nullptr; l = __atomic_load_n(&l->next, __ATOMIC_ACQUIRE)) {
      if (std::strcmp(l->name, library->name) == 0) {
        other = l;
        break;
      }
    }
    if (other != nullptr) {
      Platform_UnloadDynamicLibrary(library);
      DestroyLibrary(library);
      __atomic_add_fetch(&other->referenceCount, 1, __ATOMIC_RELAXED);
      fStatus = 1;
      return 1;
    }
    library->next = next;
    if (__atomic_compare_exchange_n(&fLibraries->next, &next, library, false, __ATOMIC_RELEASE,
                                    __ATOMIC_ACQUIRE)) {
      return 1;
    }
  }
}

void TDLLLinker::Platform_LoadDynamicLibrary(NLS_Library* library) {
  char fileName[kFileNameSize];
  size_t nameLength = strnlen(library->name, sizeof library->name);
  if (fDefaultLibraryPath == nullptr || nameLength > kNLSMaxLibraryNameLength) {
    nls::ReportLibraryFailure(fDefaultLibraryPath == nullptr ? "no library directory"
                                                             : "library name too long");
    nls::AssertLine(nls::site::kOpenFailed);
    fStatus = NLS_E_LIBRARY;
    return;
  }
  std::memcpy(fileName, "lib", 3);
  std::memcpy(fileName + 3, library->name, nameLength);
  std::memcpy(fileName + 3 + nameLength, "30.so", sizeof "30.so");

  size_t directoryLength = std::strlen(fDefaultLibraryPath);
  size_t fileLength = std::strlen(fileName);
  char* path = new (std::nothrow) char[directoryLength + fileLength + 1];
  if (path == nullptr) {
    nls::ReportLibraryFailure("out of memory");
    nls::AssertLine(nls::site::kOpenFailed);
    fStatus = NLS_E_NO_MEMORY;
    return;
  }
  std::memcpy(path, fDefaultLibraryPath, directoryLength);
  std::memcpy(path + directoryLength, fileName, fileLength + 1);

  // Only a file that passes the trust rule is opened; the reason of a
  // failure goes to the registry information.
  void* handle = nls::OpenConverterLibrary(path);
  delete[] path;
  if (handle == nullptr) {
    nls::AssertLine(nls::site::kOpenFailed);
    fStatus = NLS_E_LIBRARY;
    return;
  }
  library->handle = handle;
  fStatus = 1;
}

int TDLLLinker::NLS_UnloadLibrary(const char* libraryName) {
  NLS_Library* library = NLS_FindLibrary(libraryName);
  if (library == nullptr) {
    nls::AssertLine(nls::site::kUnloadUnknownLibrary);
    fStatus = NLS_E_LIBRARY;
    return NLS_E_LIBRARY;
  }
  if (--library->referenceCount == 0) {
    Platform_UnloadDynamicLibrary(library);
    if (fLibraries == library) {
      fLibraries = library->next;
    } else {
      NLS_Library* previous = fLibraries;
      while (previous->next != library) previous = previous->next;
      previous->next = library->next;
    }
    DestroyLibrary(library);
  }
  fStatus = 1;
  return 1;
}

void TDLLLinker::Platform_UnloadDynamicLibrary(NLS_Library* library) {
  if (fLibraries == nullptr) nls::AssertLine(nls::site::kUnloadWithoutList);
  if (library != nullptr && library->handle != nullptr) {
    dlclose(library->handle);
    library->handle = nullptr;
  }
}

void* TDLLLinker::NLS_FindSymbolInLibrary(const char* libraryName, const char* entryName) {
  NLS_Library* library = NLS_FindLibrary(libraryName);
  if (library == nullptr) {
    const int loaded = NLS_LoadLibrary(libraryName);
    fStatus = loaded;
    if (loaded != 1) {
      nls::AssertLine(nls::site::kSymbolLibraryNotLoaded);
      return nullptr;
    }
    library = NLS_FindLibrary(libraryName);
  }
  return Platform_FindSymbolInLibrary(library, entryName);
}

void* TDLLLinker::FindCodecList(const char* libraryName) {
  NLS_Library* library = NLS_FindLibrary(libraryName);
  if (library == nullptr) {
    const int loaded = NLS_LoadLibrary(libraryName);
    if (loaded != 1) {
      fStatus = loaded;
      nls::AssertLine(nls::site::kSymbolLibraryNotLoaded);
      return nullptr;
    }
    library = NLS_FindLibrary(libraryName);
  }
  if (library == nullptr || library->handle == nullptr) return nullptr;
  void* function = dlsym(library->handle, NLS_CODEC_LIST_ENTRY);
  dlerror();
  return function;
}

void* TDLLLinker::Platform_FindSymbolInLibrary(NLS_Library* library, const char* entryName) {
  if (library == nullptr || entryName == nullptr) {
    nls::AssertLine(library == nullptr ? nls::site::kSymbolNoLibrary : nls::site::kSymbolNoName);
    fStatus = NLS_E_ARGUMENT;
    return nullptr;
  }
  TEntryPoint* cached = static_cast<TEntryPoint*>(library->entryPoints->lookup(entryName, nullptr));
  if (cached != nullptr) {
    fStatus = 1;
    return cached->function;
  }

  void* function = nullptr;
  if (library->entries != nullptr) {
    for (NLS_LibraryEntry* pair = library->entries; pair->name != nullptr; ++pair) {
      if (std::strcmp(pair->name, entryName) == 0) {
        function = pair->function;
        break;
      }
    }
  } else if (library->handle != nullptr) {
    function = dlsym(library->handle, entryName);
  }
  if (function == nullptr) {
    nls::AssertLine(nls::site::kSymbolNotFound);
    fStatus = NLS_E_NO_ENTRY_POINT;
    return nullptr;
  }

  // A failed cache insertion costs only a later search, not the answer.
  TEntryPoint* entryPoint = new (std::nothrow) TEntryPoint(function, entryName);
  if (entryPoint != nullptr &&
      (entryPoint->name == nullptr || !library->entryPoints->addEntry(entryPoint))) {
    delete entryPoint;
  }
  fStatus = 1;
  return function;
}

void TDLLLinker::RegisterStaticConverters(char* list) {
  if (list == nullptr || fLibraries == nullptr) return;
  const NLS_StaticConverterEntry* record = reinterpret_cast<const NLS_StaticConverterEntry*>(list);
  for (; record->entryPointName != nullptr; ++record) {
    TEntryPoint* entryPoint = new (std::nothrow)
        TEntryPoint(reinterpret_cast<void*>(record->function), record->entryPointName);
    if (entryPoint == nullptr) return;
    if (entryPoint->name == nullptr || !fLibraries->entryPoints->addEntry(entryPoint)) {
      delete entryPoint;
      return;
    }
  }
}

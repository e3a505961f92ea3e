// TDLLLinker: finds converter and detector factories by name. A factory lives
// either in a converter library, lib<name>30.so in the library directory,
// loaded on first use with dlopen, or among the library's own factories,
// presented as the pseudo-library "@@staticconvertersINTERNAL@@". Every entry
// point found is cached with its library. The loader takes no lock: its owner
// lets one thread in at a time.
#ifndef NLSCNV_REGISTRY_DLL_LINKER_H
#define NLSCNV_REGISTRY_DLL_LINKER_H

#include <atomic>
#include <cstdint>

#include "nlscnv.h"
#include "nlscnv/registry/registry_container.h"

// Name of the pseudo-library that holds the built-in and host-registered
// factories.
inline constexpr char kNLSStaticLibraryName[] = "@@staticconvertersINTERNAL@@";

// Longest library name whose file name "lib" + name + "30.so" still fits the
// 64-byte file-name buffer.
inline constexpr uint32_t kNLSMaxLibraryNameLength = 64 - 1 - 8;

// A cached entry point, keyed by its name.
class TEntryPoint : public TRegistryEntry {
 public:
  // Copies the name with malloc; GetName() is null when that failed.
  TEntryPoint(void* function, const char* name);
  ~TEntryPoint() override;
  const char* getPrimaryKey() override;    // the name
  const char* getSecondaryKey() override;  // null
  void* GetFunction() { return function; }
  const char* GetName() { return name; }

  void* function;
  char* name;
};

// One (name, function) pair of the pseudo-library's table.
struct NLS_LibraryEntry {
  const char* name;
  void* function;
};

// One library of the loader's list.
struct NLS_Library {
  char name[64];              // the library name as asked for
  uint32_t referenceCount;    // loads not yet matched by unloads
  NLS_Library* next;          // next library of the list
  void* handle;               // from dlopen; null for the pseudo-library
  NLS_LibraryEntry* entries;  // pseudo-library only: ends with a null name
  TRegistry* entryPoints;     // cache of TEntryPoint, 7 buckets
};

class TDLLLinker {
 public:
  // The pseudo-library gets the entry-point names and factories of the
  // `count` records. Only the path pointer is kept: it must stay valid.
  TDLLLinker(const NLS_StaticConverterEntry* entries, unsigned int count,
             const char* defaultLibraryPath);
  // Unloads every library as often as it was loaded, the pseudo-library too.
  virtual ~TDLLLinker();
  TDLLLinker(const TDLLLinker&) = delete;
  TDLLLinker& operator=(const TDLLLinker&) = delete;

  // Keeps a copy of the path (owned by the loader). 1, or -1002.
  int SetDefaultLibraryPath(const char* path);
  char* GetDefaultLibraryPath();

  // Loads a library, or counts one more load of a loaded one. 1, -1002 or
  // -1300 (file missing, not loadable, or name too long).
  int NLS_LoadLibrary(const char* libraryName);
  // The library of that exact name (case-sensitive), or null.
  NLS_Library* NLS_FindLibrary(const char* libraryName);
  void Platform_LoadDynamicLibrary(NLS_Library* library);
  // Counts one unload; the last one closes and forgets the library. 1 or
  // -1300 (not loaded).
  int NLS_UnloadLibrary(const char* libraryName);
  void Platform_UnloadDynamicLibrary(NLS_Library* library);

  // The function of an entry point, loading its library on first use; null
  // with the reason in the status (-1300, -1306, -1009).
  void* NLS_FindSymbolInLibrary(const char* libraryName, const char* entryName);
  void* Platform_FindSymbolInLibrary(NLS_Library* library, const char* entryName);

  int GetStatus() { return fStatus; }

  // The codec list that a converter library exports (NLS_CODEC_LIST_ENTRY),
  // loading the library on first use; null, without touching the status and
  // without a diagnostic of its own, when the library has none (a library
  // that cannot be loaded is reported as for any entry point).
  void* FindCodecList(const char* libraryName);

  // Makes the host's factories entry points of the pseudo-library. The list
  // (NLS_StaticConverterEntry records) ends with a null entry-point name.
  void RegisterStaticConverters(char* list);

  // Written by every entry-point search, which threads run at the same time.
  std::atomic<int32_t> fStatus;
  const char* fDefaultLibraryPath;
  NLS_Library* fLibraries;

 private:
  // Destroys a record that is not (or no longer) in the list.
  static void DestroyLibrary(NLS_Library* library);

  char* fOwnedLibraryPath;  // copy made by SetDefaultLibraryPath
};

#endif  // NLSCNV_REGISTRY_DLL_LINKER_H

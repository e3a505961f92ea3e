#include "nlscnv/registry/load_report.h"

#include <dlfcn.h>
#include <string.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <mutex>

#include "nlscnv/registry/dll_linker.h"
#include "nlscnv/registry/encoding_registry.h"
#include "nlscnv/support/file_trust.h"

namespace {

constexpr int kRegistryFiles = 3;
constexpr size_t kReasonSize = 256;

// Written while a registry is initialised (under its lock), read by
// NLS_GetRegistryInfo, which does not overlap an initialisation.
NLS_RegistryFileInfo gFiles[kRegistryFiles];

// Library loads fail on any thread that creates converters.
std::atomic<uint32_t> gLibraryFailures{0};
std::mutex gReasonLock;
char gLastReason[kReasonSize];  // empty: no failure

// The copy handed to the host: one per thread, so no other thread's failure
// overwrites it while the host reads it.
thread_local char tReasonCopy[kReasonSize];

bool ValidIndex(int index) { return index >= 0 && index < kRegistryFiles; }

void SetFile(int index, int32_t state, const char* refusal) {
  if (!ValidIndex(index)) return;
  gFiles[index].state = state;
  gFiles[index].records = 0;
  gFiles[index].refusal = refusal;
}

}  // namespace

namespace nls {

void ResetLoadReport() {
  for (int i = 0; i < kRegistryFiles; ++i) SetFile(i, NLS_REGISTRY_FILE_NOT_READ, nullptr);
  gLibraryFailures.store(0);
  std::lock_guard<std::mutex> lock(gReasonLock);
  gLastReason[0] = '\0';
}

FILE* OpenRegistryFile(const char* path, int index) {
  TrustedFile file;
  if (!OpenTrustedFile(path, &file)) {
    SetFile(index, file.refusal != nullptr ? NLS_REGISTRY_FILE_REFUSED : NLS_REGISTRY_FILE_MISSING,
            file.refusal);
    return nullptr;
  }
  FILE* stream = fdopen(file.fd, "r");
  if (stream == nullptr) {
    // As when fopen fails: the file counts as missing.
    close(file.fd);
    SetFile(index, NLS_REGISTRY_FILE_MISSING, nullptr);
    return nullptr;
  }
  SetFile(index, NLS_REGISTRY_FILE_FOUND, nullptr);
  return stream;
}

int32_t RegistryFileEntries(TEncodingRegistry* registry, int index) {
  switch (index) {
    case 0:
      return registry->EncodingCount();
    case 1:
      return registry->AliasCount();
    case 2:
      return registry->fJavaToNormalized != nullptr ? registry->fJavaToNormalized->fCount : 0;
    default:
      return 0;
  }
}

void ReportRegistryRecords(int index, int32_t records) {
  if (ValidIndex(index) && records > 0) gFiles[index].records = static_cast<uint32_t>(records);
}

void ReportLibraryFailure(const char* reason) {
  gLibraryFailures.fetch_add(1);
  std::lock_guard<std::mutex> lock(gReasonLock);
  std::snprintf(gLastReason, sizeof gLastReason, "%s", reason != nullptr ? reason : "unknown");
}

void* OpenConverterLibrary(const char* path) {
  TrustedFile file;
  if (!OpenTrustedFile(path, &file)) {
    if (file.refusal != nullptr) {
      ReportLibraryFailure(file.refusal);
    } else {
      char message[128];
      char reason[kReasonSize];
      std::snprintf(reason, sizeof reason, "%s: %s", path != nullptr ? path : "(null)",
                    strerror_r(file.error, message, sizeof message));
      ReportLibraryFailure(reason);
    }
    return nullptr;
  }
  // The checked file stays open while the dynamic loader opens it by its
  // resolved name, in the directory that was checked.
  void* handle = dlopen(file.resolved, RTLD_LAZY);
  // Read (and so clear) the loader's error: no error state is left behind
  // for the host.
  const char* error = dlerror();
  if (handle == nullptr) ReportLibraryFailure(error);
  close(file.fd);
  return handle;
}

void FillLoadReport(TEncodingRegistry* registry, NLS_RegistryInfo* info) {
  for (int i = 0; i < kRegistryFiles; ++i) info->files[i] = gFiles[i];
  uint32_t loaded = 0;
  if (registry != nullptr && registry->fLinker != nullptr) {
    // The pseudo-library heads the list and has no handle; records are
    // published with release order by the loader.
    for (NLS_Library* library = registry->fLinker->fLibraries; library != nullptr;
         library = __atomic_load_n(&library->next, __ATOMIC_ACQUIRE)) {
      if (library->handle != nullptr) ++loaded;
    }
  }
  info->librariesLoaded = loaded;
  info->libraryFailures = gLibraryFailures.load();
  {
    std::lock_guard<std::mutex> lock(gReasonLock);
    std::memcpy(tReasonCopy, gLastReason, sizeof tReasonCopy);
  }
  info->lastLibraryFailure = tReasonCopy[0] != '\0' ? tReasonCopy : nullptr;
}

}  // namespace nls

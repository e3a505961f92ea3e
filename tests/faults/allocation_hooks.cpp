// The allocator of the fault tests: malloc and friends forward to the next
// definition in the search order (libc, or the sanitizer runtime), operator
// new and delete to malloc and free. Symbols of the executable take
// precedence over those of shared libraries, so every allocation of the
// library, of libstdc++ and of libc passes through here.
#include "faults/allocation_hooks.h"

#include <dlfcn.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

using MallocFn = void* (*)(size_t);
using CallocFn = void* (*)(size_t, size_t);
using ReallocFn = void* (*)(void*, size_t);
using FreeFn = void (*)(void*);

MallocFn gMalloc = nullptr;
CallocFn gCalloc = nullptr;
ReallocFn gRealloc = nullptr;
FreeFn gFree = nullptr;

// dlsym itself may allocate before the real functions are known; those few
// blocks come from here and are never freed.
alignas(16) unsigned char gBootstrap[8192];
size_t gBootstrapUsed = 0;
bool gResolving = false;

bool FromBootstrap(const void* p) {
  const unsigned char* c = static_cast<const unsigned char*>(p);
  return c >= gBootstrap && c < gBootstrap + sizeof gBootstrap;
}

void* BootstrapAllocate(size_t size) {
  const size_t rounded = (size + 15) & ~static_cast<size_t>(15);
  if (gBootstrapUsed + rounded > sizeof gBootstrap) return nullptr;
  void* p = gBootstrap + gBootstrapUsed;
  gBootstrapUsed += rounded;
  return p;
}

void Resolve() {
  if (gFree != nullptr || gResolving) return;
  gResolving = true;
  gCalloc = reinterpret_cast<CallocFn>(dlsym(RTLD_NEXT, "calloc"));
  gMalloc = reinterpret_cast<MallocFn>(dlsym(RTLD_NEXT, "malloc"));
  gRealloc = reinterpret_cast<ReallocFn>(dlsym(RTLD_NEXT, "realloc"));
  gFree = reinterpret_cast<FreeFn>(dlsym(RTLD_NEXT, "free"));
  gResolving = false;
}

// ---- The window -------------------------------------------------------------

bool gOpen = false;
long gFailAt = 0;
size_t gFailSize = 0;  // 0: no size fails
long gCount = 0;
bool gFailed = false;

// Live blocks of the last window: an open-addressing set of addresses.
constexpr size_t kSlots = size_t{1} << 16;
const void* gLive[kSlots];
size_t gLiveSize[kSlots];
void* const kTombstone = reinterpret_cast<void*>(1);

size_t Slot(const void* p) { return (reinterpret_cast<uintptr_t>(p) >> 4) * 2654435761u % kSlots; }

void Remember(const void* p, size_t size) {
  for (size_t i = Slot(p), n = 0; n < kSlots; i = (i + 1) % kSlots, ++n) {
    if (gLive[i] == nullptr || gLive[i] == kTombstone) {
      gLive[i] = p;
      gLiveSize[i] = size;
      return;
    }
  }
  std::abort();  // more live blocks than the test can follow
}

void Forget(const void* p) {
  for (size_t i = Slot(p), n = 0; n < kSlots && gLive[i] != nullptr; i = (i + 1) % kSlots, ++n) {
    if (gLive[i] == p) {
      gLive[i] = kTombstone;
      return;
    }
  }
}

// Decides the fate of one allocation: false when it is the one to fail.
bool Admit(size_t size) {
  if (!gOpen) return true;
  ++gCount;
  if (gCount == gFailAt || (gFailSize != 0 && size == gFailSize)) {
    gFailed = true;
    return false;
  }
  return true;
}

void* Track(void* p, size_t size) {
  if (gOpen && p != nullptr) Remember(p, size);
  return p;
}

}  // namespace

namespace nls_faults {

void OpenWindow(long failAt) {
  std::memset(gLive, 0, sizeof gLive);
  gCount = 0;
  gFailAt = failAt;
  gFailSize = 0;
  gFailed = false;
  gOpen = true;
}

void OpenWindowFailingSize(size_t size) {
  OpenWindow(0);
  gFailSize = size;
}

void CloseWindow() { gOpen = false; }

void PauseWindow() { gOpen = false; }

void ResumeWindow() { gOpen = true; }

long Allocations() { return gCount; }

bool Failed() { return gFailed; }

long LiveBlocks(const void* except) {
  long live = 0;
  for (size_t i = 0; i < kSlots; ++i)
    if (gLive[i] != nullptr && gLive[i] != kTombstone && gLive[i] != except) ++live;
  return live;
}

size_t FirstLiveSize() {
  for (size_t i = 0; i < kSlots; ++i)
    if (gLive[i] != nullptr && gLive[i] != kTombstone) return gLiveSize[i];
  return 0;
}

}  // namespace nls_faults

// ---- The C allocator ----------------------------------------------------------

extern "C" {

void* malloc(size_t size) {
  Resolve();
  if (gMalloc == nullptr) return BootstrapAllocate(size);
  if (!Admit(size)) return nullptr;
  return Track(gMalloc(size), size);
}

void* calloc(size_t count, size_t size) {
  Resolve();
  if (gCalloc == nullptr) {
    if (size != 0 && count > SIZE_MAX / size) return nullptr;
    void* p = BootstrapAllocate(count * size);
    if (p != nullptr) std::memset(p, 0, count * size);
    return p;
  }
  if (!Admit(count * size)) return nullptr;
  return Track(gCalloc(count, size), count * size);
}

void* realloc(void* old, size_t size) {
  Resolve();
  if (FromBootstrap(old)) {
    void* p = malloc(size);
    if (p != nullptr) std::memcpy(p, old, size);  // bootstrap blocks are small
    return p;
  }
  if (!Admit(size)) return nullptr;
  void* p = gRealloc(old, size);
  if (p != nullptr && old != nullptr) Forget(old);
  return Track(p, size);
}

void free(void* p) {
  if (p == nullptr || FromBootstrap(p)) return;
  Resolve();
  Forget(p);
  gFree(p);
}

}  // extern "C"

// ---- operator new and delete --------------------------------------------------

void* operator new(size_t size) {
  void* p = malloc(size == 0 ? 1 : size);
  if (p == nullptr) throw std::bad_alloc();
  return p;
}
void* operator new[](size_t size) { return operator new(size); }
void* operator new(size_t size, const std::nothrow_t&) noexcept {
  return malloc(size == 0 ? 1 : size);
}
void* operator new[](size_t size, const std::nothrow_t&) noexcept {
  return malloc(size == 0 ? 1 : size);
}
void operator delete(void* p) noexcept { free(p); }
void operator delete[](void* p) noexcept { free(p); }
void operator delete(void* p, size_t) noexcept { free(p); }
void operator delete[](void* p, size_t) noexcept { free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { free(p); }

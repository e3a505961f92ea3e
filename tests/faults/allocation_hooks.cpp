// The allocator of the fault tests: malloc and friends forward to the real
// allocator (the AddressSanitizer runtime when the program is built with
// it, else glibc's own entry points), operator new and delete to malloc and
// free. Symbols of the executable take precedence over those of shared
// libraries, so every allocation of the library, of libstdc++ and of libc
// passes through here.
#include "faults/allocation_hooks.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

extern "C" {
// The sanitizer runtime's allocator, present only in sanitizer builds.
void* __interceptor_malloc(size_t) __attribute__((weak));
void* __interceptor_calloc(size_t, size_t) __attribute__((weak));
void* __interceptor_realloc(void*, size_t) __attribute__((weak));
void __interceptor_free(void*) __attribute__((weak));
// glibc's allocator under the names that stay reachable when malloc is
// replaced.
void* __libc_malloc(size_t);
void* __libc_calloc(size_t, size_t);
void* __libc_realloc(void*, size_t);
void __libc_free(void*);
}

namespace {

void* RealMalloc(size_t size) {
  return __interceptor_malloc ? __interceptor_malloc(size) : __libc_malloc(size);
}
void* RealCalloc(size_t count, size_t size) {
  return __interceptor_calloc ? __interceptor_calloc(count, size) : __libc_calloc(count, size);
}
void* RealRealloc(void* old, size_t size) {
  return __interceptor_realloc ? __interceptor_realloc(old, size) : __libc_realloc(old, size);
}
void RealFree(void* p) { __interceptor_free ? __interceptor_free(p) : __libc_free(p); }

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
  if (!Admit(size)) return nullptr;
  return Track(RealMalloc(size), size);
}

void* calloc(size_t count, size_t size) {
  if (!Admit(count * size)) return nullptr;
  return Track(RealCalloc(count, size), count * size);
}

void* realloc(void* old, size_t size) {
  if (!Admit(size)) return nullptr;
  void* p = RealRealloc(old, size);
  if (p != nullptr && old != nullptr) Forget(old);
  return Track(p, size);
}

void free(void* p) {
  if (p == nullptr) return;
  Forget(p);
  RealFree(p);
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

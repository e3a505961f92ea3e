#include "fault_injection.h"

#include <cstdlib>
#include <new>

namespace {

long gCountdown = -1;
bool gFailed = false;

void* Allocate(std::size_t size) { return std::malloc(size == 0 ? 1 : size); }

void* AllocateOrThrow(std::size_t size) {
  void* p = Allocate(size);
  if (p == nullptr) throw std::bad_alloc();
  return p;
}

void* AllocateNothrow(std::size_t size) {
  if (gCountdown == 0) {
    gCountdown = -1;
    gFailed = true;
    return nullptr;
  }
  if (gCountdown > 0) --gCountdown;
  return Allocate(size);
}

}  // namespace

namespace nls_test {

void FailNothrowAllocation(long index) {
  gCountdown = index < 0 ? -1 : index;
  gFailed = false;
}

bool NothrowFailureHappened() { return gFailed; }

}  // namespace nls_test

void* operator new(std::size_t size) { return AllocateOrThrow(size); }
void* operator new[](std::size_t size) { return AllocateOrThrow(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return AllocateNothrow(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return AllocateNothrow(size);
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { std::free(p); }

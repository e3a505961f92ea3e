// Support for the fast-path tests: run a converter and a reference
// transcription of its general algorithm on the same input, into buffers
// with the same fill pattern, and compare everything a caller can observe.
// Also buffers placed against an inaccessible page.
#ifndef NLSCNV_TESTS_CONVERTERS_FAST_PATH_SUPPORT_H
#define NLSCNV_TESTS_CONVERTERS_FAST_PATH_SUPPORT_H

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <random>
#include <vector>

#include "nlscnv/converter.h"
#include "nlscnv/support/simd.h"

namespace nls_fast {

using Bytes = std::vector<unsigned char>;
using ConvertFn = std::function<int(unsigned char*, unsigned*, unsigned, const unsigned char*,
                                    unsigned, unsigned*)>;

// Every instruction-set level this build and processor can run; restores the
// level in force afterwards.
class EachLevel {
 public:
  EachLevel() : saved_(nls::simd::Level()) {}
  ~EachLevel() { nls::simd::SetLevel(saved_); }
  std::vector<int> Levels() const {
    std::vector<int> levels;
    for (int l = nls::simd::kScalar; l <= nls::simd::kHighest; ++l)
      if (nls::simd::SetLevel(l) == l) levels.push_back(l);
    nls::simd::SetLevel(saved_);
    return levels;
  }

 private:
  int saved_;
};

// Runs both on `in` with dstSize bytes of room (plus a tail that must stay
// untouched) and expects identical results, counts and buffer contents.
inline void ExpectSame(TEncodingConverter* c, const ConvertFn& reference, const Bytes& in,
                       unsigned dstSize, unsigned srcOffset = 0, unsigned dstOffset = 0) {
  constexpr unsigned kTail = 48;
  Bytes src(srcOffset + in.size());
  std::copy(in.begin(), in.end(), src.begin() + srcOffset);
  const unsigned char* s = in.empty() ? nullptr : src.data() + srcOffset;
  Bytes a(dstOffset + dstSize + kTail), b(a.size());
  for (size_t i = 0; i < a.size(); ++i) a[i] = b[i] = static_cast<unsigned char>(0x5A ^ (i * 7));
  unsigned lenA = 7777, usedA = 7777, lenB = 7777, usedB = 7777;
  const int stA =
      c->Convert(a.data() + dstOffset, &lenA, dstSize, s, static_cast<unsigned>(in.size()), &usedA);
  const int stB =
      reference(b.data() + dstOffset, &lenB, dstSize, s, static_cast<unsigned>(in.size()), &usedB);
  ASSERT_EQ(stA, stB) << "input " << in.size() << " bytes, room " << dstSize;
  ASSERT_EQ(lenA, lenB) << "input " << in.size() << " bytes, room " << dstSize;
  ASSERT_EQ(usedA, usedB) << "input " << in.size() << " bytes, room " << dstSize;
  ASSERT_EQ(a, b) << "input " << in.size() << " bytes, room " << dstSize;
}

// Two pages of which the second is inaccessible: Tail(n) is an n-byte buffer
// that ends exactly where the readable memory ends, so reading or writing one
// byte past it faults.
class GuardPage {
 public:
  GuardPage() {
    page_ = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    void* p = mmap(nullptr, 3 * page_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    base_ = p == MAP_FAILED ? nullptr : static_cast<unsigned char*>(p);
    if (base_ != nullptr) mprotect(base_ + 2 * page_, page_, PROT_NONE);
  }
  ~GuardPage() {
    if (base_ != nullptr) munmap(base_, 3 * page_);
  }
  bool ok() const { return base_ != nullptr; }
  size_t capacity() const { return 2 * page_; }
  unsigned char* Tail(size_t n) { return base_ + 2 * page_ - n; }

 private:
  size_t page_ = 0;
  unsigned char* base_ = nullptr;
};

}  // namespace nls_fast

#endif  // NLSCNV_TESTS_CONVERTERS_FAST_PATH_SUPPORT_H

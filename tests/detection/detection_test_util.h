// Buffers for the detection tests: placement against inaccessible pages, and
// random bytes biased toward the ranges that the detectors tell apart.
#ifndef NLSCNV_TESTS_DETECTION_DETECTION_TEST_UTIL_H
#define NLSCNV_TESTS_DETECTION_DETECTION_TEST_UTIL_H

#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <random>
#include <vector>

#include "support/test_support.h"

namespace nls_test {

// Readable pages with an inaccessible page on each side. AtEnd() places data
// so that its last byte is the last readable one; AtStart() so that its first
// byte is the first readable one. A read past either end faults.
class GuardedPages {
 public:
  explicit GuardedPages(size_t capacity) {
    page_ = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    usable_ = (capacity / page_ + 1) * page_;
    void* map = mmap(nullptr, usable_ + 2 * page_, PROT_READ | PROT_WRITE,
                     MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ok_ = map != MAP_FAILED;
    base_ = ok_ ? static_cast<unsigned char*>(map) : nullptr;
    if (ok_) {
      ok_ = mprotect(base_, page_, PROT_NONE) == 0 &&
            mprotect(base_ + page_ + usable_, page_, PROT_NONE) == 0;
    }
  }
  ~GuardedPages() {
    if (base_ != nullptr) munmap(base_, usable_ + 2 * page_);
  }
  GuardedPages(const GuardedPages&) = delete;
  GuardedPages& operator=(const GuardedPages&) = delete;

  bool ok() const { return ok_; }
  size_t capacity() const { return usable_; }
  const unsigned char* AtEnd(const Bytes& data) {
    unsigned char* at = base_ + page_ + usable_ - data.size();
    if (!data.empty()) std::memcpy(at, data.data(), data.size());
    return at;
  }
  const unsigned char* AtStart(const Bytes& data) {
    unsigned char* at = base_ + page_;
    if (!data.empty()) std::memcpy(at, data.data(), data.size());
    return at;
  }

 private:
  size_t page_ = 0;
  size_t usable_ = 0;
  unsigned char* base_ = nullptr;
  bool ok_ = false;
};

// Random bytes, mostly from the ranges where the detectors' rules change:
// JIS escape sequences (whole and cut), 0x80-0xA0, 0x8E/0x8F, katakana,
// 0xE0-0xEF, 0xF0-0xFF, UTF-8 lead and trail bytes, and whole UTF-8 characters.
inline Bytes RandomDetectionBytes(std::mt19937& rng, size_t n) {
  static const std::vector<Bytes> kEscapes = {
      {0x1B, '$', 'B'}, {0x1B, '$', '@'}, {0x1B, '(', 'J'}, {0x1B, '(', 'I'}, {0x1B, '$', '(', 'D'},
      {0x1B, '(', 'B'}, {0x1B, '$', '('}, {0x1B, '$'},      {0x1B, '('},      {0x1B}};
  auto in = [&rng](int lo, int hi) {
    return static_cast<unsigned char>(std::uniform_int_distribution<int>(lo, hi)(rng));
  };
  Bytes out;
  while (out.size() < n) {
    switch (rng() % 13) {
      case 0: {
        const Bytes& e = kEscapes[rng() % kEscapes.size()];
        out.insert(out.end(), e.begin(), e.end());
        break;
      }
      case 1:
        out.push_back(in(0x00, 0x7F));
        break;
      case 2:
        out.push_back(in(0x80, 0xA0));
        break;
      case 3:
        out.push_back(rng() % 2 ? 0x8E : 0x8F);
        break;
      case 4:
        out.push_back(in(0xA1, 0xDF));
        break;
      case 5:
        out.push_back(in(0xE0, 0xEF));
        break;
      case 6:
        out.push_back(in(0xF0, 0xFF));
        break;
      case 7:
        out.push_back(in(0x80, 0xBF));
        break;
      case 8:
        out.push_back(in(0xC0, 0xDF));
        break;
      case 9: {  // a whole UTF-8 character of 2 to 4 bytes
        const int len = 2 + static_cast<int>(rng() % 3);
        out.push_back(len == 2 ? in(0xC0, 0xDF) : len == 3 ? in(0xE0, 0xEF) : in(0xF0, 0xF7));
        for (int k = 1; k < len; ++k) out.push_back(in(0x80, 0xBF));
        break;
      }
      case 10:
        out.push_back(in(0x40, 0x7E));
        break;
      case 11:
        out.push_back(in(0xA1, 0xFE));
        break;
      default:
        out.push_back(in(0x00, 0xFF));
        break;
    }
  }
  out.resize(n);
  return out;
}

}  // namespace nls_test

#endif  // NLSCNV_TESTS_DETECTION_DETECTION_TEST_UTIL_H

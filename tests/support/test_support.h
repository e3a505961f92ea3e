// Helpers shared by the tests: stderr capture for the diagnostic line,
// guarded output buffers, and oracle files.
#ifndef NLSCNV_TESTS_SUPPORT_TEST_SUPPORT_H
#define NLSCNV_TESTS_SUPPORT_TEST_SUPPORT_H

#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace nls_test {

using Bytes = std::vector<unsigned char>;

// Redirects standard error to a temporary file for the lifetime of the
// object; Text() returns what was written so far.
class StderrCapture {
 public:
  StderrCapture() {
    std::fflush(stderr);
    char path[] = "/tmp/nls_stderr_XXXXXX";
    fd_ = mkstemp(path);
    path_ = path;
    saved_ = dup(2);
    dup2(fd_, 2);
  }
  ~StderrCapture() {
    Restore();
    close(fd_);
    unlink(path_.c_str());
  }
  std::string Text() {
    std::fflush(stderr);
    std::ifstream in(path_, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  void Restore() {
    if (saved_ >= 0) {
      std::fflush(stderr);
      dup2(saved_, 2);
      close(saved_);
      saved_ = -1;
    }
  }

 private:
  int fd_ = -1;
  int saved_ = -1;
  std::string path_;
};

// The diagnostic line exactly as the library prints it.
inline std::string AssertText(int line, const char* unit) {
  return "assert: line " + std::to_string(line) + ", file " + unit + "\a\n";
}

// An output buffer followed by guard bytes that must stay untouched.
class GuardedBuffer {
 public:
  static constexpr size_t kGuard = 32;
  static constexpr unsigned char kFill = 0xA5;
  explicit GuardedBuffer(size_t size) : size_(size), storage_(size + kGuard, kFill) {}
  unsigned char* data() { return storage_.data(); }
  unsigned int size() const { return static_cast<unsigned int>(size_); }
  bool GuardIntact() const {
    for (size_t i = size_; i < storage_.size(); ++i)
      if (storage_[i] != kFill) return false;
    return true;
  }
  Bytes Prefix(size_t n) const { return Bytes(storage_.begin(), storage_.begin() + n); }

 private:
  size_t size_;
  Bytes storage_;
};

inline Bytes ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline std::string OraclePath(const std::string& name) {
  return std::string(NLS_ORACLE_DIR) + "/" + name;
}

// UCS-2 units to bytes in the machine's byte order.
inline Bytes Ucs2(const std::vector<uint16_t>& units) {
  Bytes out(units.size() * 2);
  for (size_t i = 0; i < units.size(); ++i) std::memcpy(&out[2 * i], &units[i], 2);
  return out;
}

inline std::vector<uint16_t> Units(const Bytes& bytes) {
  std::vector<uint16_t> out(bytes.size() / 2);
  for (size_t i = 0; i < out.size(); ++i) std::memcpy(&out[i], &bytes[2 * i], 2);
  return out;
}

inline Bytes B(const std::string& s) { return Bytes(s.begin(), s.end()); }

}  // namespace nls_test

#endif  // NLSCNV_TESTS_SUPPORT_TEST_SUPPORT_H

// Shared pieces of the fuzz harnesses: failing a run with a message, guarded
// output buffers, exact-size input copies and a table of the built-in
// converters with what each one promises.
#ifndef NLSCNV_FUZZ_FUZZ_SUPPORT_H
#define NLSCNV_FUZZ_FUZZ_SUPPORT_H

#include <fuzzer/FuzzedDataProvider.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "nlscnv.h"
#include "nlscnv/converter.h"

namespace nls_fuzz {

using Bytes = std::vector<uint8_t>;

// Where failure messages go: the standard error the process started with,
// kept by KeepReportChannel() from LLVMFuzzerInitialize, so that they stay
// visible when the fuzzer runs with -close_fd_mask=2 to drop the library's
// own diagnostic lines.
inline int& ReportFd() {
  static int fd = -1;
  return fd;
}
inline void KeepReportChannel() {
  if (ReportFd() < 0) ReportFd() = dup(2);
}

// Ends the run as a crash, so that libFuzzer keeps the input.
[[noreturn]] inline void Fail(const char* file, int line, const char* what, const char* format,
                              ...) {
  const int fd = ReportFd() >= 0 ? ReportFd() : 2;
  dprintf(fd, "\nFUZZ CHECK FAILED at %s:%d: %s\n  ", file, line, what);
  va_list args;
  va_start(args, format);
  vdprintf(fd, format, args);
  va_end(args);
  dprintf(fd, "\n");
  std::abort();
}

#define FUZZ_CHECK(condition, ...)                                                 \
  do {                                                                             \
    if (!(condition)) nls_fuzz::Fail(__FILE__, __LINE__, #condition, __VA_ARGS__); \
  } while (0)

// Input of exactly `size` bytes on the heap, so that AddressSanitizer reports
// any read past it. An empty input is a null pointer, as the conversion object
// passes when it never kept a remainder.
class ExactInput {
 public:
  ExactInput(const uint8_t* data, size_t size)
      : size_(size), storage_(size == 0 ? nullptr : new uint8_t[size]) {
    if (size != 0) std::memcpy(storage_.get(), data, size);
  }
  explicit ExactInput(const Bytes& bytes) : ExactInput(bytes.data(), bytes.size()) {}
  const uint8_t* data() const { return storage_.get(); }
  unsigned int size() const { return static_cast<unsigned int>(size_); }

 private:
  size_t size_;
  std::unique_ptr<uint8_t[]> storage_;
};

// Output buffer of `size` bytes followed by guard bytes that must stay as
// they are; AddressSanitizer covers anything past the guard.
class GuardedOutput {
 public:
  static constexpr size_t kGuard = 16;
  static constexpr uint8_t kFill = 0xA5;
  explicit GuardedOutput(size_t size) : size_(size), storage_(new uint8_t[size + kGuard]) {
    std::memset(storage_.get(), kFill, size + kGuard);
  }
  uint8_t* data() { return storage_.get(); }
  const uint8_t* data() const { return storage_.get(); }
  unsigned int size() const { return static_cast<unsigned int>(size_); }
  // Index of the first guard byte that changed, or -1.
  long DamagedGuard() const {
    for (size_t i = 0; i < kGuard; ++i)
      if (storage_[size_ + i] != kFill) return static_cast<long>(i);
    return -1;
  }
  // True when `count` bytes at `offset` all are zero.
  bool ZeroAt(size_t offset, size_t count) const {
    for (size_t i = 0; i < count; ++i)
      if (storage_[offset + i] != 0) return false;
    return true;
  }

 private:
  size_t size_;
  std::unique_ptr<uint8_t[]> storage_;
};

// Status codes that a conversion may answer.
inline bool KnownConversionStatus(int status) {
  switch (status) {
    case 1:
    case 2:
    case -1002:
    case -1009:
    case -1014:
    case -1302:
    case -1303:
    case -1304:
      return true;
    default:
      return false;
  }
}

// A built-in converter and what the harnesses may rely on.
struct Direction {
  const char* name;
  NLS_ConverterFactory factory;
  unsigned inUnit;      // input is read in units of this many bytes
  unsigned terminator;  // size of the terminator written after the output
  unsigned outUnit;     // output comes in units of this many bytes
  bool fromUnicode;     // the input is UCS-2
  int inverse;          // index of the converter of the opposite direction
  // Converting with output buffers of any size and resuming at the unconsumed
  // input gives the same bytes as one conversion into a large buffer.
  bool resumesExactly;
  // The same holds when the input arrives in pieces cut anywhere, each piece
  // following what the previous calls left unconsumed.
  bool piecesExactly;
};

inline const Direction* Directions(size_t* count) {
  static const Direction kDirections[] = {
      {"latin1>ucs2", NEWLATIN1TOUNICODEENCODINGCONVERTER, 1, 2, 2, false, 1, true, true},
      {"ucs2>latin1", NEWUNICODETOLATIN1ENCODINGCONVERTER, 2, 1, 1, true, 0, true, true},
      {"macroman>ucs2", NEWMACROMANTOUNICODEENCODINGCONVERTER, 1, 2, 2, false, 3, true, true},
      {"ucs2>macroman", NEWUNICODETOMACROMANENCODINGCONVERTER, 2, 1, 1, true, 2, true, true},
      {"ucs4>ucs2", NEWUCS4TOUNICODEENCODINGCONVERTER, 4, 2, 2, false, 5, true, true},
      {"ucs2>ucs4", NEWUNICODETOUCS4ENCODINGCONVERTER, 2, 4, 4, true, 4, true, true},
      {"eucs>ucs2", NEWEUCSTOUNICODEENCODINGCONVERTER, 1, 2, 2, false, 7, true, false},
      {"ucs2>eucs", NEWUNICODETOEUCSENCODINGCONVERTER, 2, 1, 1, true, 6, true, true},
      {"utf8>ucs2", NEWUTF8TOUNICODEENCODINGCONVERTER, 1, 2, 2, false, 9, true, true},
      // A surrogate pair cut between two pieces is encoded unit by unit.
      {"ucs2>utf8", NEWUNICODETOUTF8ENCODINGCONVERTER, 2, 1, 1, true, 8, true, false},
      // UTF-7 runs end with every call, so neither cut is transparent.
      {"utf7>ucs2", NEWUTF7TOUNICODEENCODINGCONVERTER, 1, 2, 2, false, 11, false, false},
      {"ucs2>utf7", NEWUNICODETOUTF7ENCODINGCONVERTER, 2, 1, 1, true, 10, false, false},
      {"mutf7>ucs2", NEWMODIFIEDUTF7TOUNICODEENCODINGCONVERTER, 1, 2, 2, false, 13, false, false},
      {"ucs2>mutf7", NEWUNICODETOMODIFIEDUTF7ENCODINGCONVERTER, 2, 1, 1, true, 12, false, false},
  };
  *count = sizeof(kDirections) / sizeof(kDirections[0]);
  return kDirections;
}

// True for the canonical names of the encodings built into libnlscnv.
inline bool BuiltInEncoding(const std::string& name) {
  static const char* const kBuiltIn[] = {
      "ISO_8859-1:1987", "x-mac-roman",       "ISO-10646-UCS-4",     "ESCAPED_UNICODE",
      "UTF-8",           "UNICODE-1-1-UTF-7", "IMAP-MODIFIED-UTF-7", "ISO-10646-UCS-2"};
  for (const char* b : kBuiltIn)
    if (name == b) return true;
  return false;
}

// Releases a converter through its own operation.
struct ConverterRelease {
  void operator()(TEncodingConverter* converter) const {
    if (converter != nullptr) converter->ReleaseEncodingConverter();
  }
};
using ConverterPtr = std::unique_ptr<TEncodingConverter, ConverterRelease>;

}  // namespace nls_fuzz

#endif  // NLSCNV_FUZZ_FUZZ_SUPPORT_H

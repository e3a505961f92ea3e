// Where converted text goes: standard output, or a named file that is
// replaced only when the whole conversion succeeded.
#ifndef NLSCONV_OUTPUT_H
#define NLSCONV_OUTPUT_H

#include <cstddef>
#include <cstdio>
#include <string>

namespace nlsconv {

class Output {
 public:
  Output() = default;
  ~Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  // Opens standard output (path empty) or prepares `path`. A regular file (or
  // a new one) is written as a temporary file in the same directory and
  // renamed over it by Commit; anything else (a device, a pipe) is opened
  // for writing directly. On failure prints the reason and returns false.
  bool Open(const std::string& path);
  // Writes n bytes; on failure prints the reason once and returns false.
  bool Write(const void* data, size_t n);
  // Flushes and closes; renames the temporary file into place. Returns
  // false (after printing the reason) when any write, flush or close failed.
  bool Commit();
  // Drops a temporary file; the named file stays as it was.
  void Abandon();

 private:
  bool Fail(int error);

  FILE* file_ = nullptr;
  std::string name_;       // for messages
  std::string final_;      // the file to replace, when writing a temporary file
  std::string temporary_;  // the temporary file, or empty
  bool failed_ = false;
};

// Removes the temporary output file when the process is interrupted.
void InstallInterruptCleanup();

}  // namespace nlsconv

#endif  // NLSCONV_OUTPUT_H

// Helpers of the registry tests: throw-away data directories and the data
// directory of the test converter library.
#ifndef NLSCNV_TESTS_REGISTRY_REGISTRY_TEST_UTIL_H
#define NLSCNV_TESTS_REGISTRY_REGISTRY_TEST_UTIL_H

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "nlscnv/conversion/encoding_converter.h"
#include "support/test_support.h"

namespace nls_test {

// The directory holding libnlstest30.so and its encreg.txt (ends in "/").
inline std::string TestLibraryDirectory() {
  return std::string(NLS_REGISTRY_TEST_DATA) + "/conv30/";
}

// Points the data directory at the test library, so that registries built
// afterwards load their converter libraries from there.
inline void UseTestLibraryDirectory() {
  EncodingConverter::setDataDirectory(NLS_REGISTRY_TEST_DATA);
}

// A temporary directory for registry files, removed with its files.
class TempDataDir {
 public:
  TempDataDir() {
    char pattern[] = "/tmp/nls_registry_XXXXXX";
    char* made = mkdtemp(pattern);
    path_ = made != nullptr ? made : "/nonexistent";
  }
  ~TempDataDir() {
    for (const std::string& file : files_) unlink(file.c_str());
    rmdir(path_.c_str());
  }
  TempDataDir(const TempDataDir&) = delete;
  TempDataDir& operator=(const TempDataDir&) = delete;

  void Write(const std::string& name, const std::string& content) {
    std::string file = path_ + "/" + name;
    FILE* f = std::fopen(file.c_str(), "wb");
    if (f == nullptr) return;
    std::fwrite(content.data(), 1, content.size(), f);
    std::fclose(f);
    files_.push_back(file);
  }
  // The directory with its trailing "/", as Initialize expects it.
  std::string Prefix() const { return path_ + "/"; }

 private:
  std::string path_;
  std::vector<std::string> files_;
};

}  // namespace nls_test

#endif  // NLSCNV_TESTS_REGISTRY_REGISTRY_TEST_UTIL_H

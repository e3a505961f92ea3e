// Every conversion test starts from an initialised library whose data
// directory holds no registry files, so only the built-in conversions exist.
#ifndef NLSCNV_TESTS_CONVERSION_CONVERSION_TEST_ENV_H
#define NLSCNV_TESTS_CONVERSION_CONVERSION_TEST_ENV_H

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

#include "nlscnv.h"

namespace nls_test {

// An empty base directory (its conv30/ does not exist).
inline const char* EmptyDataDirectory() {
  static std::string dir = [] {
    char path[] = "/tmp/nls_empty_XXXXXX";
    return std::string(mkdtemp(path));
  }();
  return dir.c_str();
}

class BuiltinsOnly : public ::testing::Test {
 protected:
  void SetUp() override { NLS_EncInitialize(nullptr, EmptyDataDirectory()); }
  void TearDown() override { NLS_EncTerminate(); }
};

}  // namespace nls_test

#endif  // NLSCNV_TESTS_CONVERSION_CONVERSION_TEST_ENV_H

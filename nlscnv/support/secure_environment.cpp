#include "nlscnv/support/secure_environment.h"

#include <stdlib.h>

namespace nls {

const char* LibraryEnvironment(const char* name) {
  if (nls_test_secure_execution != nullptr && nls_test_secure_execution() != 0) return nullptr;
  return secure_getenv(name);
}

}  // namespace nls

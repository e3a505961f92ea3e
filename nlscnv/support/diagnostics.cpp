#include "nlscnv/support/diagnostics.h"

#include <cstdio>

namespace nls {

void AssertLine(int line, const char* unit) {
  std::fprintf(stderr, "assert: line %d, file %s%c\n", line, unit, 7);
}

}  // namespace nls

#include "nlscnv/support/diagnostics.h"

#include "nlscnv/support/diagnostic_handler.h"

namespace nls {

void AssertLine(int line, const char* unit) { DeliverDiagnostic(line, unit); }

}  // namespace nls

// Where diagnostic lines go: the host's handler, installed with
// NLS_SetDiagnosticHandler, or by default NLS_PrintDiagnostic (standard
// error).
#ifndef NLSCNV_SUPPORT_DIAGNOSTIC_HANDLER_H
#define NLSCNV_SUPPORT_DIAGNOSTIC_HANDLER_H

#include "nlscnv.h"

namespace nls {

// Hands one diagnostic to the installed handler (nothing when it is null).
void DeliverDiagnostic(int line, const char* unit);

// Installs a handler and its context as one unit. Returns once no thread is
// still inside, or about to enter, the previous handler. 1, or -1009 when
// called from a handler (waiting would never end).
int SetDiagnosticHandler(NLS_DiagnosticHandler handler, void* context);

}  // namespace nls

#endif  // NLSCNV_SUPPORT_DIAGNOSTIC_HANDLER_H

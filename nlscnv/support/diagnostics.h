// The diagnostic line that failure paths print before they return a status.
#ifndef NLSCNV_SUPPORT_DIAGNOSTICS_H
#define NLSCNV_SUPPORT_DIAGNOSTICS_H

#include "nlscnv.h"
#include "nlscnv/support/diagnostic_sites.h"

namespace nls {

// Writes "assert: line <line>, file <unit>" and the BEL character to standard
// error, then returns: the caller goes on and reports its status.
void AssertLine(int line, const char* unit);
inline void AssertLine(DiagnosticSite site) { AssertLine(site.line, site.unit); }

}  // namespace nls

#endif  // NLSCNV_SUPPORT_DIAGNOSTICS_H

// The diagnostic line that failure paths print before they return a status.
#ifndef NLSCNV_SUPPORT_DIAGNOSTICS_H
#define NLSCNV_SUPPORT_DIAGNOSTICS_H

#include "nlscnv.h"

namespace nls {

// Source-unit names printed by the diagnostic line.
namespace unit {
inline constexpr char kNlsenc[] = "nlsenc";      // exported interface
inline constexpr char kEnconv[] = "enconv";      // conversion objects
inline constexpr char kReg[] = "reg";            // encoding registry
inline constexpr char kLinker[] = "linker";      // converter libraries
inline constexpr char kTwoStage[] = "twostage";  // two-stage converter
inline constexpr char kEnccn[] = "enccn";        // converter base class
inline constexpr char kUtblfunc[] = "utblfunc";  // mapping and shift tables
inline constexpr char kStatcn[] = "statcn";      // built-in module
inline constexpr char kUtf8cn[] = "utf8cn";
inline constexpr char kUcs4cn[] = "ucs4cn";
inline constexpr char kUtf7cn[] = "utf7cn";
inline constexpr char kMutf7cn[] = "mutf7cn";
inline constexpr char kEucscn[] = "eucscn";
inline constexpr char kLat1cn[] = "lat1cn";
inline constexpr char kAutocvt[] = "autocvt";
inline constexpr char kUtf8de[] = "utf8de";
inline constexpr char kNlsmutex[] = "nlsmutex";
}  // namespace unit

// Writes "assert: line <line>, file <unit>" and the BEL character to standard
// error, then returns: the caller goes on and reports its status.
void AssertLine(int line, const char* unit);

}  // namespace nls

#endif  // NLSCNV_SUPPORT_DIAGNOSTICS_H

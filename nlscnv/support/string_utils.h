// Internals of the exported string utilities that the tests reach directly.
#ifndef NLSCNV_SUPPORT_STRING_UTILS_H
#define NLSCNV_SUPPORT_STRING_UTILS_H

#include "nlscnv.h"

namespace nls {

// Compares a and b byte by byte after lower-casing each byte with the
// locale's tolower (applied to the byte as a signed char), as strcmp compares:
// negative, 0 or positive. Needs no memory; __strcmpi falls back on it when it
// cannot copy its arguments.
int CompareLowerCased(const char* a, const char* b);

}  // namespace nls

#endif  // NLSCNV_SUPPORT_STRING_UTILS_H

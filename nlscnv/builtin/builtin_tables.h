// The static tables of the built-in module that are not part of the public
// interface (the public ones are declared in nlscnv/converter.h).
#ifndef NLSCNV_BUILTIN_BUILTIN_TABLES_H
#define NLSCNV_BUILTIN_BUILTIN_TABLES_H

#include "nlscnv/converter.h"
#include "nlscnv/single_byte.h"

namespace nls::builtin {

// Mac OS Roman for the generic single-byte codec.
extern const NLS_SingleByteTable kMacRomanTable;

}  // namespace nls::builtin

#endif  // NLSCNV_BUILTIN_BUILTIN_TABLES_H

// The strict codecs of the built-in encodings, by canonical name.
#ifndef NLSCNV_BUILTIN_BUILTIN_CODECS_H
#define NLSCNV_BUILTIN_BUILTIN_CODECS_H

#include "nlscnv/codec.h"

namespace nls::builtin {

// The built-in codecs, ended by a record whose name is null.
const NLS_Codec* Codecs();

}  // namespace nls::builtin

#endif  // NLSCNV_BUILTIN_BUILTIN_CODECS_H

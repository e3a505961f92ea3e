// The strict codecs of the built-in encodings (see nlscnv/codec.h).
#ifndef NLSCNV_CODECS_CODECS_H
#define NLSCNV_CODECS_CODECS_H

#include "nlscnv/codec.h"
#include "nlscnv/single_byte.h"
#include "nlscnv/support/encoding_names.h"

namespace nls::codecs {

extern const NLS_Codec kPivotCodec;  // "ISO-10646-UCS-2": validated UTF-16
extern const NLS_Codec kUcs4Codec;
extern const NLS_Codec kLatin1Codec;
extern const NLS_Codec kAsciiCodec;
extern const NLS_Codec kUtf8Codec;
extern const NLS_Codec kUtf7Codec;
extern const NLS_Codec kImapUtf7Codec;
extern const NLS_Codec kEscapedUnicodeCodec;

}  // namespace nls::codecs

#endif  // NLSCNV_CODECS_CODECS_H

// The Unicode encoding forms of libnlsunicode30.so: UTF-16 and UTF-32 in
// either byte order or with a byte-order mark, UCS-2 in either byte order
// and CESU-8. One decoder and one encoder per form, parameterised by a
// UnicodeForm record (the codec's data).
//
// Decoding:
// - with a mark (UTF-16, UTF-32): a byte-order mark at the start of a text
//   selects the byte order and is not part of the text; without one the
//   text is big-endian (RFC 2781). The order read is kept in state word 0
//   (0 none yet, 1 big-endian, 2 little-endian); a U+FEFF later in the
//   text is a character.
// - UTF-16: a surrogate pair is one character; a lone surrogate is
//   ill-formed (2 bytes). UCS-2: every surrogate unit is ill-formed.
// - UTF-32: values above U+10FFFF and surrogate values are ill-formed (4
//   bytes).
// - CESU-8: UTF-8 forms of one to three bytes, a character above U+FFFF as
//   the two three-byte forms of its surrogates; four-byte forms, overlong
//   forms and lone surrogates are ill-formed.
// Encoding: UTF-16 and UTF-32 with a mark write it before the first
// character, then the machine's byte order (as glibc's iconv does); UCS-2
// has no mapping for characters above U+FFFF.
#ifndef NLSCNV_LIBS_UNICODE_UNICODE_FORMS_H
#define NLSCNV_LIBS_UNICODE_UNICODE_FORMS_H

#include <cstdint>

#include "nlscnv/codec.h"

namespace nls_unicode {

struct UnicodeForm {
  enum Order : uint8_t { kBigEndian, kLittleEndian, kMarked } order;
  bool bmpOnly;  // UCS-2
};

int Utf16Decode(const NLS_Codec* codec, NLS_CodecState* state, NLS_CodecCall* call);
int Utf16Encode(const NLS_Codec* codec, NLS_CodecState* state, NLS_CodecCall* call);
int Utf32Decode(const NLS_Codec* codec, NLS_CodecState* state, NLS_CodecCall* call);
int Utf32Encode(const NLS_Codec* codec, NLS_CodecState* state, NLS_CodecCall* call);
int Cesu8Decode(const NLS_Codec* codec, NLS_CodecState* state, NLS_CodecCall* call);
int Cesu8Encode(const NLS_Codec* codec, NLS_CodecState* state, NLS_CodecCall* call);

// The library's codecs (unicode_codecs.cpp, generated), ended by a null name.
extern const NLS_Codec kCodecs[];

}  // namespace nls_unicode

#endif  // NLSCNV_LIBS_UNICODE_UNICODE_FORMS_H

// ISO-2022-JP (RFC 1468): seven-bit text that switches between ASCII, JIS X
// 0201 Roman and JIS X 0208 with escape sequences; the codec's data is the
// EUC-JP table, whose pairs from 0xA1 are JIS X 0208 with the high bits set.
//
// Decoding (the set in state word 0, ASCII at first):
// - ESC ( B selects ASCII, ESC ( J JIS X 0201 Roman (0x5C is U+00A5, 0x7E is
//   U+203E), ESC $ @, ESC $ B, ESC $ ( @ and ESC $ ( B JIS X 0208 (the 1978
//   designations are read with the 1983 table, as Python's codec does); any
//   other escape is ill-formed in its ESC alone, and the bytes after it are
//   read again;
// - bytes up to 0x20 other than ESC are themselves in every set;
// - in JIS X 0208 two bytes 0x21-0x7E are one character (an unassigned pair
//   is ill-formed as a whole); a first byte followed by another byte, 0x7F,
//   and every byte from 0x80 in any set, are ill-formed.
// Encoding (the choices of RFC 1468 encoders, as Python's codec writes
// them): characters below 0x80 but ESC in ASCII, U+00A5 and U+203E in JIS X 0201
// Roman, the characters of JIS X 0208 in JIS X 0208; an escape sequence
// only when the set changes, and ESC ( B at the end of the text when the
// set is not ASCII.
#ifndef NLSCNV_LIBS_JAPANESE_ISO2022JP_CODEC_H
#define NLSCNV_LIBS_JAPANESE_ISO2022JP_CODEC_H

#include "nlscnv/multi_byte.h"

namespace nls_japanese {

int Iso2022JpDecode(const NLS_Codec* codec, NLS_CodecState* state, NLS_CodecCall* call);
int Iso2022JpEncode(const NLS_Codec* codec, NLS_CodecState* state, NLS_CodecCall* call);

}  // namespace nls_japanese

#endif  // NLSCNV_LIBS_JAPANESE_ISO2022JP_CODEC_H

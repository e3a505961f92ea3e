// ISO-2022-JP-3 and ISO-2022-JP-2004: ISO-2022-JP with the two planes of JIS
// X 0213, over the tables of EUC-JISX0213 and EUC-JIS-2004 (plane 1 as their
// pairs, plane 2 as their three-byte forms) and of EUC-JP (JIS X 0208).
//
// Decoding (the G0 set in state word 0, ASCII at first):
// - ESC ( B selects ASCII, ESC $ B and ESC $ ( B JIS X 0208, ESC $ ( O
//   (ISO-2022-JP-3) or ESC $ ( Q (ISO-2022-JP-2004) plane 1 and ESC $ ( P
//   plane 2 of JIS X 0213, as Python's codecs read them; any other escape is
//   ill-formed in its ESC alone, and the bytes after it are read again;
// - bytes up to 0x20 other than ESC are themselves in every set;
// - in a two-byte set two bytes 0x21-0x7E are one code (an unassigned one
//   is ill-formed as a whole), which may stand for a character above U+FFFF
//   or for a base character and a combining mark; a first byte followed by
//   another byte, 0x7F, and every byte from 0x80, are ill-formed.
// Encoding (as Python's codecs write them): characters below 0x80 but ESC in
// ASCII, any other in JIS X 0208 when it has the character, else in plane 1,
// else in plane 2. A base character that a code combines with a following
// mark is held back (state word 1) until the next character or the end of
// the text shows which code to write. An escape sequence only when the set
// changes, and ESC ( B at the end of the text when the set is not ASCII.
#ifndef NLSCNV_LIBS_JAPANESE_ISO2022JP3_CODEC_H
#define NLSCNV_LIBS_JAPANESE_ISO2022JP3_CODEC_H

#include "nlscnv/multi_byte.h"

namespace nls_japanese {

// One of the two encodings (a codec's data).
struct Iso2022Jp3Sets {
  const NLS_Codec* jisx0213;           // the EUC codec of the edition
  const NLS_MultiByteTable* jisx0208;  // EUC-JP
  unsigned char plane1;                // the final byte of plane 1's designation
};

extern const Iso2022Jp3Sets kIso2022Jp3Sets, kIso2022Jp2004Sets;

int Iso2022Jp3Decode(const NLS_Codec* codec, NLS_CodecState* state, NLS_CodecCall* call);
int Iso2022Jp3Encode(const NLS_Codec* codec, NLS_CodecState* state, NLS_CodecCall* call);

}  // namespace nls_japanese

#endif  // NLSCNV_LIBS_JAPANESE_ISO2022JP3_CODEC_H

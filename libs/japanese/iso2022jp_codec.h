// ISO-2022-JP (RFC 1468) and its extensions ISO-2022-JP-1 (RFC 2237) and
// ISO-2022-JP-2 (RFC 1554): seven-bit text that switches between character
// sets with escape sequences. The codec's data names the level and the
// tables: EUC-JP's, whose pairs from 0xA1 are JIS X 0208 and whose
// three-byte forms are JIS X 0212 with the high bits set, and for
// ISO-2022-JP-2 copies of the GB2312 and EUC-KR tables (KS X 1001) and the
// upper half of ISO-8859-7 as Python's codec reads it.
//
// Decoding (the G0 set in state word 0, ASCII at first; the G2 set in word 1):
// - ESC ( B selects ASCII, ESC ( J JIS X 0201 Roman (0x5C is U+00A5, 0x7E is
//   U+203E), ESC $ @ and ESC $ B JIS X 0208 (the 1978 designation is read
//   with the 1983 table, as Python's codec does); from ISO-2022-JP-1 on ESC $
//   D JIS X 0212, in ISO-2022-JP-2 ESC $ A GB2312 and ESC $ C KS X 1001. A
//   two-byte set may also be designated with "(" after the "$" (the form
//   the encoder writes for all but JIS X 0208, as Python's codec does);
// - ISO-2022-JP-EXT (level 1 with katakana): ESC ( I selects JIS X 0201
//   Katakana, where a byte 0x21-0x5F is U+FF61-U+FF9F;
// - ISO-2022-JP-2: ESC . A designates ISO-8859-1 and ESC . F ISO-8859-7 to
//   G2, and ESC N followed by a byte 0x20-0x7F is the G2 character of that
//   byte with its high bit set; the G2 set stays for the rest of the text;
// - any other escape is ill-formed in its ESC alone, and the bytes after it
//   are read again (ESC N without a G2 set is ill-formed in its two bytes,
//   and so is ESC N before a byte outside 0x20-0x7F);
// - bytes up to 0x20 other than ESC are themselves in every set;
// - in a two-byte set two bytes 0x21-0x7E are one character (an unassigned
//   pair is ill-formed as a whole); a first byte followed by another byte,
//   0x7F, and every byte from 0x80 in any set, are ill-formed.
// Encoding (as Python's codecs write them): characters below 0x80 but ESC in
// ASCII; any other in the first set of JIS X 0208, JIS X 0212 (from -1 on),
// KS X 1001 and GB2312 (-2), JIS X 0201 Roman, JIS X 0201 Katakana (-EXT)
// that has it; G2 is never used.
// An escape sequence only when the set changes, and ESC ( B at the end of
// the text when the set is not ASCII.
#ifndef NLSCNV_LIBS_JAPANESE_ISO2022JP_CODEC_H
#define NLSCNV_LIBS_JAPANESE_ISO2022JP_CODEC_H

#include "nlscnv/multi_byte.h"

namespace nls_japanese {

// What one level of the encoding reads and writes (a codec's data).
struct Iso2022JpSets {
  unsigned level;                    // 0: ISO-2022-JP, 1: -1 and -EXT, 2: -2
  const NLS_MultiByteTable* jis;     // EUC-JP
  const NLS_MultiByteTable* gb2312;  // -2 only
  const NLS_MultiByteTable* ksx1001;
  const uint16_t* greek;  // ISO-8859-7 0xA0-0xFF, 0 where unassigned
  unsigned katakana;      // ISO-2022-JP-EXT: JIS X 0201 Katakana (ESC ( I)
};

extern const Iso2022JpSets kIso2022JpSets, kIso2022Jp1Sets, kIso2022Jp2Sets, kIso2022JpExtSets;

int Iso2022JpDecode(const NLS_Codec* codec, NLS_CodecState* state, NLS_CodecCall* call);
int Iso2022JpEncode(const NLS_Codec* codec, NLS_CodecState* state, NLS_CodecCall* call);

}  // namespace nls_japanese

#endif  // NLSCNV_LIBS_JAPANESE_ISO2022JP_CODEC_H

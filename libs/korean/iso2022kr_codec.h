// ISO-2022-KR (RFC 1557): seven-bit text that shifts between ASCII and KS X
// 1001 with SO and SI, KS X 1001 designated to G1 by the header ESC $ ) C;
// the codec's data is the EUC-KR table, whose pairs are KS X 1001 with the
// high bits set.
//
// Decoding (the shift in state word 0, ASCII at first):
// - ESC $ ) C is read and dropped wherever it occurs (KS X 1001 is the only
//   set G1 can hold, so SO selects it also without the header); any other
//   escape is ill-formed in its ESC alone, and the bytes after it are read
//   again;
// - SO selects KS X 1001, SI ASCII; a line feed is itself and ends the shift
//   (every line starts in ASCII), the other control bytes below 0x20 are
//   themselves in both shifts;
// - in KS X 1001 two bytes 0x21-0x7E are one character (an unassigned pair
//   is ill-formed as a whole); a first byte followed by another byte, 0x20
//   and 0x7F, and every byte from 0x80 in either shift, are ill-formed.
// Encoding: the header once before the first character of the text, SO
// before KS X 1001 characters and SI before ASCII ones when the shift
// changes, so a line ends in ASCII (SI comes before CR and LF), and SI at
// the end of the text when it is shifted. SO, SI and ESC have no mapping:
// written as bytes they would shift or start an escape sequence.
#ifndef NLSCNV_LIBS_KOREAN_ISO2022KR_CODEC_H
#define NLSCNV_LIBS_KOREAN_ISO2022KR_CODEC_H

#include "nlscnv/multi_byte.h"

namespace nls_korean {

int Iso2022KrDecode(const NLS_Codec* codec, NLS_CodecState* state, NLS_CodecCall* call);
int Iso2022KrEncode(const NLS_Codec* codec, NLS_CodecState* state, NLS_CodecCall* call);

}  // namespace nls_korean

#endif  // NLSCNV_LIBS_KOREAN_ISO2022KR_CODEC_H

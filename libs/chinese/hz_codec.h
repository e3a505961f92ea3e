// HZ-GB-2312 (RFC 1843): seven-bit text that switches between ASCII and
// GB2312 with "~{" and "~}"; the codec's data is the GB2312 (EUC-CN) table,
// whose pairs are GB2312 with the high bits set.
//
// Decoding (the mode in state word 0, ASCII at first):
// - in ASCII, "~~" is "~", "~{" switches to GB2312, "~" and a line feed is a
//   line continuation (both dropped); "~" followed by anything else is
//   ill-formed in its "~" alone; bytes below 0x80 but "~" are themselves;
// - in GB2312, "~}" switches to ASCII and two bytes 0x21-0x7E are one
//   character (an unassigned pair is ill-formed as a whole); "~" followed by
//   anything else, a first byte followed by a byte outside 0x21-0x7E, and
//   every other byte (a line feed included: a GB2312 run ends on its line)
//   are ill-formed;
// - bytes from 0x80 are ill-formed in both modes.
// Encoding: "~{" before GB2312 characters and "~}" before ASCII ones when
// the mode changes (so a line ends in ASCII), "~~" for "~", and "~}" at the
// end of the text when it is in GB2312.
#ifndef NLSCNV_LIBS_CHINESE_HZ_CODEC_H
#define NLSCNV_LIBS_CHINESE_HZ_CODEC_H

#include "nlscnv/multi_byte.h"

namespace nls_chinese {

int HzDecode(const NLS_Codec* codec, NLS_CodecState* state, NLS_CodecCall* call);
int HzEncode(const NLS_Codec* codec, NLS_CodecState* state, NLS_CodecCall* call);

}  // namespace nls_chinese

#endif  // NLSCNV_LIBS_CHINESE_HZ_CODEC_H

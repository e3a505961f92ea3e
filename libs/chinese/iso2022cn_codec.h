// ISO-2022-CN and ISO-2022-CN-EXT (RFC 1922): seven-bit text that shifts
// between ASCII and the set designated to G1 (GB2312 by ESC $ ) A, CNS 11643
// plane 1 by ESC $ ) G) with SO and SI, reaches the G2 set (plane 2, ESC $ *
// H) through the single shift ESC N and, in -EXT, the G3 set (planes 3-7,
// ESC $ + I to M) through ESC O; each single shift covers the two bytes
// after it.
//
// Decoding (state words: 0 the shift, 1 the G1 set, 2 the G2 set, 3 the G3
// plane; nothing designated at first):
// - a designation is read and dropped; any other escape sequence, SO with
//   nothing in G1, and a single shift to a set that is not designated are
//   ill-formed up to the byte that makes them so;
// - SO and SI shift; a line feed is itself and ends the shift and every
//   designation (each line starts afresh); the other bytes below 0x20 are
//   themselves in both shifts;
// - after SO and after a single shift, two bytes 0x21-0x7E are one character
//   (an empty cell is ill-formed as a whole); any other byte there, and every
//   byte from 0x80, is ill-formed.
// Encoding: GB2312 before CNS plane 1 before plane 2 (before planes 3-7);
// a designation before the first character of its set on a line, SO or SI
// when the shift changes and SO after every G1 designation (glibc's decoder
// takes a new G1 set at the next SO), SI before a line feed and at the end
// of the text.
// ESC, SO and SI have no mapping: written as bytes they would shift or start
// an escape sequence.
#ifndef NLSCNV_LIBS_CHINESE_ISO2022CN_CODEC_H
#define NLSCNV_LIBS_CHINESE_ISO2022CN_CODEC_H

#include "chinese/chinese_codecs.h"
#include "chinese/euctw_codec.h"

namespace nls_chinese {

struct Iso2022CnSets {
  uint32_t ext;  // 1: -EXT (planes 3-7 in G3)
  const NLS_MultiByteTable* gb2312;
};
extern const Iso2022CnSets kIso2022CnSets, kIso2022CnExtSets;

int Iso2022CnDecode(const NLS_Codec* codec, NLS_CodecState* state, NLS_CodecCall* call);
int Iso2022CnEncode(const NLS_Codec* codec, NLS_CodecState* state, NLS_CodecCall* call);

}  // namespace nls_chinese

#endif  // NLSCNV_LIBS_CHINESE_ISO2022CN_CODEC_H

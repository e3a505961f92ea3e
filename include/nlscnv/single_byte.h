// The generic single-byte codec: one pair of codec functions for every
// encoding that maps each byte to at most one character of the Basic
// Multilingual Plane. A converter library describes such an encoding by a
// table and points an NLS_Codec at these functions.
#ifndef NLSCNV_SINGLE_BYTE_H
#define NLSCNV_SINGLE_BYTE_H

#include "nlscnv/codec.h"

extern "C" {

// The data of a single-byte codec (the codec's `data`).
typedef struct NLS_SingleByteTable {
  // Byte -> character; NLS_SINGLE_BYTE_UNDEFINED for a byte the encoding
  // does not define (invalid in decoding).
  uint16_t toUnicode[256];
  // Character -> byte in two levels: pages[pageOf[c >> 8]][c & 0xFF], where
  // page 0 is all zero. A zero entry means "no mapping" except for U+0000
  // when toUnicode[0] is 0.
  const uint8_t* pageOf;  // 256 entries
  const uint8_t (*pages)[256];
  // Non-zero when bytes 0x00-0x7F are the characters U+0000-U+007F in both
  // directions (runs of them take the fast ASCII path).
  unsigned char asciiIdentity;
} NLS_SingleByteTable;

#define NLS_SINGLE_BYTE_UNDEFINED 0xFFFFu

NLS_EXPORT int NLS_SingleByteDecode(const NLS_Codec* codec, NLS_CodecState* state,
                                    NLS_CodecCall* call);
NLS_EXPORT int NLS_SingleByteEncode(const NLS_Codec* codec, NLS_CodecState* state,
                                    NLS_CodecCall* call);
}

#endif  // NLSCNV_SINGLE_BYTE_H

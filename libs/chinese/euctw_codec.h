// CNS 11643 planes 1-7 (the tables of cns_tables.h) and EUC-TW.
//
// EUC-TW decoding (no state):
// - bytes below 0x80 are themselves;
// - two bytes 0xA1-0xFE are a cell of plane 1; 0x8E, a byte 0xA1-0xA7 (plane
//   1-7) and two bytes 0xA1-0xFE are a cell of that plane; an empty cell is
//   ill-formed as a whole;
// - a lead byte followed by a byte that cannot follow it is ill-formed up to
//   that byte (the byte is read again), and so is every other byte from 0x80;
// - input that ends inside a form is incomplete.
// Encoding: a character's first cell (plane, row, cell order; the generator
// checks that glibc chooses the same), plane 1 in its two-byte form.
#ifndef NLSCNV_LIBS_CHINESE_EUCTW_CODEC_H
#define NLSCNV_LIBS_CHINESE_EUCTW_CODEC_H

#include "chinese/cns_tables.h"
#include "nlscnv/codec.h"

namespace nls_chinese {

// The character of a cell (its index in kCnsChars), or 0.
inline uint32_t CnsChar(uint32_t cell) {
  const uint32_t v = kCnsChars[cell];
  return ((kCnsSupplementary[cell >> 3] >> (cell & 7)) & 1) != 0 ? 0x20000 + v : v;
}

// The character of plane (1-7), row and cell bytes 0x21-0x7E (the high bit
// ignored), or 0.
inline uint32_t CnsCharAt(unsigned plane, unsigned row, unsigned cell) {
  return CnsChar(((plane - 1) * 94 + ((row & 0x7F) - 0x21)) * 94 + ((cell & 0x7F) - 0x21));
}

// The encoder's map, built at first use: for each character of the BMP and
// of U+20000-U+2FFFF, its cell index + 1, or 0.
struct CnsEncodeMap {
  uint16_t bmp[65536];
  uint16_t plane2[65536];
  // The cell index + 1 of a character, or 0.
  uint32_t Cell(uint32_t cp) const {
    if (cp < 0x10000) return bmp[cp];
    return cp >= 0x20000 && cp < 0x30000 ? plane2[cp - 0x20000] : 0;
  }
};
const CnsEncodeMap& CnsMap();

int EucTwDecode(const NLS_Codec* codec, NLS_CodecState* state, NLS_CodecCall* call);
int EucTwEncode(const NLS_Codec* codec, NLS_CodecState* state, NLS_CodecCall* call);

}  // namespace nls_chinese

#endif  // NLSCNV_LIBS_CHINESE_EUCTW_CODEC_H

// The generic multi-byte codec: one pair of codec functions for the
// double-byte encodings of East Asia (Shift_JIS, the EUC forms, GBK, Big5,
// UHC and their vendor forms), driven by a table per encoding. Besides
// single bytes and lead-trail pairs the table may describe EUC's three-byte
// form (a prefix byte and two bytes), GB18030's four-byte forms and code
// pairs that stand for two characters (Big5-HKSCS, JIS X 0213).
//
// Decoding, for every encoding:
// - a byte that is a character by itself is that character; a lead byte
//   followed by one of the encoding's trail bytes is a pair, which is a
//   character when the table assigns it one;
// - a lead byte followed by a byte that cannot be its trail, and a lead
//   byte whose pair is unassigned and whose second byte is ASCII, are
//   ill-formed in their first byte alone (the next byte is read again);
//   an unassigned pair whose bytes are both from 0x80 is ill-formed as a
//   whole, and so is an unassigned three- or four-byte form; an unfinished
//   three- or four-byte form is ill-formed in its first byte;
// - input that ends inside a form is incomplete.
// Encoding: a direct array per encoding (character -> code), built from the
// decoding table at the first use of the encoder: the first code of a
// character (single bytes, then pairs in the order of their bytes, then
// three-byte forms) unless the table's overrides say otherwise.
#ifndef NLSCNV_MULTI_BYTE_H
#define NLSCNV_MULTI_BYTE_H

#include <atomic>

#include "nlscnv/codec.h"

struct NLS_MultiByteCache;

extern "C" {

// The trail bytes first .. first + count - 1 of a lead byte have value
// slots from values[offset] on; other trail bytes have none.
typedef struct NLS_MultiByteRow {
  uint32_t offset;
  uint8_t first;
  uint8_t count;
} NLS_MultiByteRow;

// A value slot from 0xD800 to 0xDFFF stands for extras[slot - 0xD800]:
// a character above U+FFFF (second 0), or two characters.
typedef struct NLS_MultiByteExtra {
  uint32_t first;
  uint32_t second;
} NLS_MultiByteExtra;

// A character whose code is not the first code that decodes to it; code 0
// when the encoder does not write it at all. Codes as in the direct array:
// below 0x100 one byte, 0x100-0x7FFF a three-byte form (the prefix, then the
// two bytes with their high bit set), from 0x8000 a pair.
typedef struct NLS_MultiByteOverride {
  uint16_t cp;
  uint16_t code;
} NLS_MultiByteOverride;

// GB18030: a character that a pair of the table spells where the four-byte
// forms were laid out for another one, and that other character, which
// takes the first one's four-byte form.
typedef struct NLS_MultiByteSwap {
  uint16_t pairChar;
  uint16_t fourByteChar;
} NLS_MultiByteSwap;

// What the first use of an encoder builds (the cache's arrays).
typedef struct NLS_MultiByteRange {  // GB18030: four-byte forms of the BMP
  uint16_t cp;                       // first character of a run of consecutive
  uint16_t index;                    // characters, and the form index of it
} NLS_MultiByteRange;
typedef struct NLS_MultiByteSupplement {  // a character above U+FFFF and its code
  uint32_t cp;
  uint32_t code;
} NLS_MultiByteSupplement;
typedef struct NLS_MultiByteComposition {  // two characters written as one code
  uint32_t first;
  uint32_t second;
  uint32_t code;
  uint32_t alone;  // the code of the first character by itself
} NLS_MultiByteComposition;

// Table forms.
enum {
  NLS_MB_PLAIN = 0,                // single bytes and pairs
  NLS_MB_THREE_BYTE = 1,           // and EUC's three-byte form
  NLS_MB_GB18030 = 2,              // and GB18030's four-byte forms
  NLS_MB_COMPOSING = 3,            // and extras (characters above U+FFFF, code pairs for two
                                   // characters: the encoder holds a first character back)
  NLS_MB_THREE_BYTE_COMPOSING = 4  // EUC's three-byte form and extras (EUC-JIS-2004)
};

#define NLS_MB_NO_CHARACTER 0xFFFFu  // single[b]: b is not a character by itself
#define NLS_MB_PREFIX 0xFFu          // lead[b]: b starts the three-byte form

typedef struct NLS_MultiByteTable {
  uint16_t single[256];  // byte -> character, or NLS_MB_NO_CHARACTER
  uint8_t lead[256];     // byte -> its row + 1, NLS_MB_PREFIX, or 0
  uint8_t trail[32];     // bit b: byte b may follow a lead byte
  const NLS_MultiByteRow* rows;
  const uint16_t* values;  // 0 in a slot: unassigned
  const NLS_MultiByteExtra* extras;
  const NLS_MultiByteOverride* overrides;  // sorted by character
  uint32_t overrideCount;
  const NLS_MultiByteSwap* swaps;
  uint32_t swapCount;
  uint32_t form;
  // NLS_MB_THREE_BYTE: the rows of second bytes prefixFirst .. prefixFirst +
  // prefixCount - 1 after the prefix are rows[prefixRow ...].
  uint16_t prefixRow;
  uint8_t prefixFirst;
  uint8_t prefixCount;
  // Sizes of the arrays that the cache holds for this table.
  uint32_t rangeCount;
  uint32_t supplementCount;
  uint32_t compositionCount;
  struct NLS_MultiByteCache* cache;
} NLS_MultiByteTable;

NLS_EXPORT int NLS_MultiByteDecode(const NLS_Codec* codec, NLS_CodecState* state,
                                   NLS_CodecCall* call);
NLS_EXPORT int NLS_MultiByteEncode(const NLS_Codec* codec, NLS_CodecState* state,
                                   NLS_CodecCall* call);
// The encoder's direct array (65536 entries, codes as in the overrides; 0
// for a character without a one-, two- or three-byte code and for one that
// starts a composition), built on first use; thread-safe.
NLS_EXPORT const uint16_t* NLS_MultiByteEncodeMap(const NLS_MultiByteTable* table);
}

// Room for what the first use of an encoder builds, in the converter
// library's own zero-initialised storage: nothing is allocated, and the
// arrays go away with the library. `ready` turns 1 (release) once they are
// filled.
struct NLS_MultiByteCache {
  std::atomic<uint32_t> ready;
  uint16_t* encode;  // 65536 entries
  NLS_MultiByteRange* ranges;
  NLS_MultiByteSupplement* supplements;
  NLS_MultiByteComposition* compositions;
};

#endif  // NLSCNV_MULTI_BYTE_H

// Shift tables: how the code values of a mapping table are spelled as bytes.
//
// Every table slot of a converter gets the shift table of its table id,
// strShiftTable[id % 64]; table ids are character-set ids whose low six bits
// select the byte-sequence scheme:
//
//   id % 64                                   scheme
//   0, 1, 2, 6, 10, 11, 14-23, 29, 39-46      sbShiftT    one byte, code = byte
//   4                                         sjisShiftT  Shift_JIS: ASCII, 0xA1-0xDF
//                                                         half-width kana, two-byte codes
//                                                         with lead 0x81-0x9F / 0xE0-0xFC
//   7, 37                                     big5ShiftT  ASCII, two bytes with lead 0xA1-0xFE
//   8, 12, 24, 26, 28, 31                     tbGRShiftT  two bytes, high bits set;
//                                                         code = bytes & 0x7F7F (EUC G1)
//   25                                        cns2ShiftT  0x8E 0xA2 + two GR bytes (EUC-TW
//                                                         plane 2), code & 0x7F7F
//   27                                        x0201ShiftT ASCII, and 0x8E + one byte with
//                                                         code 0x00A1-0x00DF (EUC-JP kana)
//   30                                        x0212ShiftT 0x8F + two GR bytes (EUC-JP JIS X
//                                                         0212), code & 0x7F7F
//   34                                        utf8ShiftT  UTF-8 of one to three bytes
//   3, 5, 9, 13, 32, 33, 35, 36, 38, 47-63    none: a table set using such an id is
//                                             refused when it is loaded (status -1010)
//
// tbShiftT (two bytes, code = b0 * 256 + b1) exists but no table id selects
// it. A slot's first-byte range decides which input bytes reach its scheme
// when converting to UCS-2; the code is then looked up in the slot's mapping
// table. From UCS-2 the mapping table gives a code that the scheme writes.
#ifndef NLSCNV_TABLES_SHIFT_TABLES_H
#define NLSCNV_TABLES_SHIFT_TABLES_H

#include <cstdint>

#include "nlscnv/converter.h"
#include "nlscnv/support/diagnostics.h"

// One byte-sequence form of a class-2 shift table. A cell is selected by the
// first byte when scanning and by the code rectangle (high byte between the
// two high bytes, low byte between the two low bytes) when generating.
struct ShiftCell {
  uint8_t cellClass;  // 0-5, see ScanShiftCell / GenerateShiftCell
  uint8_t length;     // bytes of the sequence
  uint8_t firstMin;
  uint8_t firstMax;
  uint8_t codeMinHigh;
  uint8_t codeMinLow;
  uint8_t codeMaxHigh;
  uint8_t codeMaxLow;
};

inline constexpr int kMaxShiftCells = 8;

struct ShiftTable {
  int16_t cellCount;   // used by class 2 only
  int16_t tableClass;  // 0-5
  ShiftCell cells[kMaxShiftCells];
};

extern "C" {
extern const ShiftTable sbShiftT;
extern const ShiftTable tbShiftT;
extern const ShiftTable tbGRShiftT;
extern const ShiftTable x0212ShiftT;
extern const ShiftTable cns2ShiftT;
extern const ShiftTable sjisShiftT;
extern const ShiftTable big5ShiftT;
extern const ShiftTable x0201ShiftT;
extern const ShiftTable utf8ShiftT;
// Shift table by table id modulo 64; null where no scheme is defined.
extern const ShiftTable* const strShiftTable[64];
}

namespace nls {

inline const ShiftTable* ShiftTableForId(uint16_t tableId) { return strShiftTable[tableId % 64]; }

// Reads one sequence of a class-2 cell; avail bytes are readable at src.
// Fails when fewer than the cell's length (or than the bytes its class
// reads) remain.
inline bool ScanShiftCell(const ShiftCell& cell, const unsigned char* src, unsigned avail,
                          uint16_t* code, unsigned* length) {
  static constexpr uint8_t kReads[6] = {1, 2, 2, 2, 2, 3};
  if (cell.cellClass > 5) {
    AssertLine(site::kScanBadCellClass);
    return false;
  }
  if (avail < cell.length || avail < kReads[cell.cellClass]) return false;
  switch (cell.cellClass) {
    case 0:
      *code = src[0];
      break;
    case 1:
      *code = static_cast<uint16_t>(src[0] << 8 | src[1]);
      break;
    case 2:
      *code = static_cast<uint16_t>((src[0] << 8 | src[1]) & 0x7F7F);
      break;
    case 3:
      *code = src[1];
      break;
    case 4:
      *code = static_cast<uint16_t>((src[0] & 0x1F) << 6 | (src[1] & 0x3F));
      break;
    default:  // 5
      *code = static_cast<uint16_t>((src[0] & 0x0F) << 12 | (src[1] & 0x3F) << 6 | (src[2] & 0x3F));
      break;
  }
  *length = cell.length;
  return true;
}

// Reads one byte sequence at src (avail >= 1 bytes readable) into a code
// value and its length in bytes. False when the bytes do not form a sequence
// of the scheme or the input ends inside it.
inline bool ScanShift(const ShiftTable* shift, const unsigned char* src, unsigned avail,
                      uint16_t* code, unsigned* length) {
  switch (shift->tableClass) {
    case 0:
      *code = src[0];
      *length = 1;
      return true;
    case 1:
      if (avail < 2) return false;
      *code = static_cast<uint16_t>(src[0] << 8 | src[1]);
      *length = 2;
      return true;
    case 2: {
      const int count = shift->cellCount < kMaxShiftCells ? shift->cellCount : kMaxShiftCells;
      for (int j = 0; j < count; ++j) {
        const ShiftCell& cell = shift->cells[j];
        if (src[0] >= cell.firstMin && src[0] <= cell.firstMax)
          return ScanShiftCell(cell, src, avail, code, length);
      }
      return false;
    }
    case 3:
      if (avail < 2) return false;
      *code = static_cast<uint16_t>((src[0] << 8 | src[1]) & 0x7F7F);
      *length = 2;
      return true;
    case 4:
      if (avail < 3 || src[0] != 0x8F) return false;
      *code = static_cast<uint16_t>((src[1] << 8 | src[2]) & 0x7F7F);
      *length = 3;
      return true;
    case 5:
      if (avail < 4 || src[0] != 0x8E || src[1] != 0xA2) return false;
      *code = static_cast<uint16_t>((src[2] << 8 | src[3]) & 0x7F7F);
      *length = 4;
      return true;
    default:
      AssertLine(site::kScanBadTableClass);
      return false;
  }
}

// Writes the sequence of a class-2 cell for code into dst (room bytes free).
inline bool GenerateShiftCell(const ShiftCell& cell, uint16_t code, unsigned char* dst,
                              unsigned room, unsigned* length) {
  static constexpr uint8_t kWrites[6] = {1, 2, 2, 2, 2, 3};
  if (cell.cellClass > 5) {
    AssertLine(site::kGenerateBadCellClass);
    return false;
  }
  if (room < cell.length || room < kWrites[cell.cellClass]) return false;
  const auto high = static_cast<unsigned char>(code >> 8);
  const auto low = static_cast<unsigned char>(code);
  switch (cell.cellClass) {
    case 0:
      dst[0] = low;
      break;
    case 1:
      dst[0] = high;
      dst[1] = low;
      break;
    case 2:
      dst[0] = high | 0x80;
      dst[1] = low | 0x80;
      break;
    case 3:
      dst[0] = 0x8E;
      dst[1] = low;
      break;
    case 4:
      dst[0] = static_cast<unsigned char>(0xC0 | ((code >> 6) & 0x1F));
      dst[1] = static_cast<unsigned char>(0x80 | (code & 0x3F));
      break;
    default:  // 5
      dst[0] = static_cast<unsigned char>(0xE0 | (code >> 12));
      dst[1] = static_cast<unsigned char>(0x80 | ((code >> 6) & 0x3F));
      dst[2] = static_cast<unsigned char>(0x80 | (code & 0x3F));
      break;
  }
  *length = cell.length;
  return true;
}

// Writes the byte sequence of code into dst, which has room bytes free.
// False when the scheme has no sequence for the code or it does not fit.
inline bool GenerateShift(const ShiftTable* shift, uint16_t code, unsigned char* dst, unsigned room,
                          unsigned* length) {
  const auto high = static_cast<unsigned char>(code >> 8);
  const auto low = static_cast<unsigned char>(code);
  switch (shift->tableClass) {
    case 0:
      if (room < 1) return false;
      dst[0] = low;
      *length = 1;
      return true;
    case 1:
      if (room < 2) return false;
      dst[0] = high;
      dst[1] = low;
      *length = 2;
      return true;
    case 2: {
      const int count = shift->cellCount < kMaxShiftCells ? shift->cellCount : kMaxShiftCells;
      for (int j = 0; j < count; ++j) {
        const ShiftCell& cell = shift->cells[j];
        if (high >= cell.codeMinHigh && high <= cell.codeMaxHigh && low >= cell.codeMinLow &&
            low <= cell.codeMaxLow)
          return GenerateShiftCell(cell, code, dst, room, length);
      }
      return false;
    }
    case 3:
      if (room < 2) return false;
      dst[0] = high | 0x80;
      dst[1] = low | 0x80;
      *length = 2;
      return true;
    case 4:
      if (room < 3) return false;
      dst[0] = 0x8F;
      dst[1] = high | 0x80;
      dst[2] = low | 0x80;
      *length = 3;
      return true;
    case 5:
      if (room < 4) return false;
      dst[0] = 0x8E;
      dst[1] = 0xA2;
      dst[2] = high | 0x80;
      dst[3] = low | 0x80;
      *length = 4;
      return true;
    default:
      AssertLine(site::kGenerateBadTableClass);
      return false;
  }
}

}  // namespace nls

#endif  // NLSCNV_TABLES_SHIFT_TABLES_H

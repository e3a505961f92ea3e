// The built-in shift tables and the table-id index into them.
#include "nlscnv/tables/shift_tables.h"

extern "C" {

// Cells: class, length, first-byte range, code rectangle minimum (high, low)
// and maximum (high, low). Tables of classes other than 2 carry one unused
// all-zero cell.
const ShiftTable sbShiftT = {0, 0, {{0, 0, 0, 0, 0, 0, 0, 0}}};
const ShiftTable tbShiftT = {0, 1, {{0, 0, 0, 0, 0, 0, 0, 0}}};
const ShiftTable tbGRShiftT = {0, 3, {{0, 0, 0, 0, 0, 0, 0, 0}}};
const ShiftTable x0212ShiftT = {0, 4, {{0, 0, 0, 0, 0, 0, 0, 0}}};
const ShiftTable cns2ShiftT = {0, 5, {{0, 0, 0, 0, 0, 0, 0, 0}}};
const ShiftTable sjisShiftT = {4,
                               2,
                               {{0, 1, 0x00, 0x7F, 0x00, 0x00, 0x00, 0x7F},
                                {0, 1, 0xA1, 0xDF, 0x00, 0xA1, 0x00, 0xDF},
                                {1, 2, 0x81, 0x9F, 0x81, 0x40, 0x9F, 0xFC},
                                {1, 2, 0xE0, 0xFC, 0xE0, 0x40, 0xFC, 0xFC}}};
const ShiftTable big5ShiftT = {
    2, 2, {{0, 1, 0x00, 0x7F, 0x00, 0x00, 0x00, 0x7F}, {1, 2, 0xA1, 0xFE, 0xA1, 0x40, 0xFE, 0xFE}}};
const ShiftTable x0201ShiftT = {
    2, 2, {{0, 1, 0x00, 0x7F, 0x00, 0x00, 0x00, 0x7F}, {3, 2, 0x8E, 0x8E, 0x00, 0xA1, 0x00, 0xDF}}};
const ShiftTable utf8ShiftT = {3,
                               2,
                               {{0, 1, 0x00, 0x7F, 0x00, 0x00, 0x00, 0x7F},
                                {4, 2, 0xC0, 0xDF, 0x00, 0x00, 0x07, 0xFF},
                                {5, 3, 0xE0, 0xEF, 0x08, 0x00, 0xFF, 0xFF}}};

#define SB &sbShiftT
#define GR &tbGRShiftT
// clang-format off
const ShiftTable* const strShiftTable[64] = {
    /*  0 */ SB,      SB,      SB,          nullptr,      &sjisShiftT, nullptr,     SB,           &big5ShiftT,
    /*  8 */ GR,      nullptr, SB,          SB,           GR,          nullptr,     SB,           SB,
    /* 16 */ SB,      SB,      SB,          SB,           SB,          SB,          SB,           SB,
    /* 24 */ GR,      &cns2ShiftT, GR,      &x0201ShiftT, GR,          SB,          &x0212ShiftT, GR,
    /* 32 */ nullptr, nullptr, &utf8ShiftT, nullptr,      nullptr,     &big5ShiftT, nullptr,      SB,
    /* 40 */ SB,      SB,      SB,          SB,           SB,          SB,          SB,           nullptr,
    /* 48 */ nullptr, nullptr, nullptr,     nullptr,      nullptr,     nullptr,     nullptr,      nullptr,
    /* 56 */ nullptr, nullptr, nullptr,     nullptr,      nullptr,     nullptr,     nullptr,      nullptr};
// clang-format on
#undef SB
#undef GR

}  // extern "C"

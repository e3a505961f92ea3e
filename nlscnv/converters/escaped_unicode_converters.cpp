// PLACEHOLDER until these converters land.
#include "nlscnv/converters/escaped_unicode_converters.h"

TEUCSToUnicodeConverter::TEUCSToUnicodeConverter()
    : TEncodingConverter("ESCAPED_UNICODE", "ISO-10646-UCS-2", nullptr, nullptr, nullptr, 0, 2,
                         nullptr, 0, 0) {}
TEUCSToUnicodeConverter::~TEUCSToUnicodeConverter() = default;
int TEUCSToUnicodeConverter::Convert(unsigned char*, unsigned int*, unsigned int,
                                     const unsigned char*, unsigned int, unsigned int*) {
  return -1;
}

TUnicodeToEUCSConverter::TUnicodeToEUCSConverter()
    : TEncodingConverter("ISO-10646-UCS-2", "ESCAPED_UNICODE", nullptr, nullptr, nullptr, 0, 8,
                         nullptr, 0, 1) {}
TUnicodeToEUCSConverter::~TUnicodeToEUCSConverter() = default;
int TUnicodeToEUCSConverter::Convert(unsigned char*, unsigned int*, unsigned int,
                                     const unsigned char*, unsigned int, unsigned int*) {
  return -1;
}

char TUnicodeToEUCSConverter::toHex(unsigned short value) {
  return "0123456789ABCDEF"[value & 0xF];
}

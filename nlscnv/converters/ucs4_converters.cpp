// PLACEHOLDER until these converters land.
#include "nlscnv/converters/ucs4_converters.h"

TUCS4ToUnicodeConverter::TUCS4ToUnicodeConverter()
    : TEncodingConverter("ISO-10646-UCS-4", "ISO-10646-UCS-2", nullptr, nullptr, nullptr, 801, 2,
                         nullptr, 0, 0) {}
TUCS4ToUnicodeConverter::~TUCS4ToUnicodeConverter() = default;
int TUCS4ToUnicodeConverter::Convert(unsigned char*, unsigned int*, unsigned int,
                                     const unsigned char*, unsigned int, unsigned int*) {
  return -1;
}

TUnicodeToUCS4Converter::TUnicodeToUCS4Converter()
    : TEncodingConverter("ISO-10646-UCS-2", "ISO-10646-UCS-4", nullptr, nullptr, nullptr, 801, 4,
                         nullptr, 0, 1) {}
TUnicodeToUCS4Converter::~TUnicodeToUCS4Converter() = default;
int TUnicodeToUCS4Converter::Convert(unsigned char*, unsigned int*, unsigned int,
                                     const unsigned char*, unsigned int, unsigned int*) {
  return -1;
}

// PLACEHOLDER until these converters land.
#include "nlscnv/converters/utf7_converters.h"

TUTF7ToUnicodeConverter::TUTF7ToUnicodeConverter()
    : TEncodingConverter("UNICODE-1-1-UTF-7", "ISO-10646-UCS-2", nullptr, nullptr, nullptr, 0, 2,
                         nullptr, 0, 0) {}
TUTF7ToUnicodeConverter::~TUTF7ToUnicodeConverter() = default;
int TUTF7ToUnicodeConverter::Convert(unsigned char*, unsigned int*, unsigned int,
                                     const unsigned char*, unsigned int, unsigned int*) {
  return -1;
}

TUnicodeToUTF7Converter::TUnicodeToUTF7Converter()
    : TEncodingConverter("ISO-10646-UCS-2", "UNICODE-1-1-UTF-7", nullptr, nullptr, nullptr, 0, 6,
                         nullptr, 0, 1) {}
TUnicodeToUTF7Converter::~TUnicodeToUTF7Converter() = default;
int TUnicodeToUTF7Converter::Convert(unsigned char*, unsigned int*, unsigned int,
                                     const unsigned char*, unsigned int, unsigned int*) {
  return -1;
}

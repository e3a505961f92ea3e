// PLACEHOLDER until these converters land.
#include "nlscnv/converters/modified_utf7_converters.h"

TModifiedUTF7ToUnicodeConverter::TModifiedUTF7ToUnicodeConverter()
    : TEncodingConverter("IMAP-MODIFIED-UTF-7", "ISO-10646-UCS-2", nullptr, nullptr, nullptr, 0, 6,
                         nullptr, 0, 0) {}
TModifiedUTF7ToUnicodeConverter::~TModifiedUTF7ToUnicodeConverter() = default;
int TModifiedUTF7ToUnicodeConverter::Convert(unsigned char*, unsigned int*, unsigned int,
                                             const unsigned char*, unsigned int, unsigned int*) {
  return -1;
}

TUnicodeToModifiedUTF7Converter::TUnicodeToModifiedUTF7Converter()
    : TEncodingConverter("ISO-10646-UCS-2", "IMAP-MODIFIED-UTF-7", nullptr, nullptr, nullptr, 0, 6,
                         nullptr, 0, 1) {}
TUnicodeToModifiedUTF7Converter::~TUnicodeToModifiedUTF7Converter() = default;
int TUnicodeToModifiedUTF7Converter::Convert(unsigned char*, unsigned int*, unsigned int,
                                             const unsigned char*, unsigned int, unsigned int*) {
  return -1;
}

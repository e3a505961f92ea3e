// PLACEHOLDER until the Latin-1 converter lands.
#include "nlscnv/converters/latin1_converter.h"

TLatin1EncodingConverter::TLatin1EncodingConverter(
    const char* sourceName, const char* destinationName, const UnicodeTableSet* tableSet,
    const UnicodeTableList* fromUnicodeTables, const UnicodeTableList* toUnicodeTables,
    unsigned short csid, unsigned short sizeFactor, const resourceMapTable* resourceMap,
    unsigned int moduleRef, char fromUnicode)
    : TEncodingConverter(sourceName, destinationName, tableSet, fromUnicodeTables, toUnicodeTables,
                         csid, sizeFactor, resourceMap, moduleRef, fromUnicode) {}
TLatin1EncodingConverter::~TLatin1EncodingConverter() = default;
int TLatin1EncodingConverter::ConvertToUnicode(unsigned char*, unsigned int*, unsigned int,
                                               const unsigned char*, unsigned int, unsigned int*) {
  return -1009;
}
int TLatin1EncodingConverter::ConvertFromUnicode(unsigned char*, unsigned int*, unsigned int,
                                                 const unsigned char*, unsigned int,
                                                 unsigned int*) {
  return -1009;
}

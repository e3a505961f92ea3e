// PLACEHOLDER until the table engine lands: no tables, no conversion.
#include "nlscnv/converter.h"

const uint16_t* FindUTable(unsigned short, const UnicodeTableList*) { return nullptr; }
const char* const* FindUTableName(unsigned short, const resourceMapTable*, int) { return nullptr; }
int TEncodingConverter::LoadUCS2TableSet(unsigned short, uTableSet*, int) { return -1010; }
void TEncodingConverter::UnloadUCS2TableSet(uTableSet*, int) {}
const uint16_t* TEncodingConverter::LoadFromUCS2Table(unsigned short) { return nullptr; }
const uint16_t* TEncodingConverter::LoadToUCS2Table(unsigned short) { return nullptr; }
void TEncodingConverter::UnloadFromUCS2Table(unsigned short) {}
void TEncodingConverter::UnloadToUCS2Table(unsigned short) {}
int TEncodingConverter::ConvertToUnicode(unsigned char*, unsigned int*, unsigned int,
                                         const unsigned char*, unsigned int, unsigned int*) {
  return -1009;
}
int TEncodingConverter::ConvertFromUnicode(unsigned char*, unsigned int*, unsigned int,
                                           const unsigned char*, unsigned int, unsigned int*) {
  return -1009;
}

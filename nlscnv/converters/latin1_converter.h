// ISO-8859-1 <-> UCS-2 without tables.
#ifndef NLSCNV_CONVERTERS_LATIN1_CONVERTER_H
#define NLSCNV_CONVERTERS_LATIN1_CONVERTER_H

#include "nlscnv/converter.h"

class TLatin1EncodingConverter : public TEncodingConverter {
 public:
  TLatin1EncodingConverter(const char* sourceName, const char* destinationName,
                           const UnicodeTableSet* tableSet,
                           const UnicodeTableList* fromUnicodeTables,
                           const UnicodeTableList* toUnicodeTables, unsigned short csid,
                           unsigned short sizeFactor, const resourceMapTable* resourceMap,
                           unsigned int moduleRef, char fromUnicode);
  ~TLatin1EncodingConverter() override;
  int ConvertToUnicode(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
                       const unsigned char* src, unsigned int srcLen,
                       unsigned int* srcUsed) override;
  int ConvertFromUnicode(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
                         const unsigned char* src, unsigned int srcLen,
                         unsigned int* srcUsed) override;
};

#endif  // NLSCNV_CONVERTERS_LATIN1_CONVERTER_H

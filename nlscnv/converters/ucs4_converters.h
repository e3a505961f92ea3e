// UCS-4 <-> UCS-2 converters.
#ifndef NLSCNV_CONVERTERS_UCS4_CONVERTERS_H
#define NLSCNV_CONVERTERS_UCS4_CONVERTERS_H

#include "nlscnv/converter.h"

class NLS_EXPORT TUCS4ToUnicodeConverter : public TEncodingConverter {
 public:
  TUCS4ToUnicodeConverter();
  ~TUCS4ToUnicodeConverter() override;
  int Convert(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
              const unsigned char* src, unsigned int srcLen, unsigned int* srcUsed) override;
};

class NLS_EXPORT TUnicodeToUCS4Converter : public virtual TEncodingConverter {
 public:
  TUnicodeToUCS4Converter();
  ~TUnicodeToUCS4Converter() override;
  int Convert(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
              const unsigned char* src, unsigned int srcLen, unsigned int* srcUsed) override;
};

#endif  // NLSCNV_CONVERTERS_UCS4_CONVERTERS_H

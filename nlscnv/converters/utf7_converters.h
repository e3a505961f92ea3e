// UTF-7 <-> UCS-2 converters.
#ifndef NLSCNV_CONVERTERS_UTF7_CONVERTERS_H
#define NLSCNV_CONVERTERS_UTF7_CONVERTERS_H

#include "nlscnv/converter.h"

class NLS_EXPORT TUTF7ToUnicodeConverter : public TEncodingConverter {
 public:
  TUTF7ToUnicodeConverter();
  ~TUTF7ToUnicodeConverter() override;
  int Convert(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
              const unsigned char* src, unsigned int srcLen, unsigned int* srcUsed) override;
};

class NLS_EXPORT TUnicodeToUTF7Converter : public TEncodingConverter {
 public:
  TUnicodeToUTF7Converter();
  ~TUnicodeToUTF7Converter() override;
  int Convert(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
              const unsigned char* src, unsigned int srcLen, unsigned int* srcUsed) override;
};

#endif  // NLSCNV_CONVERTERS_UTF7_CONVERTERS_H

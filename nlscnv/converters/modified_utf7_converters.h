// IMAP modified UTF-7 <-> UCS-2 converters.
#ifndef NLSCNV_CONVERTERS_MODIFIED_UTF7_CONVERTERS_H
#define NLSCNV_CONVERTERS_MODIFIED_UTF7_CONVERTERS_H

#include "nlscnv/converter.h"

class NLS_EXPORT TModifiedUTF7ToUnicodeConverter : public TEncodingConverter {
 public:
  TModifiedUTF7ToUnicodeConverter();
  ~TModifiedUTF7ToUnicodeConverter() override;
  int Convert(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
              const unsigned char* src, unsigned int srcLen, unsigned int* srcUsed) override;
  int32_t shifted;
};

class NLS_EXPORT TUnicodeToModifiedUTF7Converter : public TEncodingConverter {
 public:
  TUnicodeToModifiedUTF7Converter();
  ~TUnicodeToModifiedUTF7Converter() override;
  int Convert(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
              const unsigned char* src, unsigned int srcLen, unsigned int* srcUsed) override;
  int32_t shifted;
};

#endif  // NLSCNV_CONVERTERS_MODIFIED_UTF7_CONVERTERS_H

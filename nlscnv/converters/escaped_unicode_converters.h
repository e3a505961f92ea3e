// Escaped Unicode (backslash-u) <-> UCS-2 converters.
#ifndef NLSCNV_CONVERTERS_ESCAPED_UNICODE_CONVERTERS_H
#define NLSCNV_CONVERTERS_ESCAPED_UNICODE_CONVERTERS_H

#include "nlscnv/converter.h"

class NLS_EXPORT TEUCSToUnicodeConverter : public TEncodingConverter {
 public:
  TEUCSToUnicodeConverter();
  ~TEUCSToUnicodeConverter() override;
  int Convert(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
              const unsigned char* src, unsigned int srcLen, unsigned int* srcUsed) override;
};

class NLS_EXPORT TUnicodeToEUCSConverter : public virtual TEncodingConverter {
 public:
  TUnicodeToEUCSConverter();
  ~TUnicodeToEUCSConverter() override;
  int Convert(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
              const unsigned char* src, unsigned int srcLen, unsigned int* srcUsed) override;
  virtual char toHex(unsigned short value);
};

#endif  // NLSCNV_CONVERTERS_ESCAPED_UNICODE_CONVERTERS_H

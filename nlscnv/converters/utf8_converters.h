// UTF-8 <-> UCS-2 converters.
#ifndef NLSCNV_CONVERTERS_UTF8_CONVERTERS_H
#define NLSCNV_CONVERTERS_UTF8_CONVERTERS_H

#include "nlscnv/converter.h"

// Decodes UTF-8 leniently: every byte is accepted. Sequences led by 0xF0-0xFF
// whose value lies in 0x10000-0x10FFFF become a surrogate pair; other values
// from such leads give U+FFFD. Shorter sequences decode in 16-bit arithmetic.
class TUTF8ToUnicodeConverter : public TEncodingConverter {
 public:
  TUTF8ToUnicodeConverter();
  ~TUTF8ToUnicodeConverter() override;
  int Convert(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
              const unsigned char* src, unsigned int srcLen, unsigned int* srcUsed) override;
};

// Encodes UCS-2 as UTF-8; a surrogate pair becomes one four-byte sequence, a
// lone surrogate is encoded by itself.
class TUnicodeToUTF8Converter : public virtual TEncodingConverter {
 public:
  TUnicodeToUTF8Converter();
  ~TUnicodeToUTF8Converter() override;
  int Convert(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
              const unsigned char* src, unsigned int srcLen, unsigned int* srcUsed) override;
};

#endif  // NLSCNV_CONVERTERS_UTF8_CONVERTERS_H

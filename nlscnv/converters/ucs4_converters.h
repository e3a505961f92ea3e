// UCS-4 <-> UCS-2 converters.
#ifndef NLSCNV_CONVERTERS_UCS4_CONVERTERS_H
#define NLSCNV_CONVERTERS_UCS4_CONVERTERS_H

#include "nlscnv/converter.h"

// Narrows 32-bit units to 16-bit units. Values up to 0xFFFF are copied, values
// 0x10000-0x10FFFF become a surrogate pair, larger values U+FFFD. A unit is
// stored only while 4 bytes of room remain; the terminator follows when 2
// more bytes fit. Trailing bytes of a partial unit are never consumed.
class TUCS4ToUnicodeConverter : public TEncodingConverter {
 public:
  TUCS4ToUnicodeConverter();
  ~TUCS4ToUnicodeConverter() override;
  int Convert(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
              const unsigned char* src, unsigned int srcLen, unsigned int* srcUsed) override;
};

// Widens each 16-bit unit to 32 bits (a surrogate pair stays two units). A
// unit is stored only while 8 bytes of room remain (the unit and the 32-bit
// zero terminator).
class TUnicodeToUCS4Converter : public virtual TEncodingConverter {
 public:
  TUnicodeToUCS4Converter();
  ~TUnicodeToUCS4Converter() override;
  int Convert(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
              const unsigned char* src, unsigned int srcLen, unsigned int* srcUsed) override;
};

#endif  // NLSCNV_CONVERTERS_UCS4_CONVERTERS_H

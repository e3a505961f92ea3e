// Escaped Unicode (backslash-u) <-> UCS-2 converters. Printable ASCII, tab,
// line feed and carriage return stand for themselves; every other unit is
// written as a backslash, "u" and four upper-case hexadecimal digits.
#ifndef NLSCNV_CONVERTERS_ESCAPED_UNICODE_CONVERTERS_H
#define NLSCNV_CONVERTERS_ESCAPED_UNICODE_CONVERTERS_H

#include "nlscnv/converter.h"

// Reads the escaped form. Item by item, each stored only when its units and
// the 2-byte terminator fit:
// - a backslash, "u", any further "u" bytes and up to four hexadecimal
//   digits give one unit; a byte that is not a digit ends the escape early
//   (the digits so far give the unit) and begins the next item;
// - a backslash followed by anything else gives both bytes as units;
// - a backslash or an escape cut by the end of the input is text, byte by
//   byte, so nothing is ever held back waiting for more input;
// - any other byte is one unit (0x80-0xFF give U+0080-U+00FF).
class TEUCSToUnicodeConverter : public TEncodingConverter {
 public:
  TEUCSToUnicodeConverter();
  ~TEUCSToUnicodeConverter() override;
  int Convert(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
              const unsigned char* src, unsigned int srcLen, unsigned int* srcUsed) override;
};

// Writes the escaped form; each unit is written only while 8 bytes of room
// remain (the longest item and the terminator). The digits come from toHex,
// which a derived class may replace.
class TUnicodeToEUCSConverter : public virtual TEncodingConverter {
 public:
  TUnicodeToEUCSConverter();
  ~TUnicodeToEUCSConverter() override;
  int Convert(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
              const unsigned char* src, unsigned int srcLen, unsigned int* srcUsed) override;
  // The digit for the low 4 bits of value.
  virtual char toHex(unsigned short value);
};

#endif  // NLSCNV_CONVERTERS_ESCAPED_UNICODE_CONVERTERS_H

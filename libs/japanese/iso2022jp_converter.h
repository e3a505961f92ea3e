// ISO-2022-JP (RFC 1468) <-> UCS-2: seven-bit text that switches between
// ASCII, JIS X 0201 Roman and JIS X 0208 with escape sequences. Both
// directions keep the current character set between calls; Reset returns to
// ASCII.
//
// To UCS-2:
// - ESC ( B selects ASCII, ESC ( J JIS X 0201 Roman (0x5C is U+00A5, 0x7E is
//   U+203E), ESC $ @, ESC $ B, ESC $ ( @ and ESC $ ( B select JIS X 0208 (the
//   1978 designations are read with the 1983 table).
// - Bytes up to 0x20 other than ESC are themselves in every set; the set stays.
// - In JIS X 0208, two bytes 0x21-0x7E form one character (U+FFFD when the
//   code is unassigned); a first byte followed by anything else, 0x7F, any
//   byte from 0x80, and an ESC that starts no known sequence each give U+FFFD
//   for one byte.
// - An escape sequence or a two-byte character cut by the end of the input is
//   consumed and kept (at most three bytes); the next call completes it. The
//   output is therefore the same however the input is split.
// - A character is written only while room for it and the 16-bit terminator
//   remains.
//
// From UCS-2 (the choices of RFC 1468 encoders): characters below 0x80 in
// ASCII, U+00A5 and U+203E in JIS X 0201 Roman, the characters of JIS X 0208
// in JIS X 0208, anything else as "?" in ASCII. An escape sequence is written
// only when the set changes. A call that consumes all of its input ends in
// ASCII (ESC ( B after the last character), so that every complete output is
// a valid text; a call that stops early keeps its set for the next call. A
// character is taken only when its bytes, the return to ASCII when it is the
// last one, and the NUL terminator fit.
//
// Both use the JIS X 0208 tables of EUC-JP through the shared direct lookup
// arrays of the table engine; a converter whose arrays could not be built has
// status -1002 and converts nothing.
#ifndef NLSCNV_LIBS_JAPANESE_ISO2022JP_CONVERTER_H
#define NLSCNV_LIBS_JAPANESE_ISO2022JP_CONVERTER_H

#include <cstdint>

#include "nlscnv/converter.h"

namespace nls_japanese {

// The character sets that ISO-2022-JP designates.
enum class JisCharset : uint8_t { kAscii, kRoman, kJisX0208 };

class TISO2022JPToUnicodeConverter : public TEncodingConverter {
 public:
  TISO2022JPToUnicodeConverter();
  ~TISO2022JPToUnicodeConverter() override;
  void Reset() override;
  int Convert(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
              const unsigned char* src, unsigned int srcLen, unsigned int* srcUsed) override;

 private:
  const uint16_t* fToUcs2;  // JIS X 0208 code -> character, for every code
  JisCharset fCharset;
  uint8_t fPendingLength;  // bytes of a cut sequence held from the last call
  unsigned char fPending[3];
};

class TUnicodeToISO2022JPConverter : public TEncodingConverter {
 public:
  TUnicodeToISO2022JPConverter();
  ~TUnicodeToISO2022JPConverter() override;
  void Reset() override;
  int Convert(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
              const unsigned char* src, unsigned int srcLen, unsigned int* srcUsed) override;

 private:
  const uint16_t* fFromUcs2;  // character -> JIS X 0208 code, for every character
  JisCharset fCharset;
};

}  // namespace nls_japanese

extern "C" {
NLS_EXPORT TEncodingConverter* NEWISO2022JPTOUNICODEENCODINGCONVERTER(void);
NLS_EXPORT TEncodingConverter* NEWUNICODETOISO2022JPENCODINGCONVERTER(void);
}

#endif  // NLSCNV_LIBS_JAPANESE_ISO2022JP_CONVERTER_H

#include "nlscnv/converters/ucs4_converters.h"
#include "nlscnv/support/encoding_names.h"

#include "nlscnv/support/diagnostics.h"
#include "nlscnv/unaligned.h"

TUCS4ToUnicodeConverter::TUCS4ToUnicodeConverter()
    : TEncodingConverter(nls::names::kUcs4, nls::names::kUcs2, nullptr, nullptr, nullptr, 801, 2,
                         nullptr, 0, 0) {}

TUCS4ToUnicodeConverter::~TUCS4ToUnicodeConverter() = default;

int TUCS4ToUnicodeConverter::Convert(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
                                     const unsigned char* src, unsigned int srcLen,
                                     unsigned int* srcUsed) {
  if (dstSize == 0) nls::AssertLine(nls::site::kUcs4ToUcs2NoRoom);
  unsigned int in = 0;
  unsigned int out = 0;
  // Both a single unit and a pair need 4 bytes of room.
  while (srcLen - in >= 4 && dstSize - out >= 4) {
    const uint32_t value = nls::LoadUnit32(src + in);
    if (value <= 0xFFFF) {
      nls::StoreUnit16(dst + out, static_cast<uint16_t>(value));
      out += 2;
    } else if (value <= 0x10FFFF) {
      const uint32_t offset = value - 0x10000;
      nls::StoreUnit16(dst + out, static_cast<uint16_t>(0xD800 + (offset >> 10)));
      nls::StoreUnit16(dst + out + 2, static_cast<uint16_t>(0xDC00 + (offset & 0x3FF)));
      out += 4;
    } else {
      nls::StoreUnit16(dst + out, 0xFFFD);
      out += 2;
    }
    in += 4;
  }
  return nls::FinishConvert(dst, dstSize, out, dstLen, in, srcLen, srcUsed, 2);
}

TUnicodeToUCS4Converter::TUnicodeToUCS4Converter()
    : TEncodingConverter(nls::names::kUcs2, nls::names::kUcs4, nullptr, nullptr, nullptr, 801, 4,
                         nullptr, 0, 1) {}

TUnicodeToUCS4Converter::~TUnicodeToUCS4Converter() = default;

int TUnicodeToUCS4Converter::Convert(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
                                     const unsigned char* src, unsigned int srcLen,
                                     unsigned int* srcUsed) {
  if (dstSize == 0) nls::AssertLine(nls::site::kUcs2ToUcs4NoRoom);
  unsigned int in = 0;
  unsigned int out = 0;
  while (srcLen - in >= 2 && dstSize - out >= 8) {
    nls::StoreUnit32(dst + out, nls::LoadUnit16(src + in));
    out += 4;
    in += 2;
  }
  return nls::FinishConvert(dst, dstSize, out, dstLen, in, srcLen, srcUsed, 4);
}

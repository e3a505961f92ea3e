#include "nlscnv/converters/escaped_unicode_converters.h"
#include "nlscnv/support/encoding_names.h"

#include "nlscnv/support/diagnostics.h"
#include "nlscnv/unaligned.h"

namespace {

// Value of a hexadecimal digit in either case, or -1.
inline int HexValue(unsigned char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

inline bool StandsForItself(uint16_t u) {
  return (u >= 0x20 && u <= 0x7E) || u == 0x09 || u == 0x0A || u == 0x0D;
}

}  // namespace

TEUCSToUnicodeConverter::TEUCSToUnicodeConverter()
    : TEncodingConverter(nls::names::kEscapedUnicode, nls::names::kUcs2, nullptr, nullptr, nullptr,
                         0, 2, nullptr, 0, 0) {}

TEUCSToUnicodeConverter::~TEUCSToUnicodeConverter() = default;

int TEUCSToUnicodeConverter::Convert(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
                                     const unsigned char* src, unsigned int srcLen,
                                     unsigned int* srcUsed) {
  if (dstSize == 0) nls::AssertLine(nls::site::kEscapedToUcs2NoRoom);
  unsigned int in = 0;
  unsigned int out = 0;
  while (in < srcLen) {
    const unsigned char c = src[in];
    // Plain bytes, and a backslash that ends the input.
    if (c != '\\' || in + 1 == srcLen) {
      if (dstSize - out < 4) break;
      nls::StoreUnit16(dst + out, c);
      out += 2;
      in += 1;
      continue;
    }
    const unsigned char next = src[in + 1];
    if (next != 'u') {
      if (dstSize - out < 6) break;
      nls::StoreUnit16(dst + out, '\\');
      nls::StoreUnit16(dst + out + 2, next);
      out += 4;
      in += 2;
      continue;
    }
    unsigned int p = in + 2;
    while (p < srcLen && src[p] == 'u') ++p;
    unsigned int value = 0;
    int digits = 0;
    int digit;
    while (digits < 4 && p < srcLen && (digit = HexValue(src[p])) >= 0) {
      value = value * 16 + static_cast<unsigned int>(digit);
      ++p;
      ++digits;
    }
    if (dstSize - out < 4) break;
    if (digits < 4 && p == srcLen) {
      // Cut by the end of the input: the backslash is text, and so are the
      // bytes after it, read as plain bytes.
      nls::StoreUnit16(dst + out, '\\');
      out += 2;
      in += 1;
      continue;
    }
    nls::StoreUnit16(dst + out, static_cast<uint16_t>(value));
    out += 2;
    in = p;
  }
  return nls::FinishConvert(dst, dstSize, out, dstLen, in, srcLen, srcUsed, 2);
}

TUnicodeToEUCSConverter::TUnicodeToEUCSConverter()
    : TEncodingConverter(nls::names::kUcs2, nls::names::kEscapedUnicode, nullptr, nullptr, nullptr,
                         0, 8, nullptr, 0, 1) {}

TUnicodeToEUCSConverter::~TUnicodeToEUCSConverter() = default;

int TUnicodeToEUCSConverter::Convert(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
                                     const unsigned char* src, unsigned int srcLen,
                                     unsigned int* srcUsed) {
  if (dstSize == 0) nls::AssertLine(nls::site::kUcs2ToEscapedNoRoom);
  // toHex depends only on its argument (0-15 here): ask it once per call for
  // the sixteen digits instead of four times per escaped unit.
  char digits[16];
  bool haveDigits = false;
  unsigned int in = 0;
  unsigned int out = 0;
  while (srcLen - in >= 2 && dstSize - out >= 8) {
    const uint16_t u = nls::LoadUnit16(src + in);
    in += 2;
    if (StandsForItself(u)) {
      dst[out++] = static_cast<unsigned char>(u);
      continue;
    }
    if (!haveDigits) {
      for (unsigned short k = 0; k < 16; ++k) digits[k] = toHex(k);
      haveDigits = true;
    }
    dst[out] = '\\';
    dst[out + 1] = 'u';
    dst[out + 2] = static_cast<unsigned char>(digits[u >> 12]);
    dst[out + 3] = static_cast<unsigned char>(digits[(u >> 8) & 0xF]);
    dst[out + 4] = static_cast<unsigned char>(digits[(u >> 4) & 0xF]);
    dst[out + 5] = static_cast<unsigned char>(digits[u & 0xF]);
    out += 6;
  }
  return nls::FinishConvert(dst, dstSize, out, dstLen, in, srcLen, srcUsed, 1);
}

char TUnicodeToEUCSConverter::toHex(unsigned short value) {
  static const char hexDigit[] = "0123456789ABCDEF";
  return hexDigit[value & 0xF];
}

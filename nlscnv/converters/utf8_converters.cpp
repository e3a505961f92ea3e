#include "nlscnv/converters/utf8_converters.h"

#include <cstring>

#include "nlscnv/support/unaligned.h"

extern "C" {

const signed char bytesFromUTF8[256] = {
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,
    2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 3, 3, 3, 3, 3, 3, 3, 3, 4, 4, 4, 4, 5, 5, 5, 5};

const uint32_t offsetsFromUTF8[6] = {0x00000000UL, 0x00003080UL, 0x000E2080UL,
                                     0x03C82080UL, 0xFA082080UL, 0x82082080UL};

const unsigned char firstByteMark[7] = {0x00, 0x00, 0xC0, 0xE0, 0xF0, 0xF8, 0xFC};

}  // extern "C"

namespace {

constexpr uint16_t kReplacement = 0xFFFD;

// True when the eight bytes at p are all below 0x80.
inline bool EightAscii(const unsigned char* p) {
  uint64_t word;
  std::memcpy(&word, p, sizeof word);
  return (word & 0x8080808080808080ULL) == 0;
}

}  // namespace

TUTF8ToUnicodeConverter::TUTF8ToUnicodeConverter()
    : TEncodingConverter("UTF-8", "ISO-10646-UCS-2", nullptr, nullptr, nullptr, 290, 2, nullptr, 0,
                         0) {}

TUTF8ToUnicodeConverter::~TUTF8ToUnicodeConverter() = default;

int TUTF8ToUnicodeConverter::Convert(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
                                     const unsigned char* src, unsigned int srcLen,
                                     unsigned int* srcUsed) {
  int status = 1;
  bool full = false;  // a unit or pair found no room
  unsigned int in = 0;
  unsigned int out = 0;
  while (in < srcLen) {
    // ASCII run: eight bytes at a time while input and room allow.
    while (srcLen - in >= 8 && dstSize - out >= 16 && EightAscii(src + in)) {
      for (int k = 0; k < 8; ++k) nls::StoreUnit16(dst + out + 2 * k, src[in + k]);
      in += 8;
      out += 16;
    }
    if (in >= srcLen) break;
    const unsigned char lead = src[in];
    const unsigned int trail = static_cast<unsigned int>(bytesFromUTF8[lead]);
    if (trail >= srcLen - in) {  // the whole sequence is not in the input
      status = -1304;
      break;
    }
    uint32_t value = 0;
    for (unsigned int k = 0; k <= trail; ++k) {
      value += src[in + k];
      if (k < trail) value <<= 6;
    }
    value -= offsetsFromUTF8[trail];
    if (lead >= 0xF0) {
      if (value >= 0x10000 && value <= 0x10FFFF) {
        if (dstSize - out < 4) {
          full = true;
          break;
        }
        value -= 0x10000;
        nls::StoreUnit16(dst + out, static_cast<uint16_t>(0xD800 + (value >> 10)));
        nls::StoreUnit16(dst + out + 2, static_cast<uint16_t>(0xDC00 + (value & 0x3FF)));
        out += 4;
        in += trail + 1;
        continue;
      }
      value = kReplacement;
    }
    if (dstSize - out < 2) {
      full = true;
      break;
    }
    nls::StoreUnit16(dst + out, static_cast<uint16_t>(value));
    out += 2;
    in += trail + 1;
  }
  *dstLen = out;
  *srcUsed = in;
  if (dstSize - out < 2) return 2;
  nls::StoreUnit16(dst + out, 0);
  // A surrogate pair that needed 4 bytes of room stays unconsumed: input is
  // left over even though the terminator fitted.
  return full ? 2 : status;
}

TUnicodeToUTF8Converter::TUnicodeToUTF8Converter()
    : TEncodingConverter("ISO-10646-UCS-2", "UTF-8", nullptr, nullptr, nullptr, 290, 4, nullptr, 0,
                         1) {}

TUnicodeToUTF8Converter::~TUnicodeToUTF8Converter() = default;

int TUnicodeToUTF8Converter::Convert(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
                                     const unsigned char* src, unsigned int srcLen,
                                     unsigned int* srcUsed) {
  int status = 1;
  unsigned int in = 0;
  unsigned int out = 0;
  while (srcLen - in >= 2) {
    uint32_t value = nls::LoadUnit16(src + in);
    unsigned int units = 1;
    if (value < 0x80) {
      if (out >= dstSize) {
        status = -1304;
        break;
      }
      dst[out++] = static_cast<unsigned char>(value);
      in += 2;
      continue;
    }
    if (value >= 0xD800 && value <= 0xDBFF && srcLen - in >= 4) {
      const uint32_t low = nls::LoadUnit16(src + in + 2);
      if (low >= 0xDC00 && low <= 0xDFFF) {
        value = 0x10000 + ((value - 0xD800) << 10) + (low - 0xDC00);
        units = 2;
      }
    }
    const unsigned int length = units == 2 ? 4 : (value < 0x800 ? 2 : 3);
    if (dstSize - out < length) {
      status = -1304;
      break;
    }
    for (unsigned int k = length - 1; k > 0; --k) {
      dst[out + k] = static_cast<unsigned char>((value | 0x80) & 0xBF);
      value >>= 6;
    }
    dst[out] = static_cast<unsigned char>(firstByteMark[length] | value);
    out += length;
    in += 2 * units;
  }
  *dstLen = out;
  *srcUsed = in;
  if (out >= dstSize) return 2;
  dst[out] = 0;
  return status;
}

// Strict codec of ESCAPED_UNICODE: ASCII text in which a backslash, "u" and
// four hexadecimal digits stand for one UTF-16 unit (Java's form; more than
// one "u" may follow the backslash). A supplementary character is the escape
// of its high surrogate followed by that of its low one; a lone surrogate
// escape is invalid. A backslash followed by anything but "u" is text. Bytes
// from 0x80 are invalid, and so is an escape with fewer than four digits.
// The encoder writes tab, line feed, carriage return and printable ASCII as
// themselves, except the backslash, which it escapes so that the text reads
// back exactly; everything else as escapes with upper-case digits.
#include "nlscnv/codecs/codecs.h"

namespace nls::codecs {
namespace {

using codec::Decoded;
using codec::Encoded;

int HexValue(unsigned char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Reads the escape at s (a backslash and "u"); *length receives its bytes,
// 0 when the input ends inside it, and -1 is answered when it is broken at
// *length.
int32_t ReadEscape(const unsigned char* s, size_t n, unsigned* length) {
  size_t i = 1;
  while (i < n && s[i] == 'u') ++i;
  uint32_t value = 0;
  for (int k = 0; k < 4; ++k, ++i) {
    if (i >= n) {
      *length = 0;
      return -1;
    }
    const int h = HexValue(s[i]);
    if (h < 0) {
      *length = static_cast<unsigned>(i);
      return -1;
    }
    value = value << 4 | static_cast<uint32_t>(h);
  }
  *length = static_cast<unsigned>(i);
  return static_cast<int32_t>(value);
}

int Decode(const NLS_Codec*, NLS_CodecState* state, NLS_CodecCall* call) {
  return codec::DecodeLoop<false>(
      state, call, [](const unsigned char* s, size_t n, NLS_CodecState&) -> Decoded {
        if (s[0] >= 0x80) return codec::Invalid(1);
        if (s[0] != '\\') return codec::Char(1, s[0]);
        if (n < 2) return codec::Incomplete();
        if (s[1] != 'u') return codec::Char(1, '\\');
        unsigned length = 0;
        const int32_t unit = ReadEscape(s, n, &length);
        if (unit < 0) return length == 0 ? codec::Incomplete() : codec::Invalid(length, true);
        if (unit >= 0xDC00 && unit <= 0xDFFF) return codec::Invalid(length);
        if (unit < 0xD800 || unit > 0xDBFF) return codec::Char(length, static_cast<uint32_t>(unit));
        // A high surrogate: its low half must follow as the next escape.
        if (n - length < 2) return codec::Incomplete();
        if (s[length] != '\\' || s[length + 1] != 'u') return codec::Invalid(length);
        unsigned second = 0;
        const int32_t low = ReadEscape(s + length, n - length, &second);
        if (low < 0 && second == 0) return codec::Incomplete();
        if (low < 0xDC00 || low > 0xDFFF) return codec::Invalid(length);
        return codec::Char(length + second, 0x10000 +
                                                ((static_cast<uint32_t>(unit) - 0xD800) << 10) +
                                                (static_cast<uint32_t>(low) - 0xDC00));
      });
}

unsigned WriteEscape(uint32_t unit, unsigned char* out) {
  static const char kHex[] = "0123456789ABCDEF";
  out[0] = '\\';
  out[1] = 'u';
  for (int k = 0; k < 4; ++k)
    out[2 + k] = static_cast<unsigned char>(kHex[(unit >> (12 - 4 * k)) & 0xF]);
  return 6;
}

int Encode(const NLS_Codec* c, NLS_CodecState* state, NLS_CodecCall* call) {
  return codec::EncodeLoop<false>(
      c, state, call,
      [](uint32_t cp, unsigned char* out, NLS_CodecState&) -> Encoded {
        if (cp == '\t' || cp == '\n' || cp == '\r' || (cp >= 0x20 && cp <= 0x7E && cp != '\\')) {
          out[0] = static_cast<unsigned char>(cp);
          return codec::Wrote(1);
        }
        if (cp < 0x10000) return codec::Wrote(WriteEscape(cp, out));
        WriteEscape(0xD800 + ((cp - 0x10000) >> 10), out);
        return codec::Wrote(6 + WriteEscape(0xDC00 + ((cp - 0x10000) & 0x3FF), out + 6));
      },
      [](unsigned char*, NLS_CodecState&) -> unsigned { return 0; });
}

}  // namespace

const NLS_Codec kEscapedUnicodeCodec = {
    names::kEscapedUnicode,
    Decode,
    Encode,
    nullptr,
    12,
    NLS_CODEC_STATELESS_DECODER | NLS_CODEC_RESYNC_AT_LINE_FEED};

}  // namespace nls::codecs

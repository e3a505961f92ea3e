#include "japanese/iso2022jp_converter.h"

#include <cstring>
#include <new>

#include "japanese/japanese_tables.h"
#include "nlscnv/table_access.h"
#include "nlscnv/unaligned.h"

namespace nls_japanese {
namespace {

constexpr unsigned char kEsc = 0x1B;
constexpr uint16_t kNotMapped = 0xFFFD;
constexpr uint16_t kCsid = 515;
const char kIso2022JpName[] = "ISO-2022-JP";
const char kUcs2Name[] = "ISO-10646-UCS-2";

inline bool IsJisByte(unsigned char b) { return b >= 0x21 && b <= 0x7E; }

// Reads one item at p (avail > 0 bytes) in the set `charset`. Returns the
// number of bytes it takes, or 0 when the input ends inside an escape
// sequence or a two-byte character. A designation updates `charset` and
// sets *unit to -1; anything else sets *unit to the character.
unsigned ReadItem(const unsigned char* p, unsigned avail, JisCharset& charset, int32_t* unit,
                  const uint16_t* toUcs2) {
  const unsigned char b = p[0];
  if (b == kEsc) {
    if (avail < 2) return 0;
    if (p[1] == '(' || p[1] == '$') {
      if (avail < 3) return 0;
      const unsigned char f = p[2];
      if (p[1] == '(' && (f == 'B' || f == 'J')) {
        charset = f == 'B' ? JisCharset::kAscii : JisCharset::kRoman;
        *unit = -1;
        return 3;
      }
      if (p[1] == '$' && (f == '@' || f == 'B')) {
        charset = JisCharset::kJisX0208;
        *unit = -1;
        return 3;
      }
      if (p[1] == '$' && f == '(') {
        if (avail < 4) return 0;
        if (p[3] == '@' || p[3] == 'B') {
          charset = JisCharset::kJisX0208;
          *unit = -1;
          return 4;
        }
      }
    }
    *unit = kNotMapped;  // an escape that designates nothing known
    return 1;
  }
  if (b <= 0x20) {
    *unit = b;
    return 1;
  }
  if (b >= 0x80) {
    *unit = kNotMapped;
    return 1;
  }
  switch (charset) {
    case JisCharset::kAscii:
      *unit = b;
      return 1;
    case JisCharset::kRoman:
      *unit = b == 0x5C ? 0x00A5 : b == 0x7E ? 0x203E : b;
      return 1;
    case JisCharset::kJisX0208:
      break;
  }
  if (b == 0x7F) {
    *unit = kNotMapped;
    return 1;
  }
  if (avail < 2) return 0;
  if (!IsJisByte(p[1])) {
    *unit = kNotMapped;
    return 1;
  }
  *unit = toUcs2[b << 8 | p[1]];
  return 2;
}

// Writes the escape sequence that designates `charset`.
inline unsigned char* WriteDesignation(unsigned char* out, JisCharset charset) {
  static const unsigned char kSequences[3][3] = {
      {kEsc, '(', 'B'}, {kEsc, '(', 'J'}, {kEsc, '$', 'B'}};
  std::memcpy(out, kSequences[static_cast<int>(charset)], 3);
  return out + 3;
}

}  // namespace

// ---- ISO-2022-JP to UCS-2 ---------------------------------------------------

TISO2022JPToUnicodeConverter::TISO2022JPToUnicodeConverter()
    : TEncodingConverter(kIso2022JpName, kUcs2Name, nullptr, nullptr, nullptr, kCsid, 2, nullptr, 0,
                         0),
      fToUcs2(nls::DirectMap(kJisX0208ToUcs2, nls::kFullMapSize)),
      fCharset(JisCharset::kAscii),
      fPendingLength(0),
      fPending{} {
  if (fToUcs2 == nullptr) fStatus = NLS_E_NO_MEMORY;
}

TISO2022JPToUnicodeConverter::~TISO2022JPToUnicodeConverter() = default;

void TISO2022JPToUnicodeConverter::Reset() {
  fCharset = JisCharset::kAscii;
  fPendingLength = 0;
}

int TISO2022JPToUnicodeConverter::Convert(unsigned char* dst, unsigned int* dstLen,
                                          unsigned int dstSize, const unsigned char* src,
                                          unsigned int srcLen, unsigned int* srcUsed) {
  if (dst == nullptr || dstLen == nullptr || srcUsed == nullptr || (src == nullptr && srcLen > 0))
    return NLS_E_ARGUMENT;
  if (fToUcs2 == nullptr) return NLS_E_NO_MEMORY;
  const uint16_t* toUcs2 = fToUcs2;
  // A character needs 2 bytes and leaves 2 for the terminator.
  const unsigned int limit = dstSize >= 2 ? dstSize - 2 : 0;
  unsigned int in = 0, out = 0;
  bool full = false;
  int32_t unit;

  // First finish what the last call left cut: the held bytes followed by
  // enough new input to complete the longest item (4 bytes).
  while (fPendingLength > 0) {
    unsigned char joined[8];
    const unsigned int held = fPendingLength;
    const unsigned int added = srcLen < 4 ? srcLen : 4;
    std::memcpy(joined, fPending, held);
    if (added > 0) std::memcpy(joined + held, src, added);
    JisCharset charset = fCharset;
    const unsigned int taken = ReadItem(joined, held + added, charset, &unit, toUcs2);
    if (taken == 0) {  // still cut: all of the new input joins the held bytes
      if (added > 0) std::memcpy(fPending + held, src, added);  // src may be null
      fPendingLength = static_cast<uint8_t>(held + added);
      in = added;
      break;
    }
    if (unit >= 0) {
      if (out + 2 > limit) {
        full = true;
        break;
      }
      nls::StoreUnit16(dst + out, static_cast<uint16_t>(unit));
      out += 2;
    }
    fCharset = charset;
    if (taken >= held) {
      in = taken - held;
      fPendingLength = 0;
    } else {
      std::memmove(fPending, fPending + taken, held - taken);
      fPendingLength = static_cast<uint8_t>(held - taken);
    }
  }

  while (!full && in < srcLen) {
    const unsigned char b = src[in];
    // Runs of plain ASCII need no state.
    if (fCharset == JisCharset::kAscii && b != kEsc && b < 0x80) {
      if (out + 2 > limit) {
        full = true;
        break;
      }
      nls::StoreUnit16(dst + out, b);
      out += 2;
      ++in;
      continue;
    }
    JisCharset charset = fCharset;
    const unsigned int taken = ReadItem(src + in, srcLen - in, charset, &unit, toUcs2);
    if (taken == 0) {  // cut by the end of the input: hold it for the next call
      fPendingLength = static_cast<uint8_t>(srcLen - in);
      std::memcpy(fPending, src + in, fPendingLength);
      in = srcLen;
      break;
    }
    if (unit >= 0) {
      if (out + 2 > limit) {
        full = true;
        break;
      }
      nls::StoreUnit16(dst + out, static_cast<uint16_t>(unit));
      out += 2;
    }
    fCharset = charset;
    in += taken;
  }

  if (out + 2 <= dstSize) nls::StoreUnit16(dst + out, 0);
  *dstLen = out;
  *srcUsed = in;
  return in == srcLen ? 1 : 2;
}

// ---- UCS-2 to ISO-2022-JP ---------------------------------------------------

TUnicodeToISO2022JPConverter::TUnicodeToISO2022JPConverter()
    : TEncodingConverter(kUcs2Name, kIso2022JpName, nullptr, nullptr, nullptr, kCsid, 4, nullptr, 0,
                         1),
      fFromUcs2(nls::DirectMap(kJisX0208FromUcs2, nls::kFullMapSize)),
      fCharset(JisCharset::kAscii) {
  if (fFromUcs2 == nullptr) fStatus = NLS_E_NO_MEMORY;
}

TUnicodeToISO2022JPConverter::~TUnicodeToISO2022JPConverter() = default;

void TUnicodeToISO2022JPConverter::Reset() { fCharset = JisCharset::kAscii; }

int TUnicodeToISO2022JPConverter::Convert(unsigned char* dst, unsigned int* dstLen,
                                          unsigned int dstSize, const unsigned char* src,
                                          unsigned int srcLen, unsigned int* srcUsed) {
  if (dst == nullptr || dstLen == nullptr || srcUsed == nullptr || (src == nullptr && srcLen > 0))
    return NLS_E_ARGUMENT;
  if (fFromUcs2 == nullptr) return NLS_E_NO_MEMORY;
  const uint16_t* fromUcs2 = fFromUcs2;
  // Output bytes never reach the last byte of dst: it is kept for the NUL.
  const unsigned int limit = dstSize >= 1 ? dstSize - 1 : 0;
  unsigned int in = 0, out = 0;
  while (srcLen - in >= 2) {
    const uint16_t c = nls::LoadUnit16(src + in);
    JisCharset charset;
    unsigned char bytes[2];
    unsigned int length = 1;
    if (c < 0x80) {
      charset = JisCharset::kAscii;
      bytes[0] = static_cast<unsigned char>(c);
    } else if (c == 0x00A5 || c == 0x203E) {
      charset = JisCharset::kRoman;
      bytes[0] = c == 0x00A5 ? 0x5C : 0x7E;
    } else if (const uint16_t code = fromUcs2[c]; code != kNotMapped) {
      charset = JisCharset::kJisX0208;
      bytes[0] = static_cast<unsigned char>(code >> 8);
      bytes[1] = static_cast<unsigned char>(code);
      length = 2;
    } else {
      charset = JisCharset::kAscii;
      bytes[0] = '?';
    }
    const bool designate = charset != fCharset;
    const bool last = srcLen - in == 2;
    const bool returnToAscii = last && charset != JisCharset::kAscii;
    const unsigned int need = (designate ? 3 : 0) + length + (returnToAscii ? 3 : 0);
    if (need > limit - out) break;
    if (designate) out = static_cast<unsigned int>(WriteDesignation(dst + out, charset) - dst);
    dst[out++] = bytes[0];
    if (length == 2) dst[out++] = bytes[1];
    fCharset = charset;
    if (returnToAscii) {
      out = static_cast<unsigned int>(WriteDesignation(dst + out, JisCharset::kAscii) - dst);
      fCharset = JisCharset::kAscii;
    }
    in += 2;
  }
  // A call without input after one that stopped early ends the text in ASCII.
  if (srcLen == 0 && fCharset != JisCharset::kAscii && limit - out >= 3) {
    out = static_cast<unsigned int>(WriteDesignation(dst + out, JisCharset::kAscii) - dst);
    fCharset = JisCharset::kAscii;
  }
  if (out < dstSize) dst[out] = 0;
  *dstLen = out;
  *srcUsed = in;
  return in == srcLen ? 1 : 2;
}

}  // namespace nls_japanese

using nls_japanese::TISO2022JPToUnicodeConverter;
using nls_japanese::TUnicodeToISO2022JPConverter;

extern "C" {

TEncodingConverter* NEWISO2022JPTOUNICODEENCODINGCONVERTER(void) {
  return new (std::nothrow) TISO2022JPToUnicodeConverter();
}

TEncodingConverter* NEWUNICODETOISO2022JPENCODINGCONVERTER(void) {
  return new (std::nothrow) TUnicodeToISO2022JPConverter();
}

}  // extern "C"

#include "chinese/euctw_codec.h"

namespace nls_chinese {
namespace {

using nls::codec::Decoded;
using nls::codec::Encoded;

constexpr unsigned char kPrefix = 0x8E;

inline bool IsEucByte(unsigned b) { return b >= 0xA1 && b <= 0xFE; }

CnsEncodeMap gMap;  // zero-initialised; filled once by CnsMap

Decoded Step(const unsigned char* s, size_t n) {
  const unsigned b = s[0];
  if (b < 0x80) return nls::codec::Char(1, b);
  if (IsEucByte(b)) {
    if (n < 2) return nls::codec::Incomplete();
    if (!IsEucByte(s[1])) return nls::codec::Invalid(1, true);
    const uint32_t cp = CnsCharAt(1, b, s[1]);
    return cp != 0 ? nls::codec::Char(2, cp) : nls::codec::Invalid(2);
  }
  if (b != kPrefix) return nls::codec::Invalid(1);
  for (size_t i = 1; i < 4; ++i) {
    if (i == n) return nls::codec::Incomplete();
    if (i == 1 ? s[1] < 0xA1 || s[1] > 0xA0 + kCnsPlanes : !IsEucByte(s[i]))
      return nls::codec::Invalid(static_cast<unsigned>(i), true);
  }
  const uint32_t cp = CnsCharAt(s[1] - 0xA0, s[2], s[3]);
  return cp != 0 ? nls::codec::Char(4, cp) : nls::codec::Invalid(4);
}

// The common text without the loop's bookkeeping, from src[*inOut] and
// dst[*outOut] on: ASCII and assigned two-byte cells of plane 1. Stops at
// anything else and when the output is full.
void Run(const NLS_CodecCall* call, size_t* inOut, size_t* outOut) {
  const unsigned char* src = call->src;
  unsigned char* dst = call->dst;
  const size_t srcLen = call->srcLen, units = call->dstSize / 2;
  size_t in = *inOut, out = *outOut / 2;
  while (in < srcLen && out < units) {
    const unsigned b = src[in];
    if (b < 0x80) {
      nls::StoreUnit16(dst + 2 * out++, static_cast<uint16_t>(b));
      ++in;
      continue;
    }
    if (!IsEucByte(b) || in + 1 == srcLen || !IsEucByte(src[in + 1])) break;
    const uint32_t cp = CnsCharAt(1, b, src[in + 1]);
    if (cp == 0 || cp >= 0x10000) break;
    nls::StoreUnit16(dst + 2 * out++, static_cast<uint16_t>(cp));
    in += 2;
  }
  *inOut = in;
  *outOut = 2 * out;
}

}  // namespace

const CnsEncodeMap& CnsMap() {
  // Thread-safe once: the first cell of every character, then the overrides.
  static const bool built = [] {
    for (uint32_t cell = kCnsPlanes * kCnsCells; cell-- > 0;) {
      const uint32_t cp = CnsChar(cell);
      if (cp == 0) continue;
      uint16_t& slot = cp < 0x10000 ? gMap.bmp[cp] : gMap.plane2[cp - 0x20000];
      slot = static_cast<uint16_t>(cell + 1);  // the lowest cell is written last
    }
    for (uint32_t i = 0; i < kCnsOverrideCount; ++i) {
      const uint32_t cp = kCnsOverrides[i].cp;
      uint16_t& slot = cp < 0x10000 ? gMap.bmp[cp] : gMap.plane2[cp - 0x20000];
      slot = static_cast<uint16_t>(kCnsOverrides[i].cell);
    }
    return true;
  }();
  (void)built;
  return gMap;
}

int EucTwDecode(const NLS_Codec*, NLS_CodecState* state, NLS_CodecCall* call) {
  auto step = [](const unsigned char* s, size_t n, NLS_CodecState&) { return Step(s, n); };
  return nls::codec::RunsAndSteps(
      state, call,
      [](NLS_CodecState&, const NLS_CodecCall& c, size_t* in, size_t* out) { Run(&c, in, out); },
      [state, &step](NLS_CodecCall* one) {
        return nls::codec::DecodeLoop<true>(state, one, step);
      });
}

int EucTwEncode(const NLS_Codec* codec, NLS_CodecState* state, NLS_CodecCall* call) {
  const CnsEncodeMap& map = CnsMap();
  return nls::codec::EncodeLoop<true>(
      codec, state, call,
      [&map](uint32_t cp, unsigned char* out, NLS_CodecState&) -> Encoded {
        if (cp < 0x80) {
          out[0] = static_cast<unsigned char>(cp);
          return nls::codec::Wrote(1);
        }
        const uint32_t cell = map.Cell(cp);
        if (cell == 0) return nls::codec::Unmappable();
        const uint32_t index = cell - 1, plane = index / kCnsCells, at = index % kCnsCells;
        const unsigned char row = static_cast<unsigned char>(0xA1 + at / 94);
        const unsigned char col = static_cast<unsigned char>(0xA1 + at % 94);
        if (plane == 0) {
          out[0] = row;
          out[1] = col;
          return nls::codec::Wrote(2);
        }
        out[0] = kPrefix;
        out[1] = static_cast<unsigned char>(0xA1 + plane);
        out[2] = row;
        out[3] = col;
        return nls::codec::Wrote(4);
      },
      [](unsigned char*, NLS_CodecState&) -> unsigned { return 0; });
}

}  // namespace nls_chinese

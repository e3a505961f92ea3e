#include "korean/iso2022kr_codec.h"

#include <cstring>

namespace nls_korean {
namespace {

using nls::codec::Decoded;
using nls::codec::Encoded;

constexpr unsigned char kSo = 0x0E, kSi = 0x0F, kEsc = 0x1B, kLineFeed = 0x0A;
constexpr unsigned char kHeader[4] = {kEsc, '$', ')', 'C'};

// The shift (state word 0); the encoder keeps in word 1 whether it has
// written the header.
enum : uint32_t { kAscii = 0, kKsx1001 = 1 };

const NLS_MultiByteTable& TableOf(const NLS_Codec* codec) {
  return *static_cast<const NLS_MultiByteTable*>(codec->data);
}

inline bool IsGlByte(unsigned b) { return b >= 0x21 && b <= 0x7E; }

// The KS X 1001 character of two GL bytes, or 0: EUC-KR's pair with the high
// bits set (every byte 0xA1-0xFE is a lead byte of EUC-KR).
inline uint16_t Pair(const NLS_MultiByteTable& t, unsigned b, unsigned c) {
  const NLS_MultiByteRow& row = t.rows[t.lead[b | 0x80] - 1];
  const unsigned k = (c | 0x80u) - row.first;
  return k < row.count ? t.values[row.offset + k] : 0;
}

Decoded Step(const NLS_MultiByteTable& t, const unsigned char* s, size_t n, NLS_CodecState& st) {
  const unsigned b = s[0];
  if (b == kEsc) {
    for (size_t i = 1; i < 4; ++i) {
      if (i == n) return nls::codec::Incomplete();
      if (s[i] != kHeader[i]) return nls::codec::Invalid(1, true);
    }
    return nls::codec::Nothing(4);
  }
  if (b == kSo || b == kSi) {
    st.word[0] = b == kSo ? kKsx1001 : kAscii;
    return nls::codec::Nothing(1);
  }
  if (b == kLineFeed) {
    st.word[0] = kAscii;
    return nls::codec::Char(1, b);
  }
  if (b < 0x20) return nls::codec::Char(1, b);
  if (b >= 0x80) return nls::codec::Invalid(1);
  if (st.word[0] == kAscii) return nls::codec::Char(1, b);
  if (!IsGlByte(b)) return nls::codec::Invalid(1);
  if (n < 2) return nls::codec::Incomplete();
  if (!IsGlByte(s[1])) return nls::codec::Invalid(1, true);
  const uint16_t v = Pair(t, b, s[1]);
  return v != 0 ? nls::codec::Char(2, v) : nls::codec::Invalid(2);
}

// The common text without the loop's bookkeeping, from src[*inOut] and
// dst[*outOut] on: ASCII but ESC in ASCII, assigned pairs in KS X 1001, and
// the shifts between them. Stops at anything else and when the output is
// full; leaves the shift in the state.
void Run(const NLS_MultiByteTable& t, NLS_CodecState* state, const NLS_CodecCall* call,
         size_t* inOut, size_t* outOut) {
  const unsigned char* src = call->src;
  unsigned char* dst = call->dst;
  const size_t srcLen = call->srcLen, units = call->dstSize / 2;
  size_t in = *inOut, out = *outOut / 2;
  uint32_t shift = state->word[0];
  while (in < srcLen) {
    const unsigned b = src[in];
    if (b == kSo || b == kSi) {
      shift = b == kSo ? kKsx1001 : kAscii;
      ++in;
    } else if (shift == kAscii) {
      if (b >= 0x80 || b == kEsc || out == units) break;
      nls::StoreUnit16(dst + 2 * out, static_cast<uint16_t>(b));
      ++in;
      ++out;
    } else {
      if (in + 1 == srcLen || out == units || !IsGlByte(b) || !IsGlByte(src[in + 1])) break;
      const uint16_t v = Pair(t, b, src[in + 1]);
      if (v == 0) break;
      nls::StoreUnit16(dst + 2 * out, v);
      in += 2;
      ++out;
    }
  }
  state->word[0] = shift;
  *inOut = in;
  *outOut = 2 * out;
}

}  // namespace

int Iso2022KrDecode(const NLS_Codec* codec, NLS_CodecState* state, NLS_CodecCall* call) {
  const NLS_MultiByteTable& t = TableOf(codec);
  return nls::codec::RunsAndSteps(
      state, call,
      [&t](NLS_CodecState& st, const NLS_CodecCall& c, size_t* in, size_t* out) {
        Run(t, &st, &c, in, out);
      },
      [&t, state](NLS_CodecCall* one) {
        return nls::codec::DecodeLoop<false>(
            state, one, [&t](const unsigned char* s, size_t n, NLS_CodecState& st) {
              return Step(t, s, n, st);
            });
      });
}

namespace {

int EncodeSteps(const NLS_Codec* codec, NLS_CodecState* state, NLS_CodecCall* call) {
  const uint16_t* map = NLS_MultiByteEncodeMap(&TableOf(codec));
  return nls::codec::EncodeLoop<false>(
      codec, state, call,
      [map](uint32_t cp, unsigned char* out, NLS_CodecState& st) -> Encoded {
        uint32_t shift = kAscii;
        unsigned char bytes[2];
        unsigned length = 1;
        if (cp == kEsc || cp == kSo || cp == kSi) {
          return nls::codec::Unmappable();  // would start an escape sequence or shift
        } else if (cp < 0x80) {
          bytes[0] = static_cast<unsigned char>(cp);
        } else if (const uint16_t code = cp < 0x10000 ? map[cp] : 0; code >= 0xA1A1) {
          shift = kKsx1001;  // a pair of EUC-KR
          bytes[0] = static_cast<unsigned char>(code >> 8 & 0x7F);
          bytes[1] = static_cast<unsigned char>(code & 0x7F);
          length = 2;
        } else {
          return nls::codec::Unmappable();
        }
        unsigned written = 0;
        if (st.word[1] == 0) {
          std::memcpy(out, kHeader, sizeof kHeader);
          written = sizeof kHeader;
          st.word[1] = 1;
        }
        if (shift != st.word[0]) {
          out[written++] = shift == kKsx1001 ? kSo : kSi;
          st.word[0] = shift;
        }
        std::memcpy(out + written, bytes, length);
        return nls::codec::Wrote(written + length);
      },
      [](unsigned char* out, NLS_CodecState& st) -> unsigned {
        if (st.word[0] == kAscii) return 0;
        out[0] = kSi;
        return 1;
      });
}

// The common text without the loop's bookkeeping, once the header is out:
// ASCII but ESC and the shifts, KS X 1001 pairs, and the shifts between them.
// Stops at anything else and where the output may not hold a character with
// its shift; leaves the shift in the state.
void EncodeRun(const uint16_t* map, NLS_CodecState* state, const NLS_CodecCall* call, size_t* inOut,
               size_t* outOut) {
  if (state->word[1] == 0) return;
  const unsigned char* src = call->src;
  unsigned char* dst = call->dst;
  const size_t srcLen = call->srcLen, dstSize = call->dstSize;
  size_t in = *inOut, out = *outOut;
  uint32_t shift = state->word[0];
  while (srcLen - in >= 2 && dstSize - out >= 3) {
    const uint32_t cp = nls::LoadUnit16(src + in);
    if (cp < 0x80) {
      if (cp == kEsc || cp == kSo || cp == kSi) break;
      if (shift != kAscii) dst[out++] = kSi;
      shift = kAscii;
      dst[out++] = static_cast<unsigned char>(cp);
    } else {
      const uint16_t code = map[cp];  // 0 for a surrogate
      if (code < 0xA1A1) break;
      if (shift != kKsx1001) dst[out++] = kSo;
      shift = kKsx1001;
      dst[out] = static_cast<unsigned char>(code >> 8 & 0x7F);
      dst[out + 1] = static_cast<unsigned char>(code & 0x7F);
      out += 2;
    }
    in += 2;
  }
  state->word[0] = shift;
  *inOut = in;
  *outOut = out;
}

}  // namespace

int Iso2022KrEncode(const NLS_Codec* codec, NLS_CodecState* state, NLS_CodecCall* call) {
  const uint16_t* map = NLS_MultiByteEncodeMap(&TableOf(codec));
  return nls::codec::RunsAndSteps(
      state, call,
      [map](NLS_CodecState& st, const NLS_CodecCall& c, size_t* in, size_t* out) {
        EncodeRun(map, &st, &c, in, out);
      },
      [codec, state](NLS_CodecCall* one) { return EncodeSteps(codec, state, one); });
}

}  // namespace nls_korean

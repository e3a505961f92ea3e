#include "chinese/hz_codec.h"

namespace nls_chinese {
namespace {

using nls::codec::Decoded;
using nls::codec::Encoded;

constexpr unsigned char kTilde = '~';

// The mode (state word 0).
enum : uint32_t { kAscii = 0, kGb2312 = 1 };

const NLS_MultiByteTable& TableOf(const NLS_Codec* codec) {
  return *static_cast<const NLS_MultiByteTable*>(codec->data);
}

inline bool IsGlByte(unsigned b) { return b >= 0x21 && b <= 0x7E; }

// The GB2312 character of two GL bytes, or 0: EUC-CN's pair with the high
// bits set (every byte 0xA1-0xFE is a lead byte of EUC-CN).
inline uint16_t Pair(const NLS_MultiByteTable& t, unsigned b, unsigned c) {
  const NLS_MultiByteRow& row = t.rows[t.lead[b | 0x80] - 1];
  const unsigned k = (c | 0x80u) - row.first;
  return k < row.count ? t.values[row.offset + k] : 0;
}

Decoded Step(const NLS_MultiByteTable& t, const unsigned char* s, size_t n, NLS_CodecState& st) {
  const unsigned b = s[0];
  if (b >= 0x80) return nls::codec::Invalid(1);
  if (b == kTilde) {
    if (n < 2) return nls::codec::Incomplete();
    const unsigned c = s[1];
    if (st.word[0] == kAscii) {
      if (c == kTilde) return nls::codec::Char(2, kTilde);
      if (c == '\n') return nls::codec::Nothing(2);
      if (c != '{') return nls::codec::Invalid(1, true);
      st.word[0] = kGb2312;
      return nls::codec::Nothing(2);
    }
    if (c != '}') return nls::codec::Invalid(1, true);
    st.word[0] = kAscii;
    return nls::codec::Nothing(2);
  }
  if (st.word[0] == kAscii) return nls::codec::Char(1, b);
  if (!IsGlByte(b)) return nls::codec::Invalid(1);
  if (n < 2) return nls::codec::Incomplete();
  if (!IsGlByte(s[1])) return nls::codec::Invalid(1, true);
  const uint16_t v = Pair(t, b, s[1]);
  return v != 0 ? nls::codec::Char(2, v) : nls::codec::Invalid(2);
}

// The common text without the loop's bookkeeping, from src[*inOut] and
// dst[*outOut] on: ASCII but "~" in ASCII, assigned pairs in GB2312, and
// the switches between them. Stops at anything else and when the output is
// full; leaves the mode in the state.
void Run(const NLS_MultiByteTable& t, NLS_CodecState* state, const NLS_CodecCall* call,
         size_t* inOut, size_t* outOut) {
  const unsigned char* src = call->src;
  unsigned char* dst = call->dst;
  const size_t srcLen = call->srcLen, units = call->dstSize / 2;
  size_t in = *inOut, out = *outOut / 2;
  uint32_t mode = state->word[0];
  while (in < srcLen) {
    const unsigned b = src[in];
    if (b == kTilde) {
      if (in + 1 == srcLen || src[in + 1] != (mode == kAscii ? '{' : '}')) break;
      mode = mode == kAscii ? kGb2312 : kAscii;
      in += 2;
    } else if (mode == kAscii) {
      if (b >= 0x80 || out == units) break;
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
  state->word[0] = mode;
  *inOut = in;
  *outOut = 2 * out;
}

}  // namespace

int HzDecode(const NLS_Codec* codec, NLS_CodecState* state, NLS_CodecCall* call) {
  const NLS_MultiByteTable& t = TableOf(codec);
  auto step = [&t](const unsigned char* s, size_t n, NLS_CodecState& st) {
    return Step(t, s, n, st);
  };
  return nls::codec::RunsAndSteps(
      state, call,
      [&t](NLS_CodecState& st, const NLS_CodecCall& c, size_t* in, size_t* out) {
        Run(t, &st, &c, in, out);
      },
      [state, &step](NLS_CodecCall* one) {
        return nls::codec::DecodeLoop<false>(state, one, step);
      });
}

int HzEncode(const NLS_Codec* codec, NLS_CodecState* state, NLS_CodecCall* call) {
  const uint16_t* map = NLS_MultiByteEncodeMap(&TableOf(codec));
  return nls::codec::EncodeLoop<false>(
      codec, state, call,
      [map](uint32_t cp, unsigned char* out, NLS_CodecState& st) -> Encoded {
        uint32_t mode = kAscii;
        unsigned char bytes[2];
        unsigned length = 1;
        if (cp == kTilde) {
          bytes[0] = bytes[1] = kTilde;
          length = 2;
        } else if (cp < 0x80) {
          bytes[0] = static_cast<unsigned char>(cp);
        } else if (const uint16_t code = cp < 0x10000 ? map[cp] : 0; code >= 0xA1A1) {
          mode = kGb2312;  // a pair of EUC-CN
          bytes[0] = static_cast<unsigned char>(code >> 8 & 0x7F);
          bytes[1] = static_cast<unsigned char>(code & 0x7F);
          length = 2;
        } else {
          return nls::codec::Unmappable();
        }
        unsigned written = 0;
        if (mode != st.word[0]) {
          out[0] = kTilde;
          out[1] = mode == kGb2312 ? '{' : '}';
          written = 2;
          st.word[0] = mode;
        }
        for (unsigned i = 0; i < length; ++i) out[written + i] = bytes[i];
        return nls::codec::Wrote(written + length);
      },
      [](unsigned char* out, NLS_CodecState& st) -> unsigned {
        if (st.word[0] == kAscii) return 0;
        out[0] = kTilde;
        out[1] = '}';
        return 2;
      });
}

}  // namespace nls_chinese

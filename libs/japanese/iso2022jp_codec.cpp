#include "japanese/iso2022jp_codec.h"

#include <cstring>

namespace nls_japanese {
namespace {

using nls::codec::Decoded;
using nls::codec::Encoded;

constexpr unsigned char kEsc = 0x1B;

// The sets that ISO-2022-JP designates (state word 0).
enum : uint32_t { kAscii = 0, kRoman = 1, kJisX0208 = 2 };

const NLS_MultiByteTable& TableOf(const NLS_Codec* codec) {
  return *static_cast<const NLS_MultiByteTable*>(codec->data);
}

inline bool IsJisByte(unsigned b) { return b >= 0x21 && b <= 0x7E; }

// An escape sequence at s (s[0] is ESC): its length and the set it
// designates, 0 when the input ends inside it, -1 when it is not one.
int Escape(const unsigned char* s, size_t n, uint32_t* set) {
  if (n < 2) return 0;
  if (s[1] == '(') {
    if (n < 3) return 0;
    if (s[2] != 'B' && s[2] != 'J') return -1;
    *set = s[2] == 'B' ? kAscii : kRoman;
    return 3;
  }
  if (s[1] != '$') return -1;
  if (n < 3) return 0;
  if (s[2] == '@' || s[2] == 'B') {
    *set = kJisX0208;
    return 3;
  }
  if (s[2] != '(') return -1;
  if (n < 4) return 0;
  if (s[3] != '@' && s[3] != 'B') return -1;
  *set = kJisX0208;
  return 4;
}

Decoded Step(const NLS_MultiByteTable& t, const unsigned char* s, size_t n, NLS_CodecState& st) {
  const unsigned b = s[0];
  if (b == kEsc) {
    uint32_t set = 0;
    const int length = Escape(s, n, &set);
    if (length == 0) return nls::codec::Incomplete();
    if (length < 0) return nls::codec::Invalid(1, true);
    st.word[0] = set;
    return nls::codec::Nothing(static_cast<unsigned>(length));
  }
  if (b <= 0x20) return nls::codec::Char(1, b);
  if (b >= 0x80) return nls::codec::Invalid(1);
  switch (st.word[0]) {
    case kAscii:
      return nls::codec::Char(1, b);
    case kRoman:
      return nls::codec::Char(1, b == 0x5C ? 0x00A5 : b == 0x7E ? 0x203E : b);
    default:
      break;
  }
  if (b == 0x7F) return nls::codec::Invalid(1);
  if (n < 2) return nls::codec::Incomplete();
  if (!IsJisByte(s[1])) return nls::codec::Invalid(1, true);
  const NLS_MultiByteRow& row = t.rows[t.lead[b | 0x80] - 1];
  const unsigned k = (s[1] | 0x80u) - row.first;
  const uint16_t v = k < row.count ? t.values[row.offset + k] : 0;
  return v != 0 ? nls::codec::Char(2, v) : nls::codec::Invalid(2);
}

// Writes the escape sequence of a set.
inline unsigned Designate(unsigned char* out, uint32_t set) {
  static const unsigned char kSequences[3][3] = {
      {kEsc, '(', 'B'}, {kEsc, '(', 'J'}, {kEsc, '$', 'B'}};
  std::memcpy(out, kSequences[set], 3);
  return 3;
}

}  // namespace

namespace {

// The common text of the current set without the loop's bookkeeping, from
// src[*inOut] and dst[*outOut] on: ASCII in ASCII, assigned pairs in JIS X
// 0208. Stops at an escape, at anything else, and when the output is full.
void Run(const NLS_MultiByteTable& t, uint32_t set, const NLS_CodecCall* call, size_t* inOut,
         size_t* outOut) {
  const unsigned char* src = call->src;
  unsigned char* dst = call->dst;
  const size_t srcLen = call->srcLen, units = call->dstSize / 2;
  size_t in = *inOut, out = *outOut / 2;
  if (set == kAscii) {
    while (in < srcLen && out < units && src[in] < 0x80 && src[in] != kEsc) {
      nls::StoreUnit16(dst + 2 * out, src[in]);
      ++in;
      ++out;
    }
  } else if (set == kJisX0208) {
    while (in + 1 < srcLen && out < units) {
      const unsigned b = src[in], c = src[in + 1];
      if (!IsJisByte(b) || !IsJisByte(c)) break;
      const NLS_MultiByteRow& row = t.rows[t.lead[b | 0x80] - 1];
      const unsigned k = (c | 0x80u) - row.first;
      const uint16_t v = k < row.count ? t.values[row.offset + k] : 0;
      if (v == 0) break;
      nls::StoreUnit16(dst + 2 * out, v);
      in += 2;
      ++out;
    }
  }
  *inOut = in;
  *outOut = 2 * out;
}

}  // namespace

int Iso2022JpDecode(const NLS_Codec* codec, NLS_CodecState* state, NLS_CodecCall* call) {
  const NLS_MultiByteTable& t = TableOf(codec);
  auto step = [&t](const unsigned char* s, size_t n, NLS_CodecState& st) {
    return Step(t, s, n, st);
  };
  if (call->flags & NLS_CODEC_FLUSH) return nls::codec::DecodeLoop<false>(state, call, step);
  const bool one = (call->flags & NLS_CODEC_ONE) != 0;
  size_t in = 0, out = 0;
  int result = NLS_CODEC_DONE;
  for (;;) {
    if (!one) Run(t, state->word[0], call, &in, &out);
    if (in == call->srcLen) break;
    // One character, control or escape sequence through the shared loop.
    NLS_CodecCall single = *call;
    single.src += in;
    single.srcLen -= in;
    single.dst += out;
    single.dstSize -= out;
    single.flags |= NLS_CODEC_ONE;
    result = nls::codec::DecodeLoop<false>(state, &single, step);
    in += single.srcUsed;
    out += single.dstLen;
    call->errorLength = single.errorLength;
    call->errorContext = single.errorContext;
    if (result != NLS_CODEC_DONE || one) break;
  }
  call->srcUsed = in;
  call->dstLen = out;
  return result;
}

int Iso2022JpEncode(const NLS_Codec* codec, NLS_CodecState* state, NLS_CodecCall* call) {
  const uint16_t* map = NLS_MultiByteEncodeMap(&TableOf(codec));
  return nls::codec::EncodeLoop<false>(
      codec, state, call,
      [map](uint32_t cp, unsigned char* out, NLS_CodecState& st) -> Encoded {
        uint32_t set = kAscii;
        unsigned char bytes[2];
        unsigned length = 1;
        if (cp == kEsc) {
          return nls::codec::Unmappable();  // would start an escape sequence
        } else if (cp < 0x80) {
          bytes[0] = static_cast<unsigned char>(cp);
        } else if (cp == 0x00A5 || cp == 0x203E) {
          set = kRoman;
          bytes[0] = cp == 0x00A5 ? 0x5C : 0x7E;
        } else if (const uint16_t code = cp < 0x10000 ? map[cp] : 0; code >= 0xA1A1) {
          set = kJisX0208;  // a pair of EUC-JP's JIS X 0208 rows
          bytes[0] = static_cast<unsigned char>(code >> 8 & 0x7F);
          bytes[1] = static_cast<unsigned char>(code & 0x7F);
          length = 2;
        } else {
          return nls::codec::Unmappable();
        }
        unsigned written = 0;
        if (set != st.word[0]) {
          written = Designate(out, set);
          st.word[0] = set;
        }
        std::memcpy(out + written, bytes, length);
        return nls::codec::Wrote(written + length);
      },
      [](unsigned char* out, NLS_CodecState& st) -> unsigned {
        return st.word[0] == kAscii ? 0 : Designate(out, kAscii);
      });
}

}  // namespace nls_japanese

#include "chinese/iso2022cn_codec.h"

#include <cstring>

namespace nls_chinese {

const Iso2022CnSets kIso2022CnSets = {0, &kGb2312Table};
const Iso2022CnSets kIso2022CnExtSets = {1, &kGb2312Table};

namespace {

using nls::codec::Decoded;
using nls::codec::Encoded;

constexpr unsigned char kSo = 0x0E, kSi = 0x0F, kEsc = 0x1B, kLineFeed = 0x0A;

// State words and their values.
enum : uint32_t { kShift = 0, kG1 = 1, kG2 = 2, kG3 = 3 };
enum : uint32_t { kAscii = 0, kShifted = 1 };
enum : uint32_t { kNone = 0, kGb2312 = 1, kCns1 = 2 };  // G1; G2 holds 2, G3 the plane

const Iso2022CnSets& SetsOf(const NLS_Codec* codec) {
  return *static_cast<const Iso2022CnSets*>(codec->data);
}

inline bool IsGlByte(unsigned b) { return b >= 0x21 && b <= 0x7E; }

// The GB2312 character of two GL bytes, or 0: EUC-CN's pair with the high
// bits set (every byte 0xA1-0xFE is a lead byte of EUC-CN).
inline uint32_t Gb2312(const NLS_MultiByteTable& t, unsigned b, unsigned c) {
  const NLS_MultiByteRow& row = t.rows[t.lead[b | 0x80] - 1];
  const unsigned k = (c | 0x80u) - row.first;
  return k < row.count ? t.values[row.offset + k] : 0;
}

// The character of two GL bytes at s (n bytes there) in a set: G1's set (1,
// 2) or a CNS plane (plane + 1).
Decoded TwoBytes(const Iso2022CnSets& sets, uint32_t set, const unsigned char* s, size_t n,
                 unsigned before) {
  for (unsigned i = 0; i < 2; ++i) {
    if (i == n) return nls::codec::Incomplete();
    if (!IsGlByte(s[i]))
      return nls::codec::Invalid(before + i > 0 ? before + i : 1, before + i > 0);
  }
  const uint32_t cp =
      set == kGb2312 ? Gb2312(*sets.gb2312, s[0], s[1]) : CnsCharAt(set - 1, s[0], s[1]);
  return cp != 0 ? nls::codec::Char(before + 2, cp) : nls::codec::Invalid(before + 2);
}

Decoded Escape(const Iso2022CnSets& sets, const unsigned char* s, size_t n, NLS_CodecState& st) {
  if (n < 2) return nls::codec::Incomplete();
  if (s[1] == 'N' || (sets.ext && s[1] == 'O')) {
    const uint32_t set = st.word[s[1] == 'N' ? kG2 : kG3];
    if (set == kNone) return nls::codec::Invalid(2);
    return TwoBytes(sets, set + 1, s + 2, n - 2, 2);
  }
  if (s[1] != '$') return nls::codec::Invalid(1, true);
  if (n < 3) return nls::codec::Incomplete();
  const unsigned g = s[2];
  if (g != ')' && g != '*' && !(sets.ext && g == '+')) return nls::codec::Invalid(2, true);
  if (n < 4) return nls::codec::Incomplete();
  const unsigned f = s[3];
  if (g == ')' && (f == 'A' || f == 'G')) {
    st.word[kG1] = f == 'A' ? kGb2312 : kCns1;
  } else if (g == '*' && f == 'H') {
    st.word[kG2] = 2;
  } else if (g == '+' && f >= 'I' && f <= 'M') {
    st.word[kG3] = 3 + (f - 'I');
  } else {
    return nls::codec::Invalid(3, true);
  }
  return nls::codec::Nothing(4);
}

Decoded Step(const Iso2022CnSets& sets, const unsigned char* s, size_t n, NLS_CodecState& st) {
  const unsigned b = s[0];
  if (b == kEsc) return Escape(sets, s, n, st);
  if (b == kSo) {
    if (st.word[kG1] == kNone) return nls::codec::Invalid(1);
    st.word[kShift] = kShifted;
    return nls::codec::Nothing(1);
  }
  if (b == kSi) {
    st.word[kShift] = kAscii;
    return nls::codec::Nothing(1);
  }
  if (b == kLineFeed) {
    st = NLS_CodecState{};
    return nls::codec::Char(1, b);
  }
  if (b < 0x20) return nls::codec::Char(1, b);
  if (b >= 0x80) return nls::codec::Invalid(1);
  if (st.word[kShift] == kAscii) return nls::codec::Char(1, b);
  return TwoBytes(sets, st.word[kG1], s, n, 0);
}

// The common text without the loop's bookkeeping, from src[*inOut] and
// dst[*outOut] on: ASCII but ESC, SO and the line feed when not shifted,
// the G1 set's characters when shifted, and SO (with G1 designated) and SI.
// Stops at anything else and when the output is full; leaves the shift in
// the state.
void Run(const Iso2022CnSets& sets, NLS_CodecState* state, const NLS_CodecCall* call, size_t* inOut,
         size_t* outOut) {
  const unsigned char* src = call->src;
  unsigned char* dst = call->dst;
  const size_t srcLen = call->srcLen, units = call->dstSize / 2;
  size_t in = *inOut, out = *outOut / 2;
  const uint32_t g1 = state->word[kG1];
  uint32_t shift = state->word[kShift];
  while (in < srcLen) {
    const unsigned b = src[in];
    if ((b == kSo && g1 != kNone) || b == kSi) {
      shift = b == kSo ? kShifted : kAscii;
      ++in;
    } else if (shift == kAscii) {
      if (b >= 0x80 || b == kEsc || b == kSo || b == kLineFeed || out == units) break;
      nls::StoreUnit16(dst + 2 * out++, static_cast<uint16_t>(b));
      ++in;
    } else {
      if (in + 1 == srcLen || out == units || !IsGlByte(b) || !IsGlByte(src[in + 1])) break;
      const uint32_t cp =
          g1 == kGb2312 ? Gb2312(*sets.gb2312, b, src[in + 1]) : CnsCharAt(1, b, src[in + 1]);
      if (cp == 0 || cp >= 0x10000) break;
      nls::StoreUnit16(dst + 2 * out++, static_cast<uint16_t>(cp));
      in += 2;
    }
  }
  state->word[kShift] = shift;
  *inOut = in;
  *outOut = 2 * out;
}

// Where the encoder writes a character: G1 with its set, G2 (plane 2) or G3
// with its plane; the two bytes.
struct Target {
  uint32_t word, set;
  unsigned char bytes[2];
};

}  // namespace

int Iso2022CnDecode(const NLS_Codec* codec, NLS_CodecState* state, NLS_CodecCall* call) {
  const Iso2022CnSets& sets = SetsOf(codec);
  auto step = [&sets](const unsigned char* s, size_t n, NLS_CodecState& st) {
    return Step(sets, s, n, st);
  };
  return nls::codec::RunsAndSteps(
      state, call,
      [&sets](NLS_CodecState& st, const NLS_CodecCall& c, size_t* in, size_t* out) {
        Run(sets, &st, &c, in, out);
      },
      [state, &step](NLS_CodecCall* one) {
        return nls::codec::DecodeLoop<false>(state, one, step);
      });
}

int Iso2022CnEncode(const NLS_Codec* codec, NLS_CodecState* state, NLS_CodecCall* call) {
  const Iso2022CnSets& sets = SetsOf(codec);
  const uint16_t* gb = NLS_MultiByteEncodeMap(sets.gb2312);
  const CnsEncodeMap& cns = CnsMap();
  return nls::codec::EncodeLoop<false>(
      codec, state, call,
      [&sets, gb, &cns](uint32_t cp, unsigned char* out, NLS_CodecState& st) -> Encoded {
        unsigned written = 0;
        if (cp < 0x80) {
          if (cp == kEsc || cp == kSo || cp == kSi) return nls::codec::Unmappable();
          if (st.word[kShift] == kShifted) out[written++] = kSi;
          out[written++] = static_cast<unsigned char>(cp);
          st.word[kShift] = kAscii;
          if (cp == kLineFeed) st = NLS_CodecState{};  // designations end with the line
          return nls::codec::Wrote(written);
        }
        Target t;
        if (const uint16_t code = cp < 0x10000 ? gb[cp] : 0; code >= 0xA1A1) {
          t = {kG1,
               kGb2312,
               {static_cast<unsigned char>(code >> 8 & 0x7F),
                static_cast<unsigned char>(code & 0x7F)}};
        } else if (const uint32_t cell = cns.Cell(cp);
                   cell != 0 && (cell - 1) / kCnsCells < (sets.ext ? 7u : 2u)) {
          const uint32_t plane = (cell - 1) / kCnsCells + 1, at = (cell - 1) % kCnsCells;
          const unsigned char bytes[2] = {static_cast<unsigned char>(0x21 + at / 94),
                                          static_cast<unsigned char>(0x21 + at % 94)};
          t = {plane == 1   ? kG1
               : plane == 2 ? kG2
                            : kG3,
               plane == 1 ? kCns1 : plane,
               {bytes[0], bytes[1]}};
        } else {
          return nls::codec::Unmappable();
        }
        bool designated = false;
        if (st.word[t.word] != t.set) {  // the designation
          out[written++] = kEsc;
          out[written++] = '$';
          out[written++] = t.word == kG1 ? ')' : t.word == kG2 ? '*' : '+';
          out[written++] = t.word == kG1   ? (t.set == kGb2312 ? 'A' : 'G')
                           : t.word == kG2 ? 'H'
                                           : static_cast<unsigned char>('I' + t.set - 3);
          st.word[t.word] = t.set;
          designated = true;
        }
        if (t.word == kG1) {
          // SO also after a new G1 designation while shifted: glibc's decoder
          // takes the new set at the next SO only.
          if (st.word[kShift] != kShifted || designated) out[written++] = kSo;
          st.word[kShift] = kShifted;
        } else {
          out[written++] = kEsc;
          out[written++] = t.word == kG2 ? 'N' : 'O';
        }
        out[written++] = t.bytes[0];
        out[written++] = t.bytes[1];
        return nls::codec::Wrote(written);
      },
      [](unsigned char* out, NLS_CodecState& st) -> unsigned {
        if (st.word[kShift] == kAscii) return 0;
        out[0] = kSi;
        return 1;
      });
}

}  // namespace nls_chinese

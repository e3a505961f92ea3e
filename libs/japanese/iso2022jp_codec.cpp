#include "japanese/iso2022jp_codec.h"

#include <cstring>

#include "japanese/japanese_codecs.h"

namespace nls_japanese {

const Iso2022JpSets kIso2022JpSets = {0, &kEucJpTable, nullptr, nullptr, nullptr, 0};
const Iso2022JpSets kIso2022Jp1Sets = {1, &kEucJpTable, nullptr, nullptr, nullptr, 0};
const Iso2022JpSets kIso2022Jp2Sets = {2, &kEucJpTable, &kGb2312Table, &kEucKrTable, kIso8859_7High,
                                       0};
const Iso2022JpSets kIso2022JpExtSets = {1, &kEucJpTable, nullptr, nullptr, nullptr, 1};

namespace {

using nls::codec::Decoded;
using nls::codec::Encoded;

constexpr unsigned char kEsc = 0x1B;

// The G0 sets (state word 0) and the G2 sets (decoder's state word 1).
enum : uint32_t {
  kAscii = 0,
  kRoman = 1,
  kJisX0208 = 2,
  kJisX0212 = 3,
  kGb2312 = 4,
  kKsx1001 = 5,
  kKatakana = 6
};
enum : uint32_t { kNoG2 = 0, kLatin1 = 1, kGreek = 2 };

const Iso2022JpSets& SetsOf(const NLS_Codec* codec) {
  return *static_cast<const Iso2022JpSets*>(codec->data);
}

inline bool IsJisByte(unsigned b) { return b >= 0x21 && b <= 0x7E; }

// The character of two bytes 0x21-0x7E in a two-byte set, or 0: the pair of
// the EUC table with the high bits set (JIS X 0212: EUC-JP's three-byte form
// after 0x8F).
inline uint16_t Pair(const Iso2022JpSets& sets, uint32_t set, unsigned b, unsigned c) {
  const NLS_MultiByteTable& t = set == kGb2312    ? *sets.gb2312
                                : set == kKsx1001 ? *sets.ksx1001
                                                  : *sets.jis;
  const unsigned index =
      set == kJisX0212 ? t.prefixRow + (b | 0x80u) - t.prefixFirst : t.lead[b | 0x80] - 1u;
  const NLS_MultiByteRow& row = t.rows[index];
  const unsigned k = (c | 0x80u) - row.first;
  return k < row.count ? t.values[row.offset + k] : 0;
}

// The two-byte set of the final byte of ESC $ F or ESC $ ( F at a level, or
// kAscii when there is none.
uint32_t TwoByteSet(unsigned level, unsigned f) {
  switch (f) {
    case '@':
    case 'B':
      return kJisX0208;
    case 'D':
      return level >= 1 ? kJisX0212 : kAscii;
    case 'A':
      return level >= 2 ? kGb2312 : kAscii;
    case 'C':
      return level >= 2 ? kKsx1001 : kAscii;
    default:
      return kAscii;
  }
}

// An escape sequence at s (s[0] is ESC) other than ESC N: its length and
// the state word and set it designates, 0 when the input ends inside it, -1
// when it is not one.
int Escape(const Iso2022JpSets& sets, const unsigned char* s, size_t n, unsigned* word,
           uint32_t* set) {
  const unsigned level = sets.level;
  if (n < 2) return 0;
  *word = 0;
  if (s[1] == '(') {
    if (n < 3) return 0;
    if (s[2] == 'I' && sets.katakana) {
      *set = kKatakana;
      return 3;
    }
    if (s[2] != 'B' && s[2] != 'J') return -1;
    *set = s[2] == 'B' ? kAscii : kRoman;
    return 3;
  }
  if (s[1] == '.' && level >= 2) {
    if (n < 3) return 0;
    if (s[2] != 'A' && s[2] != 'F') return -1;
    *word = 1;
    *set = s[2] == 'A' ? kLatin1 : kGreek;
    return 3;
  }
  if (s[1] != '$') return -1;
  if (n < 3) return 0;
  if (s[2] != '(') {
    *set = TwoByteSet(level, s[2]);
    return *set == kAscii ? -1 : 3;
  }
  if (n < 4) return 0;
  *set = TwoByteSet(level, s[3]);
  return *set == kAscii ? -1 : 4;
}

Decoded Step(const Iso2022JpSets& sets, const unsigned char* s, size_t n, NLS_CodecState& st) {
  const unsigned b = s[0];
  if (b == kEsc) {
    if (sets.level >= 2 && n >= 2 && s[1] == 'N') {  // single shift to G2
      if (st.word[1] == kNoG2) return nls::codec::Invalid(2);
      if (n < 3) return nls::codec::Incomplete();
      const unsigned c = s[2];
      if (c < 0x20 || c > 0x7F) return nls::codec::Invalid(2, true);
      const uint32_t v = st.word[1] == kLatin1 ? c + 0x80 : sets.greek[c - 0x20];
      return v != 0 ? nls::codec::Char(3, v) : nls::codec::Invalid(3);
    }
    unsigned word = 0;
    uint32_t set = 0;
    const int length = Escape(sets, s, n, &word, &set);
    if (length == 0) return nls::codec::Incomplete();
    if (length < 0) return nls::codec::Invalid(1, true);
    st.word[word] = set;
    return nls::codec::Nothing(static_cast<unsigned>(length));
  }
  if (b <= 0x20) return nls::codec::Char(1, b);
  if (b >= 0x80) return nls::codec::Invalid(1);
  switch (st.word[0]) {
    case kAscii:
      return nls::codec::Char(1, b);
    case kRoman:
      return nls::codec::Char(1, b == 0x5C ? 0x00A5 : b == 0x7E ? 0x203E : b);
    case kKatakana:
      return b <= 0x5F ? nls::codec::Char(1, 0xFF61 + (b - 0x21)) : nls::codec::Invalid(1);
    default:
      break;
  }
  if (b == 0x7F) return nls::codec::Invalid(1);
  if (n < 2) return nls::codec::Incomplete();
  if (!IsJisByte(s[1])) return nls::codec::Invalid(1, true);
  const uint16_t v = Pair(sets, st.word[0], b, s[1]);
  return v != 0 ? nls::codec::Char(2, v) : nls::codec::Invalid(2);
}

// Writes the escape sequence of a G0 set.
inline unsigned Designate(unsigned char* out, uint32_t set) {
  static const unsigned char kSequences[7][4] = {
      {kEsc, '(', 'B'},      {kEsc, '(', 'J'},      {kEsc, '$', 'B'}, {kEsc, '$', '(', 'D'},
      {kEsc, '$', '(', 'A'}, {kEsc, '$', '(', 'C'}, {kEsc, '(', 'I'}};
  const unsigned length = kSequences[set][3] != 0 ? 4 : 3;
  std::memcpy(out, kSequences[set], length);
  return length;
}

// The common text of the current set without the loop's bookkeeping, from
// src[*inOut] and dst[*outOut] on: ASCII in ASCII, assigned pairs in a
// two-byte set. Stops at an escape, at anything else, and when the output
// is full.
void Run(const Iso2022JpSets& sets, uint32_t set, const NLS_CodecCall* call, size_t* inOut,
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
  } else if (set != kRoman && set != kKatakana) {
    while (in + 1 < srcLen && out < units) {
      const unsigned b = src[in], c = src[in + 1];
      if (!IsJisByte(b) || !IsJisByte(c)) break;
      const uint16_t v = Pair(sets, set, b, c);
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
  const Iso2022JpSets& sets = SetsOf(codec);
  auto step = [&sets](const unsigned char* s, size_t n, NLS_CodecState& st) {
    return Step(sets, s, n, st);
  };
  return nls::codec::RunsAndSteps(
      state, call,
      [&sets](NLS_CodecState& st, const NLS_CodecCall& c, size_t* in, size_t* out) {
        Run(sets, st.word[0], &c, in, out);
      },
      [state, &step](NLS_CodecCall* one) {
        return nls::codec::DecodeLoop<false>(state, one, step);
      });
}

int Iso2022JpEncode(const NLS_Codec* codec, NLS_CodecState* state, NLS_CodecCall* call) {
  const Iso2022JpSets& sets = SetsOf(codec);
  const uint16_t* jis = NLS_MultiByteEncodeMap(sets.jis);
  const uint16_t* gb2312 = sets.level >= 2 ? NLS_MultiByteEncodeMap(sets.gb2312) : nullptr;
  const uint16_t* ksx1001 = sets.level >= 2 ? NLS_MultiByteEncodeMap(sets.ksx1001) : nullptr;
  const unsigned level = sets.level;
  return nls::codec::EncodeLoop<false>(
      codec, state, call,
      [=](uint32_t cp, unsigned char* out, NLS_CodecState& st) -> Encoded {
        uint32_t set = kAscii;
        unsigned code = 0;
        if (cp == kEsc || cp >= 0x10000) {
          return nls::codec::Unmappable();  // ESC would start an escape sequence
        } else if (cp < 0x80) {
          code = cp;
        } else if (const uint16_t c = jis[cp]; c >= 0xA1A1) {
          set = kJisX0208;  // a pair of EUC-JP
          code = c & 0x7F7F;
        } else if (level >= 1 && c >= 0x2121 && c < 0x8000) {
          set = kJisX0212;  // a three-byte form of EUC-JP
          code = c;
        } else if (const uint16_t k = level >= 2 ? ksx1001[cp] : 0; k >= 0xA1A1) {
          set = kKsx1001;
          code = k & 0x7F7F;
        } else if (const uint16_t g = level >= 2 ? gb2312[cp] : 0; g >= 0xA1A1) {
          set = kGb2312;
          code = g & 0x7F7F;
        } else if (cp == 0x00A5 || cp == 0x203E) {
          set = kRoman;
          code = cp == 0x00A5 ? 0x5C : 0x7E;
        } else if (sets.katakana && cp >= 0xFF61 && cp <= 0xFF9F) {
          set = kKatakana;
          code = cp - 0xFF61 + 0x21;
        } else {
          return nls::codec::Unmappable();
        }
        unsigned written = 0;
        if (set != st.word[0]) {
          written = Designate(out, set);
          st.word[0] = set;
        }
        if (set == kAscii || set == kRoman || set == kKatakana) {
          out[written++] = static_cast<unsigned char>(code);
        } else {
          out[written++] = static_cast<unsigned char>(code >> 8);
          out[written++] = static_cast<unsigned char>(code & 0xFF);
        }
        return nls::codec::Wrote(written);
      },
      [](unsigned char* out, NLS_CodecState& st) -> unsigned {
        return st.word[0] == kAscii ? 0 : Designate(out, kAscii);
      });
}

}  // namespace nls_japanese

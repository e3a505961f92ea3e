#include "japanese/iso2022jp3_codec.h"

#include <cstring>

#include "japanese/japanese_codecs.h"

namespace nls_japanese {

namespace {

// The EUC forms as codecs of their own (the encoder below writes through
// them, which keeps a held base character in their state).
const NLS_Codec kEucJisx0213Codec = {"EUC-JISX0213",
                                     NLS_MultiByteDecode,
                                     NLS_MultiByteEncode,
                                     &kEucJisx0213Table,
                                     5,
                                     NLS_CODEC_STATEFUL_ENCODER};
const NLS_Codec kEucJis2004Codec = {"EUC-JIS-2004",
                                    NLS_MultiByteDecode,
                                    NLS_MultiByteEncode,
                                    &kEucJis2004Table,
                                    5,
                                    NLS_CODEC_STATEFUL_ENCODER};

}  // namespace

const Iso2022Jp3Sets kIso2022Jp3Sets = {&kEucJisx0213Codec, &kEucJpTable, 'O'};
const Iso2022Jp3Sets kIso2022Jp2004Sets = {&kEucJis2004Codec, &kEucJpTable, 'Q'};

namespace {

using nls::codec::Decoded;
using nls::codec::Encoded;

constexpr unsigned char kEsc = 0x1B;

// The G0 sets (state word 0).
enum : uint32_t { kAscii = 0, kJisX0208 = 1, kPlane1 = 2, kPlane2 = 3 };

const Iso2022Jp3Sets& SetsOf(const NLS_Codec* codec) {
  return *static_cast<const Iso2022Jp3Sets*>(codec->data);
}

const NLS_MultiByteTable& Jisx0213(const Iso2022Jp3Sets& sets) {
  return *static_cast<const NLS_MultiByteTable*>(sets.jisx0213->data);
}

inline bool IsJisByte(unsigned b) { return b >= 0x21 && b <= 0x7E; }

inline uint16_t Slot(const NLS_MultiByteTable& t, unsigned row, unsigned trail) {
  const NLS_MultiByteRow& r = t.rows[row];
  const unsigned k = trail - r.first;
  return k < r.count ? t.values[r.offset + k] : 0;
}

// The value slot of two bytes 0x21-0x7E in a two-byte set, or 0: the pair
// of the EUC table with the high bits set (plane 2: the three-byte form
// after 0x8F).
inline uint16_t Code(const Iso2022Jp3Sets& sets, uint32_t set, unsigned b, unsigned c) {
  if (set == kJisX0208) return Slot(*sets.jisx0208, sets.jisx0208->lead[b | 0x80] - 1u, c | 0x80);
  const NLS_MultiByteTable& t = Jisx0213(sets);
  const unsigned row =
      set == kPlane1 ? t.lead[b | 0x80] - 1u : t.prefixRow + (b | 0x80) - t.prefixFirst;
  return Slot(t, row, c | 0x80);
}

inline bool IsExtra(uint16_t v) { return v >= 0xD800 && v <= 0xDFFF; }

// An escape sequence at s (s[0] is ESC): its length and the set it
// designates, 0 when the input ends inside it, -1 when it is not one.
int Escape(const Iso2022Jp3Sets& sets, const unsigned char* s, size_t n, uint32_t* set) {
  if (n < 2) return 0;
  if (s[1] == '(') {
    if (n < 3) return 0;
    *set = kAscii;
    return s[2] == 'B' ? 3 : -1;
  }
  if (s[1] != '$') return -1;
  if (n < 3) return 0;
  if (s[2] == 'B') {
    *set = kJisX0208;
    return 3;
  }
  if (s[2] != '(') return -1;
  if (n < 4) return 0;
  if (s[3] == 'B')
    *set = kJisX0208;
  else if (s[3] == sets.plane1)
    *set = kPlane1;
  else if (s[3] == 'P')
    *set = kPlane2;
  else
    return -1;
  return 4;
}

Decoded Step(const Iso2022Jp3Sets& sets, const unsigned char* s, size_t n, NLS_CodecState& st) {
  const unsigned b = s[0];
  if (b == kEsc) {
    uint32_t set = kAscii;
    const int length = Escape(sets, s, n, &set);
    if (length == 0) return nls::codec::Incomplete();
    if (length < 0) return nls::codec::Invalid(1, true);
    st.word[0] = set;
    return nls::codec::Nothing(static_cast<unsigned>(length));
  }
  if (b <= 0x20) return nls::codec::Char(1, b);
  if (b >= 0x80) return nls::codec::Invalid(1);
  if (st.word[0] == kAscii) return nls::codec::Char(1, b);
  if (b == 0x7F) return nls::codec::Invalid(1);
  if (n < 2) return nls::codec::Incomplete();
  if (!IsJisByte(s[1])) return nls::codec::Invalid(1, true);
  const uint16_t v = Code(sets, st.word[0], b, s[1]);
  if (v == 0) return nls::codec::Invalid(2);
  if (!IsExtra(v)) return nls::codec::Char(2, v);
  const NLS_MultiByteExtra& e = Jisx0213(sets).extras[v - 0xD800];
  return nls::codec::Char(2, e.first, e.second);
}

// The common text of the current set, from src[*inOut] and dst[*outOut] on:
// ASCII in ASCII, codes of one BMP character in a two-byte set. Stops at an
// escape, at anything else, and when the output is full.
void Run(const Iso2022Jp3Sets& sets, uint32_t set, const NLS_CodecCall* call, size_t* inOut,
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
  } else {
    while (in + 1 < srcLen && out < units) {
      const unsigned b = src[in], c = src[in + 1];
      if (!IsJisByte(b) || !IsJisByte(c)) break;
      const uint16_t v = Code(sets, set, b, c);
      if (v == 0 || IsExtra(v)) break;
      nls::StoreUnit16(dst + 2 * out, v);
      in += 2;
      ++out;
    }
  }
  *inOut = in;
  *outOut = 2 * out;
}

// Writes the escape sequence of a G0 set.
inline unsigned Designate(unsigned char* out, uint32_t set, unsigned char plane1) {
  const unsigned char sequences[4][4] = {
      {kEsc, '(', 'B'}, {kEsc, '$', 'B'}, {kEsc, '$', '(', plane1}, {kEsc, '$', '(', 'P'}};
  const unsigned length = sequences[set][3] != 0 ? 4 : 3;
  std::memcpy(out, sequences[set], length);
  return length;
}

// Writes the codes that the EUC encoder wrote (euc[0..n)) in this encoding,
// moving to each code's set: ASCII, JIS X 0208 for a code of one character
// that JIS X 0208 has (its code there), plane 1 for the other pairs, plane 2
// for the three-byte forms. Stops before a code that has no place here (ESC,
// which would start an escape sequence, and half-width katakana); returns
// whether it wrote them all.
bool PutCodes(const Iso2022Jp3Sets& sets, const uint16_t* jisx0208, const unsigned char* euc,
              size_t n, unsigned char* out, unsigned* written, NLS_CodecState& st) {
  const NLS_MultiByteTable& t = Jisx0213(sets);
  unsigned w = *written;
  for (size_t i = 0; i < n;) {
    const unsigned b = euc[i];
    uint32_t set = kAscii;
    unsigned code = b, length = 1;
    if (b == kEsc || b == 0x8E) {
      *written = w;
      return false;
    }
    if (b == 0x8F) {
      set = kPlane2;
      code = (euc[i + 1] << 8 | euc[i + 2]) & 0x7F7F;
      length = 3;
    } else if (b >= 0x80) {
      set = kPlane1;
      code = (b << 8 | euc[i + 1]) & 0x7F7F;
      length = 2;
      const uint16_t v = Slot(t, t.lead[b] - 1u, euc[i + 1]);
      if (!IsExtra(v) && jisx0208[v] >= 0xA1A1) {
        set = kJisX0208;
        code = jisx0208[v] & 0x7F7F;
      }
    }
    if (set != st.word[0]) {
      w += Designate(out + w, set, sets.plane1);
      st.word[0] = set;
    }
    if (set == kAscii) {
      out[w++] = static_cast<unsigned char>(code);
    } else {
      out[w++] = static_cast<unsigned char>(code >> 8);
      out[w++] = static_cast<unsigned char>(code & 0xFF);
    }
    i += length;
  }
  *written = w;
  return true;
}

// Runs the EUC encoder of the edition on one character (or the end of the
// text: src null) with the base character it holds in state word 1.
int EncodeEuc(const Iso2022Jp3Sets& sets, const unsigned char* src, size_t srcLen,
              unsigned char* euc, size_t* n, NLS_CodecState& st) {
  NLS_CodecState held{};
  held.word[0] = st.word[1];
  NLS_CodecCall call{};
  call.src = src;
  call.srcLen = srcLen;
  call.dst = euc;
  call.dstSize = 16;
  call.flags = src == nullptr ? NLS_CODEC_FLUSH : NLS_CODEC_ONE;
  const int result = sets.jisx0213->encode(sets.jisx0213, &held, &call);
  st.word[1] = held.word[0];
  *n = call.dstLen;
  return result;
}

}  // namespace

int Iso2022Jp3Decode(const NLS_Codec* codec, NLS_CodecState* state, NLS_CodecCall* call) {
  const Iso2022Jp3Sets& sets = SetsOf(codec);
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

int Iso2022Jp3Encode(const NLS_Codec* codec, NLS_CodecState* state, NLS_CodecCall* call) {
  const Iso2022Jp3Sets& sets = SetsOf(codec);
  const uint16_t* jisx0208 = NLS_MultiByteEncodeMap(sets.jisx0208);
  return nls::codec::EncodeLoop<false>(
      codec, state, call,
      [&sets, jisx0208](uint32_t cp, unsigned char* out, NLS_CodecState& st) -> Encoded {
        unsigned char units[4], euc[16];
        const size_t length = static_cast<size_t>(nls::codec::PutUnits(units, cp) - units);
        size_t n = 0;
        const int result = EncodeEuc(sets, units, length, euc, &n, st);
        unsigned written = 0;
        if (!PutCodes(sets, jisx0208, euc, n, out, &written, st) || result != NLS_CODEC_DONE)
          return nls::codec::Unmappable(written);
        return nls::codec::Wrote(written);
      },
      [&sets, jisx0208](unsigned char* out, NLS_CodecState& st) -> unsigned {
        unsigned char euc[16];
        size_t n = 0;
        EncodeEuc(sets, nullptr, 0, euc, &n, st);
        unsigned written = 0;
        PutCodes(sets, jisx0208, euc, n, out, &written, st);
        if (st.word[0] != kAscii) written += Designate(out + written, kAscii, sets.plane1);
        return written;
      });
}

}  // namespace nls_japanese

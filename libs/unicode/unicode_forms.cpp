#include "unicode/unicode_forms.h"

#include <algorithm>

#include "unicode/unicode_runs.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace nls_unicode {
namespace {

using nls::codec::Decoded;
using nls::codec::Encoded;

constexpr bool kLittleMachine = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;
// State word 0 of a decoder with a mark: the byte order read (0: none yet).
constexpr uint32_t kBig = 1, kLittle = 2;

const UnicodeForm& FormOf(const NLS_Codec* codec) {
  return *static_cast<const UnicodeForm*>(codec->data);
}

uint32_t Load16(const unsigned char* p, bool little) {
  return little ? p[0] | p[1] << 8 : p[0] << 8 | p[1];
}

uint32_t Load32(const unsigned char* p, bool little) {
  return little ? p[0] | p[1] << 8 | p[2] << 16 | static_cast<uint32_t>(p[3]) << 24
                : static_cast<uint32_t>(p[0]) << 24 | p[1] << 16 | p[2] << 8 | p[3];
}

void Store16(unsigned char* p, uint32_t v, bool little) {
  p[little ? 0 : 1] = static_cast<unsigned char>(v);
  p[little ? 1 : 0] = static_cast<unsigned char>(v >> 8);
}

void Store32(unsigned char* p, uint32_t v, bool little) {
  for (int i = 0; i < 4; ++i) p[little ? i : 3 - i] = static_cast<unsigned char>(v >> (8 * i));
}

// The byte order a decoder reads in, before its first character: fixed by
// the form, or the one a mark selected (0 when none has been read yet).
uint32_t DecodingOrder(const UnicodeForm& form, const NLS_CodecState& state) {
  if (form.order == UnicodeForm::kMarked) return state.word[0];
  return form.order == UnicodeForm::kLittleEndian ? kLittle : kBig;
}

// The order an encoder writes in: a marked form writes the machine's.
bool EncodesLittle(const UnicodeForm& form) {
  return form.order == UnicodeForm::kMarked ? kLittleMachine
                                            : form.order == UnicodeForm::kLittleEndian;
}

uint32_t Combine(uint32_t high, uint32_t low) {
  return 0x10000 + ((high - 0xD800) << 10) + (low - 0xDC00);
}

// CESU-8: the three bytes of a 16-bit value (also a surrogate) at s, or
// how far they go: the number of leading bytes that can start such a form.
unsigned ThreeByteForm(const unsigned char* s, size_t n, uint32_t* value) {
  if (n < 1 || (s[0] & 0xF0) != 0xE0) return 0;
  if (n < 2 || (s[1] & 0xC0) != 0x80 || (s[0] == 0xE0 && s[1] < 0xA0)) return 1;
  if (n < 3 || (s[2] & 0xC0) != 0x80) return 2;
  *value = (s[0] & 0x0Fu) << 12 | (s[1] & 0x3Fu) << 6 | (s[2] & 0x3Fu);
  return 3;
}

unsigned char* PutThree(unsigned char* out, uint32_t v) {
  out[0] = static_cast<unsigned char>(0xE0 | v >> 12);
  out[1] = static_cast<unsigned char>(0x80 | ((v >> 6) & 0x3F));
  out[2] = static_cast<unsigned char>(0x80 | (v & 0x3F));
  return out + 3;
}

}  // namespace

namespace {

// Runs of characters of the Basic Multilingual Plane outside the surrogate
// range convert unit for unit; a fixed-order form moves them in a tight loop
// and gives everything else to one step of the general loop. A run stops
// before the first unit (or value) it does not take, or where the input or
// the room ends; it reports the bytes it read and wrote.
struct Moved {
  size_t in, out;
};

#if defined(__SSE2__)
// Eight 16-bit units per step. `kSwap`: the form's byte order is not the
// machine's. The surrogate check is made on the units in the machine's
// order: after the swap when decoding, before it when encoding.
template <bool kSwap, bool kDecode>
size_t CopyUnitBlocks(unsigned char* dst, const unsigned char* src, size_t n) {
  const __m128i mask = _mm_set1_epi16(static_cast<short>(0xF800));
  const __m128i surrogate = _mm_set1_epi16(static_cast<short>(0xD800));
  size_t k = 0;
  for (; k + 16 <= n; k += 16) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + k));
    const __m128i w = kSwap ? _mm_or_si128(_mm_slli_epi16(v, 8), _mm_srli_epi16(v, 8)) : v;
    const __m128i machine = kDecode ? w : v;
    if (_mm_movemask_epi8(_mm_cmpeq_epi16(_mm_and_si128(machine, mask), surrogate)) != 0) break;
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + k), w);
  }
  return k;
}

// Eight 32-bit values to eight 16-bit units per step, while every value is
// below U+10000 and outside the surrogate range.
template <bool kSwap>
size_t NarrowValueBlocks(unsigned char* dst, const unsigned char* src, size_t values) {
  const __m128i zero = _mm_setzero_si128();
  const __m128i mask = _mm_set1_epi32(0xF800);
  const __m128i surrogate = _mm_set1_epi32(0xD800);
  const __m128i bias32 = _mm_set1_epi32(0x8000);
  const __m128i bias16 = _mm_set1_epi16(static_cast<short>(0x8000));
  auto load = [](const unsigned char* p) {
    __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    if (kSwap) {
      v = _mm_or_si128(_mm_slli_epi16(v, 8), _mm_srli_epi16(v, 8));    // bytes in each half
      v = _mm_or_si128(_mm_slli_epi32(v, 16), _mm_srli_epi32(v, 16));  // the halves
    }
    return v;
  };
  size_t k = 0;
  for (; k + 8 <= values; k += 8) {
    const __m128i a = load(src + 4 * k), b = load(src + 4 * k + 16);
    const __m128i wide = _mm_or_si128(_mm_srli_epi32(a, 16), _mm_srli_epi32(b, 16));
    const __m128i sa = _mm_cmpeq_epi32(_mm_and_si128(a, mask), surrogate);
    const __m128i sb = _mm_cmpeq_epi32(_mm_and_si128(b, mask), surrogate);
    if (_mm_movemask_epi8(_mm_cmpeq_epi32(wide, zero)) != 0xFFFF ||
        _mm_movemask_epi8(_mm_or_si128(sa, sb)) != 0)
      break;
    // Values below 0x10000 pack exactly as signed 16-bit values once biased.
    const __m128i packed = _mm_packs_epi32(_mm_sub_epi32(a, bias32), _mm_sub_epi32(b, bias32));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + 2 * k), _mm_xor_si128(packed, bias16));
  }
  return k;
}

// Eight 16-bit units to eight 32-bit values per step, while no unit is a
// surrogate.
template <bool kSwap>
size_t WidenUnitBlocks(unsigned char* dst, const unsigned char* src, size_t units) {
  const __m128i zero = _mm_setzero_si128();
  const __m128i mask = _mm_set1_epi16(static_cast<short>(0xF800));
  const __m128i surrogate = _mm_set1_epi16(static_cast<short>(0xD800));
  auto store = [](unsigned char* p, __m128i v) {
    if (kSwap) {
      v = _mm_or_si128(_mm_slli_epi16(v, 8), _mm_srli_epi16(v, 8));
      v = _mm_or_si128(_mm_slli_epi32(v, 16), _mm_srli_epi32(v, 16));
    }
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
  };
  size_t k = 0;
  for (; k + 8 <= units; k += 8) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 2 * k));
    if (_mm_movemask_epi8(_mm_cmpeq_epi16(_mm_and_si128(v, mask), surrogate)) != 0) break;
    store(dst + 4 * k, _mm_unpacklo_epi16(v, zero));
    store(dst + 4 * k + 16, _mm_unpackhi_epi16(v, zero));
  }
  return k;
}
#endif

Moved DecodeRun16(unsigned char* dst, size_t room, const unsigned char* src, size_t n, bool little,
                  int level) {
  static_cast<void>(level);  // no vector blocks in a build without SSE2
  n = std::min(n, room) & ~size_t{1};
  size_t k = 0;
#if defined(NLS_UNICODE_HAVE_AVX2)
  if (level >= 2) k = CopyUnitsAvx2(dst, src, n, little != kLittleMachine, true);
#endif
#if defined(__SSE2__)
  if (level >= 1)
    k += little == kLittleMachine ? CopyUnitBlocks<false, true>(dst + k, src + k, n - k)
                                  : CopyUnitBlocks<true, true>(dst + k, src + k, n - k);
#endif
  for (; k < n; k += 2) {
    const uint32_t u = Load16(src + k, little);
    if ((u & 0xF800) == 0xD800) break;
    nls::StoreUnit16(dst + k, static_cast<uint16_t>(u));
  }
  return {k, k};
}

Moved EncodeRun16(unsigned char* dst, size_t room, const unsigned char* src, size_t n, bool little,
                  int level) {
  static_cast<void>(level);  // no vector blocks in a build without SSE2
  n = std::min(n, room) & ~size_t{1};
  size_t k = 0;
#if defined(NLS_UNICODE_HAVE_AVX2)
  if (level >= 2) k = CopyUnitsAvx2(dst, src, n, little != kLittleMachine, false);
#endif
#if defined(__SSE2__)
  if (level >= 1)
    k += little == kLittleMachine ? CopyUnitBlocks<false, false>(dst + k, src + k, n - k)
                                  : CopyUnitBlocks<true, false>(dst + k, src + k, n - k);
#endif
  for (; k < n; k += 2) {
    const uint32_t u = nls::LoadUnit16(src + k);
    if ((u & 0xF800) == 0xD800) break;
    Store16(dst + k, u, little);
  }
  return {k, k};
}

Moved DecodeRun32(unsigned char* dst, size_t room, const unsigned char* src, size_t n, bool little,
                  int level) {
  static_cast<void>(level);  // no vector blocks in a build without SSE2
  const size_t values = std::min(n / 4, room / 2);
  size_t k = 0;
#if defined(NLS_UNICODE_HAVE_AVX2)
  if (level >= 2) k = NarrowValuesAvx2(dst, src, values, little != kLittleMachine);
#endif
#if defined(__SSE2__)
  if (level >= 1)
    k += little == kLittleMachine ? NarrowValueBlocks<false>(dst + 2 * k, src + 4 * k, values - k)
                                  : NarrowValueBlocks<true>(dst + 2 * k, src + 4 * k, values - k);
#endif
  for (; k < values; ++k) {
    const uint32_t v = Load32(src + 4 * k, little);
    if (v >= 0x10000 || (v & 0xF800) == 0xD800) break;
    nls::StoreUnit16(dst + 2 * k, static_cast<uint16_t>(v));
  }
  return {4 * k, 2 * k};
}

Moved EncodeRun32(unsigned char* dst, size_t room, const unsigned char* src, size_t n, bool little,
                  int level) {
  static_cast<void>(level);  // no vector blocks in a build without SSE2
  const size_t units = std::min(n / 2, room / 4);
  size_t k = 0;
#if defined(NLS_UNICODE_HAVE_AVX2)
  if (level >= 2) k = WidenUnitsAvx2(dst, src, units, little != kLittleMachine);
#endif
#if defined(__SSE2__)
  if (level >= 1)
    k += little == kLittleMachine ? WidenUnitBlocks<false>(dst + 4 * k, src + 2 * k, units - k)
                                  : WidenUnitBlocks<true>(dst + 4 * k, src + 2 * k, units - k);
#endif
  for (; k < units; ++k) {
    const uint32_t u = nls::LoadUnit16(src + 2 * k);
    if ((u & 0xF800) == 0xD800) break;
    Store32(dst + 4 * k, u, little);
  }
  return {2 * k, 4 * k};
}

using RunFunction = Moved (*)(unsigned char* dst, size_t room, const unsigned char* src, size_t n,
                              bool little, int level);

// The byte order runs may use: the form's, or for a form with a mark the one
// its state has settled (a decoder's once a mark or the first character is
// read, an encoder's once the mark is written). -1: not settled yet.
int RunOrder(const UnicodeForm& form, const NLS_CodecState& state, bool decoding) {
  if (form.order != UnicodeForm::kMarked) return form.order == UnicodeForm::kLittleEndian;
  if (decoding) return state.word[0] == 0 ? -1 : state.word[0] == kLittle;
  return state.word[0] == 0 ? -1 : kLittleMachine;
}

// Runs once the byte order is settled, between single steps of `step`.
int WithRuns(const NLS_Codec* codec, NLS_CodecState* state, NLS_CodecCall* call, RunFunction run,
             NLS_CodecFunction step, bool decoding) {
  const UnicodeForm& form = FormOf(codec);
  const int level = NLS_VectorLevel();
  return nls::codec::RunsAndSteps(
      state, call,
      [&](NLS_CodecState& st, const NLS_CodecCall& all, size_t* in, size_t* out) {
        const int order = RunOrder(form, st, decoding);
        if (order < 0) return;
        const Moved moved = run(all.dst + *out, all.dstSize - *out, all.src + *in, all.srcLen - *in,
                                order == 1, level);
        *in += moved.in;
        *out += moved.out;
      },
      [codec, state, step](NLS_CodecCall* one) { return step(codec, state, one); });
}

int Utf16DecodeSteps(const NLS_Codec* codec, NLS_CodecState* state, NLS_CodecCall* call) {
  const UnicodeForm& form = FormOf(codec);
  return nls::codec::DecodeLoop<false>(
      state, call, [&form](const unsigned char* s, size_t n, NLS_CodecState& st) -> Decoded {
        if (n < 2) return nls::codec::Incomplete();
        uint32_t order = DecodingOrder(form, st);
        if (order == 0) {  // the start of a text with an optional mark
          if (s[0] == 0xFE && s[1] == 0xFF) {
            st.word[0] = kBig;
            return nls::codec::Nothing(2);
          }
          if (s[0] == 0xFF && s[1] == 0xFE) {
            st.word[0] = kLittle;
            return nls::codec::Nothing(2);
          }
          order = kBig;
        }
        const bool little = order == kLittle;
        const uint32_t unit = Load16(s, little);
        Decoded d;
        if (unit < 0xD800 || unit > 0xDFFF) {
          d = nls::codec::Char(2, unit);
        } else if (form.bmpOnly || unit >= 0xDC00) {
          d = nls::codec::Invalid(2);
        } else if (n < 4) {
          return nls::codec::Incomplete();  // state untouched: the pair is read again
        } else {
          const uint32_t low = Load16(s + 2, little);
          d = (low & 0xFC00) == 0xDC00 ? nls::codec::Char(4, Combine(unit, low))
                                       : nls::codec::Invalid(2, true);
        }
        if (form.order == UnicodeForm::kMarked) st.word[0] = order;
        return d;
      });
}

int Utf16EncodeSteps(const NLS_Codec* codec, NLS_CodecState* state, NLS_CodecCall* call) {
  const UnicodeForm& form = FormOf(codec);
  const bool little = EncodesLittle(form);
  return nls::codec::EncodeLoop<false>(
      codec, state, call,
      [&form, little](uint32_t cp, unsigned char* out, NLS_CodecState& st) -> Encoded {
        if (form.bmpOnly && cp >= 0x10000) return nls::codec::Unmappable();
        unsigned n = 0;
        if (form.order == UnicodeForm::kMarked && st.word[0] == 0) {
          Store16(out, 0xFEFF, little);
          st.word[0] = 1;
          n = 2;
        }
        if (cp < 0x10000) {
          Store16(out + n, cp, little);
          return nls::codec::Wrote(n + 2);
        }
        Store16(out + n, 0xD800 + ((cp - 0x10000) >> 10), little);
        Store16(out + n + 2, 0xDC00 + ((cp - 0x10000) & 0x3FF), little);
        return nls::codec::Wrote(n + 4);
      },
      [](unsigned char*, NLS_CodecState&) -> unsigned { return 0; });
}

}  // namespace

int Utf16Decode(const NLS_Codec* codec, NLS_CodecState* state, NLS_CodecCall* call) {
  return WithRuns(codec, state, call, DecodeRun16, Utf16DecodeSteps, true);
}

int Utf16Encode(const NLS_Codec* codec, NLS_CodecState* state, NLS_CodecCall* call) {
  return WithRuns(codec, state, call, EncodeRun16, Utf16EncodeSteps, false);
}

namespace {

int Utf32DecodeSteps(const NLS_Codec* codec, NLS_CodecState* state, NLS_CodecCall* call) {
  const UnicodeForm& form = FormOf(codec);
  return nls::codec::DecodeLoop<false>(
      state, call, [&form](const unsigned char* s, size_t n, NLS_CodecState& st) -> Decoded {
        if (n < 4) return nls::codec::Incomplete();
        uint32_t order = DecodingOrder(form, st);
        if (order == 0) {
          if (Load32(s, false) == 0xFEFF) {
            st.word[0] = kBig;
            return nls::codec::Nothing(4);
          }
          if (Load32(s, true) == 0xFEFF) {
            st.word[0] = kLittle;
            return nls::codec::Nothing(4);
          }
          order = kBig;
        }
        if (form.order == UnicodeForm::kMarked) st.word[0] = order;
        const uint32_t v = Load32(s, order == kLittle);
        if (v > 0x10FFFF || (v >= 0xD800 && v <= 0xDFFF)) return nls::codec::Invalid(4);
        return nls::codec::Char(4, v);
      });
}

int Utf32EncodeSteps(const NLS_Codec* codec, NLS_CodecState* state, NLS_CodecCall* call) {
  const UnicodeForm& form = FormOf(codec);
  const bool little = EncodesLittle(form);
  return nls::codec::EncodeLoop<false>(
      codec, state, call,
      [&form, little](uint32_t cp, unsigned char* out, NLS_CodecState& st) -> Encoded {
        unsigned n = 0;
        if (form.order == UnicodeForm::kMarked && st.word[0] == 0) {
          Store32(out, 0xFEFF, little);
          st.word[0] = 1;
          n = 4;
        }
        Store32(out + n, cp, little);
        return nls::codec::Wrote(n + 4);
      },
      [](unsigned char*, NLS_CodecState&) -> unsigned { return 0; });
}

}  // namespace

int Utf32Decode(const NLS_Codec* codec, NLS_CodecState* state, NLS_CodecCall* call) {
  return WithRuns(codec, state, call, DecodeRun32, Utf32DecodeSteps, true);
}

int Utf32Encode(const NLS_Codec* codec, NLS_CodecState* state, NLS_CodecCall* call) {
  return WithRuns(codec, state, call, EncodeRun32, Utf32EncodeSteps, false);
}

int Cesu8Decode(const NLS_Codec*, NLS_CodecState* state, NLS_CodecCall* call) {
  return nls::codec::DecodeLoop<true>(
      state, call, [](const unsigned char* s, size_t n, NLS_CodecState&) -> Decoded {
        const unsigned b = s[0];
        if (b < 0x80) return nls::codec::Char(1, b);
        if (b >= 0xC2 && b <= 0xDF) {
          if (n < 2) return nls::codec::Incomplete();
          if ((s[1] & 0xC0) != 0x80) return nls::codec::Invalid(1, true);
          return nls::codec::Char(2, (b & 0x1Fu) << 6 | (s[1] & 0x3Fu));
        }
        if ((b & 0xF0) != 0xE0) return nls::codec::Invalid(1);  // no four-byte forms
        uint32_t v = 0;
        const unsigned got = ThreeByteForm(s, n, &v);
        if (got < 3) {
          return got == n ? nls::codec::Incomplete() : nls::codec::Invalid(got, true);
        }
        if (v < 0xD800 || v > 0xDFFF) return nls::codec::Char(3, v);
        if (v >= 0xDC00) return nls::codec::Invalid(3);
        // A high surrogate: the low one must follow.
        uint32_t low = 0;
        const unsigned next = ThreeByteForm(s + 3, n - 3, &low);
        if (next == 3 && low >= 0xDC00 && low <= 0xDFFF)
          return nls::codec::Char(6, Combine(v, low));
        // Cut where the low surrogate's bytes may still come.
        if (next == n - 3 && next < 3 && (next < 1 || s[3] == 0xED) && (next < 2 || s[4] >= 0xB0))
          return nls::codec::Incomplete();
        return nls::codec::Invalid(3, true);
      });
}

int Cesu8Encode(const NLS_Codec* codec, NLS_CodecState* state, NLS_CodecCall* call) {
  return nls::codec::EncodeLoop<true>(
      codec, state, call,
      [](uint32_t cp, unsigned char* out, NLS_CodecState&) -> Encoded {
        if (cp < 0x80) {
          out[0] = static_cast<unsigned char>(cp);
          return nls::codec::Wrote(1);
        }
        if (cp < 0x800) {
          out[0] = static_cast<unsigned char>(0xC0 | cp >> 6);
          out[1] = static_cast<unsigned char>(0x80 | (cp & 0x3F));
          return nls::codec::Wrote(2);
        }
        if (cp < 0x10000) {
          PutThree(out, cp);
          return nls::codec::Wrote(3);
        }
        PutThree(PutThree(out, 0xD800 + ((cp - 0x10000) >> 10)), 0xDC00 + ((cp - 0x10000) & 0x3FF));
        return nls::codec::Wrote(6);
      },
      [](unsigned char*, NLS_CodecState&) -> unsigned { return 0; });
}

}  // namespace nls_unicode

// The base64-run loops for calls whose output room covers the most that the
// input left could produce. Such a call cannot stop early, so these loops
// convert without room checks and without the one-step machinery, entering
// and leaving runs inline; their results are those of the step algorithm
// byte for byte (base64_runs.h calls them only when the room is certain).
//
// Written once over a vector policy and compiled for each instruction-set
// level: the converters instantiate the portable and SSE2 levels,
// base64_runs_avx2.cpp the AVX2 level under a target pragma. Everything here
// has internal linkage, so the AVX2 copy never stands in for the others.
#ifndef NLSCNV_CONVERTERS_BASE64_AMPLE_H
#define NLSCNV_CONVERTERS_BASE64_AMPLE_H

#include <cstdint>
#include <cstring>

#include "nlscnv/converters/base64_runs.h"
#include "nlscnv/support/simd.h"
#include "nlscnv/unaligned.h"

#if defined(NLS_HAVE_SSE2) || defined(NLS_BASE64_AVX2)
#include <immintrin.h>
#endif

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "bit tricks assume little-endian words");

namespace {
namespace base64_ample {

// The character classes of UTF-7 (kImap clear) or IMAP modified UTF-7, as
// constants equal to what the converters' tables hold once filled.
template <bool kImap>
struct Classes {
  static constexpr unsigned char kShift = kImap ? '&' : '+';
  int8_t digit[256];     // value of a base64 digit, -1 for every other byte
  uint8_t plain[128];    // stands for itself outside a run
  uint8_t extends[128];  // a 7-bit unit that an open run encodes
  uint8_t dash[128];     // a run closed before this character ends with "-"
  char alphabet[64];

  constexpr Classes() : digit(), plain(), extends(), dash(), alphabet() {
    const char* const digits =
        kImap ? "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+,"
              : "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    for (int i = 0; i < 256; ++i) digit[i] = -1;
    for (int i = 0; i < 64; ++i) {
      alphabet[i] = digits[i];
      digit[static_cast<unsigned char>(digits[i])] = static_cast<int8_t>(i);
    }
    if (kImap) {
      for (int i = 0x20; i < 0x7F; ++i) plain[i] = i != '&';
    } else {
      const char* const sets[3] = {
          "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789'(),-./:?",
          "!\"#$%&*;<=>@[]^_`{|}", " \t\r\n\b"};
      for (const char* set : sets)
        for (const char* p = set; *p != '\0'; ++p) plain[static_cast<unsigned char>(*p)] = 1;
    }
    for (int i = 0; i < 128; ++i) {
      extends[i] = !plain[i] && i != kShift;
      if (!kImap && i == kShift) extends[i] = 1;  // "+" inside a UTF-7 run is encoded
      dash[i] = kImap || i == '-' || digit[i] >= 0;
    }
  }
};

template <bool kImap>
struct Table {
  static constexpr Classes<kImap> k{};
};

// Portable: no vector steps.
struct Scalar {
  static constexpr unsigned kUnits = 0;  // units narrowed per step
  static constexpr unsigned kBytes = 0;  // bytes widened per step
  static constexpr bool kRunBlocks = false;
  template <bool kImap>
  static unsigned NarrowPrintable(const unsigned char*, unsigned char*) {
    return 0;
  }
  static unsigned WidenPlain(const unsigned char*, unsigned char*, unsigned char) { return 0; }
  template <bool kImap>
  static void EncodeRunBlock(const unsigned char*, unsigned char*) {}
  static bool AllAbove7F(const unsigned char*) { return false; }
};

#if defined(NLS_HAVE_SSE2) || defined(NLS_BASE64_AVX2)
struct Sse2 {
  static constexpr unsigned kUnits = 16;
  static constexpr unsigned kBytes = 16;
  static constexpr bool kRunBlocks = false;

  // Narrows 16 units to 16 bytes at d (all 16 are written) and returns how
  // many leading units are printable characters that stand for themselves.
  template <bool kImap>
  static unsigned NarrowPrintable(const unsigned char* s, unsigned char* d) {
    const __m128i v0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
    const __m128i v1 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 16));
    // Saturation turns units above 0xFF into 0xFF and units from 0x8000 into
    // 0: neither is printable, so the bytes classify the units.
    const __m128i b = _mm_packus_epi16(v0, v1);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(d), b);
    // Below 0x20 or above 0x7F, as signed bytes: below 0x20.
    __m128i bad = _mm_cmpgt_epi8(_mm_set1_epi8(0x20), b);
    if (kImap) {
      bad = _mm_or_si128(bad, _mm_cmpeq_epi8(b, _mm_set1_epi8(0x7F)));
      bad = _mm_or_si128(bad, _mm_cmpeq_epi8(b, _mm_set1_epi8('&')));
    } else {
      bad = _mm_or_si128(bad, _mm_cmpgt_epi8(b, _mm_set1_epi8(0x7D)));  // "~" and 0x7F
      bad = _mm_or_si128(bad, _mm_cmpeq_epi8(b, _mm_set1_epi8('+')));
      bad = _mm_or_si128(bad, _mm_cmpeq_epi8(b, _mm_set1_epi8('\\')));
    }
    return static_cast<unsigned>(
        __builtin_ctz(static_cast<unsigned>(_mm_movemask_epi8(bad)) | 0x10000u));
  }

  // Widens the leading bytes of 16 that are below 0x80 and not `shift`, and
  // returns their number; writes exactly those units.
  static unsigned WidenPlain(const unsigned char* s, unsigned char* d, unsigned char shift) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
    const unsigned m = static_cast<unsigned>(_mm_movemask_epi8(
        _mm_or_si128(v, _mm_cmpeq_epi8(v, _mm_set1_epi8(static_cast<char>(shift))))));
    if (m == 0) {
      _mm_storeu_si128(reinterpret_cast<__m128i*>(d), _mm_unpacklo_epi8(v, zero));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 16), _mm_unpackhi_epi8(v, zero));
      return 16;
    }
    const unsigned k = static_cast<unsigned>(__builtin_ctz(m));
    // Pieces of a partial run overlap rather than run past the k units.
    if (k >= 8) {
      _mm_storeu_si128(reinterpret_cast<__m128i*>(d), _mm_unpacklo_epi8(v, zero));
      const __m128i w = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(s + k - 8));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 2 * k - 16), _mm_unpacklo_epi8(w, zero));
    } else if (k >= 4) {
      _mm_storel_epi64(reinterpret_cast<__m128i*>(d), _mm_unpacklo_epi8(v, zero));
      int32_t tail;
      std::memcpy(&tail, s + k - 4, 4);
      _mm_storel_epi64(reinterpret_cast<__m128i*>(d + 2 * k - 8),
                       _mm_unpacklo_epi8(_mm_cvtsi32_si128(tail), zero));
    } else {
      for (unsigned i = 0; i < k; ++i) nls::StoreUnit16(d + 2 * i, s[i]);
    }
    return k;
  }

  template <bool kImap>
  static void EncodeRunBlock(const unsigned char*, unsigned char*) {}
  static bool AllAbove7F(const unsigned char*) { return false; }
};
#endif

#if defined(NLS_BASE64_AVX2)
// The SSE2 steps, and runs encoded 6 units (16 digits) at a time with byte
// shuffles.
struct Avx2 : Sse2 {
  static constexpr bool kRunBlocks = true;

  // As Sse2::WidenPlain, with the k units written by one masked store of
  // whole pairs and a store of the odd last unit.
  static unsigned WidenPlain(const unsigned char* s, unsigned char* d, unsigned char shift) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
    const unsigned m = static_cast<unsigned>(_mm_movemask_epi8(
        _mm_or_si128(v, _mm_cmpeq_epi8(v, _mm_set1_epi8(static_cast<char>(shift))))));
    const __m256i w = _mm256_cvtepu8_epi16(v);
    if (m == 0) {
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(d), w);
      return 16;
    }
    const unsigned k = static_cast<unsigned>(__builtin_ctz(m));
    const __m256i pairs = _mm256_cmpgt_epi32(_mm256_set1_epi32(static_cast<int>(k / 2)),
                                             _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7));
    _mm256_maskstore_epi32(reinterpret_cast<int*>(d), pairs, w);
    if (k & 1) nls::StoreUnit16(d + 2 * k - 2, s[k - 1]);
    return k;
  }

  // Whether the first 6 of 8 units are all above 0x7F.
  static bool AllAbove7F(const unsigned char* s) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
    const __m128i low =
        _mm_cmpeq_epi16(_mm_and_si128(v, _mm_set1_epi16(-0x80)), _mm_setzero_si128());
    return (_mm_movemask_epi8(low) & 0xFFF) == 0;
  }

  // Writes the 16 digits of 6 units (96 bits, most significant first) read
  // from 16 bytes at s.
  template <bool kImap>
  static void EncodeRunBlock(const unsigned char* s, unsigned char* d) {
    __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
    // Each 32-bit lane gathers the 3 bytes of its 4 digits, in the order the
    // shifts below expect; the units are stored low byte first.
    v = _mm_shuffle_epi8(v, _mm_setr_epi8(0, 1, 3, 0, 5, 2, 4, 5, 6, 7, 9, 6, 11, 8, 10, 11));
    const __m128i t0 = _mm_and_si128(v, _mm_set1_epi32(0x0FC0FC00));
    const __m128i t1 = _mm_mulhi_epu16(t0, _mm_set1_epi32(0x04000040));
    const __m128i t2 = _mm_and_si128(v, _mm_set1_epi32(0x003F03F0));
    const __m128i t3 = _mm_mullo_epi16(t2, _mm_set1_epi32(0x01000010));
    const __m128i index = _mm_or_si128(t1, t3);
    // Digit = index + an offset chosen by the index's range.
    __m128i range = _mm_subs_epu8(index, _mm_set1_epi8(51));
    const __m128i letters = _mm_cmpgt_epi8(_mm_set1_epi8(26), index);
    range = _mm_or_si128(range, _mm_and_si128(letters, _mm_set1_epi8(13)));
    const __m128i offsets = _mm_setr_epi8(
        'a' - 26, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52,
        '0' - 52, '0' - 52, '+' - 62, static_cast<char>((kImap ? ',' : '/') - 63), 'A', 0, 0);
    const __m128i digits = _mm_add_epi8(_mm_shuffle_epi8(offsets, range), index);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(d), digits);
  }
};
#endif

// Encodes the units [in, stop) (byte offsets, even) into dst at out. With
// `last` set, stop is the end of the input and an open run is closed there
// as the end of the input closes it; otherwise the run stays open in s.
// Every unit writes at least one byte, which is what makes the whole narrowed
// vector (and the "-" written ahead after a one-unit run) safe to store: the
// bytes beyond are overwritten by units that lie before stop, so a call that
// stops later in the step algorithm leaves none of them behind.
template <bool kImap, class V>
void Encode(nls::Base64EncoderState& s, unsigned char* dst, unsigned int* pout,
            const unsigned char* src, unsigned int* pin, unsigned int stop, bool last) {
  const Classes<kImap>& c = Table<kImap>::k;
  constexpr unsigned char kShift = Classes<kImap>::kShift;
  unsigned int in = *pin;
  unsigned int out = *pout;
  uint32_t bits = s.bits;
  unsigned int count = s.count;
  bool shifted = s.shifted;
  while (in < stop) {
    if (!shifted) {
      if (V::kUnits != 0 && stop - in >= 2 * V::kUnits) {
        const unsigned int k = V::template NarrowPrintable<kImap>(src + in, dst + out);
        in += 2 * k;
        out += k;
        if (k == V::kUnits) continue;
      }
      const uint32_t r = nls::LoadUnit16(src + in);
      if (r < 0x80 && c.plain[r]) {
        dst[out++] = static_cast<unsigned char>(r);
        in += 2;
        continue;
      }
      dst[out] = kShift;
      in += 2;
      if (r == kShift) {  // the escape of the shift character
        dst[out + 1] = '-';
        out += 2;
        continue;
      }
      dst[out + 1] = static_cast<unsigned char>(c.alphabet[r >> 10]);
      dst[out + 2] = static_cast<unsigned char>(c.alphabet[(r >> 4) & 0x3F]);
      out += 3;
      if (in < stop) {
        // A run of one unit, closed by the character after it.
        const uint32_t next = nls::LoadUnit16(src + in);
        if ((next >> 7) == 0 && !c.extends[next]) {
          dst[out] = static_cast<unsigned char>(c.alphabet[(r & 0xF) << 2]);
          // "-" goes out only where the next character calls for it; the
          // byte is written in any case and the next character's own byte
          // overwrites it otherwise.
          dst[out + 1] = '-';
          out += 1 + c.dash[next];
          continue;
        }
      }
      shifted = true;
      bits = r & 0xF;
      count = 4;
    }
    // In a run: whole blocks first where the vector level has them.
    if (V::kRunBlocks && count == 0) {
      while (stop - in >= 16 && V::AllAbove7F(src + in)) {
        V::template EncodeRunBlock<kImap>(src + in, dst + out);
        in += 12;
        out += 16;
      }
    }
    while (in < stop) {
      if (!V::kRunBlocks && stop - in >= 6) {
        // Three units above 0x7F: 48 bits, 8 digits, the same number of
        // bits left over.
        const uint64_t r0 = nls::LoadUnit16(src + in);
        const uint64_t r1 = nls::LoadUnit16(src + in + 2);
        const uint64_t r2 = nls::LoadUnit16(src + in + 4);
        if (r0 >= 0x80 && r1 >= 0x80 && r2 >= 0x80) {
          const uint64_t all = ((uint64_t{bits} << 48) | (r0 << 32) | (r1 << 16) | r2)
                               << (16 - count);
          for (unsigned int k = 0; k < 8; ++k)
            dst[out + k] = static_cast<unsigned char>(c.alphabet[(all >> (58 - 6 * k)) & 0x3F]);
          bits = static_cast<uint32_t>(r2) & ((1u << count) - 1);
          out += 8;
          in += 6;
          continue;
        }
      }
      const uint32_t r = nls::LoadUnit16(src + in);
      if (r < 0x80 && !c.extends[r]) break;
      bits = (bits << 16) | r;
      count += 16;
      while (count >= 6) {
        count -= 6;
        dst[out++] = static_cast<unsigned char>(c.alphabet[(bits >> count) & 0x3F]);
      }
      bits &= (1u << count) - 1;
      in += 2;
      if (V::kRunBlocks && count == 0 && stop - in >= 16 && V::AllAbove7F(src + in)) break;
    }
    if (in == stop) break;
    const uint32_t r = nls::LoadUnit16(src + in);
    if (r >= 0x80 || c.extends[r]) continue;  // back to the blocks
    // The run ends before r, which the next round writes.
    if (count != 0)
      dst[out++] = static_cast<unsigned char>(c.alphabet[(bits << (6 - count)) & 0x3F]);
    if (c.dash[r]) dst[out++] = '-';
    bits = 0;
    count = 0;
    shifted = false;
  }
  if (last && shifted) {
    if (count != 0)
      dst[out++] = static_cast<unsigned char>(c.alphabet[(bits << (6 - count)) & 0x3F]);
    if (kImap) dst[out++] = '-';
    bits = 0;
    count = 0;
    shifted = false;
  }
  s.bits = bits;
  s.count = static_cast<uint8_t>(count);
  s.shifted = shifted;
  *pin = in;
  *pout = out;
}

// Decodes the bytes [in, stop) into dst at out, carrying the run in s and
// *pcount; the end of the input is left to the caller. Writes only the units
// that the step algorithm writes.
template <bool kImap, class V>
void Decode(nls::Base64DecoderState& s, unsigned int* pcount, unsigned char* dst,
            unsigned int* pout, const unsigned char* src, unsigned int* pin, unsigned int stop) {
  const Classes<kImap>& c = Table<kImap>::k;
  constexpr unsigned char kShift = Classes<kImap>::kShift;
  unsigned int in = *pin;
  unsigned int out = *pout;
  uint32_t bits = s.bits;
  unsigned int count = *pcount;
  while (in < stop) {
    if (!s.shifted) {
      if (V::kBytes != 0 && stop - in >= V::kBytes) {
        const unsigned int k = V::WidenPlain(src + in, dst + out, kShift);
        in += k;
        out += 2 * k;
        if (k == V::kBytes) continue;
      } else {
        while (in < stop && src[in] != kShift && src[in] < 0x80) {
          nls::StoreUnit16(dst + out, src[in]);
          out += 2;
          ++in;
        }
        if (in == stop) break;
      }
      const unsigned char b = src[in++];
      if (b != kShift) {  // above 0x7F: stored all the same
        nls::StoreUnit16(dst + out, b);
        out += 2;
        s.malformed = true;
        continue;
      }
      if (stop - in >= 4) {
        // A run of one unit: three digits and a byte that is not one.
        const int d0 = c.digit[src[in]];
        const int d1 = c.digit[src[in + 1]];
        const int d2 = c.digit[src[in + 2]];
        const unsigned char e = src[in + 3];
        if ((d0 | d1 | d2) >= 0 && c.digit[e] < 0) {
          nls::StoreUnit16(dst + out, static_cast<uint16_t>((d0 << 10) | (d1 << 4) | (d2 >> 2)));
          out += 2;
          in += 3 + (e == '-' || (kImap && e == '&'));
          s.malformed |= (d2 & 3) != 0;
          s.fresh = false;
          s.produced = true;
          continue;
        }
      }
      s.shifted = true;
      s.fresh = true;
      s.produced = false;
      bits = 0;
      count = 0;
    }
    const unsigned int start = in;
    while (stop - in >= 8) {
      // Eight digits: 48 bits, three units, the same number of bits left.
      const unsigned char* p = src + in;
      const int d0 = c.digit[p[0]], d1 = c.digit[p[1]], d2 = c.digit[p[2]], d3 = c.digit[p[3]];
      const int d4 = c.digit[p[4]], d5 = c.digit[p[5]], d6 = c.digit[p[6]], d7 = c.digit[p[7]];
      if ((d0 | d1 | d2 | d3 | d4 | d5 | d6 | d7) < 0) break;
      const uint64_t all = (uint64_t{bits} << 48) |
                           (uint64_t((d0 << 18) | (d1 << 12) | (d2 << 6) | d3) << 24) |
                           static_cast<uint64_t>((d4 << 18) | (d5 << 12) | (d6 << 6) | d7);
      const uint64_t units = all >> count;
      nls::StoreUnit16(dst + out, static_cast<uint16_t>(units >> 32));
      nls::StoreUnit16(dst + out + 2, static_cast<uint16_t>(units >> 16));
      nls::StoreUnit16(dst + out + 4, static_cast<uint16_t>(units));
      bits = static_cast<uint32_t>(all) & ((1u << count) - 1);
      s.produced = true;
      out += 6;
      in += 8;
    }
    while (in < stop) {
      const int d = c.digit[src[in]];
      if (d < 0) break;
      bits = (bits << 6) | static_cast<uint32_t>(d);
      count += 6;
      if (count >= 16) {
        count -= 16;
        nls::StoreUnit16(dst + out, static_cast<uint16_t>(bits >> count));
        out += 2;
        bits &= (1u << count) - 1;
        s.produced = true;
      }
      ++in;
    }
    if (in != start) s.fresh = false;
    if (in == stop) break;
    // The run ends at b; "-" (and "&" in IMAP) is absorbed.
    const unsigned char b = src[in];
    bool yieldsShift = false;
    if (b == '-' || (kImap && b == '&')) {
      yieldsShift = s.fresh && b == '-';
      if (yieldsShift) {
        nls::StoreUnit16(dst + out, kShift);
        out += 2;
      }
      ++in;
    }
    if ((!s.produced && !yieldsShift) || bits != 0) s.malformed = true;
    bits = 0;
    count = 0;
    s.shifted = false;
  }
  s.bits = bits;
  *pcount = count;
  *pin = in;
  *pout = out;
}

#if !defined(NLS_BASE64_AVX2)
// The loops of the instruction-set level in force.
template <bool kImap>
void EncodeAtLevel(nls::Base64EncoderState& s, unsigned char* dst, unsigned int* out,
                   const unsigned char* src, unsigned int* in, unsigned int stop, bool last) {
  switch (nls::simd::LevelUpTo(nls::simd::kAvx2)) {
#if defined(NLS_HAVE_AVX2)
    case nls::simd::kAvx2:
      if (kImap) return nls::base64_avx2::EncodeImap(s, dst, out, src, in, stop, last);
      return nls::base64_avx2::EncodeUtf7(s, dst, out, src, in, stop, last);
#endif
#if defined(NLS_HAVE_SSE2)
    case nls::simd::kSse2:
      return Encode<kImap, Sse2>(s, dst, out, src, in, stop, last);
#endif
    default:
      return Encode<kImap, Scalar>(s, dst, out, src, in, stop, last);
  }
}

template <bool kImap>
void DecodeAtLevel(nls::Base64DecoderState& s, unsigned int* count, unsigned char* dst,
                   unsigned int* out, const unsigned char* src, unsigned int* in,
                   unsigned int stop) {
  switch (nls::simd::LevelUpTo(nls::simd::kAvx2)) {
#if defined(NLS_HAVE_AVX2)
    case nls::simd::kAvx2:
      if (kImap) return nls::base64_avx2::DecodeImap(s, count, dst, out, src, in, stop);
      return nls::base64_avx2::DecodeUtf7(s, count, dst, out, src, in, stop);
#endif
#if defined(NLS_HAVE_SSE2)
    case nls::simd::kSse2:
      return Decode<kImap, Sse2>(s, count, dst, out, src, in, stop);
#endif
    default:
      return Decode<kImap, Scalar>(s, count, dst, out, src, in, stop);
  }
}
#endif

}  // namespace base64_ample
}  // namespace

#endif  // NLSCNV_CONVERTERS_BASE64_AMPLE_H

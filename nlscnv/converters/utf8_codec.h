// The UTF-8 conversion loops, written once over a vector width and compiled
// for each instruction-set level: utf8_converters.cpp instantiates the
// portable and SSE2 levels, utf8_converters_avx2.cpp the AVX2 level under a
// target pragma. Everything here has internal linkage, so the AVX2 copy never
// stands in for the others.
//
// Each loop is the general algorithm, one character per step, with a fast run
// in front of every step. A fast run converts only what the general step would
// convert the same way: it stops wherever a step could end the conversion
// (input that might be incomplete, output that might be full) or needs the
// rare cases (sequences of four bytes and more, surrogates).
#ifndef NLSCNV_CONVERTERS_UTF8_CODEC_H
#define NLSCNV_CONVERTERS_UTF8_CODEC_H

#include <cstdint>
#include <cstring>

#include "nlscnv/codec.h"
#include "nlscnv/converter.h"
#include "nlscnv/support/simd.h"
#include "nlscnv/unaligned.h"

#if defined(NLS_HAVE_SSE2) || defined(NLS_HAVE_AVX2)
#include <immintrin.h>
#endif

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "bit tricks assume little-endian words");

namespace {
namespace utf8_codec {

// Widens k bytes (k < 8) to units with overlapping stores.
inline void WidenShort(const unsigned char* s, unsigned char* d, unsigned k) {
  if (k >= 4) {
    uint32_t a, b;
    std::memcpy(&a, s, 4);
    std::memcpy(&b, s + k - 4, 4);
    const uint64_t wa = (a & 0xFFu) | (a & 0xFF00u) << 8 |
                        static_cast<uint64_t>(a & 0xFF0000u) << 16 |
                        static_cast<uint64_t>(a & 0xFF000000u) << 24;
    const uint64_t wb = (b & 0xFFu) | (b & 0xFF00u) << 8 |
                        static_cast<uint64_t>(b & 0xFF0000u) << 16 |
                        static_cast<uint64_t>(b & 0xFF000000u) << 24;
    std::memcpy(d, &wa, 8);
    std::memcpy(d + 2 * k - 8, &wb, 8);
    return;
  }
  for (unsigned i = 0; i < k; ++i) nls::StoreUnit16(d + 2 * i, s[i]);
}

// Narrows k units (k < 8, all ASCII) to bytes with overlapping stores.
inline void NarrowShort(const unsigned char* s, unsigned char* d, unsigned k) {
  if (k >= 4) {
    uint64_t a, b;
    std::memcpy(&a, s, 8);
    std::memcpy(&b, s + 2 * k - 8, 8);
    const uint32_t na = static_cast<uint32_t>((a & 0xFF) | (a >> 8 & 0xFF00) |
                                              (a >> 16 & 0xFF0000) | (a >> 24 & 0xFF000000));
    const uint32_t nb = static_cast<uint32_t>((b & 0xFF) | (b >> 8 & 0xFF00) |
                                              (b >> 16 & 0xFF0000) | (b >> 24 & 0xFF000000));
    std::memcpy(d, &na, 4);
    std::memcpy(d + k - 4, &nb, 4);
    return;
  }
  for (unsigned i = 0; i < k; ++i) d[i] = s[2 * i];
}

// Portable level: eight bytes (or four units) in a 64-bit word.
struct Words {
  static constexpr unsigned kBytes = 8;  // input bytes per decoding step
  static constexpr unsigned kUnits = 4;  // input units per encoding step

  // Bit 8i+7 set when byte i is 0x80 or above; 0 when all are ASCII.
  static uint64_t NonAscii(const unsigned char* s) {
    uint64_t w;
    std::memcpy(&w, s, 8);
    return w & 0x8080808080808080ULL;
  }
  static unsigned FirstNonAscii(uint64_t m) {
    return static_cast<unsigned>(__builtin_ctzll(m)) / 8;
  }
  // Widens the first k bytes (k <= 8) to units.
  static void Widen(const unsigned char* s, unsigned char* d, unsigned k) {
    if (k == 8) {
      WidenShort(s, d, 4);
      WidenShort(s + 4, d + 8, 4);
      return;
    }
    WidenShort(s, d, k);
  }

  // Widens 64 bytes when all are ASCII; false (nothing written) otherwise.
  static bool WidenAscii64(const unsigned char* s, unsigned char* d) {
    uint64_t any = 0;
    for (unsigned i = 0; i < 64; i += kBytes) any |= NonAscii(s + i);
    if (any != 0) return false;
    for (unsigned i = 0; i < 64; i += kBytes) Widen(s + i, d + 2 * i, kBytes);
    return true;
  }

  // Bit 16i+15.. set when unit i is 0x80 or above.
  static uint64_t NonAsciiUnits(const unsigned char* s) {
    uint64_t w;
    std::memcpy(&w, s, 8);
    return w & 0xFF80FF80FF80FF80ULL;
  }
  static unsigned FirstNonAsciiUnit(uint64_t m) {
    return static_cast<unsigned>(__builtin_ctzll(m)) / 16;
  }
  // Narrows the first k units (k <= 4, all ASCII) to bytes.
  static void Narrow(const unsigned char* s, unsigned char* d, unsigned k) { NarrowShort(s, d, k); }

  // The mixed blocks are left to the character loop at this level.
  static constexpr bool kThreeByteBlocks = false;
  static bool DecodeThreeByteBlock(const unsigned char*, unsigned char*) { return false; }
  static bool DecodeThreeByteBlockStrict(const unsigned char*, unsigned char*) { return false; }
  static bool PairedBlock(const unsigned char*) { return false; }
  static bool PairedBlockStrict(const unsigned char*) { return false; }
  static bool NoSurrogates(const unsigned char*) { return false; }
  static void PrepareDecode(const unsigned char*, uint16_t*, unsigned char*) {}
  static void PrepareEncode(const unsigned char*, uint16_t*, unsigned char*, unsigned char*) {}
};

#if defined(NLS_HAVE_SSE2)
struct Sse2 {
  static constexpr unsigned kBytes = 16;
  static constexpr unsigned kUnits = 16;

  static unsigned NonAscii(const unsigned char* s) {
    return static_cast<unsigned>(
        _mm_movemask_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(s))));
  }
  static unsigned FirstNonAscii(unsigned m) { return static_cast<unsigned>(__builtin_ctz(m)); }
  // Widens the first k bytes (k <= 16) to units. Pieces of a partial run
  // overlap rather than run past the k units.
  static void Widen(const unsigned char* s, unsigned char* d, unsigned k) {
    const __m128i zero = _mm_setzero_si128();
    if (k >= 8) {
      const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
      if (k == 16) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d), _mm_unpacklo_epi8(v, zero));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 16), _mm_unpackhi_epi8(v, zero));
        return;
      }
      const __m128i t = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(s + k - 8));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(d), _mm_unpacklo_epi8(v, zero));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 2 * k - 16), _mm_unpacklo_epi8(t, zero));
      return;
    }
    WidenShort(s, d, k);
  }

  static bool WidenAscii64(const unsigned char* s, unsigned char* d) {
    __m128i v[4];
    for (unsigned i = 0; i < 4; ++i)
      v[i] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 16 * i));
    const __m128i any = _mm_or_si128(_mm_or_si128(v[0], v[1]), _mm_or_si128(v[2], v[3]));
    if (_mm_movemask_epi8(any) != 0) return false;
    const __m128i zero = _mm_setzero_si128();
    for (unsigned i = 0; i < 4; ++i) {
      _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 32 * i), _mm_unpacklo_epi8(v[i], zero));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 32 * i + 16), _mm_unpackhi_epi8(v[i], zero));
    }
    return true;
  }

  // Bit i set when unit i of the 16 is 0x80 or above.
  static unsigned NonAsciiUnits(const unsigned char* s) {
    const __m128i high = _mm_set1_epi16(static_cast<short>(0xFF80));
    const __m128i zero = _mm_setzero_si128();
    const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
    const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 16));
    const __m128i ascii = _mm_packs_epi16(_mm_cmpeq_epi16(_mm_and_si128(a, high), zero),
                                          _mm_cmpeq_epi16(_mm_and_si128(b, high), zero));
    return ~static_cast<unsigned>(_mm_movemask_epi8(ascii)) & 0xFFFF;
  }
  static unsigned FirstNonAsciiUnit(unsigned m) { return static_cast<unsigned>(__builtin_ctz(m)); }
  // Narrows the first k units (k <= 16; at least the first k are ASCII).
  static void Narrow(const unsigned char* s, unsigned char* d, unsigned k) {
    if (k >= 8) {
      const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
      if (k == 16) {
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 16));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d), _mm_packus_epi16(a, b));
        return;
      }
      const __m128i t = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 2 * k - 16));
      _mm_storel_epi64(reinterpret_cast<__m128i*>(d), _mm_packus_epi16(a, a));
      _mm_storel_epi64(reinterpret_cast<__m128i*>(d + k - 8), _mm_packus_epi16(t, t));
      return;
    }
    NarrowShort(s, d, k);
  }

  // True when the 16 bytes are ASCII and well-formed two-byte sequences
  // only, the last byte completing its character: every byte 0xC0-0xDF is
  // followed by one byte 0x80-0xBF, and every such byte follows a lead.
  // Byte shuffles need SSSE3: three-byte blocks are left to the AVX2 level.
  static constexpr bool kThreeByteBlocks = false;
  static bool DecodeThreeByteBlock(const unsigned char*, unsigned char*) { return false; }
  static bool DecodeThreeByteBlockStrict(const unsigned char*, unsigned char*) { return false; }
  // A paired block without the overlong leads 0xC0 and 0xC1.
  static bool PairedBlockStrict(const unsigned char* s) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
    const __m128i overlong =
        _mm_cmpeq_epi8(_mm_and_si128(v, _mm_set1_epi8(static_cast<char>(0xFE))),
                       _mm_set1_epi8(static_cast<char>(0xC0)));
    return _mm_movemask_epi8(overlong) == 0 && PairedBlock(s);
  }
  static bool PairedBlock(const unsigned char* s) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
    // As signed bytes: 0x80-0xBF is -128..-65, 0xC0-0xDF -64..-33, 0xE0-0xFF -32..-1.
    const unsigned trail =
        static_cast<unsigned>(_mm_movemask_epi8(_mm_cmplt_epi8(v, _mm_set1_epi8(-64))));
    const unsigned high = static_cast<unsigned>(_mm_movemask_epi8(v));
    const unsigned longer =
        static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpgt_epi8(v, _mm_set1_epi8(-33)))) & high;
    const unsigned lead = high & ~trail & ~longer;
    return longer == 0 && trail == ((lead << 1) & 0xFFFF) && (lead & 0x8000) == 0;
  }

  // Per byte of a paired block: the unit it leads (a trail byte's is never
  // kept) and the output step, 2, or 0 for a trail byte.
  static void PrepareDecode(const unsigned char* s, uint16_t* units, unsigned char* step) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
    const __m128i next = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 1));
    const __m128i trail = _mm_cmplt_epi8(v, _mm_set1_epi8(-64));
    const __m128i lead = _mm_cmpgt_epi8(_mm_set1_epi8(-32), v);  // below 0xE0
    _mm_storeu_si128(reinterpret_cast<__m128i*>(step), _mm_andnot_si128(trail, _mm_set1_epi8(2)));
    for (int half = 0; half < 2; ++half) {
      const __m128i b = half ? _mm_unpackhi_epi8(v, zero) : _mm_unpacklo_epi8(v, zero);
      const __m128i n = half ? _mm_unpackhi_epi8(next, zero) : _mm_unpacklo_epi8(next, zero);
      const __m128i isLead =
          half ? _mm_unpackhi_epi8(_mm_andnot_si128(trail, lead), _mm_andnot_si128(trail, lead))
               : _mm_unpacklo_epi8(_mm_andnot_si128(trail, lead), _mm_andnot_si128(trail, lead));
      const __m128i pair =
          _mm_sub_epi16(_mm_add_epi16(_mm_slli_epi16(b, 6), n), _mm_set1_epi16(0x3080));
      const __m128i unit = _mm_or_si128(_mm_and_si128(isLead, pair), _mm_andnot_si128(isLead, b));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(units + 8 * half), unit);
    }
  }

  // Per unit of 16 (no surrogates): its first two UTF-8 bytes, its third
  // byte and its length.
  static void PrepareEncode(const unsigned char* s, uint16_t* head, unsigned char* tail,
                            unsigned char* length) {
    const __m128i low6 = _mm_set1_epi16(0x3F);
    const __m128i mark = _mm_set1_epi16(0x80);
    __m128i lengths[2];
    __m128i tails[2];
    for (int half = 0; half < 2; ++half) {
      const __m128i u = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 16 * half));
      const __m128i one = _mm_cmpeq_epi16(
          _mm_and_si128(u, _mm_set1_epi16(static_cast<short>(0xFF80))), _mm_setzero_si128());
      const __m128i upToTwo = _mm_cmpeq_epi16(
          _mm_and_si128(u, _mm_set1_epi16(static_cast<short>(0xF800))), _mm_setzero_si128());
      const __m128i last = _mm_or_si128(_mm_and_si128(u, low6), mark);
      const __m128i middle = _mm_or_si128(_mm_and_si128(_mm_srli_epi16(u, 6), low6), mark);
      const __m128i lead3 = _mm_or_si128(_mm_srli_epi16(u, 12), _mm_set1_epi16(0xE0));
      const __m128i lead2 = _mm_or_si128(_mm_srli_epi16(u, 6), _mm_set1_epi16(0xC0));
      // One byte: u; two: lead2, last; three: lead3, middle (then last).
      __m128i first = _mm_or_si128(_mm_and_si128(upToTwo, lead2), _mm_andnot_si128(upToTwo, lead3));
      first = _mm_or_si128(_mm_and_si128(one, u), _mm_andnot_si128(one, first));
      const __m128i second =
          _mm_or_si128(_mm_and_si128(upToTwo, last), _mm_andnot_si128(upToTwo, middle));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(head + 8 * half),
                       _mm_or_si128(first, _mm_slli_epi16(second, 8)));
      tails[half] = last;
      // 3 + (-1 when up to two bytes) + (-1 when one byte).
      lengths[half] = _mm_add_epi16(_mm_set1_epi16(3), _mm_add_epi16(upToTwo, one));
    }
    _mm_storeu_si128(reinterpret_cast<__m128i*>(tail), _mm_packus_epi16(tails[0], tails[1]));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(length), _mm_packus_epi16(lengths[0], lengths[1]));
  }

  // True when none of the 16 units is a surrogate (0xD800-0xDFFF).
  static bool NoSurrogates(const unsigned char* s) {
    const __m128i mask = _mm_set1_epi16(static_cast<short>(0xF800));
    const __m128i surrogate = _mm_set1_epi16(static_cast<short>(0xD800));
    const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
    const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 16));
    const __m128i hit = _mm_or_si128(_mm_cmpeq_epi16(_mm_and_si128(a, mask), surrogate),
                                     _mm_cmpeq_epi16(_mm_and_si128(b, mask), surrogate));
    return _mm_movemask_epi8(hit) == 0;
  }
};
#endif  // NLS_HAVE_SSE2

#if defined(NLS_UTF8_CODEC_AVX2)
struct Avx2 {
  static constexpr unsigned kBytes = 32;
  static constexpr unsigned kUnits = 32;

  static unsigned NonAscii(const unsigned char* s) {
    return static_cast<unsigned>(
        _mm256_movemask_epi8(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(s))));
  }
  static unsigned FirstNonAscii(unsigned m) { return static_cast<unsigned>(__builtin_ctz(m)); }
  static void Widen(const unsigned char* s, unsigned char* d, unsigned k) {
    if (k >= 16) {
      const __m256i lo = _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(s)));
      const __m256i hi =
          _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(s + k - 16)));
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(d), lo);
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + 2 * k - 32), hi);
      return;
    }
    Sse2::Widen(s, d, k);
  }
  static bool WidenAscii64(const unsigned char* s, unsigned char* d) {
    const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s));
    const __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s + 32));
    if (_mm256_movemask_epi8(_mm256_or_si256(a, b)) != 0) return false;
    auto* out = reinterpret_cast<__m256i*>(d);
    _mm256_storeu_si256(out, _mm256_cvtepu8_epi16(_mm256_castsi256_si128(a)));
    _mm256_storeu_si256(out + 1, _mm256_cvtepu8_epi16(_mm256_extracti128_si256(a, 1)));
    _mm256_storeu_si256(out + 2, _mm256_cvtepu8_epi16(_mm256_castsi256_si128(b)));
    _mm256_storeu_si256(out + 3, _mm256_cvtepu8_epi16(_mm256_extracti128_si256(b, 1)));
    return true;
  }

  static unsigned NonAsciiUnits(const unsigned char* s) {
    const __m256i high = _mm256_set1_epi16(static_cast<short>(0xFF80));
    const __m256i zero = _mm256_setzero_si256();
    const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s));
    const __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s + 32));
    const __m256i ascii = _mm256_permute4x64_epi64(
        _mm256_packs_epi16(_mm256_cmpeq_epi16(_mm256_and_si256(a, high), zero),
                           _mm256_cmpeq_epi16(_mm256_and_si256(b, high), zero)),
        0xD8);
    return ~static_cast<unsigned>(_mm256_movemask_epi8(ascii));
  }
  static unsigned FirstNonAsciiUnit(unsigned m) { return static_cast<unsigned>(__builtin_ctz(m)); }
  static void Narrow(const unsigned char* s, unsigned char* d, unsigned k) {
    if (k >= 16) {
      const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s));
      const __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s + 2 * k - 32));
      const __m256i packed = _mm256_permute4x64_epi64(_mm256_packus_epi16(a, b), 0xD8);
      _mm_storeu_si128(reinterpret_cast<__m128i*>(d), _mm256_castsi256_si128(packed));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(d + k - 16), _mm256_extracti128_si256(packed, 1));
      return;
    }
    Sse2::Narrow(s, d, k);
  }

  static bool PairedBlock(const unsigned char* s) { return Sse2::PairedBlock(s); }
  static bool PairedBlockStrict(const unsigned char* s) { return Sse2::PairedBlockStrict(s); }

  // Five three-byte sequences in the first 15 of 16 bytes: when the bytes at
  // 0, 3, 6, 9 and 12 are leads 0xE0-0xEF, writes the five units that the
  // character loop computes from them and the two bytes after each (the
  // loop takes those as they are) and returns true.
  static constexpr bool kThreeByteBlocks = true;
  static bool DecodeThreeByteBlock(const unsigned char* s, unsigned char* d) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
    const __m128i leads = _mm_shuffle_epi8(
        v, _mm_setr_epi8(0, 3, 6, 9, 12, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1));
    const __m128i isLead = _mm_cmpeq_epi8(_mm_and_si128(leads, _mm_set1_epi8(-16)),
                                          _mm_set1_epi8(static_cast<char>(0xE0)));
    if ((_mm_movemask_epi8(isLead) & 0x1F) != 0x1F) return false;
    const __m128i b0 = _mm_shuffle_epi8(
        v, _mm_setr_epi8(0, -1, 3, -1, 6, -1, 9, -1, 12, -1, -1, -1, -1, -1, -1, -1));
    const __m128i b1 = _mm_shuffle_epi8(
        v, _mm_setr_epi8(1, -1, 4, -1, 7, -1, 10, -1, 13, -1, -1, -1, -1, -1, -1, -1));
    const __m128i b2 = _mm_shuffle_epi8(
        v, _mm_setr_epi8(2, -1, 5, -1, 8, -1, 11, -1, 14, -1, -1, -1, -1, -1, -1, -1));
    // (b0 << 12) + (b1 << 6) + b2 - 0xE2080, kept to 16 bits as the loop does.
    const __m128i units = _mm_sub_epi16(
        _mm_add_epi16(_mm_add_epi16(_mm_slli_epi16(b0, 12), _mm_slli_epi16(b1, 6)), b2),
        _mm_set1_epi16(0x2080));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(d), units);
    nls::StoreUnit16(d + 8, static_cast<uint16_t>(_mm_extract_epi16(units, 4)));
    return true;
  }
  // The same for well-formed sequences only: trail bytes 0x80-0xBF, no
  // overlong form (0xE0 then 0xA0 or above) and no surrogate (0xED then
  // below 0xA0).
  static bool DecodeThreeByteBlockStrict(const unsigned char* s, unsigned char* d) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
    const __m128i leads = _mm_shuffle_epi8(
        v, _mm_setr_epi8(0, 3, 6, 9, 12, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1));
    const __m128i first = _mm_shuffle_epi8(
        v, _mm_setr_epi8(1, 4, 7, 10, 13, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1));
    const __m128i second = _mm_shuffle_epi8(
        v, _mm_setr_epi8(2, 5, 8, 11, 14, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1));
    // As signed bytes a trail byte is below -64; 0xA0 is -96.
    const __m128i trails = _mm_and_si128(_mm_cmplt_epi8(first, _mm_set1_epi8(-64)),
                                         _mm_cmplt_epi8(second, _mm_set1_epi8(-64)));
    const __m128i low = _mm_cmplt_epi8(first, _mm_set1_epi8(-96));
    const __m128i e0 = _mm_cmpeq_epi8(leads, _mm_set1_epi8(static_cast<char>(0xE0)));
    const __m128i ed = _mm_cmpeq_epi8(leads, _mm_set1_epi8(static_cast<char>(0xED)));
    const __m128i bad = _mm_or_si128(_mm_and_si128(e0, low), _mm_andnot_si128(low, ed));
    const int good = _mm_movemask_epi8(_mm_andnot_si128(bad, trails));
    if ((good & 0x1F) != 0x1F) return false;
    return DecodeThreeByteBlock(s, d);
  }
  static void PrepareDecode(const unsigned char* s, uint16_t* units, unsigned char* step) {
    Sse2::PrepareDecode(s, units, step);
  }
  static void PrepareEncode(const unsigned char* s, uint16_t* head, unsigned char* tail,
                            unsigned char* length) {
    Sse2::PrepareEncode(s, head, tail, length);
  }
  static bool NoSurrogates(const unsigned char* s) {
    const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s));
    const __m256i hit =
        _mm256_cmpeq_epi16(_mm256_and_si256(v, _mm256_set1_epi16(static_cast<short>(0xF800))),
                           _mm256_set1_epi16(static_cast<short>(0xD800)));
    return _mm256_movemask_epi8(hit) == 0;
  }
};
#endif  // NLS_UTF8_CODEC_AVX2

// ---- Mixed blocks -----------------------------------------------------------
//
// Text with a non-ASCII character every few bytes leaves the ASCII vectors
// too often; these loops take 16 such bytes or units without a branch per
// character. Each character is stored at full width and the output position
// advances by its real length, so a store may run up to two bytes past the
// block's output. Callers leave enough room that those bytes are always
// written again: by the next character or by the terminator.

// Decodes a block that PairedBlock accepted; reads s[0..16] (one byte past
// the block). Stores may reach 2 bytes past the produced units.
template <class V>
inline void DecodePairedBlock(const unsigned char* s, unsigned char* d, unsigned* pout) {
  uint16_t units[16];
  unsigned char step[16];
  V::PrepareDecode(s, units, step);
  unsigned out = *pout;
  for (unsigned i = 0; i < 16; ++i) {
    nls::StoreUnit16(d + out, units[i]);
    out += step[i];
  }
  *pout = out;
}

// Encodes 16 units, none a surrogate. Stores may reach 2 bytes past the
// produced bytes.
template <class V>
inline void EncodeBlock(const unsigned char* s, unsigned char* d, unsigned* pout) {
  uint16_t head[16];
  unsigned char tail[16];
  unsigned char length[16];
  V::PrepareEncode(s, head, tail, length);
  unsigned out = *pout;
  for (unsigned i = 0; i < 16; ++i) {
    nls::StoreUnit16(d + out, head[i]);
    d[out + 2] = tail[i];
    out += length[i];
  }
  *pout = out;
}

// ---- UTF-8 to UCS-2 ---------------------------------------------------------

// Converts while every step is certain: at least 4 input bytes (a whole
// sequence of up to three bytes) and 4 bytes of room remain. Stops before a
// lead byte of 0xF0 and above. ASCII goes through vectors.
//
// Strict, it converts well-formed sequences only and stops before anything
// else, which the caller's general step then reports; for well-formed input
// both forms write the same units.
template <class V, bool kStrict = false>
inline void DecodeRun(unsigned char* dst, unsigned dstSize, const unsigned char* src,
                      unsigned srcLen, unsigned* pin, unsigned* pout) {
  unsigned in = *pin;
  unsigned out = *pout;
  for (;;) {
    while (srcLen - in >= V::kBytes && dstSize - out >= 2 * V::kBytes) {
      const auto m = V::NonAscii(src + in);
      if (m == 0) {
        V::Widen(src + in, dst + out, V::kBytes);
        in += V::kBytes;
        out += 2 * V::kBytes;
        // A long ASCII run: 64 bytes per step.
        while (srcLen - in >= 64 && dstSize - out >= 128 && V::WidenAscii64(src + in, dst + out)) {
          in += 64;
          out += 128;
        }
        continue;
      }
      // 17 bytes read, and room for the units plus the 2 bytes past them.
      if (srcLen - in >= 17 && dstSize - out >= 36 &&
          (kStrict ? V::PairedBlockStrict(src + in) : V::PairedBlock(src + in))) {
        DecodePairedBlock<V>(src + in, dst, &out);
        in += 16;
        continue;
      }
      const unsigned k = V::FirstNonAscii(m);
      V::Widen(src + in, dst + out, k);
      in += k;
      out += 2 * k;
      break;
    }
    for (;;) {
      if (srcLen - in < 4 || dstSize - out < 4) {
        *pin = in;
        *pout = out;
        return;
      }
      const uint32_t b0 = src[in];
      if constexpr (kStrict) {
        const uint32_t b1 = src[in + 1];
        if ((b0 >= 0x80 && b0 < 0xC2) || (b0 >= 0xC0 && (b1 & 0xC0) != 0x80) ||
            (b0 >= 0xE0 && b0 < 0xF0 &&
             ((src[in + 2] & 0xC0) != 0x80 || (b0 == 0xE0 && b1 < 0xA0) ||
              (b0 == 0xED && b1 >= 0xA0)))) {
          *pin = in;  // for the general step to report
          *pout = out;
          return;
        }
      }
      if (b0 < 0xC0) {  // ASCII, or a trail byte met as a lead: the byte itself
        nls::StoreUnit16(dst + out, static_cast<uint16_t>(b0));
        in += 1;
        out += 2;
        if (b0 < 0x80) break;  // back to the vectors
      } else if (b0 < 0xE0) {
        const uint32_t v = (b0 << 6) + src[in + 1] - 0x3080u;
        nls::StoreUnit16(dst + out, static_cast<uint16_t>(v));
        in += 2;
        out += 2;
      } else if (b0 < 0xF0) {
        // Five at once while every one of them would be a step of this loop:
        // 4 bytes of input and of room left before the last.
        if constexpr (V::kThreeByteBlocks) {
          if (srcLen - in >= 16 && dstSize - out >= 12 &&
              (kStrict ? V::DecodeThreeByteBlockStrict(src + in, dst + out)
                       : V::DecodeThreeByteBlock(src + in, dst + out))) {
            in += 15;
            out += 10;
            continue;
          }
        }
        const uint32_t v =
            (b0 << 12) + (static_cast<uint32_t>(src[in + 1]) << 6) + src[in + 2] - 0xE2080u;
        nls::StoreUnit16(dst + out, static_cast<uint16_t>(v));
        in += 3;
        out += 2;
      } else {
        *pin = in;
        *pout = out;
        return;
      }
    }
  }
}

template <class V>
int DecodeUtf8(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
               const unsigned char* src, unsigned int srcLen, unsigned int* srcUsed) {
  int status = 1;
  bool full = false;  // a unit or pair found no room
  unsigned int in = 0;
  unsigned int out = 0;
  while (in < srcLen) {
    DecodeRun<V>(dst, dstSize, src, srcLen, &in, &out);
    if (in >= srcLen) break;
    // One character by the general algorithm.
    const unsigned char lead = src[in];
    const unsigned int trail = static_cast<unsigned int>(bytesFromUTF8[lead]);
    if (trail >= srcLen - in) {  // the whole sequence is not in the input
      status = NLS_E_SEQUENCE_CUT;
      break;
    }
    uint32_t value = 0;
    for (unsigned int k = 0; k <= trail; ++k) {
      value += src[in + k];
      if (k < trail) value <<= 6;
    }
    value -= offsetsFromUTF8[trail];
    if (lead >= 0xF0) {
      if (value >= 0x10000 && value <= 0x10FFFF) {
        if (dstSize - out < 4) {
          full = true;
          break;
        }
        value -= 0x10000;
        nls::StoreUnit16(dst + out, static_cast<uint16_t>(0xD800 + (value >> 10)));
        nls::StoreUnit16(dst + out + 2, static_cast<uint16_t>(0xDC00 + (value & 0x3FF)));
        out += 4;
        in += trail + 1;
        continue;
      }
      value = 0xFFFD;
    }
    if (dstSize - out < 2) {
      full = true;
      break;
    }
    nls::StoreUnit16(dst + out, static_cast<uint16_t>(value));
    out += 2;
    in += trail + 1;
  }
  // A surrogate pair that needed 4 bytes of room stays unconsumed: input is
  // left over even though the terminator fitted.
  return nls::FinishConvertWithStatus(dst, dstSize, out, dstLen, in, srcUsed, 2, full ? 2 : status);
}

// ---- UCS-2 to UTF-8 ---------------------------------------------------------

// Converts while every step is certain: a whole unit remains and 3 bytes of
// room. Stops before a surrogate. ASCII goes through vectors.
template <class V>
inline void EncodeRun(unsigned char* dst, unsigned dstSize, const unsigned char* src,
                      unsigned srcLen, unsigned* pin, unsigned* pout) {
  unsigned in = *pin;
  unsigned out = *pout;
  for (;;) {
    while (srcLen - in >= 2 * V::kUnits && dstSize - out >= V::kUnits) {
      const auto m = V::NonAsciiUnits(src + in);
      if (m == 0) {
        V::Narrow(src + in, dst + out, V::kUnits);
        in += 2 * V::kUnits;
        out += V::kUnits;
        continue;
      }
      // A unit must follow the block and fit after it, so that the bytes
      // stored past the block are written again.
      if (srcLen - in >= 34 && dstSize - out >= 56 && V::NoSurrogates(src + in)) {
        EncodeBlock<V>(src + in, dst, &out);
        in += 32;
        continue;
      }
      const unsigned k = V::FirstNonAsciiUnit(m);
      V::Narrow(src + in, dst + out, k);
      in += 2 * k;
      out += k;
      break;
    }
    for (;;) {
      if (srcLen - in < 2 || dstSize - out < 3) {
        *pin = in;
        *pout = out;
        return;
      }
      const uint32_t u = nls::LoadUnit16(src + in);
      if (u < 0x80) {
        dst[out] = static_cast<unsigned char>(u);
        in += 2;
        out += 1;
        break;  // back to the vectors
      }
      if (u < 0x800) {
        dst[out] = static_cast<unsigned char>(0xC0 | (u >> 6));
        dst[out + 1] = static_cast<unsigned char>(0x80 | (u & 0x3F));
        in += 2;
        out += 2;
      } else if (u - 0xD800 >= 0x800) {
        dst[out] = static_cast<unsigned char>(0xE0 | (u >> 12));
        dst[out + 1] = static_cast<unsigned char>(0x80 | ((u >> 6) & 0x3F));
        dst[out + 2] = static_cast<unsigned char>(0x80 | (u & 0x3F));
        in += 2;
        out += 3;
      } else {
        *pin = in;
        *pout = out;
        return;
      }
    }
  }
}

template <class V>
int EncodeUtf8(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
               const unsigned char* src, unsigned int srcLen, unsigned int* srcUsed) {
  int status = 1;
  unsigned int in = 0;
  unsigned int out = 0;
  while (srcLen - in >= 2) {
    EncodeRun<V>(dst, dstSize, src, srcLen, &in, &out);
    if (srcLen - in < 2) break;
    // One item by the general algorithm.
    uint32_t value = nls::LoadUnit16(src + in);
    unsigned int units = 1;
    if (value >= 0xD800 && value <= 0xDBFF && srcLen - in >= 4) {
      const uint32_t low = nls::LoadUnit16(src + in + 2);
      if (low >= 0xDC00 && low <= 0xDFFF) {
        value = 0x10000 + ((value - 0xD800) << 10) + (low - 0xDC00);
        units = 2;
      }
    }
    const unsigned int length = units == 2 ? 4 : (value < 0x80 ? 1 : value < 0x800 ? 2 : 3);
    if (dstSize - out < length) {
      status = NLS_E_SEQUENCE_CUT;
      break;
    }
    for (unsigned int k = length - 1; k > 0; --k) {
      dst[out + k] = static_cast<unsigned char>((value | 0x80) & 0xBF);
      value >>= 6;
    }
    dst[out] = static_cast<unsigned char>(firstByteMark[length] | value);
    out += length;
    in += 2 * units;
  }
  return nls::FinishConvertWithStatus(dst, dstSize, out, dstLen, in, srcUsed, 1, status);
}

// ---- The strict codec ---------------------------------------------------------
//
// UTF-8 as RFC 3629 defines it: no overlong forms, no surrogates, nothing
// above U+10FFFF. An ill-formed sequence is reported with the length of its
// maximal subpart (the bytes that start a well-formed sequence but do not
// complete it, or a single byte), so that skipping or replacing it follows
// the Unicode recommendation. Valid text goes through the same fast runs as
// the legacy converters.

// The range of the second byte after a lead, and the sequence length; 0 for
// a byte that starts nothing.
inline unsigned StrictLength(uint32_t b0, uint32_t* low, uint32_t* high) {
  *low = 0x80;
  *high = 0xBF;
  if (b0 < 0x80) return 1;
  if (b0 < 0xC2) return 0;
  if (b0 < 0xE0) return 2;
  if (b0 < 0xF0) {
    if (b0 == 0xE0) *low = 0xA0;
    if (b0 == 0xED) *high = 0x9F;
    return 3;
  }
  if (b0 < 0xF5) {
    if (b0 == 0xF0) *low = 0x90;
    if (b0 == 0xF4) *high = 0x8F;
    return 4;
  }
  return 0;
}

// Pieces of at most this size keep the runs' 32-bit positions exact.
inline constexpr size_t kPiece = size_t{1} << 30;

template <class V>
int DecodeStrictPiece(NLS_CodecCall* call, const unsigned char* src, unsigned srcLen,
                      unsigned char* dst, unsigned dstSize, unsigned* pin, unsigned* pout) {
  const bool one = (call->flags & NLS_CODEC_ONE) != 0;
  unsigned in = 0, out = 0;
  int result = NLS_CODEC_DONE;
  while (in < srcLen) {
    if (!one) {
      DecodeRun<V, true>(dst, dstSize, src, srcLen, &in, &out);
      if (in >= srcLen) break;
    }
    const uint32_t b0 = src[in];
    uint32_t low, high;
    const unsigned length = StrictLength(b0, &low, &high);
    if (length == 0) {
      call->errorLength = 1;
      call->errorContext = 0;
      result = NLS_CODEC_INVALID;
      break;
    }
    uint32_t value = length == 1 ? b0 : b0 & (0xFF >> (length + 1));
    unsigned k = 1;
    for (; k < length; ++k) {
      if (in + k >= srcLen) break;
      const uint32_t b = src[in + k];
      if (b < low || b > high) break;
      low = 0x80;
      high = 0xBF;
      value = (value << 6) | (b & 0x3F);
    }
    if (k < length) {
      if (in + k >= srcLen) {
        result = NLS_CODEC_INCOMPLETE;
      } else {
        call->errorLength = k;
        call->errorContext = 1;
        result = NLS_CODEC_INVALID;
      }
      break;
    }
    const unsigned need = value >= 0x10000 ? 4 : 2;
    if (dstSize - out < need) {
      result = NLS_CODEC_OUTPUT_FULL;
      break;
    }
    out = static_cast<unsigned>(nls::codec::PutUnits(dst + out, value) - dst);
    in += length;
    if (one) break;
  }
  *pin = in;
  *pout = out;
  return result;
}

template <class V>
int EncodeStrictPiece(NLS_CodecCall* call, const unsigned char* src, unsigned srcLen,
                      unsigned char* dst, unsigned dstSize, unsigned* pin, unsigned* pout) {
  const bool one = (call->flags & NLS_CODEC_ONE) != 0;
  unsigned in = 0, out = 0;
  int result = NLS_CODEC_DONE;
  while (srcLen - in >= 2) {
    if (!one) {
      EncodeRun<V>(dst, dstSize, src, srcLen, &in, &out);
      if (srcLen - in < 2) break;
    }
    uint32_t value = nls::LoadUnit16(src + in);
    unsigned units = 1;
    if (value >= 0xD800 && value <= 0xDFFF) {
      if (value >= 0xDC00) {
        call->errorLength = 2;
        result = NLS_CODEC_INVALID;
        break;
      }
      if (srcLen - in < 4) {
        result = NLS_CODEC_INCOMPLETE;
        break;
      }
      const uint32_t second = nls::LoadUnit16(src + in + 2);
      if (second < 0xDC00 || second > 0xDFFF) {
        call->errorLength = 2;
        result = NLS_CODEC_INVALID;
        break;
      }
      value = 0x10000 + ((value - 0xD800) << 10) + (second - 0xDC00);
      units = 2;
    }
    const unsigned length = value < 0x80 ? 1 : value < 0x800 ? 2 : value < 0x10000 ? 3 : 4;
    if (dstSize - out < length) {
      result = NLS_CODEC_OUTPUT_FULL;
      break;
    }
    for (unsigned k = length - 1; k > 0; --k) {
      dst[out + k] = static_cast<unsigned char>((value | 0x80) & 0xBF);
      value >>= 6;
    }
    dst[out] = static_cast<unsigned char>(firstByteMark[length] | value);
    out += length;
    in += 2 * units;
    if (one) break;
  }
  if (result == NLS_CODEC_DONE && in < srcLen) result = NLS_CODEC_INCOMPLETE;
  *pin = in;
  *pout = out;
  return result;
}

// Runs a piece function over the whole call, in pieces of at most kPiece
// bytes; a sequence cut by a piece boundary is taken up by the next piece.
template <class Piece>
int ByPieces(NLS_CodecCall* call, Piece piece) {
  size_t in = 0, out = 0;
  int result;
  for (;;) {
    const size_t inLeft = call->srcLen - in, outLeft = call->dstSize - out;
    const unsigned n = static_cast<unsigned>(inLeft < kPiece ? inLeft : kPiece);
    const unsigned room = static_cast<unsigned>(outLeft < kPiece ? outLeft : kPiece);
    unsigned used = 0, wrote = 0;
    result = piece(call, call->src + in, n, call->dst + out, room, &used, &wrote);
    in += used;
    out += wrote;
    const bool cut = n < inLeft;
    if ((call->flags & NLS_CODEC_ONE) != 0 && used > 0) break;
    if (result == NLS_CODEC_DONE && cut) continue;
    if (result == NLS_CODEC_INCOMPLETE && cut) continue;
    if (result == NLS_CODEC_OUTPUT_FULL && room < outLeft && wrote > 0) continue;
    break;
  }
  if (result == NLS_CODEC_DONE && in < call->srcLen) result = NLS_CODEC_INCOMPLETE;
  call->srcUsed = in;
  call->dstLen = out;
  return result;
}

template <class V>
int DecodeStrict(NLS_CodecCall* call) {
  return ByPieces(call, DecodeStrictPiece<V>);
}

template <class V>
int EncodeStrict(NLS_CodecCall* call) {
  return ByPieces(call, EncodeStrictPiece<V>);
}

}  // namespace utf8_codec
}  // namespace

#endif  // NLSCNV_CONVERTERS_UTF8_CODEC_H

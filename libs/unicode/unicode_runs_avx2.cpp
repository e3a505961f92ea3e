// The 32-byte (AVX2) blocks of the fixed-order Unicode forms, used when
// NLS_VectorLevel() says the processor has AVX2. Each function does what its
// 16-byte counterpart in unicode_forms.cpp does, on twice the units per
// step, and stops before the first block that holds a unit or value the
// run must leave to the general loop.
#include "unicode/unicode_runs.h"

#if defined(__x86_64__) && defined(__GNUC__)
#include <immintrin.h>

#if defined(__clang__)
#pragma clang attribute push(__attribute__((target("avx2"))), apply_to = function)
#else
#pragma GCC push_options
#pragma GCC target("avx2")
#endif

namespace nls_unicode {
namespace {

// Byte shuffles that reverse each 16-bit or 32-bit element.
__m256i Swap16(__m256i v) {
  const __m256i order = _mm256_setr_epi8(1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14, 1, 0,
                                         3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14);
  return _mm256_shuffle_epi8(v, order);
}

__m256i Swap32(__m256i v) {
  const __m256i order = _mm256_setr_epi8(3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12, 3, 2,
                                         1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12);
  return _mm256_shuffle_epi8(v, order);
}

bool AnySurrogate16(__m256i v) {
  const __m256i top = _mm256_and_si256(v, _mm256_set1_epi16(static_cast<short>(0xF800)));
  return _mm256_movemask_epi8(
             _mm256_cmpeq_epi16(top, _mm256_set1_epi16(static_cast<short>(0xD800)))) != 0;
}

template <bool kSwap, bool kDecode>
size_t CopyUnits(unsigned char* dst, const unsigned char* src, size_t n) {
  size_t k = 0;
  for (; k + 32 <= n; k += 32) {
    const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + k));
    const __m256i w = kSwap ? Swap16(v) : v;
    if (AnySurrogate16(kDecode ? w : v)) break;
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + k), w);
  }
  return k;
}

template <bool kSwap>
size_t NarrowValues(unsigned char* dst, const unsigned char* src, size_t values) {
  const __m256i high = _mm256_set1_epi32(static_cast<int>(0xFFFF0000u));
  size_t k = 0;
  for (; k + 16 <= values; k += 16) {
    __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + 4 * k));
    __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + 4 * k + 32));
    if (kSwap) {
      a = Swap32(a);
      b = Swap32(b);
    }
    if (!_mm256_testz_si256(_mm256_or_si256(a, b), high)) break;  // a value above U+FFFF
    // Values below 0x10000 pack exactly; the pack interleaves the halves.
    const __m256i packed = _mm256_permute4x64_epi64(_mm256_packus_epi32(a, b), 0xD8);
    if (AnySurrogate16(packed)) break;
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + 2 * k), packed);
  }
  return k;
}

template <bool kSwap>
size_t WidenUnits(unsigned char* dst, const unsigned char* src, size_t units) {
  size_t k = 0;
  for (; k + 16 <= units; k += 16) {
    const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + 2 * k));
    if (AnySurrogate16(v)) break;
    __m256i lo = _mm256_cvtepu16_epi32(_mm256_castsi256_si128(v));
    __m256i hi = _mm256_cvtepu16_epi32(_mm256_extracti128_si256(v, 1));
    if (kSwap) {
      lo = Swap32(lo);
      hi = Swap32(hi);
    }
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + 4 * k), lo);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + 4 * k + 32), hi);
  }
  return k;
}

}  // namespace

size_t CopyUnitsAvx2(unsigned char* dst, const unsigned char* src, size_t n, bool swap,
                     bool decode) {
  if (swap)
    return decode ? CopyUnits<true, true>(dst, src, n) : CopyUnits<true, false>(dst, src, n);
  return CopyUnits<false, true>(dst, src, n);  // the same check either way without a swap
}

size_t NarrowValuesAvx2(unsigned char* dst, const unsigned char* src, size_t values, bool swap) {
  return swap ? NarrowValues<true>(dst, src, values) : NarrowValues<false>(dst, src, values);
}

size_t WidenUnitsAvx2(unsigned char* dst, const unsigned char* src, size_t units, bool swap) {
  return swap ? WidenUnits<true>(dst, src, units) : WidenUnits<false>(dst, src, units);
}

}  // namespace nls_unicode

#if defined(__clang__)
#pragma clang attribute pop
#else
#pragma GCC pop_options
#endif
#endif

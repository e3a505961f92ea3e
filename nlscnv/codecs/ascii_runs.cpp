// The ASCII runs that codec loops hand to the library: widening of leading
// ASCII bytes to pivot units and narrowing back, 16 at a time where the
// processor has SSE2.
#include "nlscnv/codec.h"
#include "nlscnv/support/simd.h"

#if defined(NLS_HAVE_SSE2)
#include <emmintrin.h>
#endif

extern "C" {

size_t NLS_WidenAscii(unsigned char* dst, const unsigned char* src, size_t n) {
  size_t i = 0;
#if defined(NLS_HAVE_SSE2)
  if (nls::simd::Level() >= nls::simd::kSse2) {
    const __m128i zero = _mm_setzero_si128();
    for (; n - i >= 16; i += 16) {
      const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i));
      const unsigned high = static_cast<unsigned>(_mm_movemask_epi8(v));
      if (high != 0) {
        const unsigned k = static_cast<unsigned>(__builtin_ctz(high));
        for (unsigned j = 0; j < k; ++j) nls::StoreUnit16(dst + 2 * (i + j), src[i + j]);
        return i + k;
      }
      _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + 2 * i), _mm_unpacklo_epi8(v, zero));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + 2 * i + 16), _mm_unpackhi_epi8(v, zero));
    }
  }
#endif
  for (; i < n && src[i] < 0x80; ++i) nls::StoreUnit16(dst + 2 * i, src[i]);
  return i;
}

size_t NLS_NarrowAscii(unsigned char* dst, const unsigned char* src, size_t n) {
  size_t i = 0;
#if defined(NLS_HAVE_SSE2)
  if (nls::simd::Level() >= nls::simd::kSse2) {
    const __m128i high = _mm_set1_epi16(static_cast<short>(0xFF80));
    const __m128i zero = _mm_setzero_si128();
    for (; n - i >= 16; i += 16) {
      const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 2 * i));
      const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 2 * i + 16));
      const __m128i ascii = _mm_packs_epi16(_mm_cmpeq_epi16(_mm_and_si128(a, high), zero),
                                            _mm_cmpeq_epi16(_mm_and_si128(b, high), zero));
      const unsigned other = ~static_cast<unsigned>(_mm_movemask_epi8(ascii)) & 0xFFFF;
      if (other != 0) {
        const unsigned k = static_cast<unsigned>(__builtin_ctz(other));
        for (unsigned j = 0; j < k; ++j) dst[i + j] = src[2 * (i + j)];
        return i + k;
      }
      _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i), _mm_packus_epi16(a, b));
    }
  }
#endif
  for (; i < n && nls::LoadUnit16(src + 2 * i) < 0x80; ++i)
    dst[i] = static_cast<unsigned char>(src[2 * i]);
  return i;
}

}  // extern "C"

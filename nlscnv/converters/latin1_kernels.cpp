#include "nlscnv/converters/latin1_kernels.h"

#include "nlscnv/support/simd.h"
#include "nlscnv/unaligned.h"

#if defined(NLS_HAVE_SSE2)
#include <emmintrin.h>
#endif

namespace nls {
namespace {

void WidenScalar(unsigned char* dst, const unsigned char* src, unsigned n) {
  for (unsigned i = 0; i < n; ++i) StoreUnit16(dst + 2 * i, src[i]);
}

void NarrowScalar(unsigned char* dst, const unsigned char* src, unsigned n) {
  for (unsigned i = 0; i < n; ++i) dst[i] = static_cast<unsigned char>(LoadUnit16(src + 2 * i));
}

#if defined(NLS_HAVE_SSE2)
void WidenSse2(unsigned char* dst, const unsigned char* src, unsigned n) {
  const __m128i zero = _mm_setzero_si128();
  unsigned i = 0;
  for (; n - i >= 16; i += 16) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + 2 * i), _mm_unpacklo_epi8(v, zero));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + 2 * i + 16), _mm_unpackhi_epi8(v, zero));
  }
  WidenScalar(dst + 2 * i, src + i, n - i);
}

void NarrowSse2(unsigned char* dst, const unsigned char* src, unsigned n) {
  const __m128i low = _mm_set1_epi16(0x00FF);
  unsigned i = 0;
  for (; n - i >= 16; i += 16) {
    const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 2 * i));
    const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 2 * i + 16));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i),
                     _mm_packus_epi16(_mm_and_si128(a, low), _mm_and_si128(b, low)));
  }
  NarrowScalar(dst + i, src + 2 * i, n - i);
}
#endif

}  // namespace

void WidenBytes(unsigned char* dst, const unsigned char* src, unsigned n) {
#if defined(NLS_HAVE_AVX512)
  if (simd::Level() >= simd::kAvx512) return widen_detail::WidenAvx512(dst, src, n);
#endif
#if defined(NLS_HAVE_AVX2)
  if (simd::Level() >= simd::kAvx2) return widen_detail::WidenAvx2(dst, src, n);
#endif
#if defined(NLS_HAVE_SSE2)
  if (simd::Level() >= simd::kSse2) return WidenSse2(dst, src, n);
#endif
  WidenScalar(dst, src, n);
}

void NarrowUnits(unsigned char* dst, const unsigned char* src, unsigned n) {
#if defined(NLS_HAVE_AVX512)
  if (simd::Level() >= simd::kAvx512) return widen_detail::NarrowAvx512(dst, src, n);
#endif
#if defined(NLS_HAVE_AVX2)
  if (simd::Level() >= simd::kAvx2) return widen_detail::NarrowAvx2(dst, src, n);
#endif
#if defined(NLS_HAVE_SSE2)
  if (simd::Level() >= simd::kSse2) return NarrowSse2(dst, src, n);
#endif
  NarrowScalar(dst, src, n);
}

}  // namespace nls

// The widening and narrowing loops compiled for AVX2, chosen at run time.
// The output is written in 32-byte-aligned stores where the destination's
// alignment allows it (an even address): stores that straddle two cache
// lines cost twice.
#include "nlscnv/converters/latin1_kernels.h"
#include "nlscnv/support/simd.h"

#if defined(NLS_HAVE_AVX2)
#include <immintrin.h>

#include <cstdint>

#include "nlscnv/unaligned.h"

#include "nlscnv/support/avx2_begin.h"

namespace nls {
namespace widen_detail {
namespace {

// Units (widening) or bytes (narrowing) to handle one at a time before dst
// reaches a 32-byte boundary; 0 when it cannot (odd address for units).
unsigned HeadUnits(const unsigned char* dst, unsigned n) {
  const unsigned misalign = static_cast<unsigned>(reinterpret_cast<uintptr_t>(dst) & 31);
  if (misalign == 0 || (misalign & 1) != 0) return 0;
  const unsigned head = (32 - misalign) / 2;
  return head < n ? head : n;
}

__m256i Widen16(const unsigned char* s) {
  return _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(s)));
}

}  // namespace

void WidenAvx2(unsigned char* dst, const unsigned char* src, unsigned n) {
  unsigned i = HeadUnits(dst, n);
  for (unsigned k = 0; k < i; ++k) StoreUnit16(dst + 2 * k, src[k]);
  for (; n - i >= 64; i += 64) {
    const __m256i a = Widen16(src + i);
    const __m256i b = Widen16(src + i + 16);
    const __m256i c = Widen16(src + i + 32);
    const __m256i d = Widen16(src + i + 48);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + 2 * i), a);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + 2 * i + 32), b);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + 2 * i + 64), c);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + 2 * i + 96), d);
  }
  for (; n - i >= 16; i += 16)
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + 2 * i), Widen16(src + i));
  for (; i < n; ++i) StoreUnit16(dst + 2 * i, src[i]);
}

void NarrowAvx2(unsigned char* dst, const unsigned char* src, unsigned n) {
  const __m256i low = _mm256_set1_epi16(0x00FF);
  unsigned i = 0;
  for (; n - i >= 32; i += 32) {
    const __m256i a =
        _mm256_and_si256(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + 2 * i)), low);
    const __m256i b = _mm256_and_si256(
        _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + 2 * i + 32)), low);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + i),
                        _mm256_permute4x64_epi64(_mm256_packus_epi16(a, b), 0xD8));
  }
  for (; n - i >= 16; i += 16) {
    const __m128i a = _mm_and_si128(_mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 2 * i)),
                                    _mm256_castsi256_si128(low));
    const __m128i b =
        _mm_and_si128(_mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 2 * i + 16)),
                      _mm256_castsi256_si128(low));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i), _mm_packus_epi16(a, b));
  }
  for (; i < n; ++i) dst[i] = static_cast<unsigned char>(LoadUnit16(src + 2 * i));
}

}  // namespace widen_detail
}  // namespace nls

#include "nlscnv/support/avx2_end.h"
#endif  // NLS_HAVE_AVX2

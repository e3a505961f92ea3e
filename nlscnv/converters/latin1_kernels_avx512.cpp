// The widening and narrowing loops compiled for AVX-512, chosen at run time:
// 64 bytes or units per step, the tail through masked loads and stores.
#include "nlscnv/converters/latin1_kernels.h"
#include "nlscnv/support/simd.h"

#if defined(NLS_HAVE_AVX512)
#include <immintrin.h>

#include <cstdint>

#include "nlscnv/support/avx512_begin.h"

namespace nls {
namespace widen_detail {
namespace {

// The low bytes of 32 units (the form with a source operand: GCC 12 warns
// about the undefined one of the plain form).
__m256i Truncate(__m512i v) {
  return _mm512_mask_cvtepi16_epi8(_mm256_setzero_si256(), 0xFFFFFFFFu, v);
}

}  // namespace

void WidenAvx512(unsigned char* dst, const unsigned char* src, unsigned n) {
  unsigned i = 0;
  for (; n - i >= 64; i += 64) {
    const __m512i a =
        _mm512_cvtepu8_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + i)));
    const __m512i b =
        _mm512_cvtepu8_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + i + 32)));
    _mm512_storeu_si512(dst + 2 * i, a);
    _mm512_storeu_si512(dst + 2 * i + 64, b);
  }
  while (i < n) {
    const unsigned left = n - i < 32 ? n - i : 32;
    const __mmask32 mask = static_cast<__mmask32>((uint64_t{1} << left) - 1);
    const __m512i v = _mm512_cvtepu8_epi16(_mm256_maskz_loadu_epi8(mask, src + i));
    _mm512_mask_storeu_epi16(dst + 2 * i, mask, v);
    i += left;
  }
}

void NarrowAvx512(unsigned char* dst, const unsigned char* src, unsigned n) {
  unsigned i = 0;
  for (; n - i >= 64; i += 64) {
    const __m256i a = Truncate(_mm512_loadu_si512(src + 2 * i));
    const __m256i b = Truncate(_mm512_loadu_si512(src + 2 * i + 64));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + i), a);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + i + 32), b);
  }
  while (i < n) {
    const unsigned left = n - i < 32 ? n - i : 32;
    const __mmask32 mask = static_cast<__mmask32>((uint64_t{1} << left) - 1);
    const __m256i v = Truncate(_mm512_maskz_loadu_epi16(mask, src + 2 * i));
    _mm256_mask_storeu_epi8(dst + i, mask, v);
    i += left;
  }
}

}  // namespace widen_detail
}  // namespace nls

#include "nlscnv/support/avx512_end.h"
#endif  // NLS_HAVE_AVX512

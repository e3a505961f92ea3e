// The single-byte decoding loop compiled for AVX2; chosen at run time when
// the processor has it. The headers are included before the target pragma so
// that only the loop itself is built for AVX2.
#include "nlscnv/support/simd.h"

#if defined(NLS_HAVE_AVX2)
#include <immintrin.h>

#include <cstdint>

#include "nlscnv/framework/table_decoding_fast.h"
#include "nlscnv/support/unaligned.h"

#if defined(__clang__)
#pragma clang attribute push(__attribute__((target("avx2"))), apply_to = function)
#else
#pragma GCC push_options
#pragma GCC target("avx2")
#endif

namespace nls {

unsigned DecodeSingleBytesAvx2(const DecodePlan& plan, unsigned char* dst, const unsigned char* src,
                               unsigned n) {
  const uint16_t* map = plan.bytes;
  const __m256i zero = _mm256_setzero_si256();
  const bool ascii = plan.asciiIdentity;
  unsigned i = 0;
  for (; n - i >= 32; i += 32) {
    const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + i));
    if (_mm256_movemask_epi8(_mm256_cmpeq_epi8(v, zero)) != 0) break;
    unsigned char* d = dst + 2 * i;
    if (ascii && _mm256_movemask_epi8(v) == 0) {
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(d),
                          _mm256_cvtepu8_epi16(_mm256_castsi256_si128(v)));
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + 32),
                          _mm256_cvtepu8_epi16(_mm256_extracti128_si256(v, 1)));
      continue;
    }
    for (unsigned k = 0; k < 32; ++k) StoreUnit16(d + 2 * k, map[src[i + k]]);
  }
  for (; i < n; ++i) {
    const unsigned char b = src[i];
    if (b == 0) break;
    StoreUnit16(dst + 2 * i, map[b]);
  }
  return i;
}

}  // namespace nls

#if defined(__clang__)
#pragma clang attribute pop
#else
#pragma GCC pop_options
#endif
#endif  // NLS_HAVE_AVX2

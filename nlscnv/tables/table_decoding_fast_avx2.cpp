// The single-byte decoding loop compiled for AVX2; chosen at run time when
// the processor has it. The headers are included before the target pragma so
// that only the loop itself is built for AVX2.
#include "nlscnv/support/simd.h"

#if defined(NLS_HAVE_AVX2)
#include <immintrin.h>

#include <cstdint>

#include "nlscnv/tables/table_decoding_fast.h"
#include "nlscnv/unaligned.h"

#include "nlscnv/support/avx2_begin.h"

namespace nls {

// 32 bytes at a time: bytes below the identity limit are widened as they
// are; every group of 16 byte values above it is looked up with two byte
// shuffles (low and high byte of the character) whose index only lands in
// the table for bytes of that group: (byte XOR group << 4) has a zero high
// nibble exactly there, and adding 0x70 with saturation sets bit 7, which
// makes the shuffle give 0, everywhere else.
unsigned DecodeSingleBytesAvx2(const DecodePlan& plan, unsigned char* dst, const unsigned char* src,
                               unsigned n) {
  const __m256i zero = _mm256_setzero_si256();
  const unsigned firstGroup = plan.identityGroups;
  const __m256i identityMax = _mm256_set1_epi8(static_cast<char>(16 * firstGroup - 1));
  const __m256i bias = _mm256_set1_epi8(0x70);
  __m256i low[16], high[16];
  for (unsigned g = firstGroup; g < 16; ++g) {
    low[g] = _mm256_broadcastsi128_si256(
        _mm_loadu_si128(reinterpret_cast<const __m128i*>(plan.groupLow[g])));
    high[g] = _mm256_broadcastsi128_si256(
        _mm_loadu_si128(reinterpret_cast<const __m128i*>(plan.groupHigh[g])));
  }
  unsigned i = 0;
  for (; n - i >= 32; i += 32) {
    const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + i));
    if (_mm256_movemask_epi8(_mm256_cmpeq_epi8(v, zero)) != 0) break;
    const __m256i same = _mm256_cmpeq_epi8(_mm256_min_epu8(v, identityMax), v);
    __m256i lo = _mm256_and_si256(v, same);
    __m256i hi = zero;
    if (_mm256_movemask_epi8(same) != -1) {
      for (unsigned g = firstGroup; g < 16; ++g) {
        const __m256i index = _mm256_adds_epu8(
            _mm256_xor_si256(v, _mm256_set1_epi8(static_cast<char>(g << 4))), bias);
        lo = _mm256_or_si256(lo, _mm256_shuffle_epi8(low[g], index));
        hi = _mm256_or_si256(hi, _mm256_shuffle_epi8(high[g], index));
      }
    }
    const __m256i first = _mm256_unpacklo_epi8(lo, hi);
    const __m256i second = _mm256_unpackhi_epi8(lo, hi);
    unsigned char* d = dst + 2 * i;
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(d),
                        _mm256_permute2x128_si256(first, second, 0x20));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + 32),
                        _mm256_permute2x128_si256(first, second, 0x31));
  }
  const uint16_t* map = plan.bytes;
  for (; i < n; ++i) {
    const unsigned char b = src[i];
    if (b == 0) break;
    StoreUnit16(dst + 2 * i, map[b]);
  }
  return i;
}

}  // namespace nls

#include "nlscnv/support/avx2_end.h"
#endif  // NLS_HAVE_AVX2

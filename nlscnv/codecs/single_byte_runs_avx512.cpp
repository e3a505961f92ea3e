// The single-byte decoder's blocks compiled for AVX-512 with byte permutes;
// chosen at run time when the processor has them.
#include "nlscnv/codecs/single_byte_runs.h"

#if defined(NLS_HAVE_AVX512)
#include <immintrin.h>

#include <cstdint>

#include "nlscnv/support/avx512_begin.h"

namespace nls::codecs {

// 64 bytes per step: the low and the high bytes of the 256 characters are
// two 256-byte tables, four registers each; a two-register byte permute
// looks up the bytes below 0x80 in one half and those above in the other,
// and the byte's top bit picks between them.
size_t DecodeSingleByteBlocksAvx512(const NLS_SingleByteTable& table, const unsigned char* src,
                                    unsigned char* dst, size_t n) {
  alignas(64) uint8_t lowBytes[256], highBytes[256];
  for (unsigned b = 0; b < 256; ++b) {
    lowBytes[b] = static_cast<uint8_t>(table.toUnicode[b]);
    highBytes[b] = static_cast<uint8_t>(table.toUnicode[b] >> 8);
  }
  __m512i low[4], high[4];
  for (unsigned q = 0; q < 4; ++q) {
    low[q] = _mm512_load_si512(lowBytes + 64 * q);
    high[q] = _mm512_load_si512(highBytes + 64 * q);
  }
  const __m512i ones = _mm512_set1_epi8(-1);
  // Qword orders that put the interleaved units of each 128-bit lane back in
  // byte order.
  const __m512i firstHalf = _mm512_setr_epi64(0, 1, 8, 9, 2, 3, 10, 11);
  const __m512i secondHalf = _mm512_setr_epi64(4, 5, 12, 13, 6, 7, 14, 15);
  size_t i = 0;
  for (; n - i >= 64; i += 64) {
    const __m512i v = _mm512_loadu_si512(src + i);
    const __mmask64 upper = _mm512_movepi8_mask(v);
    const __m512i lo = _mm512_mask_blend_epi8(upper, _mm512_permutex2var_epi8(low[0], v, low[1]),
                                              _mm512_permutex2var_epi8(low[2], v, low[3]));
    const __m512i hi = _mm512_mask_blend_epi8(upper, _mm512_permutex2var_epi8(high[0], v, high[1]),
                                              _mm512_permutex2var_epi8(high[2], v, high[3]));
    // NLS_SINGLE_BYTE_UNDEFINED is the only character with both bytes 0xFF.
    if (_mm512_cmpeq_epi8_mask(_mm512_and_si512(lo, hi), ones) != 0) break;
    const __m512i first = _mm512_unpacklo_epi8(lo, hi);
    const __m512i second = _mm512_unpackhi_epi8(lo, hi);
    _mm512_storeu_si512(dst + 2 * i, _mm512_permutex2var_epi64(first, firstHalf, second));
    _mm512_storeu_si512(dst + 2 * i + 64, _mm512_permutex2var_epi64(first, secondHalf, second));
  }
  return i;
}

}  // namespace nls::codecs

#include "nlscnv/support/avx512_end.h"
#endif  // NLS_HAVE_AVX512

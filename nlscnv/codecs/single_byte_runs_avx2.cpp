// The single-byte decoder's blocks compiled for AVX2; chosen at run time when
// the processor has it.
#include "nlscnv/codecs/single_byte_runs.h"

#if defined(NLS_HAVE_AVX2)
#include <immintrin.h>

#include <cstdint>

#include "nlscnv/support/avx2_begin.h"

namespace nls::codecs {

// The table is split into 16 groups of 16 byte values, each a pair of
// 16-byte shuffle tables (low and high byte of the character). A byte's
// index (byte XOR group << 4, plus 0x70 with saturation) lands in the group's
// table only for bytes of that group and has bit 7 set, which makes the
// shuffle give 0, everywhere else; the groups are ORed together. Bytes
// below 0x80 of a table that keeps ASCII are taken as they are. The tables
// are built per call: the caller only comes here for long inputs.
size_t DecodeSingleByteBlocksAvx2(const NLS_SingleByteTable& table, const unsigned char* src,
                                  unsigned char* dst, size_t n) {
  const unsigned firstGroup = table.asciiIdentity ? 8 : 0;
  alignas(16) uint8_t lowBytes[16][16], highBytes[16][16];
  __m256i low[16], high[16];
  for (unsigned g = firstGroup; g < 16; ++g) {
    for (unsigned k = 0; k < 16; ++k) {
      const uint16_t c = table.toUnicode[16 * g + k];
      lowBytes[g][k] = static_cast<uint8_t>(c);
      highBytes[g][k] = static_cast<uint8_t>(c >> 8);
    }
    low[g] = _mm256_broadcastsi128_si256(_mm_load_si128(reinterpret_cast<__m128i*>(lowBytes[g])));
    high[g] = _mm256_broadcastsi128_si256(_mm_load_si128(reinterpret_cast<__m128i*>(highBytes[g])));
  }
  const __m256i zero = _mm256_setzero_si256();
  const __m256i ones = _mm256_set1_epi8(-1);
  const __m256i bias = _mm256_set1_epi8(0x70);
  size_t i = 0;
  for (; n - i >= 32; i += 32) {
    const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + i));
    // ASCII of a table that keeps it: the byte itself (the sign bit clear).
    __m256i lo = firstGroup ? _mm256_andnot_si256(_mm256_cmpgt_epi8(zero, v), v) : zero;
    __m256i hi = zero;
    if (!firstGroup || _mm256_movemask_epi8(v) != 0) {
      for (unsigned g = firstGroup; g < 16; ++g) {
        const __m256i index = _mm256_adds_epu8(
            _mm256_xor_si256(v, _mm256_set1_epi8(static_cast<char>(g << 4))), bias);
        lo = _mm256_or_si256(lo, _mm256_shuffle_epi8(low[g], index));
        hi = _mm256_or_si256(hi, _mm256_shuffle_epi8(high[g], index));
      }
      // NLS_SINGLE_BYTE_UNDEFINED is the only character with both bytes 0xFF.
      if (_mm256_movemask_epi8(_mm256_cmpeq_epi8(_mm256_and_si256(lo, hi), ones)) != 0) break;
    }
    const __m256i first = _mm256_unpacklo_epi8(lo, hi);
    const __m256i second = _mm256_unpackhi_epi8(lo, hi);
    unsigned char* d = dst + 2 * i;
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(d),
                        _mm256_permute2x128_si256(first, second, 0x20));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + 32),
                        _mm256_permute2x128_si256(first, second, 0x31));
  }
  return i;
}

}  // namespace nls::codecs

#include "nlscnv/support/avx2_end.h"
#endif  // NLS_HAVE_AVX2

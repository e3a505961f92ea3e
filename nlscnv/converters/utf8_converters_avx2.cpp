// The UTF-8 loops compiled for AVX2; chosen at run time when the processor
// has it (nlscnv/support/simd.h). The headers are included before the target
// pragma so that only the loops themselves are built for AVX2.
#include "nlscnv/support/simd.h"

#if defined(NLS_HAVE_AVX2)
#include <immintrin.h>

#include <cstdint>
#include <cstring>

#include "nlscnv/converter.h"
#include "nlscnv/unaligned.h"

#include "nlscnv/support/avx2_begin.h"
#define NLS_UTF8_CODEC_AVX2 1
#include "nlscnv/converters/utf8_codec.h"

namespace nls {
namespace utf8 {

int DecodeAvx2(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
               const unsigned char* src, unsigned int srcLen, unsigned int* srcUsed) {
  return utf8_codec::DecodeUtf8<utf8_codec::Avx2>(dst, dstLen, dstSize, src, srcLen, srcUsed);
}

int EncodeAvx2(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
               const unsigned char* src, unsigned int srcLen, unsigned int* srcUsed) {
  return utf8_codec::EncodeUtf8<utf8_codec::Avx2>(dst, dstLen, dstSize, src, srcLen, srcUsed);
}

int DecodeStrictAvx2(NLS_CodecCall* call) {
  return utf8_codec::DecodeStrict<utf8_codec::Avx2>(call);
}

int EncodeStrictAvx2(NLS_CodecCall* call) {
  return utf8_codec::EncodeStrict<utf8_codec::Avx2>(call);
}

}  // namespace utf8
}  // namespace nls

#include "nlscnv/support/avx2_end.h"
#endif  // NLS_HAVE_AVX2

// The room-free base64-run loops compiled for AVX2; chosen at run time when
// the processor has it (nlscnv/support/simd.h). The headers are included
// before the target pragma so that only the loops themselves are built for
// AVX2.
#include "nlscnv/support/simd.h"

#if defined(NLS_HAVE_AVX2)
#include <immintrin.h>

#include <cstdint>
#include <cstring>

#include "nlscnv/converters/base64_runs.h"
#include "nlscnv/unaligned.h"

#include "nlscnv/support/avx2_begin.h"
#define NLS_BASE64_AVX2 1
#include "nlscnv/converters/base64_ample.h"

namespace nls {
namespace base64_avx2 {

void EncodeUtf7(Base64EncoderState& s, unsigned char* dst, unsigned int* out,
                const unsigned char* src, unsigned int* in, unsigned int stop, bool last) {
  base64_ample::Encode<false, base64_ample::Avx2>(s, dst, out, src, in, stop, last);
}

void EncodeImap(Base64EncoderState& s, unsigned char* dst, unsigned int* out,
                const unsigned char* src, unsigned int* in, unsigned int stop, bool last) {
  base64_ample::Encode<true, base64_ample::Avx2>(s, dst, out, src, in, stop, last);
}

void DecodeUtf7(Base64DecoderState& s, unsigned int* count, unsigned char* dst, unsigned int* out,
                const unsigned char* src, unsigned int* in, unsigned int stop) {
  base64_ample::Decode<false, base64_ample::Avx2>(s, count, dst, out, src, in, stop);
}

void DecodeImap(Base64DecoderState& s, unsigned int* count, unsigned char* dst, unsigned int* out,
                const unsigned char* src, unsigned int* in, unsigned int stop) {
  base64_ample::Decode<true, base64_ample::Avx2>(s, count, dst, out, src, in, stop);
}

}  // namespace base64_avx2
}  // namespace nls

#include "nlscnv/support/avx2_end.h"
#endif  // NLS_HAVE_AVX2

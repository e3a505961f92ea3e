// Vector blocks of the generic single-byte decoder (single_byte_codec.cpp).
#ifndef NLSCNV_CODECS_SINGLE_BYTE_RUNS_H
#define NLSCNV_CODECS_SINGLE_BYTE_RUNS_H

#include <cstddef>

#include "nlscnv/single_byte.h"
#include "nlscnv/support/simd.h"

namespace nls::codecs {

#if defined(NLS_HAVE_AVX2)
// Decodes src[0..n) through the table in blocks of 32 bytes and returns how
// many bytes it decoded: a multiple of 32, stopping before the first block
// that holds an undefined byte.
size_t DecodeSingleByteBlocksAvx2(const NLS_SingleByteTable& table, const unsigned char* src,
                                  unsigned char* dst, size_t n);
#endif
#if defined(NLS_HAVE_AVX512)
// The same in blocks of 64 bytes.
size_t DecodeSingleByteBlocksAvx512(const NLS_SingleByteTable& table, const unsigned char* src,
                                    unsigned char* dst, size_t n);
#endif

}  // namespace nls::codecs

#endif  // NLSCNV_CODECS_SINGLE_BYTE_RUNS_H

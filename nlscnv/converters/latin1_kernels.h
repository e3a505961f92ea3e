// Byte <-> UCS-2 widening and narrowing of whole buffers: the loops behind
// ISO-8859-1, and anything else that maps bytes to the characters of the
// same number. The vector forms give the same bytes as the plain loops and
// are chosen by the instruction-set level in force (simd.h).
#ifndef NLSCNV_CONVERTERS_LATIN1_KERNELS_H
#define NLSCNV_CONVERTERS_LATIN1_KERNELS_H

#include "nlscnv.h"

namespace nls {

// Writes n UCS-2 units (machine byte order) to dst, unit i being src[i].
// dst holds 2n bytes; the buffers do not overlap; any alignment.
void WidenBytes(unsigned char* dst, const unsigned char* src, unsigned n);

// Writes n bytes to dst, byte i being the low eight bits of the unit at
// src + 2i. The buffers do not overlap; any alignment.
void NarrowUnits(unsigned char* dst, const unsigned char* src, unsigned n);

namespace widen_detail {
void WidenAvx2(unsigned char* dst, const unsigned char* src, unsigned n);
void NarrowAvx2(unsigned char* dst, const unsigned char* src, unsigned n);
void WidenAvx512(unsigned char* dst, const unsigned char* src, unsigned n);
void NarrowAvx512(unsigned char* dst, const unsigned char* src, unsigned n);
}  // namespace widen_detail

}  // namespace nls

#endif  // NLSCNV_CONVERTERS_LATIN1_KERNELS_H

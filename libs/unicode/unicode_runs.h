// Vector blocks of the fixed-order Unicode forms at the AVX2 level
// (unicode_runs_avx2.cpp; x86-64 only). Each returns how many whole blocks'
// worth of units or values it converted: `n` bytes of 16-bit units for a
// copy, `values` 32-bit values narrowed to units, `units` 16-bit units
// widened to values. `swap`: the form's byte order is not the machine's.
// A copy checks for surrogates in the machine's order: after the swap when
// decoding, before it when encoding.
#ifndef NLSCNV_LIBS_UNICODE_UNICODE_RUNS_H
#define NLSCNV_LIBS_UNICODE_UNICODE_RUNS_H

#include <cstddef>

namespace nls_unicode {

#if defined(__x86_64__) && defined(__GNUC__)
#define NLS_UNICODE_HAVE_AVX2 1
size_t CopyUnitsAvx2(unsigned char* dst, const unsigned char* src, size_t n, bool swap,
                     bool decode);
size_t NarrowValuesAvx2(unsigned char* dst, const unsigned char* src, size_t values, bool swap);
size_t WidenUnitsAvx2(unsigned char* dst, const unsigned char* src, size_t units, bool swap);
#endif

}  // namespace nls_unicode

#endif  // NLSCNV_LIBS_UNICODE_UNICODE_RUNS_H

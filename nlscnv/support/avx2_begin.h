// Builds the functions that follow, up to nlscnv/support/avx2_end.h, for
// AVX2 (chosen at run time, simd.h). Include it after every other header, so
// that only the loops of the file are built for AVX2. No include guard: each
// use is one region.
#if defined(__clang__)
#pragma clang attribute push(__attribute__((target("avx2"))), apply_to = function)
#else
#pragma GCC push_options
#pragma GCC target("avx2")
#endif

// Builds the functions that follow, up to nlscnv/support/avx512_end.h, for
// AVX-512 with byte permutes (chosen at run time, simd.h). Include it after
// every other header. No include guard: each use is one region.
#if defined(__clang__)
#pragma clang attribute push(__attribute__((target("avx2,avx512f,avx512bw,avx512vl,avx512vbmi"))), \
                             apply_to = function)
#else
#pragma GCC push_options
#pragma GCC target("avx2,avx512f,avx512bw,avx512vl,avx512vbmi")
#endif

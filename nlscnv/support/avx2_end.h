// Ends the AVX2 region opened by nlscnv/support/avx2_begin.h.
#if defined(__clang__)
#pragma clang attribute pop
#else
#pragma GCC pop_options
#endif

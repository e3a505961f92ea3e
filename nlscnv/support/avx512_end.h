// Ends the AVX-512 region opened by nlscnv/support/avx512_begin.h.
#if defined(__clang__)
#pragma clang attribute pop
#else
#pragma GCC pop_options
#endif

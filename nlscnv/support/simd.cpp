#include "nlscnv/support/simd.h"

#include <atomic>

#include "nlscnv/codec.h"

namespace nls {
namespace simd {
namespace {

int Supported() {
  int level = kScalar;
#if defined(NLS_HAVE_SSE2)
  level = kSse2;
#endif
#if defined(NLS_HAVE_AVX2)
  __builtin_cpu_init();
  if (__builtin_cpu_supports("avx2")) level = kAvx2;
#endif
#if defined(NLS_HAVE_AVX512)
  if (level == kAvx2 && __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vl") &&
      __builtin_cpu_supports("avx512vbmi"))
    level = kAvx512;
#endif
  return level;
}

std::atomic<int> gLevel{-1};

}  // namespace

int Level() {
  int level = gLevel.load(std::memory_order_relaxed);
  if (level < 0) {
    level = Supported();
    gLevel.store(level, std::memory_order_relaxed);
  }
  return level;
}

int SetLevel(int level) {
  const int supported = Supported();
  if (level > supported) level = supported;
  if (level < kScalar) level = kScalar;
  gLevel.store(level, std::memory_order_relaxed);
  return level;
}

}  // namespace simd
}  // namespace nls

extern "C" int NLS_VectorLevel(void) { return nls::simd::Level(); }

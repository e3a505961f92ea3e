// Instruction-set level of the vector fast paths, chosen once from what the
// processor offers. Every level produces the same bytes; tests lower the
// level to check each path against the others.
#ifndef NLSCNV_SUPPORT_SIMD_H
#define NLSCNV_SUPPORT_SIMD_H

#include "nlscnv.h"

#if defined(__SSE2__)
#define NLS_HAVE_SSE2 1
#endif
#if defined(__x86_64__) && defined(__GNUC__)
#define NLS_HAVE_AVX2 1    // compiled with a target attribute, used when present
#define NLS_HAVE_AVX512 1  // the same
#endif

namespace nls {
namespace simd {

enum : int {
  kScalar = 0,  // portable C++
  kSse2 = 1,    // 16-byte vectors
  kAvx2 = 2,    // 32-byte vectors
  kAvx512 = 3,  // 64-byte vectors with byte permutes (AVX-512 BW and VBMI)
  kHighest = kAvx512,
};

// The level in force (the highest that the build and the processor allow,
// unless lowered by SetLevel).
int Level();
// Requests a level; it is capped at what the build and the processor allow.
// Returns the level now in force.
int SetLevel(int level);

// The level in force, or `top` if that is lower: for code whose fastest
// paths are below the highest level.
inline int LevelUpTo(int top) {
  const int level = Level();
  return level < top ? level : top;
}

}  // namespace simd
}  // namespace nls

#endif  // NLSCNV_SUPPORT_SIMD_H

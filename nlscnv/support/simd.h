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
#define NLS_HAVE_AVX2 1  // compiled with a target attribute, used when present
#endif

namespace nls {
namespace simd {

enum : int {
  kScalar = 0,  // portable C++
  kSse2 = 1,    // 16-byte vectors
  kAvx2 = 2,    // 32-byte vectors
};

// The level in force (the highest that the build and the processor allow,
// unless lowered by SetLevel).
int Level();
// Requests a level; it is capped at what the build and the processor allow.
// Returns the level now in force.
int SetLevel(int level);

}  // namespace simd
}  // namespace nls

#endif  // NLSCNV_SUPPORT_SIMD_H

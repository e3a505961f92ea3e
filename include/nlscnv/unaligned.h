// Loads and stores of UCS-2 and UCS-4 units at any alignment, in the
// machine's byte order.
#ifndef NLSCNV_UNALIGNED_H
#define NLSCNV_UNALIGNED_H

#include <cstdint>
#include <cstring>

namespace nls {

inline uint16_t LoadUnit16(const unsigned char* p) {
  uint16_t v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

inline void StoreUnit16(unsigned char* p, uint16_t v) { std::memcpy(p, &v, sizeof v); }

inline uint32_t LoadUnit32(const unsigned char* p) {
  uint32_t v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

inline void StoreUnit32(unsigned char* p, uint32_t v) { std::memcpy(p, &v, sizeof v); }

}  // namespace nls

#endif  // NLSCNV_UNALIGNED_H

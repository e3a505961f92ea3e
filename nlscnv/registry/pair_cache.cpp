// The per-thread memory of name pairs that made a converter (see
// TEncodingRegistry::RecallPair).
#include <cstring>

#include "nlscnv/registry/dll_linker.h"
#include "nlscnv/registry/encoding_registry.h"

namespace {

struct PairCacheSlot {
  uint64_t serial = 0;  // 0: empty
  int32_t aliases = 0;
  int32_t encodings = 0;
  TEncodingRegistry::ResolvedPair pair{};
  char from[kNLSNameFieldSize];
  char to[kNLSNameFieldSize];
};
constexpr unsigned kPairCacheSlots = 4;
thread_local PairCacheSlot tPairCache[kPairCacheSlots];
thread_local unsigned tPairCacheNext = 0;

}  // namespace

bool TEncodingRegistry::RecallPair(const char* from, const char* to, ResolvedPair* pair) {
  for (const PairCacheSlot& slot : tPairCache) {
    if (slot.serial != fSerial || std::strcmp(slot.from, from) != 0 ||
        std::strcmp(slot.to, to) != 0 || slot.aliases != AliasCount() ||
        slot.encodings != EncodingCount())
      continue;
    *pair = slot.pair;
    // The entry-point lookups, had they run, would have succeeded; a pair
    // converted in two stages first failed its direct lookup.
    if (fLinker != nullptr) fLinker->fStatus = NLS_OK;
    if (pair->secondFactory != nullptr) fStatus = NLS_E_NO_CONVERSION;
    return true;
  }
  return false;
}

void TEncodingRegistry::RememberPair(const char* from, const char* to, const ResolvedPair& pair) {
  const size_t fromLength = std::strlen(from);
  const size_t toLength = std::strlen(to);
  if (fromLength >= kNLSNameFieldSize || toLength >= kNLSNameFieldSize) return;
  PairCacheSlot& slot = tPairCache[tPairCacheNext];
  tPairCacheNext = (tPairCacheNext + 1) % kPairCacheSlots;
  slot.serial = fSerial;
  slot.aliases = AliasCount();
  slot.encodings = EncodingCount();
  slot.pair = pair;
  std::memcpy(slot.from, from, fromLength + 1);
  std::memcpy(slot.to, to, toLength + 1);
}

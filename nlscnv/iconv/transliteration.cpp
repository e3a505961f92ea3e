#include "nlscnv/iconv/transliteration.h"

#include <algorithm>

namespace nls::iconv {

unsigned TransliterationOf(uint32_t cp, uint32_t* out) {
  const TransliterationEntry* end = kTransliterations + kTransliterationCount;
  const TransliterationEntry* it =
      std::lower_bound(kTransliterations, end, cp,
                       [](const TransliterationEntry& e, uint32_t c) { return e.codePoint < c; });
  if (it == end || it->codePoint != cp) return 0;
  for (unsigned i = 0; i < it->length; ++i) out[i] = kTransliterationPool[it->offset + i];
  return it->length;
}

}  // namespace nls::iconv

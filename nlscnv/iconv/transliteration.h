// Approximations of characters for "//TRANSLIT": compatibility
// decompositions without their combining marks and typographic substitutes.
#ifndef NLSCNV_ICONV_TRANSLITERATION_H
#define NLSCNV_ICONV_TRANSLITERATION_H

#include <cstdint>

namespace nls::iconv {

inline constexpr unsigned kMaxTransliteration = 8;

// Writes the approximation of cp (at most kMaxTransliteration code points)
// and returns its length; 0 when there is none.
unsigned TransliterationOf(uint32_t cp, uint32_t* out);

// The generated table: entries sorted by code point, each naming a slice of
// the pool.
struct TransliterationEntry {
  uint32_t codePoint;
  uint16_t offset;
  uint16_t length;
};
extern const TransliterationEntry kTransliterations[];
extern const unsigned kTransliterationCount;
extern const uint32_t kTransliterationPool[];

}  // namespace nls::iconv

#endif  // NLSCNV_ICONV_TRANSLITERATION_H

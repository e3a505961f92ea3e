// Encoding names that the detection functions write into result records, and
// the Japanese character-set numbers. The names are constants of the library:
// a host compares them or copies them, never frees them.
#ifndef NLSCNV_DETECTION_ENCODING_NAMES_H
#define NLSCNV_DETECTION_ENCODING_NAMES_H

#include "nlscnv/support/encoding_names.h"

namespace nls::detect {

inline constexpr const char* kUtf8 = names::kUtf8;
inline constexpr const char* kIso2022Jp = names::kIso2022Jp;
inline constexpr const char* kShiftJis = names::kShiftJis;
inline constexpr const char* kEucJp = names::kEucJp;
inline constexpr const char* kLatin1 = names::kLatin1;

// Japanese character-set numbers answered by detect_JCSID.
inline constexpr int kCsidIso2022Jp = 515;
inline constexpr int kCsidShiftJis = 260;
inline constexpr int kCsidEucJp = 261;
inline constexpr int kCsidUndecided = 1;
inline constexpr int kCsidNone = 0;

}  // namespace nls::detect

#endif  // NLSCNV_DETECTION_ENCODING_NAMES_H

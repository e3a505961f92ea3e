// Encoding names that the detection functions write into result records. They
// are constants of the library: a host compares them or copies them, never
// frees them.
#ifndef NLSCNV_DETECTION_ENCODING_NAMES_H
#define NLSCNV_DETECTION_ENCODING_NAMES_H

namespace nls::detect {

inline constexpr char kUtf8[] = "UTF-8";
inline constexpr char kIso2022Jp[] = "ISO-2022-JP";
inline constexpr char kShiftJis[] = "Shift_JIS";
inline constexpr char kEucJp[] = "Extended_UNIX_Code_Packed_Format_for_Japanese";
inline constexpr char kLatin1[] = "ISO_8859-1:1987";

// Japanese character-set numbers answered by detect_JCSID.
inline constexpr int kCsidIso2022Jp = 515;
inline constexpr int kCsidShiftJis = 260;
inline constexpr int kCsidEucJp = 261;
inline constexpr int kCsidUndecided = 1;
inline constexpr int kCsidNone = 0;

}  // namespace nls::detect

#endif  // NLSCNV_DETECTION_ENCODING_NAMES_H

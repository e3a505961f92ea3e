// The UTF-8 well-formedness walk shared by AutoDetect_UTF8 and TUTF8Detector.
// It checks only the lead/trail structure of the bytes: overlong forms,
// surrogates and values above U+10FFFF are not examined.
#ifndef NLSCNV_DETECTION_UTF8_SCAN_H
#define NLSCNV_DETECTION_UTF8_SCAN_H

#include <cstdint>

namespace nls::detect {

struct Utf8ScanResult {
  uint32_t sequences;  // complete multi-byte sequences before the walk ended
  bool invalid;        // a byte that can neither start nor continue a sequence
  bool cut;            // the buffer ended inside a sequence (never with invalid)
};

// Trailing bytes announced by a lead byte: 1 for 110xxxxx, 2 for 1110xxxx,
// 3 for 11110xxx, 0 for anything that cannot lead a multi-byte sequence.
inline unsigned Utf8TrailCount(unsigned char lead) {
  if ((lead & 0xE0) == 0xC0) return 1;
  if ((lead & 0xF0) == 0xE0) return 2;
  if ((lead & 0xF8) == 0xF0) return 3;
  return 0;
}

// Walks buffer[0, length) and stops at the first invalid byte.
inline Utf8ScanResult ScanUtf8(const unsigned char* buffer, unsigned int length) {
  Utf8ScanResult scan{0, false, false};
  unsigned needed = 0;  // trailing bytes still expected; 0 = at a lead byte
  for (unsigned int i = 0; i < length; ++i) {
    const unsigned char c = buffer[i];
    if (needed == 0) {
      if (c < 0x80) continue;
      needed = Utf8TrailCount(c);
      if (needed == 0) {
        scan.invalid = true;
        return scan;
      }
    } else if ((c & 0xC0) != 0x80) {
      scan.invalid = true;
      return scan;
    } else if (--needed == 0) {
      ++scan.sequences;
    }
  }
  scan.cut = needed != 0;
  return scan;
}

}  // namespace nls::detect

#endif  // NLSCNV_DETECTION_UTF8_SCAN_H

// Reference detectors for the differential tests, transcribed step by step
// from the written rules of the detection algorithms and kept deliberately
// plain: bytes are read through At(), which answers -1 past the end, so an
// out-of-range read cannot happen here whatever the library does.
#ifndef NLSCNV_TESTS_DETECTION_DETECTION_REFERENCE_H
#define NLSCNV_TESTS_DETECTION_DETECTION_REFERENCE_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "nlscnv.h"
#include "support/test_support.h"

namespace ref {

struct Text {
  const unsigned char* p;
  size_t n;
  int At(size_t k) const { return k < n ? p[k] : -1; }
  Text From(size_t k) const { return k < n ? Text{p + k, n - k} : Text{p, 0}; }
};

inline Text Of(const nls_test::Bytes& b) { return Text{b.data(), b.size()}; }

// Shift_JIS: 1 only Shift_JIS explains it, 0 ruled out, -1 undecided.
inline int Sjis(Text t) {
  size_t i = 0;
  for (;;) {
    const int b = t.At(i);
    if (b < 0) return -1;
    if (b < 0x80) {
      i += 1;
    } else if (b == 0x80) {
      return 0;
    } else if (b <= 0x9F) {
      const int trail = t.At(i + 1);
      if (trail < 0) return -1;
      if (trail < 0x40 || trail > 0xFC) return 0;
      if ((b == 0x8E || b == 0x8F) && trail >= 0xA1) {
        i += 2;
      } else {
        return 1;
      }
    } else if (b <= 0xDF) {
      i += 1;
    } else if (b <= 0xEF) {
      const int trail = t.At(i + 1);
      if (trail < 0) return -1;
      if (trail < 0x40 || trail > 0xFC) return 0;
      i += 2;
    } else {
      return 0;
    }
  }
}

// EUC-JP: same verdicts.
inline int Euc(Text t) {
  size_t i = 0;
  for (;;) {
    const int b = t.At(i);
    if (b < 0) return -1;
    if (b < 0x80 || b == 0xA0) {
      i += 1;
      continue;
    }
    if (b == 0xFF) return 0;
    int need = 1, lo = 0xA1, hi = 0xFE;
    if (b == 0x8E) hi = 0xDF;
    if (b == 0x8F) need = 2;
    for (int k = 1; k <= need; ++k) {
      const int c = t.At(i + k);
      if (c < 0) return -1;
      if (c < lo || c > hi) return 0;
    }
    if (b >= 0xF0) return 1;
    i += 1 + need;
  }
}

inline int Decide(unsigned short def, Text rest) {
  const int e = Euc(rest), s = Sjis(rest);
  if (e == 1) return 261;
  if (s == 1) return 260;
  if (e == 0 && s == -1) return 260;
  if (e == -1 && s == 0) return 261;
  if (rest.n == 0) return 1;
  if (def == 260) return s == -1 ? 260 : 1;
  if (def == 261) return e == -1 ? 261 : 1;
  return e == -1 && s == -1 ? 261 : 1;
}

inline bool JisEscapeAt(Text t, size_t i) {
  if (t.At(i) != 0x1B || t.n - i < 3) return false;
  const int a = t.At(i + 1), b = t.At(i + 2);
  if (a == '$' && (b == 'B' || b == '@')) return true;
  if (a == '(' && (b == 'J' || b == 'I')) return true;
  return t.n - i >= 4 && a == '$' && b == '(' && t.At(i + 3) == 'D';
}

inline int Jcsid(unsigned short def, Text t) {
  const Text nothing{t.p, 0};
  size_t i = 0;
  // Escape scan.
  for (;; ++i) {
    const int b = t.At(i);
    if (b < 0) return Decide(def, nothing);
    if (b >= 0x80 && b != 0xA0) break;
    if (JisEscapeAt(t, i)) return 515;
  }
  // Lead-byte scan; t.At(i) is 0x80 or above here.
  for (;;) {
    const int b = t.At(i);
    if (b == 0x80 || b == 0xFF) return 0;
    if (b >= 0x81 && b <= 0x8D) return 260;
    if (b >= 0xF0) return 261;
    if ((b >= 0x8E && b <= 0x9F) || (b >= 0xA1 && b <= 0xDF)) return Decide(def, t.From(i));
    if (b == 0xA0) {
      i += 1;
    } else {  // 0xE0-0xEF
      const int c = t.At(i + 1);
      if (c < 0) return Decide(def, nothing);
      if (c <= 0x40) return 0;
      if (c <= 0xA0) return 260;
      if (c >= 0xFD) return 261;
      i += 2;
    }
    while (t.At(i) >= 0 && t.At(i) < 0x80) ++i;
    if (t.At(i) < 0) return Decide(def, nothing);
  }
}

struct Utf8Walk {
  uint32_t sequences = 0;
  bool bad = false;      // a byte that fits neither state
  bool inTrail = false;  // the buffer ended inside a sequence
};

inline Utf8Walk WalkUtf8(Text t) {
  Utf8Walk w;
  int need = 0;
  for (size_t i = 0; i < t.n; ++i) {
    const int b = t.p[i];
    if (!w.inTrail) {
      if (b < 0x80) continue;
      if ((b >> 5) == 0x6) {
        need = 1;
      } else if ((b >> 4) == 0xE) {
        need = 2;
      } else if ((b >> 3) == 0x1E) {
        need = 3;
      } else {
        w.bad = true;
        return w;
      }
      w.inTrail = true;
    } else {
      if ((b >> 6) != 0x2) {
        w.bad = true;
        w.inTrail = false;
        return w;
      }
      if (--need == 0) {
        ++w.sequences;
        w.inTrail = false;
      }
    }
  }
  return w;
}

inline uint32_t JisCount(Text t, bool* bad) {
  uint32_t count = 0;
  *bad = false;
  for (size_t i = 0; i < t.n; ++i) {
    if (t.p[i] >= 0x80) {
      *bad = true;
      break;
    }
    if (JisEscapeAt(t, i)) ++count;
  }
  return count;
}

// The name NLS_DetectEncodingForBuffer reports, or "" for -1016.
inline std::string DetectedName(Text t, uint32_t* confidence) {
  const Utf8Walk w = WalkUtf8(t);
  if (!w.bad && w.sequences > 0) {
    *confidence = w.sequences;
    return "UTF-8";
  }
  *confidence = 1;
  switch (Jcsid(261, t)) {
    case 260:
      return "Shift_JIS";
    case 261:
      return "Extended_UNIX_Code_Packed_Format_for_Japanese";
    case 515:
      return "ISO-2022-JP";
    default:
      *confidence = 0;
      return "";
  }
}

}  // namespace ref

#endif  // NLSCNV_TESTS_DETECTION_DETECTION_REFERENCE_H

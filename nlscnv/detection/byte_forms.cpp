// The encodings that byte structure alone names: byte-order marks, strict
// UTF-8 and CESU-8, UTF-16 and UTF-32 without a mark, and the 7-bit forms
// (ISO-2022 escapes, HZ shifts, UTF-7 base64 runs, plain ASCII).
#include <cstring>

#include "nlscnv.h"
#include "nlscnv/detection/encoding_ranking.h"

namespace nls::detect {

void RankedList::Add(const char* encoding, const char* language, double probability,
                     unsigned bomLength, unsigned flags) {
  for (unsigned i = 0; i < count_; ++i) {
    if (std::strcmp(items_[i].encoding, encoding) == 0) {
      if (probability > items_[i].probability) {
        items_[i] = Ranked{encoding, language, probability, bomLength, flags};
      }
      return;
    }
  }
  if (count_ < kCapacity)
    items_[count_++] = Ranked{encoding, language, probability, bomLength, flags};
}

void RankedList::Finish() {
  // Insertion sort: short list, stable.
  for (unsigned i = 1; i < count_; ++i) {
    const Ranked item = items_[i];
    unsigned j = i;
    while (j > 0 && items_[j - 1].probability < item.probability) {
      items_[j] = items_[j - 1];
      --j;
    }
    items_[j] = item;
  }
}

void TakeCensus(const unsigned char* buf, uint32_t len, ByteCensus* census) {
  // Four histograms side by side avoid a store-to-load chain on runs of one
  // byte value.
  uint32_t h[4][256] = {};
  uint32_t i = 0;
  for (; i + 4 <= len; i += 4) {
    ++h[0][buf[i]];
    ++h[1][buf[i + 1]];
    ++h[2][buf[i + 2]];
    ++h[3][buf[i + 3]];
  }
  for (; i < len; ++i) ++h[0][buf[i]];
  census->high = census->zeros = census->controls = 0;
  for (unsigned b = 0; b < 256; ++b) {
    const uint32_t n = h[0][b] + h[1][b] + h[2][b] + h[3][b];
    census->histogram[b] = n;
    if (b >= 0x80) {
      census->high += n;
    } else if (b == 0) {
      census->zeros += n;
    } else if (b < 0x20 && b != '\t' && b != '\n' && b != '\r' && b != '\f' && b != '\v' &&
               b != 0x1B && b != 0x0E && b != 0x0F) {
      census->controls += n;
    }
  }
}

unsigned ByteOrderMark(const unsigned char* buf, uint32_t len, const char** encoding) {
  if (len >= 3 && buf[0] == 0xEF && buf[1] == 0xBB && buf[2] == 0xBF) {
    *encoding = "UTF-8";
    return 3;
  }
  if (len >= 4 && buf[0] == 0xFF && buf[1] == 0xFE && buf[2] == 0 && buf[3] == 0) {
    *encoding = "UTF-32LE";
    return 4;
  }
  if (len >= 4 && buf[0] == 0 && buf[1] == 0 && buf[2] == 0xFE && buf[3] == 0xFF) {
    *encoding = "UTF-32BE";
    return 4;
  }
  if (len >= 2 && buf[0] == 0xFF && buf[1] == 0xFE) {
    *encoding = "UTF-16LE";
    return 2;
  }
  if (len >= 2 && buf[0] == 0xFE && buf[1] == 0xFF) {
    *encoding = "UTF-16BE";
    return 2;
  }
  return 0;
}

Utf8Verdict CheckUtf8(const unsigned char* buf, uint32_t len) {
  Utf8Verdict v{true, false, 0};
  uint32_t i = 0;
  while (i < len) {
    // Eight ASCII bytes at a time.
    if (i + 8 <= len) {
      uint64_t word;
      std::memcpy(&word, buf + i, 8);
      if ((word & 0x8080808080808080ull) == 0) {
        i += 8;
        continue;
      }
    }
    const unsigned char b = buf[i];
    if (b < 0x80) {
      ++i;
      continue;
    }
    unsigned trail;
    unsigned char lo = 0x80, hi = 0xBF;  // range of the second byte
    if (b >= 0xC2 && b <= 0xDF) {
      trail = 1;
    } else if (b >= 0xE0 && b <= 0xEF) {
      trail = 2;
      if (b == 0xE0) lo = 0xA0;
      if (b == 0xED) {
        // A surrogate pair spelled as two sequences: CESU-8.
        if (i + 5 < len && buf[i + 1] >= 0xA0 && buf[i + 1] <= 0xAF &&
            (buf[i + 2] & 0xC0) == 0x80 && buf[i + 3] == 0xED && buf[i + 4] >= 0xB0 &&
            buf[i + 4] <= 0xBF && (buf[i + 5] & 0xC0) == 0x80) {
          v.cesu = true;
          ++v.sequences;
          i += 6;
          continue;
        }
        hi = 0x9F;
      }
    } else if (b >= 0xF0 && b <= 0xF4) {
      trail = 3;
      if (b == 0xF0) lo = 0x90;
      if (b == 0xF4) hi = 0x8F;
    } else {
      v.valid = false;
      return v;
    }
    for (unsigned k = 1; k <= trail; ++k) {
      if (i + k >= len) {
        // Cut by the end of the buffer: allowed, but no evidence.
        return v;
      }
      const unsigned char c = buf[i + k];
      const bool fits = k == 1 ? (c >= lo && c <= hi) : (c & 0xC0) == 0x80;
      if (!fits) {
        // A lone high surrogate at the end may be the first half of a pair
        // cut by the end of the buffer.
        v.valid = b == 0xED && k == 1 && c >= 0xA0 && c <= 0xAF && i + 6 > len;
        return v;
      }
    }
    ++v.sequences;
    i += trail + 1;
  }
  return v;
}

namespace {

// Code points that real text is made of: the letters, marks and punctuation
// of the world's scripts. Controls, private use, unassigned blocks and
// U+xx00-heavy ranges of reversed text mostly fall outside.
bool Plausible(uint32_t c) {
  if (c < 0x80) return c >= 0x20 ? c < 0x7F : (c == '\t' || c == '\n' || c == '\r');
  if (c < 0xA0) return false;
  if (c < 0x0800) return true;                 // Latin to Syriac, Thaana, NKo
  if (c >= 0x0900 && c < 0x1000) return true;  // Indic, Thai, Lao, Tibetan
  if (c >= 0x10A0 && c < 0x1200) return true;  // Georgian, Hangul Jamo
  if (c >= 0x1E00 && c < 0x2C00) return true;  // Latin and Greek extended, punctuation, symbols
  if (c >= 0x3000 && c < 0xA000) return true;  // CJK
  if (c >= 0xAC00 && c < 0xD7A4) return true;  // Hangul
  if (c >= 0xF900 && c < 0xFB00) return true;
  if (c >= 0xFE30 && c < 0xFFF0) return true;     // forms, half and full width
  if (c >= 0x10000 && c < 0x110000) return true;  // pairs: emoji, rare ideographs
  return false;
}

struct WideReading {
  const char* name;
  uint32_t units;
  uint32_t plausible;
  uint32_t ascii;
  bool valid;
};

WideReading ReadUtf32(const unsigned char* buf, uint32_t len, bool little, const char* name) {
  WideReading r{name, 0, 0, 0, true};
  for (uint32_t i = 0; i + 4 <= len; i += 4) {
    const uint32_t c =
        little ? (buf[i] | buf[i + 1] << 8 | buf[i + 2] << 16 | uint32_t(buf[i + 3]) << 24)
               : (uint32_t(buf[i]) << 24 | buf[i + 1] << 16 | buf[i + 2] << 8 | buf[i + 3]);
    ++r.units;
    if (c > 0x10FFFF || (c >= 0xD800 && c < 0xE000)) {
      r.valid = false;
      return r;
    }
    r.plausible += Plausible(c);
    r.ascii += c < 0x80;
  }
  return r;
}

WideReading ReadUtf16(const unsigned char* buf, uint32_t len, bool little, const char* name) {
  WideReading r{name, 0, 0, 0, true};
  for (uint32_t i = 0; i + 2 <= len; i += 2) {
    const uint32_t u = little ? (buf[i] | buf[i + 1] << 8) : (buf[i] << 8 | buf[i + 1]);
    ++r.units;
    if (u >= 0xD800 && u < 0xDC00) {
      if (i + 4 > len) break;  // cut by the end
      const uint32_t v = little ? (buf[i + 2] | buf[i + 3] << 8) : (buf[i + 2] << 8 | buf[i + 3]);
      if (v < 0xDC00 || v >= 0xE000) {
        r.valid = false;
        return r;
      }
      ++r.units;
      r.plausible += 2;
      i += 2;
      continue;
    }
    if (u >= 0xDC00 && u < 0xE000) {
      r.valid = false;
      return r;
    }
    r.plausible += Plausible(u);
    r.ascii += u < 0x80;
  }
  return r;
}

}  // namespace

bool RankWideForms(const unsigned char* buf, uint32_t len, RankedList* list) {
  if (len < 2) return false;
  WideReading readings[4] = {
      ReadUtf32(buf, len, true, "UTF-32LE"), ReadUtf32(buf, len, false, "UTF-32BE"),
      ReadUtf16(buf, len, true, "UTF-16LE"), ReadUtf16(buf, len, false, "UTF-16BE")};
  bool found = false;
  for (const WideReading& r : readings) {
    if (!r.valid || r.units == 0) continue;
    const double fraction = double(r.plausible) / r.units;
    if (fraction < 0.9) continue;
    // Text in one byte order reads as ASCII in that order and as U+xx00 in
    // the other: the ASCII share settles the order of Latin text.
    const double asciiShare = double(r.ascii) / r.units;
    const double evidence = double(r.units) / (r.units + 2.0);
    list->Add(r.name, nullptr, (0.5 + 0.45 * fraction + 0.05 * asciiShare) * evidence);
    found = true;
  }
  return found;
}

namespace {

struct Iso2022Sets {
  bool jp = false, jp1 = false, jp2 = false, jp3 = false, jp2004 = false;
  bool kr = false, cn = false, cnExt = false;
  bool unknown = false;
  uint32_t escapes = 0;
};

// Reads the designations and single shifts of ISO-2022 text.
Iso2022Sets ReadEscapes(const unsigned char* buf, uint32_t len) {
  Iso2022Sets s;
  for (uint32_t i = 0; i < len; ++i) {
    if (buf[i] != 0x1B) continue;
    const unsigned char a = i + 1 < len ? buf[i + 1] : 0;
    const unsigned char b = i + 2 < len ? buf[i + 2] : 0;
    const unsigned char c = i + 3 < len ? buf[i + 3] : 0;
    ++s.escapes;
    if (a == '(' && (b == 'B' || b == 'J' || b == 'I')) {
      s.jp = true;
    } else if (a == '$' && (b == '@' || b == 'B')) {
      s.jp = true;
    } else if (a == '$' && b == 'A') {
      s.jp2 = true;
    } else if (a == '$' && b == '(') {
      if (c == 'D') {
        s.jp1 = true;
      } else if (c == 'C') {
        s.jp2 = true;
      } else if (c == 'O' || c == 'P') {
        s.jp3 = true;
      } else if (c == 'Q') {
        s.jp2004 = true;
      } else {
        s.unknown = true;
      }
    } else if (a == '.' && (b == 'A' || b == 'F')) {
      s.jp2 = true;
    } else if (a == 'N' || a == 'O') {
      s.jp2 = true;  // single shifts; ISO-2022-CN uses them after ESC $ * / ESC $ +
    } else if (a == '$' && b == ')' && c == 'C') {
      s.kr = true;
    } else if (a == '$' && b == ')' && (c == 'A' || c == 'G' || c == 'E')) {
      s.cn = true;
    } else if (a == '$' && b == '*' && c == 'H') {
      s.cn = true;
    } else if (a == '$' && b == '+' && c >= 'I' && c <= 'M') {
      s.cnExt = true;
    } else {
      s.unknown = true;
    }
  }
  return s;
}

// HZ: every '~' starts ~{ ~} ~~ or ~ newline, and GB 2312 pairs sit between
// ~{ and ~}. Returns the number of pairs, or -1 when the text breaks a rule.
int32_t CountHzPairs(const unsigned char* buf, uint32_t len) {
  bool inGb = false;
  int32_t pairs = 0;
  for (uint32_t i = 0; i < len; ++i) {
    const unsigned char b = buf[i];
    if (b == '~') {
      if (i + 1 >= len) break;
      const unsigned char n = buf[++i];
      if (n == '{' && !inGb) {
        inGb = true;
      } else if (n == '}' && inGb) {
        inGb = false;
      } else if (n != '~' && n != '\n') {
        return -1;
      }
    } else if (inGb) {
      if (b == '\n' || b == '\r') return -1;
      if (i + 1 >= len) break;
      const unsigned char t = buf[++i];
      if (b < 0x21 || b > 0x77 || t < 0x21 || t > 0x7E) return -1;
      ++pairs;
    }
  }
  return pairs;
}

int Base64Value(unsigned char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+') return 62;
  if (c == '/') return 63;
  return -1;
}

// UTF-7: the base64 runs that spell non-ASCII characters, or -1 when a run
// does not spell well-formed UTF-16 (then the '+' was plain text).
int32_t CountUtf7Runs(const unsigned char* buf, uint32_t len) {
  int32_t runs = 0;
  for (uint32_t i = 0; i < len; ++i) {
    if (buf[i] != '+') continue;
    uint32_t j = i + 1;
    if (j < len && buf[j] == '-') {
      i = j;
      continue;
    }
    uint32_t bits = 0, nbits = 0;
    bool nonAscii = false;
    uint32_t pendingHigh = 0;
    uint32_t units = 0;
    for (; j < len; ++j) {
      const int v = Base64Value(buf[j]);
      if (v < 0) break;
      bits = (bits << 6 | uint32_t(v)) & 0xFFFFFF;
      nbits += 6;
      if (nbits >= 16) {
        nbits -= 16;
        const uint32_t u = (bits >> nbits) & 0xFFFF;
        ++units;
        if (pendingHigh) {
          if (u < 0xDC00 || u >= 0xE000) return -1;
          pendingHigh = 0;
          nonAscii = true;
        } else if (u >= 0xD800 && u < 0xDC00) {
          pendingHigh = u;
        } else if (u >= 0xDC00 && u < 0xE000) {
          return -1;
        } else if (!Plausible(u)) {
          return -1;
        } else if (u >= 0x80) {
          nonAscii = true;
        }
      }
    }
    const bool cut = j >= len;
    if (!cut && ((bits & ((1u << nbits) - 1)) != 0 || nbits >= 6 || units == 0)) return -1;
    if (!cut && pendingHigh) return -1;
    if (nonAscii) ++runs;
    i = j;
  }
  return runs;
}

}  // namespace

bool RankSevenBitForms(const unsigned char* buf, uint32_t len, const ByteCensus& census,
                       RankedList* list) {
  if (census.zeros > 0 || census.controls > len / 32) return false;
  if (census.histogram[0x1B] > 0) {
    const Iso2022Sets s = ReadEscapes(buf, len);
    if (!s.unknown) {
      const bool shifts = census.histogram[0x0E] > 0;
      const char* name = nullptr;
      if (s.kr && shifts) {
        name = "ISO-2022-KR";
      } else if ((s.cn || s.cnExt) && shifts) {
        name = s.cnExt ? "ISO-2022-CN-EXT" : "ISO-2022-CN";
      } else if (s.jp2004) {
        name = "ISO-2022-JP-2004";
      } else if (s.jp3) {
        name = "ISO-2022-JP-3";
      } else if (s.jp2) {
        name = "ISO-2022-JP-2";
      } else if (s.jp1) {
        name = "ISO-2022-JP-1";
      } else if (s.jp) {
        name = "ISO-2022-JP";
      }
      if (name) {
        list->Add(name, nullptr, s.escapes >= 2 ? 1.0 : 0.9);
        list->Add("US-ASCII", nullptr, 0.02);
        return true;
      }
    }
  }
  if (census.histogram[static_cast<unsigned char>('~')] > 0) {
    const int32_t pairs = CountHzPairs(buf, len);
    if (pairs > 0) {
      list->Add("HZ-GB-2312", "zh", pairs >= 2 ? 0.98 : 0.8);
      list->Add("US-ASCII", nullptr, pairs >= 2 ? 0.02 : 0.2);
      return true;
    }
  }
  if (census.histogram[static_cast<unsigned char>('+')] > 0) {
    const int32_t runs = CountUtf7Runs(buf, len);
    if (runs > 0) {
      list->Add("UNICODE-1-1-UTF-7", nullptr, runs >= 2 ? 0.98 : 0.85);
      list->Add("US-ASCII", nullptr, runs >= 2 ? 0.02 : 0.15);
      return true;
    }
  }
  list->Add("US-ASCII", nullptr, 1.0);
  return true;
}

}  // namespace nls::detect

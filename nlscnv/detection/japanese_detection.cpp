// Byte-pattern detection of the Japanese encodings (ISO-2022-JP, Shift_JIS,
// EUC-JP) and of UTF-8, without converting anything. Every function reads only
// buffer[0, length), keeps no state and treats a negative length as empty.
#include <cstddef>

#include "nlscnv.h"
#include "nlscnv/detection/encoding_names.h"
#include "nlscnv/detection/utf8_scan.h"

namespace {

using namespace nls::detect;

constexpr unsigned char kEsc = 0x1B;

size_t Span(int length) { return length > 0 ? static_cast<size_t>(length) : 0; }

bool InRange(unsigned char c, unsigned lo, unsigned hi) { return c >= lo && c <= hi; }

// True when one of the five JIS escape sequences (ESC $ B, ESC $ @, ESC ( J,
// ESC ( I, ESC $ ( D) starts at p and lies whole within the `left` bytes.
bool IsJisEscape(const unsigned char* p, size_t left) {
  if (left < 3 || p[0] != kEsc) return false;
  if (p[1] == '$' && (p[2] == 'B' || p[2] == '@')) return true;
  if (p[1] == '(' && (p[2] == 'J' || p[2] == 'I')) return true;
  return left >= 4 && p[1] == '$' && p[2] == '(' && p[3] == 'D';
}

// Checks the `count` bytes that follow position i against [lo, hi], one after
// the other: -1 when the buffer ends first, 0 at a byte out of the range, 1
// when all of them fit.
int CheckFollowing(const unsigned char* buffer, size_t n, size_t i, size_t count, unsigned lo,
                   unsigned hi) {
  for (size_t k = 1; k <= count; ++k) {
    if (i + k >= n) return -1;
    if (!InRange(buffer[i + k], lo, hi)) return 0;
  }
  return 1;
}

// Settles a rest of the buffer that the lead-byte scan left open, from the
// verdicts of the two structural tests and then the caller's default.
int DecideRest(unsigned short defaultCsid, const unsigned char* rest, size_t left) {
  if (left == 0) return kCsidUndecided;  // both tests would say -1
  const int e = isEUCJP(rest, static_cast<int>(left));
  const int s = isSJIS(rest, static_cast<int>(left));
  if (e == 1) return kCsidEucJp;
  if (s == 1) return kCsidShiftJis;
  if (e == 0 && s == -1) return kCsidShiftJis;
  if (e == -1 && s == 0) return kCsidEucJp;
  switch (defaultCsid) {
    case kCsidShiftJis:
      return s == -1 ? kCsidShiftJis : kCsidUndecided;
    case kCsidEucJp:
      return e == -1 ? kCsidEucJp : kCsidUndecided;
    default:
      return e == -1 && s == -1 ? kCsidEucJp : kCsidUndecided;
  }
}

}  // namespace

extern "C" {

int isSJIS(const unsigned char* buffer, int length) {
  const size_t n = Span(length);
  size_t i = 0;
  while (i < n) {
    const unsigned char c = buffer[i];
    if (c < 0x80 || InRange(c, 0xA0, 0xDF)) {  // 7-bit, or single-byte katakana
      ++i;
      continue;
    }
    if (c == 0x80 || c >= 0xF0) return 0;
    // 0x81-0x9F or 0xE0-0xEF: the lead of a double-byte character.
    const int trail = CheckFollowing(buffer, n, i, 1, 0x40, 0xFC);
    if (trail != 1) return trail;
    const unsigned char t = buffer[i + 1];
    // A lead below 0xA0 decides for Shift_JIS, except 0x8E and 0x8F followed by
    // 0xA1 or above: those pairs also read as EUC-JP (katakana, JIS X 0212).
    if (c <= 0x9F && !((c == 0x8E || c == 0x8F) && t >= 0xA1)) return 1;
    i += 2;
  }
  return -1;
}

int isEUCJP(const unsigned char* buffer, int length) {
  const size_t n = Span(length);
  size_t i = 0;
  while (i < n) {
    const unsigned char c = buffer[i];
    if (c < 0x80 || c == 0xA0) {
      ++i;
      continue;
    }
    if (c == 0xFF) return 0;
    // 0x8E: half-width katakana; 0x8F: JIS X 0212 (two more bytes); every
    // other byte up to 0xFE leads a two-byte character.
    const size_t count = c == 0x8F ? 2 : 1;
    const int fit = CheckFollowing(buffer, n, i, count, 0xA1, c == 0x8E ? 0xDF : 0xFE);
    if (fit != 1) return fit;
    if (c >= 0xF0) return 1;  // no Shift_JIS lead lies in 0xF0-0xFE
    i += count + 1;
  }
  return -1;
}

int detect_JCSID(unsigned short defaultCSID, const unsigned char* buffer, int length) {
  const size_t n = Span(length);
  size_t i = 0;
  // 7-bit text (and 0xA0): look for a JIS escape sequence.
  for (; i < n && (buffer[i] < 0x80 || buffer[i] == 0xA0); ++i) {
    if (IsJisEscape(buffer + i, n - i)) return kCsidIso2022Jp;
  }
  // From the first 8-bit byte on, escapes no longer count: classify lead bytes.
  for (; i < n; ++i) {
    const unsigned char c = buffer[i];
    if (c < 0x80 || c == 0xA0) continue;
    if (c == 0x80 || c == 0xFF) return kCsidNone;
    if (c <= 0x8D) return kCsidShiftJis;
    if (c >= 0xF0) return kCsidEucJp;
    if (c >= 0xE0) {
      if (i + 1 >= n) break;
      const unsigned char next = buffer[i + 1];
      if (next <= 0x40) return kCsidNone;
      if (next <= 0xA0) return kCsidShiftJis;
      if (next >= 0xFD) return kCsidEucJp;
      ++i;  // 0xA1-0xFC: a pair that both encodings allow
      continue;
    }
    // 0x8E-0x9F, 0xA1-0xDF: let the structural tests judge the rest.
    return DecideRest(defaultCSID, buffer + i, n - i);
  }
  return DecideRest(defaultCSID, nullptr, 0);
}

void AutoDetect_UTF8(const unsigned char* buffer, unsigned int length,
                     _NLS_AUTO_DETECT_RESULT* result) {
  const Utf8ScanResult scan = ScanUtf8(buffer, length);
  result->encoding = kUtf8;
  result->confidence = scan.sequences;
  result->error = scan.invalid ? 1 : 0;  // a sequence cut by the end is no error here
}

void AutoDetect_JIS(const unsigned char* buffer, unsigned int length,
                    _NLS_AUTO_DETECT_RESULT* result) {
  result->encoding = kIso2022Jp;
  result->confidence = 0;
  result->error = 0;
  for (unsigned int i = 0; i < length; ++i) {
    if (buffer[i] >= 0x80) {
      result->error = 1;
      return;
    }
    if (IsJisEscape(buffer + i, length - i)) ++result->confidence;
  }
}

}  // extern "C"

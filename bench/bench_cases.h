// The benchmark cases shared by the side-by-side program and the
// micro-benchmarks: which corpus file feeds which conversion, the names under
// which nlscnv, ICU and glibc iconv know each encoding, and the helpers that
// load a corpus and cut it into streaming pieces.
#ifndef NLSCNV_BENCH_BENCH_CASES_H
#define NLSCNV_BENCH_BENCH_CASES_H

#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

#include "nlscnv.h"

namespace nls_bench {

using Bytes = std::vector<unsigned char>;

// How ICU is driven for an encoding that it has no converter for.
enum class IcuSpecial { kNone, kEscapedUnicode };

struct Encoding {
  const char* key;    // corpus file suffix
  const char* nls;    // nlscnv name
  const char* icu;    // ICU converter name (nullptr: none)
  const char* iconv;  // glibc iconv name (nullptr: none)
  unsigned unit;      // code unit size in bytes, for cutting streaming pieces
  IcuSpecial special;
};

inline const Encoding kUcs2{"ucs2", "ISO-10646-UCS-2", "UTF-16LE", "UCS-2LE", 2, IcuSpecial::kNone};
inline const Encoding kUtf8{"utf8", "UTF-8", "UTF-8", "UTF-8", 1, IcuSpecial::kNone};
inline const Encoding kUcs4{"ucs4", "ISO-10646-UCS-4", "UTF-32LE", "UCS-4LE", 4, IcuSpecial::kNone};
// The Unicode library's fixed-order forms.
inline const Encoding kUtf16be{"utf16be", "UTF-16BE", "UTF-16BE", "UTF-16BE", 2, IcuSpecial::kNone};
inline const Encoding kUtf16le{"utf16le", "UTF-16LE", "UTF-16LE", "UTF-16LE", 2, IcuSpecial::kNone};
inline const Encoding kUtf32be{"utf32be", "UTF-32BE", "UTF-32BE", "UTF-32BE", 4, IcuSpecial::kNone};
inline const Encoding kUtf32le{"utf32le", "UTF-32LE", "UTF-32LE", "UTF-32LE", 4, IcuSpecial::kNone};
// With a byte-order mark: ICU writes big-endian after it, nlscnv and iconv
// the machine's order.
inline const Encoding kUtf16{"utf16", "UTF-16", "UTF-16", "UTF-16", 2, IcuSpecial::kNone};
inline const Encoding kUtf32{"utf32", "UTF-32", "UTF-32", "UTF-32", 4, IcuSpecial::kNone};
inline const Encoding kUcs2be{"ucs2be", "UCS-2BE", "UTF-16BE", "UCS-2BE", 2, IcuSpecial::kNone};
inline const Encoding kUcs2le{"ucs2le", "UCS-2LE", "UTF-16LE", "UCS-2LE", 2, IcuSpecial::kNone};
inline const Encoding kCesu8{"cesu8", "CESU-8", "CESU-8", nullptr, 1, IcuSpecial::kNone};
inline const Encoding kUtf7{"utf7", "UNICODE-1-1-UTF-7", "UTF-7", "UTF-7", 1, IcuSpecial::kNone};
inline const Encoding kImap{"imap", "IMAP-MODIFIED-UTF-7", "IMAP-mailbox-name", "UTF-7-IMAP",
                            1,      IcuSpecial::kNone};
inline const Encoding kEscaped{"eucs", "ESCAPED_UNICODE",          "US-ASCII", nullptr,
                               1,      IcuSpecial::kEscapedUnicode};
inline const Encoding kLatin1{"latin1", "ISO-8859-1",     "ISO-8859-1", "ISO-8859-1",
                              1,        IcuSpecial::kNone};
inline const Encoding kMacRoman{"macroman", "x-mac-roman",    "macintosh", "MACINTOSH",
                                1,          IcuSpecial::kNone};
inline const Encoding kShiftJis{"sjis",      "Shift_JIS", "Shift_JIS",
                                "SHIFT_JIS", 1,           IcuSpecial::kNone};
inline const Encoding kEucJp{"eucjp", "EUC-JP", "EUC-JP", "EUC-JP", 1, IcuSpecial::kNone};
// JIS X 0213 (ICU has none of its forms).
inline const Encoding kEucJis2004{"eucjis2004",     "EUC-JIS-2004", nullptr, "EUC-JISX0213", 1,
                                  IcuSpecial::kNone};
inline const Encoding kGb2312{"gb2312", "GB2312", "GB2312", "GB2312", 1, IcuSpecial::kNone};
inline const Encoding kBig5{"big5", "Big5", "Big5", "BIG5", 1, IcuSpecial::kNone};
inline const Encoding kIso2022Jp{"iso2022jp", "ISO-2022-JP",    "ISO-2022-JP", "ISO-2022-JP",
                                 1,           IcuSpecial::kNone};
inline const Encoding kEucKr{"euckr", "EUC-KR", "EUC-KR", "EUC-KR", 1, IcuSpecial::kNone};
inline const Encoding kJohab{"johab", "JOHAB", nullptr, "JOHAB", 1, IcuSpecial::kNone};
inline const Encoding kHz{"hz", "HZ-GB-2312", "HZ-GB-2312", nullptr, 1, IcuSpecial::kNone};
inline const Encoding kIso2022Kr{"iso2022kr", "ISO-2022-KR",    "ISO-2022-KR", "ISO-2022-KR",
                                 1,           IcuSpecial::kNone};
inline const Encoding kEucTw{"euctw", "EUC-TW", nullptr, "EUC-TW", 1, IcuSpecial::kNone};
inline const Encoding kIso2022Cn{"iso2022cn", "ISO-2022-CN",    "ISO-2022-CN", "ISO-2022-CN",
                                 1,           IcuSpecial::kNone};
inline const Encoding kCp1251{"cp1251", "windows-1251",   "windows-1251", "CP1251",
                              1,        IcuSpecial::kNone};
inline const Encoding kCp1252{"cp1252", "windows-1252",   "windows-1252", "CP1252",
                              1,        IcuSpecial::kNone};
inline const Encoding kKoi8r{"koi8r", "KOI8-R", "KOI8-R", "KOI8-R", 1, IcuSpecial::kNone};
// Single-byte codec libraries: EBCDIC (no ASCII runs) and an ASCII superset.
inline const Encoding kIbm037{"ibm037", "IBM037", "ibm-37", "IBM037", 1, IcuSpecial::kNone};
inline const Encoding kIbm855{"ibm855", "IBM855", "ibm-855", "IBM855", 1, IcuSpecial::kNone};
inline const Encoding kMacCyrillic{
    "maccyrillic", "x-mac-cyrillic", "x-mac-cyrillic", "MAC-CYRILLIC", 1, IcuSpecial::kNone};
// The vendor forms of the CJK encodings, on the manual-page corpora.
inline const Encoding kCp932{"cp932", "windows-31j", "windows-31j", "CP932", 1, IcuSpecial::kNone};
inline const Encoding kGbk{"gbk", "GBK", "windows-936", "GBK", 1, IcuSpecial::kNone};
inline const Encoding kGb18030{"gb18030", "GB18030", "gb18030", "GB18030", 1, IcuSpecial::kNone};
inline const Encoding kCp950{"cp950", "windows-950", "windows-950", "CP950", 1, IcuSpecial::kNone};
inline const Encoding kBig5Hkscs{"big5hkscs", "Big5-HKSCS",     "big5-hkscs", "BIG5-HKSCS",
                                 1,           IcuSpecial::kNone};
inline const Encoding kCp949{"cp949", "windows-949", "windows-949", "CP949", 1, IcuSpecial::kNone};

struct Case {
  std::string corpus;  // text name: english, french, japanese, ...
  const Encoding* from;
  const Encoding* to;
  std::string Name() const { return std::string(from->key) + "->" + to->key + " " + corpus; }
  // The corpus file that holds the input of this case.
  std::string File(const std::string& dir) const { return dir + "/" + corpus + "." + from->key; }
  bool ToUcs2() const { return to == &kUcs2; }
  bool FromUcs2() const { return from == &kUcs2; }
};

// Every direction against UCS-2 with the corpora that exercise it, then the
// two-stage pairs. Cases whose converter does not exist in this build are
// skipped by the programs (NLS_EncodingConverterExists).
inline std::vector<Case> AllCases() {
  struct Source {
    const char* corpus;
    const Encoding* encoding;
  };
  const Source sources[] = {
      {"english", &kUtf8},        {"french", &kUtf8},       {"japanese", &kUtf8},
      {"japanese", &kUcs4},       {"french", &kUtf7},       {"japanese", &kUtf7},
      {"french", &kImap},         {"japanese", &kImap},     {"french", &kEscaped},
      {"japanese", &kEscaped},    {"english", &kLatin1},    {"french", &kLatin1},
      {"macroman", &kMacRoman},   {"japanese", &kShiftJis}, {"japanese", &kEucJp},
      {"chinese", &kGb2312},      {"traditional", &kBig5},  {"korean", &kEucKr},
      {"japanese", &kIso2022Jp},  {"russian", &kCp1251},    {"russian", &kKoi8r},
      {"french", &kCp1252},       {"ja-man", &kCp932},      {"zh-man", &kGbk},
      {"zh-man", &kGb18030},      {"tw-man", &kCp950},      {"tw-man", &kBig5Hkscs},
      {"ko-man", &kCp949},        {"korean", &kIso2022Kr},  {"korean", &kJohab},
      {"chinese", &kHz},          {"french", &kIbm037},     {"russian", &kMacCyrillic},
      {"russian", &kIbm855},      {"french", &kUtf16be},    {"japanese", &kUtf16be},
      {"japanese", &kUtf16le},    {"japanese", &kUtf32be},  {"japanese", &kCesu8},
      {"french", &kUtf16},        {"japanese", &kUtf16},    {"japanese", &kUtf32},
      {"french", &kUtf32le},      {"japanese", &kUcs2be},   {"japanese", &kUcs2le},
      {"japanese", &kEucJis2004}, {"traditional", &kEucTw}, {"chinese", &kIso2022Cn},
  };
  std::vector<Case> cases;
  for (const Source& s : sources) cases.push_back({s.corpus, s.encoding, &kUcs2});
  for (const Source& s : sources) cases.push_back({s.corpus, &kUcs2, s.encoding});
  cases.push_back({"french", &kLatin1, &kUtf8});
  cases.push_back({"french", &kUtf8, &kLatin1});
  cases.push_back({"japanese", &kShiftJis, &kUtf8});
  cases.push_back({"japanese", &kUtf8, &kShiftJis});
  return cases;
}

inline bool ReadFile(const std::string& path, Bytes* out) {
  FILE* f = std::fopen(path.c_str(), "rb");
  if (f == nullptr) return false;
  out->clear();
  unsigned char chunk[65536];
  size_t n;
  while ((n = std::fread(chunk, 1, sizeof chunk, f)) > 0) out->insert(out->end(), chunk, chunk + n);
  std::fclose(f);
  return true;
}

// Cuts `data` into pieces of at most `limit` bytes that end just after a line
// feed (one code unit of `unit` bytes), so that no piece splits a character
// or a base64 run: a host streams text in such pieces.
inline std::vector<std::pair<size_t, size_t>> Pieces(const Bytes& data, unsigned unit,
                                                     size_t limit) {
  std::vector<std::pair<size_t, size_t>> pieces;
  size_t start = 0;
  while (start < data.size()) {
    size_t end = start + limit < data.size() ? start + limit : data.size();
    if (end < data.size()) {
      size_t cut = end - (end - start) % unit;
      while (cut > start) {
        size_t u = cut - unit;
        bool newline = data[u] == '\n';
        for (unsigned k = 1; k < unit && newline; ++k) newline = data[u + k] == 0;
        if (newline) break;
        cut -= unit;
      }
      if (cut > start) end = cut;
    }
    pieces.emplace_back(start, end - start);
    start = end;
  }
  return pieces;
}

}  // namespace nls_bench

#endif  // NLSCNV_BENCH_BENCH_CASES_H

// NLS_DetectEncodings on cases made with Python's codecs
// (tests/oracle/detect_encodings_vectors.py): byte-order marks, short
// inputs, supersets, the C1 rule, escapes, UTF-16/32 without a mark, and
// held-out catalogue text, where any encoding that decodes a sample to the
// label's text counts as right. Every answer list is also checked for its
// shape: count, ranks, names from the fixed list, languages.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "nlscnv.h"
#include "support/test_support.h"

using nls_test::Bytes;

namespace {

// The canonical names a detector may answer.
const std::set<std::string> kNames = {
    "US-ASCII",         "UTF-8",
    "CESU-8",           "UTF-16LE",
    "UTF-16BE",         "UTF-32LE",
    "UTF-32BE",         "UNICODE-1-1-UTF-7",
    "ISO-2022-JP",      "ISO-2022-JP-1",
    "ISO-2022-JP-2",    "ISO-2022-JP-3",
    "ISO-2022-JP-2004", "ISO-2022-KR",
    "ISO-2022-CN",      "ISO-2022-CN-EXT",
    "HZ-GB-2312",       "Shift_JIS",
    "windows-31j",      "Extended_UNIX_Code_Packed_Format_for_Japanese",
    "GB2312",           "GBK",
    "GB18030",          "Big5",
    "windows-950",      "Big5-HKSCS",
    "EUC-KR",           "windows-949",
    "ISO_8859-1:1987",  "ISO_8859-2:1987",
    "ISO_8859-3:1988",  "ISO_8859-4:1988",
    "ISO_8859-5:1988",  "ISO_8859-6:1987",
    "ISO_8859-7:1987",  "ISO_8859-8:1988",
    "ISO_8859-9:1989",  "ISO-8859-10",
    "ISO-8859-11",      "ISO-8859-13",
    "ISO-8859-14",      "ISO-8859-15",
    "ISO-8859-16",      "windows-1250",
    "windows-1251",     "windows-1252",
    "windows-1253",     "windows-1254",
    "windows-1255",     "windows-1256",
    "windows-1257",     "windows-1258",
    "KOI8-R",           "KOI8-U",
    "IBM437",           "IBM737",
    "IBM775",           "IBM850",
    "IBM852",           "IBM855",
    "IBM857",           "IBM860",
    "IBM861",           "IBM862",
    "IBM863",           "IBM865",
    "IBM866",           "IBM869",
    "IBM1125",          "x-mac-roman",
    "x-mac-ce",         "x-mac-croatian",
    "x-mac-romanian",   "x-mac-cyrillic",
    "x-mac-greek",      "x-mac-turkish",
    "x-mac-iceland",    "x-mac-arabic",
    "x-mac-farsi",      "TIS-620",
    "windows-874",      "KZ-1048",
    "PTCP154"};

struct Case {
  std::string kind;
  std::vector<std::string> names;
  unsigned bom;
  std::string language;
  Bytes data;
};

std::vector<Case> ReadCases() {
  std::ifstream in(nls_test::OraclePath("detect_encodings.txt"));
  std::vector<Case> cases;
  std::string line;
  while (std::getline(in, line)) {
    std::vector<std::string> f;
    std::stringstream fields(line);
    for (std::string x; std::getline(fields, x, '\t');) f.push_back(x);
    if (f.size() < 4) continue;
    Case c{f[0], {}, static_cast<unsigned>(std::stoul(f[2])), f[3], {}};
    std::stringstream names(f[1]);
    for (std::string n; std::getline(names, n, '|');) c.names.push_back(n);
    const std::string hex = f.size() > 4 ? f[4] : "";
    for (size_t i = 0; i + 1 < hex.size(); i += 2) {
      c.data.push_back(static_cast<unsigned char>(std::stoul(hex.substr(i, 2), nullptr, 16)));
    }
    cases.push_back(c);
  }
  return cases;
}

struct Answer {
  int status;
  std::vector<NLS_DetectCandidate> list;
};

// Detects with an exact-size copy (so that the sanitizers see any read past
// the end) and checks the shape of the answer.
Answer Detect(const Bytes& data, unsigned max = 16) {
  const std::vector<unsigned char> copy(data.begin(), data.end());
  std::vector<NLS_DetectCandidate> out(max);
  unsigned count = 999;
  static const unsigned char kEmpty = 0;
  const int st = NLS_DetectEncodings(copy.empty() ? &kEmpty : copy.data(),
                                     static_cast<unsigned>(copy.size()), out.data(), max, &count);
  EXPECT_TRUE(st == 1 || st == -1016) << st;
  EXPECT_EQ(st == 1, count > 0);
  EXPECT_LE(count, max);
  out.resize(std::min(count, max));
  for (size_t i = 0; i < out.size(); ++i) {
    const NLS_DetectCandidate& c = out[i];
    EXPECT_TRUE(c.encoding && kNames.count(c.encoding)) << (c.encoding ? c.encoding : "null");
    EXPECT_LE(c.confidence, 100u);
    if (i > 0) {
      EXPECT_LE(c.confidence, out[i - 1].confidence);
    } else {
      EXPECT_EQ(c.flags & NLS_DETECT_SAME_TEXT, 0u);
    }
    EXPECT_TRUE(!c.language || std::string(c.language).size() == 2) << c.language;
    for (size_t j = 0; j < i; ++j) EXPECT_STRNE(c.encoding, out[j].encoding);
  }
  return Answer{st, out};
}

bool Accepted(const Case& c, const NLS_DetectCandidate& first) {
  return std::find(c.names.begin(), c.names.end(), first.encoding) != c.names.end() &&
         first.bomLength == c.bom;
}

std::string Hex(const Bytes& data) {
  std::string s;
  char b[4];
  for (size_t i = 0; i < data.size() && i < 48; ++i) {
    std::snprintf(b, sizeof b, "%02x", data[i]);
    s += b;
  }
  return s;
}

TEST(DetectEncodings, CasesFromPythonCodecs) {
  const std::vector<Case> cases = ReadCases();
  unsigned checked = 0;
  for (const Case& c : cases) {
    if (c.kind.rfind("heldout", 0) == 0) continue;
    ++checked;
    const Answer a = Detect(c.data);
    SCOPED_TRACE(c.kind + " " + (c.names.empty() ? "-" : c.names[0]) + " " + Hex(c.data));
    if (c.kind == "none") {
      EXPECT_EQ(a.status, -1016);
      continue;
    }
    ASSERT_EQ(a.status, 1);
    if (c.kind == "any") continue;
    if (c.kind == "not") {
      EXPECT_EQ(std::count(c.names.begin(), c.names.end(), a.list[0].encoding), 0);
      continue;
    }
    EXPECT_TRUE(Accepted(c, a.list[0])) << a.list[0].encoding << " bom " << a.list[0].bomLength;
    if (c.language != "-") {
      EXPECT_STREQ(a.list[0].language ? a.list[0].language : "null", c.language.c_str());
    }
  }
  EXPECT_GT(checked, 40u);
}

// Samples of catalogue text the models were not trained on; the bench
// (bench/detect_eval.py) measures the same on many more.
TEST(DetectEncodings, HeldOutText) {
  std::map<std::string, std::pair<unsigned, unsigned>> score;  // kind -> right, total
  for (const Case& c : ReadCases()) {
    if (c.kind.rfind("heldout", 0) != 0) continue;
    const Answer a = Detect(c.data, 4);
    const bool right = a.status == 1 && Accepted(c, a.list[0]);
    score[c.kind].first += right;
    score[c.kind].second += 1;
  }
  ASSERT_EQ(score.size(), 2u);
  for (const auto& [kind, s] : score) {
    SCOPED_TRACE(kind);
    EXPECT_GE(s.second, 150u);
    EXPECT_GE(s.first * 100, s.second * (kind == "heldout-100" ? 90u : 97u))
        << s.first << " of " << s.second;
  }
}

TEST(DetectEncodings, ArgumentsAndLimits) {
  const unsigned char text[] = "Grüße";
  NLS_DetectCandidate out[3];
  unsigned count = 7;
  EXPECT_EQ(NLS_DetectEncodings(nullptr, 3, out, 3, &count), -1009);
  EXPECT_EQ(NLS_DetectEncodings(text, 7, nullptr, 3, &count), -1009);
  EXPECT_EQ(NLS_DetectEncodings(text, 7, out, 0, &count), -1009);
  EXPECT_EQ(NLS_DetectEncodings(text, 7, out, 3, nullptr), -1009);
  EXPECT_EQ(count, 7u);
  // One slot receives the best of the full list.
  const Bytes latin = nls_test::B("Les \xe9l\xe8ves de l'\xe9t\xe9 \xe0 Besan\xe7on.");
  const Answer one = Detect(latin, 1);
  const Answer many = Detect(latin, 16);
  ASSERT_EQ(one.list.size(), 1u);
  ASSERT_GT(many.list.size(), 1u);
  EXPECT_STREQ(one.list[0].encoding, many.list[0].encoding);
  EXPECT_EQ(one.list[0].confidence, many.list[0].confidence);
}

// Every prefix of texts in the multi-byte and Unicode forms: characters cut
// by the end are allowed, and nothing past the length is read.
TEST(DetectEncodings, EveryPrefix) {
  unsigned done = 0;
  for (const Case& c : ReadCases()) {
    if (c.kind != "first" || c.data.size() < 40 || done++ > 24) continue;
    for (size_t n = 0; n <= c.data.size(); n += 1) {
      const Answer a = Detect(Bytes(c.data.begin(), c.data.begin() + n), 8);
      EXPECT_TRUE(n > 0 || a.status == -1016);
    }
  }
  EXPECT_GT(done, 20u);
}

}  // namespace

// Exact conversions from tests/strict/exact_vectors.txt: byte-order marks,
// surrogate pairs, cut sequences and what each path makes of ill-formed
// input. The strict interface must give the listed result for the whole
// input, for every cut into two calls, for single bytes, and with an output
// of one byte at a time; the legacy NLS_ConvertBuffer its listed output.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "strict/strict_harness.h"

namespace nls_test {
namespace {

constexpr char kPivot[] = NLS_PIVOT_ENCODING;

struct Vector {
  int line = 0;
  bool decode = false;
  std::string encoding;
  Bytes input, strict, legacy;
  bool checkLegacy = false;
  int error = 0;  // 0, EILSEQ, EINVAL
  size_t stop = 0;
};

std::vector<std::string> Fields(const std::string& line) {
  std::vector<std::string> out;
  std::stringstream in(line);
  for (std::string f; std::getline(in, f, '|');) {
    const size_t a = f.find_first_not_of(' '), b = f.find_last_not_of(' ');
    out.push_back(a == std::string::npos ? std::string() : f.substr(a, b - a + 1));
  }
  return out;
}

Bytes HexBytes(const std::string& field) {
  std::string digits;
  for (char ch : field)
    if (ch != ' ') digits += ch;
  Bytes out;
  if (digits == "-") return out;
  for (size_t i = 0; i + 1 < digits.size(); i += 2)
    out.push_back(static_cast<unsigned char>(std::stoul(digits.substr(i, 2), nullptr, 16)));
  return out;
}

// Code points as pivot text (UTF-16LE: the machine order of both targets).
Bytes Pivot(const std::string& field) {
  Bytes out;
  std::stringstream in(field);
  for (std::string word; in >> word;)
    if (word != "-") AppendUtf16(&out, static_cast<uint32_t>(std::stoul(word, nullptr, 16)));
  return out;
}

std::vector<Vector> Load() {
  std::ifstream file(NLS_SOURCE_DIR "/tests/strict/exact_vectors.txt");
  std::vector<Vector> vectors;
  std::string line;
  for (int number = 1; std::getline(file, line); ++number) {
    if (line.empty() || line[0] == '#') continue;
    const std::vector<std::string> f = Fields(line);
    EXPECT_TRUE(f.size() == 5 || f.size() == 6) << "line " << number;
    if (f.size() < 5) continue;
    Vector v;
    v.line = number;
    v.decode = f[0] == "decode";
    v.encoding = f[1];
    v.input = v.decode ? HexBytes(f[2]) : Pivot(f[2]);
    v.strict = v.decode ? Pivot(f[3]) : HexBytes(f[3]);
    std::stringstream end(f[4]);
    std::string kind;
    end >> kind >> v.stop;
    EXPECT_TRUE(kind == "ok" || kind == "invalid" || kind == "cut") << "line " << number;
    v.error = kind == "invalid" ? EILSEQ : kind == "cut" ? EINVAL : 0;
    if (kind == "ok") v.stop = v.input.size();
    if (f.size() == 6) {
      v.checkLegacy = true;
      v.legacy = v.decode ? Pivot(f[5]) : HexBytes(f[5]);
    }
    vectors.push_back(v);
  }
  return vectors;
}

class ExactVectors : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { NLS_EncInitialize(nullptr, NLS_BINARY_DIR "/data"); }
};

TEST_F(ExactVectors, StrictInAnyCutAndLegacyWhole) {
  const std::vector<Vector> vectors = Load();
  ASSERT_GT(vectors.size(), 40u);
  for (const Vector& v : vectors) {
    SCOPED_TRACE("exact_vectors.txt line " + std::to_string(v.line));
    const char* to = v.decode ? kPivot : v.encoding.c_str();
    const char* from = v.decode ? v.encoding.c_str() : kPivot;
    Outcome expected;
    expected.output = v.strict;
    expected.error = v.error;
    expected.stop = v.stop;
    const Outcome whole = Convert(Ours(), to, from, v.input);
    EXPECT_TRUE(whole == expected) << Describe(whole) << " vs " << Describe(expected);
    std::vector<std::vector<size_t>> cuts = {{1}};
    for (size_t k = 1; k < v.input.size(); ++k) cuts.push_back({k, v.input.size()});
    for (const auto& pieces : cuts) {
      for (size_t chunk : {0, 1}) {
        const Outcome o = Convert(Ours(), to, from, v.input, pieces, chunk);
        EXPECT_TRUE(o == expected) << "pieces from " << pieces[0] << ", output " << chunk << ": "
                                   << Describe(o) << " vs " << Describe(expected);
      }
    }
    if (!v.checkLegacy) continue;
    Bytes out(4 * v.input.size() + 16);
    unsigned produced = 0;
    EXPECT_EQ(NLS_ConvertBuffer(from, to, v.input.data(), static_cast<unsigned>(v.input.size()),
                                out.data(), static_cast<unsigned>(out.size()), &produced),
              1);
    out.resize(produced);
    EXPECT_EQ(out, v.legacy);
  }
}

}  // namespace
}  // namespace nls_test

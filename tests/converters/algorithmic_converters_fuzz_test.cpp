// Random inputs through the UCS-4, UTF-7, modified UTF-7 and escaped-Unicode
// converters: no write past the output size (guard bytes, and
// AddressSanitizer in that build), only the results each converter may give,
// and draining through random small buffers yields the output of one large
// call.
#include <gtest/gtest.h>

#include <random>
#include <set>
#include <string>

#include "converters/drain.h"
#include "nlscnv/builtin/builtin_module.h"

using nls_test::Bytes;

namespace {

using namespace std::string_literals;

// Inputs are drawn from pieces: bytes, or (for UCS-2 input) 16-bit units.
struct Subject {
  const char* name;
  TEncodingConverter* (*make)();
  unsigned termSize;
  unsigned minProgress;  // room for the largest item
  std::set<int> results;
  std::string bytePieces;        // decoders: input bytes
  std::vector<uint32_t> values;  // UCS-2 or UCS-4 input values
  unsigned valueSize;            // 2 or 4 bytes per value; 0 for byte input
};

std::vector<Subject> Subjects() {
  const std::vector<uint32_t> units = {0x00,   0x09,   0x20,   0x26,   0x2B,  0x2D, 0x2E,
                                       0x41,   0x5C,   0x61,   0x75,   0x7E,  0x7F, 0xE9,
                                       0x263A, 0x4E2D, 0xD83D, 0xDE00, 0xFFFF};
  return {
      {"ucs4 to ucs2",
       NEWUCS4TOUNICODEENCODINGCONVERTER,
       2,
       4,
       {1, 2},
       "",
       {0x41, 0xE9, 0xD800, 0xFFFF, 0x10000, 0x1F600, 0x10FFFF, 0x110000, 0xFFFFFFFF},
       4},
      {"ucs2 to ucs4", NEWUNICODETOUCS4ENCODINGCONVERTER, 4, 8, {1, 2}, "", units, 2},
      {"utf7 to ucs2",
       NEWUTF7TOUNICODEENCODINGCONVERTER,
       2,
       2,
       {1, 2, -1302},
       "++--AGEZz/9.!~\xE9\0"s,
       {},
       0},
      {"ucs2 to utf7", NEWUNICODETOUTF7ENCODINGCONVERTER, 1, 4, {1, 2}, "", units, 2},
      {"mutf7 to ucs2",
       NEWMODIFIEDUTF7TOUNICODEENCODINGCONVERTER,
       2,
       2,
       {1, 2, -1302},
       "&&--AGEZz,9.!~\xE9\0"s,
       {},
       0},
      {"ucs2 to mutf7",
       NEWUNICODETOMODIFIEDUTF7ENCODINGCONVERTER,
       1,
       5,
       {1, 2, -1303},
       "",
       units,
       2},
      {"eucs to ucs2",
       NEWEUCSTOUNICODEENCODINGCONVERTER,
       2,
       6,
       {1, 2},
       "\\\\\\uuu0aF9gx\n\xE9\0"s,
       {},
       0},
      {"ucs2 to eucs", NEWUNICODETOEUCSENCODINGCONVERTER, 1, 8, {1, 2}, "", units, 2},
  };
}

Bytes RandomInput(std::mt19937& rng, const Subject& s) {
  Bytes in;
  const unsigned count = rng() % 40;
  for (unsigned i = 0; i < count; ++i) {
    if (s.valueSize == 0) {
      in.push_back(static_cast<unsigned char>(s.bytePieces[rng() % s.bytePieces.size()]));
      continue;
    }
    const uint32_t v = s.values[rng() % s.values.size()];
    for (unsigned k = 0; k < s.valueSize; ++k) in.push_back(static_cast<unsigned char>(v >> 8 * k));
  }
  return in;
}

class AlgorithmicFuzz : public ::testing::TestWithParam<size_t> {};

TEST_P(AlgorithmicFuzz, StaysInBoundsAndResumes) {
  const Subject s = Subjects()[GetParam()];
  SCOPED_TRACE(s.name);
  TEncodingConverter* c = s.make();
  std::mt19937 rng(static_cast<unsigned>(GetParam()) + 11);
  nls_test::StderrCapture quiet;  // empty output buffers print the diagnostic line
  for (int iter = 0; iter < 1500; ++iter) {
    const Bytes in = RandomInput(rng, s);
    c->Reset();
    nls_test::ConvertResult any = nls_test::ConvertOnce(c, in, rng() % 40, s.termSize);
    ASSERT_TRUE(s.results.count(any.status)) << any.status;
    c->Reset();
    nls_test::ConvertResult whole =
        nls_test::ConvertOnce(c, in, static_cast<unsigned>(in.size() * 8 + 8), s.termSize);
    ASSERT_NE(whole.status, 2);
    ASSERT_TRUE(whole.terminated);
    auto drained = nls_test::DrainRandom(c, in, s.termSize, rng, s.minProgress, 24);
    ASSERT_TRUE(drained.finished);
    ASSERT_EQ(drained.out, whole.out);
    if (drained.lastStatus != 2) {
      ASSERT_EQ(drained.lastStatus, whole.status);
    }
  }
  c->ReleaseEncodingConverter();
}

INSTANTIATE_TEST_SUITE_P(AllConverters, AlgorithmicFuzz, ::testing::Range<size_t>(0, 8));

}  // namespace

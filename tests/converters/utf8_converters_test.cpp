// UTF-8 <-> UCS-2 converters: exact byte examples, the output-size contract,
// resumption through small buffers, and a differential test against Python's
// codecs.
#include <gtest/gtest.h>

#include <random>

#include "nlscnv/builtin/builtin_module.h"
#include "nlscnv/converters/utf8_converters.h"
#include "support/converter_harness.h"

using nls_test::B;
using nls_test::Bytes;
using nls_test::GuardedBuffer;
using nls_test::Ucs2;
using nls_test::Units;

namespace {

using Result = nls_test::ConvertResult;
using nls_test::ConvertOnce;

class Utf8Test : public ::testing::Test {
 protected:
  Result Decode(const Bytes& in, unsigned dstSize = 1024) {
    return ConvertOnce(dec_, in, dstSize, 2);
  }
  Result Encode(const std::vector<uint16_t>& units, unsigned dstSize = 1024) {
    return ConvertOnce(enc_, Ucs2(units), dstSize, 1);
  }
  void TearDown() override {
    dec_->ReleaseEncodingConverter();
    enc_->ReleaseEncodingConverter();
  }
  TEncodingConverter* dec_ = NEWUTF8TOUNICODEENCODINGCONVERTER();
  TEncodingConverter* enc_ = NEWUNICODETOUTF8ENCODINGCONVERTER();
};

TEST(Utf8Tables, OffsetsAreTheAccumulationOfMinimalSequences) {
  for (int trail = 0; trail < 6; ++trail) {
    uint32_t value = 0;
    for (int k = 0; k <= trail; ++k) {
      value += k == 0 ? firstByteMark[trail + 1] : 0x80;
      if (k < trail) value <<= 6;
    }
    EXPECT_EQ(offsetsFromUTF8[trail], value) << trail;
  }
  for (int b = 0; b < 256; ++b) {
    int expected = b < 0xC0 ? 0 : b < 0xE0 ? 1 : b < 0xF0 ? 2 : b < 0xF8 ? 3 : b < 0xFC ? 4 : 5;
    EXPECT_EQ(bytesFromUTF8[b], expected) << b;
  }
}

TEST(Utf8Factories, StatusSizesAndModuleFlag) {
  TEncodingConverter* d = NEWUTF8TOUNICODEENCODINGCONVERTER();
  EXPECT_EQ(gModuleRef, 1u);
  TEncodingConverter* e = NEWUNICODETOUTF8ENCODINGCONVERTER();
  EXPECT_EQ(d->GetStatus(), 1);
  EXPECT_EQ(e->GetStatus(), 1);
  unsigned size = 0;
  d->TargetBufferSize(nullptr, 10, &size);
  EXPECT_EQ(size, 22u);
  e->TargetBufferSize(nullptr, 10, &size);
  EXPECT_EQ(size, 42u);
  d->TargetBufferSize(nullptr, 0, &size);
  EXPECT_EQ(size, 2u);
  d->ReleaseEncodingConverter();
  e->ReleaseEncodingConverter();
}

TEST_F(Utf8Test, DecodesExactExamples) {
  EXPECT_EQ(Units(Decode(B("A")).out), std::vector<uint16_t>{0x41});
  EXPECT_EQ(Units(Decode({0xC3, 0xA9}).out), std::vector<uint16_t>{0xE9});
  EXPECT_EQ(Units(Decode({0xE4, 0xB8, 0xAD}).out), std::vector<uint16_t>{0x4E2D});
  EXPECT_EQ(Units(Decode({0x80}).out), std::vector<uint16_t>{0x80});          // lone trail byte
  EXPECT_EQ(Units(Decode({0xC0, 0x80}).out), std::vector<uint16_t>{0x0000});  // overlong zero
  EXPECT_EQ(Units(Decode({0xC3, 0x41}).out), std::vector<uint16_t>{0x81});    // trail not checked
  // Lead bytes 0xF0 and above: supplementary values become surrogate pairs.
  EXPECT_EQ(Units(Decode({0xF0, 0x9F, 0x98, 0x80}).out), (std::vector<uint16_t>{0xD83D, 0xDE00}));
  EXPECT_EQ(Units(Decode({0xF4, 0x8F, 0xBF, 0xBF}).out), (std::vector<uint16_t>{0xDBFF, 0xDFFF}));
  // Values outside 0x10000-0x10FFFF from such leads give U+FFFD.
  EXPECT_EQ(Units(Decode({0xF4, 0x90, 0x80, 0x80}).out), std::vector<uint16_t>{0xFFFD});
  EXPECT_EQ(Units(Decode({0xF0, 0x80, 0x80, 0x80}).out), std::vector<uint16_t>{0xFFFD});
  EXPECT_EQ(Units(Decode({0xFC, 0x80, 0x80, 0x80, 0x80, 0x80}).out), std::vector<uint16_t>{0xFFFD});
}

TEST_F(Utf8Test, DecoderResultsAndTerminator) {
  Result empty = Decode({}, 2);
  EXPECT_EQ(empty.status, 1);
  EXPECT_TRUE(empty.out.empty());
  EXPECT_TRUE(empty.terminated);
  EXPECT_EQ(Decode({}, 1).status, 2);
  EXPECT_EQ(Decode({}, 0).status, 2);

  Result cut = Decode({0x41, 0xE4, 0xB8});
  EXPECT_EQ(cut.status, -1304);
  EXPECT_EQ(Units(cut.out), std::vector<uint16_t>{0x41});
  EXPECT_EQ(cut.used, 1u);
  EXPECT_TRUE(cut.terminated);

  Result full = Decode(B("abc"), 6);  // three units fill the buffer: no terminator
  EXPECT_EQ(full.status, 2);
  EXPECT_EQ(full.used, 3u);
  EXPECT_EQ(full.out.size(), 6u);

  Result odd = Decode(B("abc"), 7);  // odd size: the terminator is left out
  EXPECT_EQ(odd.status, 2);
  EXPECT_EQ(odd.out.size(), 6u);

  // A pair needs 4 bytes of room; with 3 it stays unconsumed.
  Result pair = Decode({0xF0, 0x9F, 0x98, 0x80}, 3);
  EXPECT_EQ(pair.status, 2);
  EXPECT_EQ(pair.used, 0u);
  EXPECT_TRUE(pair.out.empty());
}

TEST_F(Utf8Test, EncodesExactExamples) {
  EXPECT_EQ(Encode({0xE9}).out, (Bytes{0xC3, 0xA9}));
  EXPECT_EQ(Encode({0x4E2D}).out, (Bytes{0xE4, 0xB8, 0xAD}));
  Result pair = Encode({0xD83D, 0xDE00});
  EXPECT_EQ(pair.out, (Bytes{0xF0, 0x9F, 0x98, 0x80}));
  EXPECT_EQ(pair.used, 4u);
  EXPECT_EQ(Encode({0xDC00}).out, (Bytes{0xED, 0xB0, 0x80}));              // lone low surrogate
  EXPECT_EQ(Encode({0xD800, 0x41}).out, (Bytes{0xED, 0xA0, 0x80, 0x41}));  // unpaired high
  EXPECT_EQ(Encode({0xD800}).out, (Bytes{0xED, 0xA0, 0x80}));              // high at the end
  EXPECT_EQ(Encode({0x7F, 0x80, 0x7FF, 0x800, 0xFFFF}).out,
            (Bytes{0x7F, 0xC2, 0x80, 0xDF, 0xBF, 0xE0, 0xA0, 0x80, 0xEF, 0xBF, 0xBF}));
}

TEST_F(Utf8Test, EncoderResultsAndTerminator) {
  Result three = Encode({0x4E2D}, 3);
  EXPECT_EQ(three.status, 2);
  EXPECT_EQ(three.out, (Bytes{0xE4, 0xB8, 0xAD}));

  Result two = Encode({0x4E2D}, 2);
  EXPECT_EQ(two.status, -1304);
  EXPECT_EQ(two.used, 0u);
  EXPECT_TRUE(two.out.empty());
  EXPECT_TRUE(two.terminated);

  Result odd = ConvertOnce(enc_, Bytes{0x41, 0x00, 0x42}, 16, 1);
  EXPECT_EQ(odd.status, 1);
  EXPECT_EQ(odd.used, 2u);
  EXPECT_EQ(odd.out, B("A"));

  EXPECT_EQ(Encode({0x41}, 0).status, 2);
}

TEST_F(Utf8Test, ResumesThroughEveryOutputSize) {
  Bytes utf8 = B("plain \xC3\xA9t\xC3\xA9 \xE4\xB8\xAD\xE6\x96\x87 \xF0\x9F\x98\x80 end");
  nls_test::ExpectResumeIdentity(dec_, utf8, 2, 4);
  Result units = Decode(utf8);
  nls_test::ExpectResumeIdentity(enc_, units.out, 1, 4);
}

std::vector<std::pair<Bytes, Bytes>> LoadPairs() {
  Bytes file = nls_test::ReadFile(nls_test::OraclePath("utf8_pairs.bin"));
  std::vector<std::pair<Bytes, Bytes>> pairs;
  size_t p = 0;
  auto take = [&](Bytes& out) {
    uint32_t n;
    std::memcpy(&n, &file[p], 4);
    out.assign(file.begin() + p + 4, file.begin() + p + 4 + n);
    p += 4 + n;
  };
  while (p < file.size()) {
    Bytes ucs2, utf8;
    take(ucs2);
    take(utf8);
    pairs.emplace_back(ucs2, utf8);
  }
  return pairs;
}

TEST_F(Utf8Test, AgreesWithPythonCodecs) {
  auto pairs = LoadPairs();
  ASSERT_GT(pairs.size(), 1000u);
  for (const auto& [ucs2, utf8] : pairs) {
    Result e = ConvertOnce(enc_, ucs2, static_cast<unsigned>(ucs2.size() * 2 + 1), 1);
    ASSERT_EQ(e.status, 1);
    ASSERT_EQ(e.out, utf8);
    Result d = ConvertOnce(dec_, utf8, static_cast<unsigned>(utf8.size() * 2 + 2), 2);
    ASSERT_EQ(d.status, 1);
    ASSERT_EQ(d.out, ucs2);
  }
}

// The decoder's ASCII run is a fast path; a plain transcription of the
// general algorithm must give the same units, consumed counts and results for
// any bytes and any output size.
Result ReferenceDecode(const Bytes& in, unsigned dstSize) {
  Result r{1, {}, 0, false};
  unsigned out = 0;
  bool full = false;
  while (r.used < in.size()) {
    unsigned char lead = in[r.used];
    unsigned n = static_cast<unsigned>(bytesFromUTF8[lead]);
    if (r.used + n + 1 > in.size()) {
      r.status = -1304;
      break;
    }
    uint32_t v = 0;
    for (unsigned k = 0; k <= n; ++k) v = (k < n) ? (v + in[r.used + k]) << 6 : v + in[r.used + k];
    v -= offsetsFromUTF8[n];
    std::vector<uint16_t> units;
    if (lead < 0xF0)
      units = {static_cast<uint16_t>(v)};
    else if (v >= 0x10000 && v <= 0x10FFFF)
      units = {static_cast<uint16_t>(0xD800 + ((v - 0x10000) >> 10)),
               static_cast<uint16_t>(0xDC00 + (v & 0x3FF))};
    else
      units = {0xFFFD};
    if (dstSize - out < 2 * units.size()) {
      full = true;
      break;
    }
    for (uint16_t u : units) {
      r.out.push_back(static_cast<unsigned char>(u & 0xFF));
      r.out.push_back(static_cast<unsigned char>(u >> 8));
    }
    out += 2 * static_cast<unsigned>(units.size());
    r.used += n + 1;
  }
  if (dstSize - out < 2)
    r.status = 2;
  else if (full)
    r.status = 2;
  return r;
}

TEST_F(Utf8Test, AsciiFastPathMatchesGeneralAlgorithm) {
  std::mt19937 rng(7);
  for (int iter = 0; iter < 3000; ++iter) {
    Bytes in(rng() % 70);
    for (auto& b : in)
      b = (rng() % 4 == 0) ? static_cast<unsigned char>(rng())
                           : static_cast<unsigned char>(rng() % 0x80);
    unsigned size = rng() % 160;
    Result fast = Decode(in, size);
    Result ref = ReferenceDecode(in, size);
    ASSERT_EQ(fast.status, ref.status);
    ASSERT_EQ(fast.used, ref.used);
    ASSERT_EQ(fast.out, ref.out);
  }
}

}  // namespace

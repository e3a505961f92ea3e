// UCS-4 <-> UCS-2 converters: exact examples, the room and terminator rules,
// the diagnostic line for an empty output buffer, resumption, and Python's
// utf-32-le / utf-16-le codecs as the oracle.
#include <gtest/gtest.h>

#include "converters/oracle_records.h"
#include "nlscnv/builtin/builtin_module.h"
#include "support/converter_harness.h"

using nls_test::Bytes;
using nls_test::ConvertOnce;
using nls_test::Ucs2;
using nls_test::Units;

namespace {

using Result = nls_test::ConvertResult;

Bytes Ucs4(const std::vector<uint32_t>& values) {
  Bytes out(values.size() * 4);
  for (size_t i = 0; i < values.size(); ++i) std::memcpy(&out[4 * i], &values[i], 4);
  return out;
}

class Ucs4Test : public ::testing::Test {
 protected:
  Result Narrow(const Bytes& in, unsigned dstSize = 1024) {
    return ConvertOnce(narrow_, in, dstSize, 2);
  }
  Result Widen(const Bytes& in, unsigned dstSize = 1024) {
    return ConvertOnce(widen_, in, dstSize, 4);
  }
  void TearDown() override {
    narrow_->ReleaseEncodingConverter();
    widen_->ReleaseEncodingConverter();
  }
  TEncodingConverter* narrow_ = NEWUCS4TOUNICODEENCODINGCONVERTER();
  TEncodingConverter* widen_ = NEWUNICODETOUCS4ENCODINGCONVERTER();
};

TEST_F(Ucs4Test, FactoriesAndBufferSizes) {
  EXPECT_EQ(narrow_->GetStatus(), 1);
  EXPECT_EQ(widen_->GetStatus(), 1);
  unsigned size = 0;
  narrow_->TargetBufferSize(nullptr, 10, &size);
  EXPECT_EQ(size, 22u);
  widen_->TargetBufferSize(nullptr, 10, &size);
  EXPECT_EQ(size, 42u);
}

TEST_F(Ucs4Test, NarrowsExactExamples) {
  Result r = Narrow({0x41, 0, 0, 0, 0xE9, 0, 0, 0});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(Units(r.out), (std::vector<uint16_t>{0x41, 0xE9}));
  EXPECT_TRUE(r.terminated);

  // Supplementary values become surrogate pairs, values past 0x10FFFF U+FFFD;
  // surrogate code points pass unchanged.
  r = Narrow(Ucs4({0x1F600, 0x10FFFF, 0x10000, 0x110000, 0xFFFFFFFF, 0xD800, 0xFFFF}));
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(Units(r.out), (std::vector<uint16_t>{0xD83D, 0xDE00, 0xDBFF, 0xDFFF, 0xD800, 0xDC00,
                                                 0xFFFD, 0xFFFD, 0xD800, 0xFFFF}));

  r = Narrow({0x41, 0, 0, 0, 0x42, 0});  // a partial unit is never consumed
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.used, 4u);
  EXPECT_EQ(Units(r.out), std::vector<uint16_t>{0x41});
}

TEST_F(Ucs4Test, NarrowingRoom) {
  const Bytes three = Ucs4({0x61, 0x62, 0x63});
  Result r = Narrow(three, 8);  // 2n + 2: all units and the terminator
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out.size(), 6u);
  EXPECT_TRUE(r.terminated);
  r = Narrow(three, 6);  // 2n: the last unit waits
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.used, 8u);
  EXPECT_EQ(Units(r.out), (std::vector<uint16_t>{0x61, 0x62}));
  EXPECT_TRUE(r.terminated);

  // A pair needs 4 bytes of room; the terminator is left out when it no
  // longer fits.
  r = Narrow(Ucs4({0x1F600}), 4);
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(Units(r.out), (std::vector<uint16_t>{0xD83D, 0xDE00}));
  EXPECT_FALSE(r.terminated);
  r = Narrow(Ucs4({0x1F600}), 3);
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.used, 0u);
  EXPECT_TRUE(r.out.empty());
  EXPECT_TRUE(r.terminated);
}

TEST_F(Ucs4Test, WidensExactExamples) {
  Result r = Widen(Ucs2({0x4E2D}));
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, (Bytes{0x2D, 0x4E, 0, 0}));
  EXPECT_TRUE(r.terminated);

  // Each unit on its own: a pair stays two 32-bit values.
  r = Widen(Ucs2({0xD83D, 0xDE00, 0xFFFF}));
  EXPECT_EQ(r.out, Ucs4({0xD83D, 0xDE00, 0xFFFF}));

  r = Widen({0x41, 0x00, 0x42});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.used, 2u);
  EXPECT_EQ(r.out, Ucs4({0x41}));
}

TEST_F(Ucs4Test, WideningRoom) {
  const Bytes two = Ucs2({0x61, 0x62});
  Result r = Widen(two, 12);  // 4n + 4
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, Ucs4({0x61, 0x62}));
  EXPECT_TRUE(r.terminated);
  r = Widen(two, 11);
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.used, 2u);
  EXPECT_EQ(r.out, Ucs4({0x61}));
  EXPECT_TRUE(r.terminated);
  r = Widen(two, 7);  // not even one unit with its terminator
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.used, 0u);
  EXPECT_TRUE(r.terminated);
}

TEST_F(Ucs4Test, EmptyOutputBufferPrintsTheDirectionsLine) {
  for (const bool emptyInput : {false, true}) {
    const Bytes in = emptyInput ? Bytes{} : Ucs4({0x41});
    nls_test::StderrCapture capture;
    Result n = Narrow(in, 0);
    std::string narrowText = capture.Text();
    Result w = Widen(Bytes(in.begin(), in.begin() + static_cast<long>(in.size() / 2)), 0);
    std::string all = capture.Text();
    capture.Restore();
    EXPECT_EQ(narrowText, nls_test::AssertText(34, "ucs4cn"));
    EXPECT_EQ(all, nls_test::AssertText(34, "ucs4cn") + nls_test::AssertText(67, "ucs4cn"));
    EXPECT_EQ(n.status, emptyInput ? 1 : 2);
    EXPECT_EQ(w.status, emptyInput ? 1 : 2);
    EXPECT_EQ(n.used, 0u);
    EXPECT_EQ(w.used, 0u);
  }
  // Any room at all: no line.
  nls_test::StderrCapture capture;
  Narrow(Ucs4({0x41}), 1);
  Widen(Ucs2({0x41}), 1);
  EXPECT_EQ(capture.Text(), "");
}

TEST_F(Ucs4Test, ResumesThroughEveryOutputSize) {
  const Bytes ucs4 = Ucs4({0x41, 0xE9, 0x1F600, 0x4E2D, 0x110000, 0x10FFFF, 0x20, 0xD800, 0x7A});
  nls_test::ExpectResumeIdentity(narrow_, ucs4, 2, 4);
  nls_test::ExpectResumeIdentity(widen_, Narrow(ucs4).out, 4, 8);
}

TEST_F(Ucs4Test, AgreesWithPythonCodecs) {
  auto narrowing = nls_test::LoadRecords("ucs4_narrowing.bin", 2);
  ASSERT_GT(narrowing.size(), 1000u);
  for (const auto& rec : narrowing) {
    Result r = Narrow(rec[0], static_cast<unsigned>(rec[1].size() + 2));
    ASSERT_EQ(r.status, 1);
    ASSERT_EQ(r.out, rec[1]);
    ASSERT_TRUE(r.terminated);
  }
  auto widening = nls_test::LoadRecords("ucs4_widening.bin", 2);
  ASSERT_GT(widening.size(), 1000u);
  for (const auto& rec : widening) {
    Result r = Widen(rec[0], static_cast<unsigned>(rec[1].size() + 4));
    ASSERT_EQ(r.status, 1);
    ASSERT_EQ(r.out, rec[1]);
    ASSERT_TRUE(r.terminated);
  }
}

}  // namespace

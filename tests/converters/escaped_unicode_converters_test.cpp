// Escaped-Unicode <-> UCS-2 converters: exact examples, the reading rules for
// incomplete escapes, a replaced toHex, room and terminator rules, the
// diagnostic lines, resumption, and vectors from an independent reference
// written in Python.
#include <gtest/gtest.h>

#include <string>

#include "converters/oracle_records.h"
#include "nlscnv/builtin/builtin_module.h"
#include "nlscnv/converters/escaped_unicode_converters.h"
#include "support/converter_harness.h"

using nls_test::B;
using nls_test::Bytes;
using nls_test::ConvertOnce;
using nls_test::Ucs2;
using nls_test::Units;

namespace {

using Result = nls_test::ConvertResult;
using U16 = std::vector<uint16_t>;

class EscapedUnicodeTest : public ::testing::Test {
 protected:
  Result Read(const Bytes& in, unsigned dstSize = 4096) {
    return ConvertOnce(reader_, in, dstSize, 2);
  }
  Result Write(const U16& units, unsigned dstSize = 4096) {
    return ConvertOnce(writer_, Ucs2(units), dstSize, 1);
  }
  U16 ReadUnits(const std::string& text) {
    Result r = Read(B(text));
    EXPECT_EQ(r.status, 1) << text;
    EXPECT_EQ(r.used, text.size()) << text;
    EXPECT_TRUE(r.terminated) << text;
    return Units(r.out);
  }
  void TearDown() override {
    reader_->ReleaseEncodingConverter();
    writer_->ReleaseEncodingConverter();
  }
  TEncodingConverter* reader_ = NEWEUCSTOUNICODEENCODINGCONVERTER();
  TEncodingConverter* writer_ = NEWUNICODETOEUCSENCODINGCONVERTER();
};

TEST_F(EscapedUnicodeTest, FactoriesAndBufferSizes) {
  EXPECT_EQ(reader_->GetStatus(), 1);
  EXPECT_EQ(writer_->GetStatus(), 1);
  unsigned size = 0;
  reader_->TargetBufferSize(nullptr, 10, &size);
  EXPECT_EQ(size, 22u);
  writer_->TargetBufferSize(nullptr, 10, &size);
  EXPECT_EQ(size, 82u);
}

TEST_F(EscapedUnicodeTest, WritesExactExamples) {
  Result r = Write({0x41, 0xE9, 0x0A});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, (Bytes{0x41, 0x5C, 0x75, 0x30, 0x30, 0x45, 0x39, 0x0A}));
  EXPECT_TRUE(r.terminated);
  EXPECT_EQ(Write({0x4E2D}).out, B("\\u4E2D"));
  EXPECT_EQ(Write({0x7F, 0x00, 0x5C, 0x7E, 0x09, 0x0D, 0x20}).out,
            B(std::string("\\u007F\\u0000\\~\t\r ")));
  EXPECT_EQ(Write({0xFFFF, 0xABCD, 0x1F}).out, B("\\uFFFF\\uABCD\\u001F"));

  r = Write({}, 1);
  EXPECT_EQ(r.status, 1);
  EXPECT_TRUE(r.terminated);
  r = ConvertOnce(writer_, Bytes{0x41, 0x00, 0x42}, 16, 1);  // odd byte stays
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.used, 2u);
  EXPECT_EQ(r.out, B("A"));
}

// A derived writer changes the digits through toHex.
class LowerCaseWriter : public TUnicodeToEUCSConverter {
 public:
  // The most derived class constructs the virtual base.
  LowerCaseWriter()
      : TEncodingConverter("ISO-10646-UCS-2", "ESCAPED_UNICODE", nullptr, nullptr, nullptr, 0, 8,
                           nullptr, 0, 1) {}
  char toHex(unsigned short value) override { return "0123456789abcdef"[value & 0xF]; }
};

TEST_F(EscapedUnicodeTest, DigitsComeFromToHex) {
  TUnicodeToEUCSConverter plain;
  for (unsigned short v = 0; v < 16; ++v)
    EXPECT_EQ(plain.toHex(static_cast<unsigned short>(v | 0x30)), "0123456789ABCDEF"[v]);
  LowerCaseWriter lower;
  Result r = ConvertOnce(&lower, Ucs2({0xABCD, 0x41, 0x00EF}), 64, 1);
  EXPECT_EQ(r.out, B("\\uabcdA\\u00ef"));
}

TEST_F(EscapedUnicodeTest, WriterRoom) {
  // 8 bytes of room per unit, whatever its length.
  Result r = Write({0xE9}, 7);
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.used, 0u);
  EXPECT_TRUE(r.out.empty());
  EXPECT_TRUE(r.terminated);
  r = Write({0x41, 0x42}, 8);
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.out, B("A"));
  r = Write({0x41, 0xE9}, 14);
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, B("A\\u00E9"));
  EXPECT_TRUE(r.terminated);
}

TEST_F(EscapedUnicodeTest, ReadsExactExamples) {
  for (const char* e : {"\\u00e9", "\\u00E9", "\\uuu00E9"}) EXPECT_EQ(ReadUnits(e), U16{0xE9}) << e;
  EXPECT_EQ(ReadUnits("\\n"), (U16{0x5C, 0x6E}));
  EXPECT_EQ(ReadUnits("\\\\u0041"), (U16{0x5C, 0x5C, 0x75, 0x30, 0x30, 0x34, 0x31}));
  EXPECT_EQ(ReadUnits("a\\u4e2Dz"), (U16{0x61, 0x4E2D, 0x7A}));
  EXPECT_EQ(ReadUnits("\\u00411"), (U16{0x41, 0x31}));  // four digits at most
  EXPECT_EQ(ReadUnits("\\\xE9"), (U16{0x5C, 0xE9}));
  EXPECT_EQ(Read({0x80, 0xE9, 0xFF}).out, Ucs2({0x80, 0xE9, 0xFF}));

  Result empty = ConvertOnce(reader_, {}, 2, 2);
  EXPECT_EQ(empty.status, 1);
  EXPECT_TRUE(empty.terminated);
}

TEST_F(EscapedUnicodeTest, IncompleteEscapes) {
  // A non-digit ends the escape with the digits so far, then begins the next
  // item.
  EXPECT_EQ(ReadUnits("\\u12x"), (U16{0x12, 0x78}));
  EXPECT_EQ(ReadUnits("\\ug"), (U16{0x00, 0x67}));
  EXPECT_EQ(ReadUnits("\\u9\\u0041"), (U16{0x09, 0x41}));
  EXPECT_EQ(ReadUnits("\\u\\n"), (U16{0x00, 0x5C, 0x6E}));
  // Cut by the end of the input: text, byte by byte.
  EXPECT_EQ(ReadUnits("\\"), U16{0x5C});
  EXPECT_EQ(ReadUnits("a\\u"), (U16{0x61, 0x5C, 0x75}));
  EXPECT_EQ(ReadUnits("\\uu00E"), (U16{0x5C, 0x75, 0x75, 0x30, 0x30, 0x45}));
  EXPECT_EQ(ReadUnits("\\u\\u12"), (U16{0x00, 0x5C, 0x75, 0x31, 0x32}));
}

TEST_F(EscapedUnicodeTest, ReaderRoom) {
  // An item is stored only with its units and the terminator.
  Result r = Read(B("\\n"), 5);
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.used, 0u);
  EXPECT_TRUE(r.terminated);
  r = Read(B("\\n"), 6);
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(Units(r.out), (U16{0x5C, 0x6E}));
  r = Read(B("ab\\u00E9c"), 8);
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.used, 8u);
  EXPECT_EQ(Units(r.out), (U16{0x61, 0x62, 0xE9}));
  EXPECT_TRUE(r.terminated);
  for (const char* item : {"\\u00E9", "\\u12x", "\\u", "x"}) {
    r = Read(B(item), 3);
    EXPECT_EQ(r.status, 2) << item;
    EXPECT_EQ(r.used, 0u) << item;
    EXPECT_TRUE(r.out.empty()) << item;
  }
  r = Read(B("ab"), 5);
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.used, 1u);
}

TEST_F(EscapedUnicodeTest, EmptyOutputBufferPrintsTheDirectionsLine) {
  nls_test::StderrCapture capture;
  Result w = Write({0x41}, 0);
  const std::string writeText = capture.Text();
  Result r = Read(B("A"), 0);
  const std::string all = capture.Text();
  Result emptyRead = ConvertOnce(reader_, {}, 0, 2);
  const std::string withEmpty = capture.Text();
  capture.Restore();
  EXPECT_EQ(writeText, nls_test::AssertText(155, "eucscn"));
  EXPECT_EQ(all, writeText + nls_test::AssertText(97, "eucscn"));
  EXPECT_EQ(withEmpty, all + nls_test::AssertText(97, "eucscn"));
  EXPECT_EQ(w.status, 2);
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(emptyRead.status, 1);
  EXPECT_EQ(w.used + r.used, 0u);
}

TEST_F(EscapedUnicodeTest, ResumesThroughEveryOutputSize) {
  const U16 text = {0x41, 0xE9, 0x5C, 0x6E, 0x4E2D, 0x0A, 0x20, 0x00, 0x7E, 0xFFFF, 0x7A};
  nls_test::ExpectResumeIdentity(writer_, Ucs2(text), 1, 8);
  Result written = Write(text);
  nls_test::ExpectResumeIdentity(reader_, written.out, 2, 6);
  nls_test::ExpectResumeIdentity(reader_, B("\\u12x\\n\\\\\xE9\\uuuABCD\\ug\\u00"), 2, 6);
}

TEST_F(EscapedUnicodeTest, AgreesWithReference) {
  auto writing = nls_test::LoadRecords("escaped_writing.bin", 2);
  ASSERT_GT(writing.size(), 1000u);
  for (const auto& rec : writing) {
    Result w = ConvertOnce(writer_, rec[0], static_cast<unsigned>(rec[1].size() + 8), 1);
    ASSERT_EQ(w.status, 1);
    ASSERT_EQ(w.out, rec[1]);
  }
  auto reading = nls_test::LoadRecords("escaped_reading.bin", 2);
  ASSERT_GT(reading.size(), 1000u);
  for (const auto& rec : reading) {
    Result r = ConvertOnce(reader_, rec[0], static_cast<unsigned>(rec[1].size() + 2), 2);
    ASSERT_EQ(r.status, 1) << std::string(rec[0].begin(), rec[0].end());
    ASSERT_EQ(r.out, rec[1]) << std::string(rec[0].begin(), rec[0].end());
    ASSERT_TRUE(r.terminated);
  }
}

}  // namespace

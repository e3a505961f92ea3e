// The exported detection calls: which of the two tests wins, what the record
// and the count receive, and that a refusal leaves the record alone.
#include <gtest/gtest.h>

#include <cstring>

#include "nlscnv.h"
#include "support/test_support.h"

using nls_test::B;
using nls_test::Bytes;

namespace {

constexpr char kEucName[] = "Extended_UNIX_Code_Packed_Format_for_Japanese";

struct Detection {
  int status;
  unsigned count;
  _NLS_AUTO_DETECT_RESULT result;
};

Detection Detect(const Bytes& b) {
  Detection d{0, 77, {"untouched", 55, 0x5A5A5A5A, -9}};
  d.status = NLS_DetectEncodingForBuffer(b.data(), static_cast<unsigned>(b.size()), &d.result,
                                         0xFFFFFFFFu, &d.count);
  EXPECT_EQ(d.result.reserved, 0x5A5A5A5A);
  return d;
}

void ExpectFound(const Bytes& b, const char* name, uint32_t confidence) {
  const Detection d = Detect(b);
  EXPECT_EQ(d.status, 1);
  EXPECT_EQ(d.count, 1u);
  EXPECT_STREQ(d.result.encoding, name);
  EXPECT_EQ(d.result.confidence, confidence);
  EXPECT_EQ(d.result.error, 0);
}

void ExpectNothing(const Bytes& b) {
  const Detection d = Detect(b);
  EXPECT_EQ(d.status, -1016);
  EXPECT_EQ(d.count, 0u);
  EXPECT_STREQ(d.result.encoding, "untouched");
  EXPECT_EQ(d.result.confidence, 55u);
  EXPECT_EQ(d.result.error, -9);
}

TEST(DetectEncodingForBuffer, Utf8WithMultiByteContentWins) {
  // 日本語です
  ExpectFound(
      {0xE6, 0x97, 0xA5, 0xE6, 0x9C, 0xAC, 0xE8, 0xAA, 0x9E, 0xE3, 0x81, 0xA7, 0xE3, 0x81, 0x99},
      "UTF-8", 5);
  ExpectFound({'c', 'a', 'f', 0xC3, 0xA9}, "UTF-8", 1);
  // A JIS escape first would make the Japanese test say ISO-2022-JP.
  ExpectFound({0x1B, '$', 'B', 0xC3, 0xA9}, "UTF-8", 1);
  // A last sequence cut by the end is not an error for this test.
  ExpectFound({0xE6, 0x97, 0xA5, 0xE6, 0x97}, "UTF-8", 1);
}

TEST(DetectEncodingForBuffer, JapaneseNamesOtherwise) {
  ExpectFound({0x93, 0xFA, 0x96, 0x7B, 0x8C, 0xEA}, "Shift_JIS", 1);
  ExpectFound({0xC6, 0xFC, 0xCB, 0xDC, 0xB8, 0xEC}, kEucName, 1);
  ExpectFound({0x1B, '$', 'B', 0x46, 0x7C, 0x4B, 0x5C, 0x1B, '(', 'B'}, "ISO-2022-JP", 1);
  ExpectFound({0xB1, 0xB2, 0xB3}, kEucName, 1);  // undecided: EUC-JP is the default
  // Valid UTF-8 in form (C3 A9) but an invalid byte later: the Japanese verdict.
  ExpectFound({0xC3, 0xA9, 0xA4, 0xA2}, kEucName, 1);
}

TEST(DetectEncodingForBuffer, NothingRecognised) {
  ExpectNothing({});
  ExpectNothing(B("plain ASCII text"));
  ExpectNothing({'a', 'b', 'c', 0x80});     // invalid UTF-8, Japanese 0
  ExpectNothing({0x63, 0x61, 0x66, 0xE9});  // Latin-1: Japanese undecided
  ExpectNothing({0xA1, 0x41, 0xF0});        // both Japanese tests rule it out
  ExpectNothing({0x1B, '$'});               // cut escape
}

TEST(DetectEncodingForBuffer, NamesAreLibraryConstants) {
  const Detection a = Detect({0xC3, 0xA9});
  const Detection b = Detect({0xE6, 0x97, 0xA5});
  EXPECT_EQ(a.result.encoding, b.result.encoding);
  _NLS_AUTO_DETECT_RESULT r{};
  const unsigned char text[] = {0xC3, 0xA9};
  AutoDetect_UTF8(text, 2, &r);
  EXPECT_EQ(r.encoding, a.result.encoding);
}

TEST(DetectEncodingForUCS2, AlwaysLatin1) {
  for (const void* text : {static_cast<const void*>(nullptr), static_cast<const void*>("x\0y")}) {
    unsigned count = 9;
    _NLS_AUTO_DETECT_RESULT r = {"untouched", 0, 0x5A5A5A5A, -3};
    EXPECT_EQ(NLS_DetectEncodingForUCS2(text, 12345, &r, 7, &count), 1);
    EXPECT_EQ(count, 1u);
    EXPECT_STREQ(r.encoding, "ISO_8859-1:1987");
    EXPECT_EQ(r.confidence, 1u);
    EXPECT_EQ(r.error, 0);
    EXPECT_EQ(r.reserved, 0x5A5A5A5A);
  }
}

}  // namespace

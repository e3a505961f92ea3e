// The UTF-8 detector object: made through its factory, it adds to a record
// that the caller prepared, and counts a sequence cut by the end as an error.
#include <gtest/gtest.h>

#include <cstring>

#include "nlscnv/converter.h"
#include "support/test_support.h"

using nls_test::B;
using nls_test::Bytes;

namespace {

class Utf8DetectorTest : public ::testing::Test {
 protected:
  void SetUp() override {
    detector_ = NEWUTF8ENCODINGDETECTOR();
    ASSERT_NE(detector_, nullptr);
    record_ = {"UTF-8", 0, 0x5A5A5A5A, 0};
  }
  void TearDown() override { detector_->ReleaseEncodingDetector(); }

  void Detect(const Bytes& b) {
    // A char-typed copy: the detector reads its bytes as unsigned.
    std::vector<char> chars(b.begin(), b.end());
    EXPECT_EQ(detector_->DetectBufferEncoding(chars.data(), static_cast<unsigned>(chars.size()),
                                              &record_),
              1);
    EXPECT_STREQ(record_.encoding, "UTF-8");
    EXPECT_EQ(record_.reserved, 0x5A5A5A5A);
  }
  void Fresh() { record_.confidence = 0, record_.error = 0; }

  TAutoDetector* detector_ = nullptr;
  _NLS_AUTO_DETECT_RESULT record_{};
};

TEST_F(Utf8DetectorTest, CountsCompleteSequences) {
  Detect({0xC3, 0xA9, 0xC3, 0xA9});
  EXPECT_EQ(record_.confidence, 2u);
  EXPECT_EQ(record_.error, 0);
  Fresh();
  Detect(B("abc"));
  EXPECT_EQ(record_.confidence, 0u);
  EXPECT_EQ(record_.error, 0);
  Fresh();
  Detect({0xC3, 0xA9, 0x41});
  EXPECT_EQ(record_.confidence, 1u);
  EXPECT_EQ(record_.error, 0);
  Fresh();
  Detect({0xF0, 0x9F, 0x98, 0x80, 0xE6, 0x97, 0xA5});
  EXPECT_EQ(record_.confidence, 2u);
  EXPECT_EQ(record_.error, 0);
}

TEST_F(Utf8DetectorTest, CutAndInvalidSequencesAddOneError) {
  Detect({0xE4, 0xB8});  // cut by the end
  EXPECT_EQ(record_.confidence, 0u);
  EXPECT_EQ(record_.error, 1);
  Fresh();
  Detect({0xA9});
  EXPECT_EQ(record_.error, 1);
  Fresh();
  Detect({0xC3, 0xA9, 0xE4, 0x41, 0xB8});  // invalid trail ends the walk: one error only
  EXPECT_EQ(record_.confidence, 1u);
  EXPECT_EQ(record_.error, 1);
  Fresh();
  Detect({0xF8, 0x80});
  EXPECT_EQ(record_.error, 1);
  Fresh();
  Detect({0xC3, 0xA9, 0xFF, 0xC3, 0xA9});
  EXPECT_EQ(record_.confidence, 1u);
  EXPECT_EQ(record_.error, 1);
}

TEST_F(Utf8DetectorTest, AddsToTheCallersRecord) {
  record_ = {"caller's", 5, 0x5A5A5A5A, 3};
  std::vector<char> chars = {'\xC3', '\xA9', '\xE4'};
  detector_->DetectBufferEncoding(chars.data(), 3, &record_);
  EXPECT_STREQ(record_.encoding, "caller's");
  EXPECT_EQ(record_.confidence, 6u);
  EXPECT_EQ(record_.error, 4);

  Fresh();
  record_.encoding = "UTF-8";
  Detect({0xE6, 0x97, 0xA5});
  Detect({0xC3, 0xA9, 'x', 0xC3, 0xA9});  // the same object, the same record
  EXPECT_EQ(record_.confidence, 3u);
  EXPECT_EQ(record_.error, 0);
  Detect({0xE6, 0x97});
  Detect({0x80});
  EXPECT_EQ(record_.confidence, 3u);
  EXPECT_EQ(record_.error, 2);
  Detect({});
  EXPECT_EQ(record_.error, 2);
}

TEST_F(Utf8DetectorTest, NamesTheAliasOfUtf8) {
  char name[8];
  std::memset(name, 0x7E, sizeof name);
  detector_->DetectorEncoding(name);
  EXPECT_EQ(std::memcmp(name, "UTF_8", 6), 0);
  EXPECT_EQ(name[6], 0x7E);
  EXPECT_EQ(name[7], 0x7E);
}

TEST(Utf8DetectorObjects, FactoryMakesIndependentObjects) {
  TAutoDetector* a = NEWUTF8ENCODINGDETECTOR();
  TAutoDetector* b = NEWUTF8ENCODINGDETECTOR();
  ASSERT_NE(a, nullptr);
  ASSERT_NE(b, nullptr);
  EXPECT_NE(a, b);
  _NLS_AUTO_DETECT_RESULT r = {"UTF-8", 0, 0, 0};
  EXPECT_EQ(a->DetectBufferEncoding("\xC3\xA9", 2, &r), 1);
  EXPECT_EQ(b->DetectBufferEncoding("\xC3\xA9", 2, &r), 1);
  EXPECT_EQ(r.confidence, 2u);
  a->ReleaseEncodingDetector();  // released through the interface (AddressSanitizer checks)
  b->ReleaseEncodingDetector();
}

}  // namespace

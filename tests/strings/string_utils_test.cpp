// Heap-string helpers (checked by AddressSanitizer in the asan build for
// leaks, double frees and reads of freed memory), the case-blind comparison
// against the C library's strcasecmp, and the fixed answers.
#include <gtest/gtest.h>
#include <strings.h>

#include <cstdlib>
#include <random>
#include <string>

#include "nlscnv.h"
#include "nlscnv/support/string_utils.h"

namespace {

int Sign(int v) { return (v > 0) - (v < 0); }

TEST(StrAllocCopy, CopiesAndReplaces) {
  char* s = nullptr;
  char* got = StrAllocCopy(&s, "first");
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(got, s);
  EXPECT_STREQ(s, "first");

  const char* literal = "second, longer than the first";
  got = StrAllocCopy(&s, literal);  // the old string is freed
  EXPECT_EQ(got, s);
  EXPECT_NE(s, literal);
  EXPECT_STREQ(s, literal);

  EXPECT_EQ(StrAllocCopy(&s, ""), s);
  EXPECT_STREQ(s, "");

  EXPECT_EQ(StrAllocCopy(&s, nullptr), nullptr);  // frees and leaves null
  EXPECT_EQ(s, nullptr);
  EXPECT_EQ(StrAllocCopy(&s, nullptr), nullptr);
}

TEST(StrAllocCopy, SourceInsideTheOldString) {
  char* s = nullptr;
  StrAllocCopy(&s, "prefix-tail");
  StrAllocCopy(&s, s + 7);
  EXPECT_STREQ(s, "tail");
  StrAllocCopy(&s, s);
  EXPECT_STREQ(s, "tail");
  std::free(s);
}

TEST(StrAllocCat, AppendsCopiesAndIgnoresEmptySources) {
  char* s = nullptr;
  char* got = StrAllocCat(&s, "abc");  // null destination: a copy
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(got, s);
  EXPECT_STREQ(s, "abc");

  char* before = s;
  EXPECT_EQ(StrAllocCat(&s, ""), before);
  EXPECT_EQ(StrAllocCat(&s, nullptr), before);
  EXPECT_EQ(s, before);
  EXPECT_STREQ(s, "abc");

  got = StrAllocCat(&s, "def");
  EXPECT_EQ(got, s);
  EXPECT_STREQ(s, "abcdef");

  char* none = nullptr;
  EXPECT_EQ(StrAllocCat(&none, ""), nullptr);
  EXPECT_EQ(StrAllocCat(&none, nullptr), nullptr);
  std::free(s);
}

TEST(StrAllocCat, SourceInsideTheOldString) {
  char* s = nullptr;
  StrAllocCopy(&s, "ab");
  StrAllocCat(&s, s);  // doubles, also when realloc moves the block
  EXPECT_STREQ(s, "abab");
  for (int i = 0; i < 10; ++i) StrAllocCat(&s, s + 2);
  std::string want = "abab";
  for (int i = 0; i < 10; ++i) want += want.substr(2);
  EXPECT_EQ(std::string(s), want);
  std::free(s);
}

TEST(StrAllocCat, ManyAppendsMatchAStringModel) {
  std::mt19937 rng(7);
  char* s = nullptr;
  std::string model;
  for (int i = 0; i < 2000; ++i) {
    std::string piece(rng() % 20, 'x');
    for (char& c : piece) c = static_cast<char>('a' + rng() % 26);
    ASSERT_EQ(StrAllocCat(&s, piece.c_str()), s);
    model += piece;
    ASSERT_EQ(std::string(s != nullptr ? s : ""), model);
  }
  std::free(s);
}

TEST(StrCmpI, IgnoresAsciiCase) {
  EXPECT_EQ(__strcmpi("ABC", "abc"), 0);
  EXPECT_LT(__strcmpi("abc", "abd"), 0);
  EXPECT_GT(__strcmpi("ABD", "abc"), 0);
  EXPECT_GT(__strcmpi("abc", "AB"), 0);
  EXPECT_LT(__strcmpi("", "a"), 0);
  EXPECT_EQ(__strcmpi("", ""), 0);
  // Lower-casing happens before the comparison: '_' (0x5F) sorts below 'a'.
  EXPECT_LT(__strcmpi("_", "A"), 0);
  EXPECT_EQ(__strcmpi("Shift_JIS", "SHIFT_jis"), 0);
  // Bytes above 0x7F compare as unsigned; the C locale leaves them alone.
  EXPECT_GT(__strcmpi("\xE9", "\xC9"), 0);
  EXPECT_GT(__strcmpi("\x80", "z"), 0);
}

TEST(StrCmpI, AgreesWithStrcasecmpAndTheInPlaceComparison) {
  std::mt19937 rng(31337);
  const std::string pool = "aAbBzZ_@[`{09 \x7F\x80\xC9\xE9\xFF";
  for (int i = 0; i < 20000; ++i) {
    std::string a(rng() % 6, ' '), b(rng() % 6, ' ');
    for (char& c : a) c = pool[rng() % pool.size()];
    for (char& c : b) c = rng() % 3 ? pool[rng() % pool.size()] : (a.empty() ? 'a' : a[0]);
    if (rng() % 4 == 0) b = a;
    const int want = Sign(strcasecmp(a.c_str(), b.c_str()));
    ASSERT_EQ(Sign(__strcmpi(a.c_str(), b.c_str())), want) << a << " | " << b;
    ASSERT_EQ(Sign(nls::CompareLowerCased(a.c_str(), b.c_str())), want) << a << " | " << b;
  }
}

TEST(FixedAnswers, NeverChange) {
  for (int i = 0; i < 2; ++i) {
    ASSERT_NE(NLS_GetString(), nullptr);
    EXPECT_STREQ(NLS_GetString(), "hello");
    EXPECT_EQ(PeekMetaCharsetTag(), 1);
    EXPECT_EQ(UCS2_To_Other(), 0);
  }
}

}  // namespace

// Name services and converter lists through the exported calls, on the
// built-in conversions and on a data directory with registry files.
#include <fstream>
#include <set>
#include <string>
#include <utility>

#include "conversion/conversion_test_env.h"
#include "nlscnv/conversion/encoding_converter.h"
#include "support/test_support.h"

namespace {

using Item = std::pair<std::string, std::string>;

std::vector<Item> List(const char* from, const char* to) {
  NLS_EnumerationHandle h = nullptr;
  EXPECT_EQ(NLS_NewEncodingConverterEnumeration(from, to, &h), 1);
  unsigned count = 0;
  EXPECT_EQ(NLS_CountEncodingConverters(h, &count), 1);
  std::vector<Item> items;
  for (unsigned i = 0; i < count; ++i) {
    char a[64], b[64];
    EXPECT_EQ(NLS_GetEncodingConverterListItem(h, i, a, b), 1);
    items.emplace_back(a, b);
  }
  char a[64] = "untouched", b[64] = "untouched";
  EXPECT_EQ(NLS_GetEncodingConverterListItem(h, count, a, b), -1009);
  EXPECT_STREQ(a, "untouched");
  EXPECT_STREQ(b, "untouched");
  EXPECT_EQ(NLS_DeleteEncodingConverterEnumeration(h), 1);
  return items;
}

class NamesAndLists : public nls_test::BuiltinsOnly {};

TEST_F(NamesAndLists, ListsOfTheBuiltInConversions) {
  std::vector<Item> all = List("*", "*");
  ASSERT_EQ(all.size(), 14u);
  std::set<Item> distinct(all.begin(), all.end());
  EXPECT_EQ(distinct.size(), 14u);
  EXPECT_TRUE(distinct.count({"x-mac-roman", "ISO-10646-UCS-2"}));
  EXPECT_TRUE(distinct.count({"ISO-10646-UCS-2", "IMAP-MODIFIED-UTF-7"}));

  std::vector<Item> toUcs2 = List("*", "ISO-10646-UCS-2");
  EXPECT_EQ(toUcs2.size(), 7u);
  for (const Item& item : toUcs2) EXPECT_EQ(item.second, "ISO-10646-UCS-2");
  EXPECT_EQ(List(nullptr, "ISO-10646-UCS-2").size(), 7u);  // null is "*"
  EXPECT_EQ(List("*", "iso-10646-ucs-2").size(), 7u);      // case-blind

  // A pair reachable in two stages is one item with the canonical names.
  EXPECT_EQ(List("latin1", "utf_8"), (std::vector<Item>{{"ISO_8859-1:1987", "UTF-8"}}));
  EXPECT_EQ(List("UTF-8", "ISO-10646-UCS-2"), (std::vector<Item>{{"UTF-8", "ISO-10646-UCS-2"}}));
  EXPECT_TRUE(List("latin1", "no-such-encoding").empty());
  EXPECT_TRUE(List("ISO-10646-UCS-2", "ISO-10646-UCS-2").empty());
}

TEST_F(NamesAndLists, NormalisedNames) {
  EXPECT_STREQ(NLS_GetNormalizedEncodingName("latin1"), "ISO_8859-1:1987");
  EXPECT_STREQ(NLS_GetNormalizedEncodingName("US-ASCII"), "ISO_8859-1:1987");
  EXPECT_STREQ(NLS_GetNormalizedEncodingName("UTF_8"), "UTF-8");
  EXPECT_STREQ(NLS_GetNormalizedEncodingName("imap-utf-7"), "IMAP-MODIFIED-UTF-7");
  EXPECT_STREQ(NLS_GetNormalizedEncodingName(nullptr), "*");
  // An unknown name comes back unchanged and is remembered in its first
  // spelling.
  EXPECT_STREQ(NLS_GetNormalizedEncodingName("Klingon-8"), "Klingon-8");
  EXPECT_STREQ(NLS_GetNormalizedEncodingName("KLINGON-8"), "Klingon-8");
  EXPECT_STREQ(NLS_GetEncodingNameFromJava(nullptr), "*");
  EXPECT_STREQ(NLS_GetJavaEncodingName(nullptr), "*");
  EXPECT_EQ(NLS_GetEncodingNameFromJava("UTF8"), nullptr);  // no javareg.txt here
  EXPECT_EQ(NLS_GetJavaEncodingName("UTF-8"), nullptr);
}

TEST(NameServiceUtilities, StringLengthAndIntermediateCharacterSet) {
  NLS_EncInitialize(nullptr, nls_test::EmptyDataDirectory());
  EncodingConverter object("UTF-8", "ISO-10646-UCS-2");
  unsigned short empty[] = {0, 'a'};
  unsigned short text[] = {'a', 0x4E2D, 'b', 0};
  EXPECT_EQ(object.unicodeStringLength(empty), 0u);
  EXPECT_EQ(object.unicodeStringLength(text), 3u);
  EXPECT_EQ(object.intermidiateCSIDForUnicodeConversion(515), 260);
  EXPECT_EQ(object.intermidiateCSIDForUnicodeConversion(525), 1292);
  EXPECT_EQ(object.intermidiateCSIDForUnicodeConversion(260), 0);
  NLS_EncTerminate();
}

// The shipped data directory: Java names in both directions, and aliases.
TEST(ShippedDataDirectory, JavaNamesAndAliases) {
  ASSERT_EQ(NLS_EncInitialize(nullptr, NLS_SOURCE_DIR "/data"), 1);
  EXPECT_STREQ(NLS_GetEncodingNameFromJava("UTF8"), "UTF-8");
  EXPECT_STREQ(NLS_GetEncodingNameFromJava("ISO8859_1"), "ISO_8859-1:1987");
  const char* java = NLS_GetJavaEncodingName("UTF-8");
  ASSERT_NE(java, nullptr);
  EXPECT_STREQ(NLS_GetEncodingNameFromJava(java), "UTF-8");
  EXPECT_EQ(NLS_GetJavaEncodingName("no-such-encoding"), nullptr);
  EXPECT_STREQ(NLS_GetNormalizedEncodingName("utf8"), "UTF-8");
  EXPECT_STREQ(NLS_GetNormalizedEncodingName("macintosh"), "x-mac-roman");
  NLS_EncTerminate();
}

}  // namespace

// Layout rules of encreg.txt, aliasreg.txt and javareg.txt, read through
// TEncodingRegistry::Initialize from throw-away data directories.
#include <gtest/gtest.h>

#include <string>

#include "nlscnv/registry/encoding_registry.h"
#include "registry_test_util.h"

using nls_test::TempDataDir;

namespace {

constexpr int kBuiltinEncodings = 14;
constexpr int kBuiltinAliases = 67;

class RegistryFiles : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(registry_.GetStatus(), 1); }
  int Load() { return registry_.Initialize(dir_.Prefix().c_str()); }

  TempDataDir dir_;
  TEncodingRegistry registry_{dir_.Prefix().c_str()};
};

TEST_F(RegistryFiles, RecordsSpanLinesAndShareLines) {
  dir_.Write("encreg.txt",
             "X-SPLIT\n  ISO-10646-UCS-2\n\tlibsplit\r\n NewSplit \n#\n"
             "X-ONE ISO-10646-UCS-2 libone NewOne NewOneDetector X-TWO ISO-10646-UCS-2 libtwo "
             "NewTwo #\n");
  dir_.Write("aliasreg.txt", "a-split X-SPLIT a-one X-ONE\n\n  a-two\n\n X-TWO");
  ASSERT_EQ(Load(), 1);
  EXPECT_EQ(registry_.EncodingCount(), kBuiltinEncodings + 3);
  // Three identity aliases of the sources, three aliases.
  EXPECT_EQ(registry_.AliasCount(), kBuiltinAliases + 6);

  TEncodingEntry* split = registry_.FindEncoding("a-split", "ISO-10646-UCS-2");
  ASSERT_NE(split, nullptr);
  EXPECT_STREQ(split->fSource, "X-SPLIT");
  EXPECT_STREQ(split->fLibrary, "libsplit");
  EXPECT_STREQ(split->fConverterEntry, "NewSplit");
  EXPECT_STREQ(split->fDetectorEntry, "#");
  TEncodingEntry* one = registry_.FindEncoding("X-ONE", "ISO-10646-UCS-2");
  ASSERT_NE(one, nullptr);
  EXPECT_STREQ(one->fDetectorEntry, "NewOneDetector");
  ASSERT_NE(registry_.FindEncoding("a-two", "ISO-10646-UCS-2"), nullptr);
  EXPECT_STREQ(registry_.NormalizeEncodingName("A-ONE"), "X-ONE");
}

TEST_F(RegistryFiles, Comments) {
  dir_.Write("encreg.txt", "");
  dir_.Write("aliasreg.txt",
             "// leading comment line\n"
             "c-one UTF-8 // comment after a complete record\n"
             "/single-slash comment, with c-bogus UTF-8 inside\n"
             "   // indented comment\n"
             "c-two /slash-name\n"  // inside a record '/' is an ordinary character
             "c-three UTF-8\n"
             "// last line without a line feed: c-four UTF-8");
  ASSERT_EQ(Load(), 1);
  EXPECT_EQ(registry_.AliasCount(), kBuiltinAliases + 3);
  EXPECT_STREQ(registry_.NormalizeEncodingName("c-one"), "UTF-8");
  EXPECT_STREQ(registry_.NormalizeEncodingName("c-two"), "/slash-name");
  EXPECT_STREQ(registry_.NormalizeEncodingName("c-three"), "UTF-8");
  EXPECT_EQ(registry_.FindAliasItem("c-bogus"), nullptr);
  EXPECT_EQ(registry_.FindAliasItem("c-four"), nullptr);
}

TEST_F(RegistryFiles, EmptyAndCommentOnlyFilesAddNothing) {
  dir_.Write("encreg.txt", "");
  dir_.Write("aliasreg.txt", " \n\t\r\n\v\f  \n");
  dir_.Write("javareg.txt", "// only a comment\n/another\n//");
  ASSERT_EQ(Load(), 1);
  EXPECT_EQ(registry_.EncodingCount(), kBuiltinEncodings);
  EXPECT_EQ(registry_.AliasCount(), kBuiltinAliases);
  EXPECT_EQ(registry_.fJavaToNormalized->fCount, 0);
}

TEST_F(RegistryFiles, MissingFileStopsTheReading) {
  // No encreg.txt: the other two are not read although they exist.
  dir_.Write("aliasreg.txt", "m-alias UTF-8\n");
  dir_.Write("javareg.txt", "MJava UTF-8\n");
  EXPECT_EQ(Load(), 1);
  EXPECT_EQ(registry_.GetStatus(), 1);
  EXPECT_EQ(registry_.FindAliasItem("m-alias"), nullptr);
  EXPECT_EQ(registry_.NormalizeJavaEntity("MJava"), nullptr);

  // With encreg.txt but no aliasreg.txt, javareg.txt is still not read.
  TempDataDir second;
  second.Write("encreg.txt", "X-M ISO-10646-UCS-2 lib New #\n");
  second.Write("javareg.txt", "MJava UTF-8\n");
  TEncodingRegistry registry(EncodingConverter::getDataDirectory());
  EXPECT_EQ(registry.Initialize(second.Prefix().c_str()), 1);
  EXPECT_NE(registry.FindEncoding("X-M", "ISO-10646-UCS-2"), nullptr);
  EXPECT_EQ(registry.NormalizeJavaEntity("MJava"), nullptr);

  TEncodingRegistry nowhere("/nonexistent/nls/conv30/");
  EXPECT_EQ(nowhere.Initialize("/nonexistent/nls/conv30/"), 1);
  EXPECT_STREQ(nowhere.fDataDirectory, "/nonexistent/nls/conv30/");
}

TEST_F(RegistryFiles, LaterRecordsOverrideEarlierOnes) {
  dir_.Write("encreg.txt",
             "UTF-8 ISO-10646-UCS-2 first NewFirst #\n"
             "UTF-8 ISO-10646-UCS-2 second NewSecond #\n"
             "latin1 ISO-10646-UCS-2 lat NewLat #\n");
  dir_.Write("aliasreg.txt",
             "chain-a chain-b\nchain-b chain-c\n"
             "p-alias UTF-8\np-alias UNICODE-1-1-UTF-7\n"
             "us-ascii UTF-8\n");
  ASSERT_EQ(Load(), 1);
  // Within a file the later record wins, and it overrides the built-in row.
  TEncodingEntry* utf8 = registry_.FindEncoding("UTF-8", "ISO-10646-UCS-2");
  ASSERT_NE(utf8, nullptr);
  EXPECT_STREQ(utf8->fLibrary, "second");
  // The identity alias of an encreg.txt source overrides the built-in alias.
  EXPECT_STREQ(registry_.NormalizeEncodingName("LATIN1"), "latin1");
  // aliasreg.txt overrides built-in aliases; aliases are not chained.
  EXPECT_STREQ(registry_.NormalizeEncodingName("us-ascii"), "UTF-8");
  EXPECT_STREQ(registry_.NormalizeEncodingName("p-alias"), "UNICODE-1-1-UTF-7");
  EXPECT_STREQ(registry_.NormalizeEncodingName("chain-a"), "chain-b");
  // Only sources become names of their own.
  EXPECT_NE(registry_.FindAliasItem("latin1"), nullptr);
  EXPECT_STREQ(registry_.FindAliasItem("latin1")->fNormalized, "latin1");
}

TEST_F(RegistryFiles, DestinationNamesGetNoAlias) {
  dir_.Write("encreg.txt", "X-SRC X-DST lib New #\n");
  ASSERT_EQ(Load(), 1);
  EXPECT_NE(registry_.FindAliasItem("x-src"), nullptr);
  EXPECT_EQ(registry_.FindAliasItem("X-DST"), nullptr);
}

TEST_F(RegistryFiles, OverLongTokensSkipTheirRecord) {
  const std::string fits(63, 'f'), tooLong(64, 'L');
  dir_.Write("encreg.txt",
             "X-A ISO-10646-UCS-2 lib " + tooLong + " #\n" +  // skipped whole
                 "X-B ISO-10646-UCS-2 lib " + fits + " #\n");
  dir_.Write("aliasreg.txt",
             tooLong + " UTF-8 l-after UTF-8 l-long " + tooLong + " " + fits + " UTF-8\n");
  ASSERT_EQ(Load(), 1);
  // Aliases: the records with a long token are gone, the others are read.
  EXPECT_EQ(registry_.AliasCount(), kBuiltinAliases + 1 + 2);
  EXPECT_EQ(registry_.FindAliasItem("X-A"), nullptr);
  EXPECT_EQ(registry_.FindAliasItem("l-long"), nullptr);
  EXPECT_EQ(registry_.FindEncoding("X-A", "ISO-10646-UCS-2"), nullptr);
  TEncodingEntry* b = registry_.FindEncoding("X-B", "ISO-10646-UCS-2");
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(fits, b->fConverterEntry);
  EXPECT_EQ(registry_.EncodingCount(), kBuiltinEncodings + 1);
  EXPECT_STREQ(registry_.NormalizeEncodingName("l-after"), "UTF-8");
  EXPECT_STREQ(registry_.NormalizeEncodingName(fits.c_str()), "UTF-8");
}

TEST_F(RegistryFiles, RecordCutShortByTheEndIsDropped) {
  dir_.Write("encreg.txt", "X-FULL ISO-10646-UCS-2 lib New #\nX-CUT ISO-10646-UCS-2 lib");
  dir_.Write("aliasreg.txt", "x UTF-8 t-cut");  // a one-byte name is an ordinary field
  dir_.Write("javareg.txt", "J1 UTF-8 J2");
  ASSERT_EQ(Load(), 1);
  EXPECT_EQ(registry_.EncodingCount(), kBuiltinEncodings + 1);
  EXPECT_EQ(registry_.FindAliasItem("X-CUT"), nullptr);
  EXPECT_STREQ(registry_.NormalizeEncodingName("x"), "UTF-8");
  EXPECT_EQ(registry_.FindAliasItem("t-cut"), nullptr);
  EXPECT_EQ(registry_.fJavaToNormalized->fCount, 1);
  EXPECT_EQ(registry_.fNormalizedToJava->fCount, 1);
}

TEST_F(RegistryFiles, JavaNamesInBothDirections) {
  dir_.Write("encreg.txt", "");
  dir_.Write("aliasreg.txt", "");
  dir_.Write("javareg.txt", "UTF-8 UTF-8\nUTF8 UTF-8\nISO8859_1 ISO_8859-1:1987\n");
  ASSERT_EQ(Load(), 1);
  EXPECT_STREQ(registry_.NormalizeJavaEntity("utf8"), "UTF-8");
  EXPECT_STREQ(registry_.NormalizeJavaEntity("UTF-8"), "UTF-8");
  EXPECT_STREQ(registry_.NormalizeJavaEntity("iso8859_1"), "ISO_8859-1:1987");
  EXPECT_EQ(registry_.NormalizeJavaEntity("latin1"), nullptr);  // not normalized first
  EXPECT_STREQ(registry_.FindJavaEntityName("utf-8"), "UTF8");  // the last record wins
  EXPECT_EQ(registry_.FindJavaEntityName("latin1"), nullptr);
  EXPECT_EQ(registry_.FindJavaEntityName(nullptr), nullptr);
}

TEST_F(RegistryFiles, ReadersAloneOnAStream) {
  // The record readers work on any stream and reuse the caller's buffers.
  const char text[] = "/c\nA B C D E\n// x\n  F G\tH I J K";
  FILE* file = fmemopen(const_cast<char*>(text), sizeof text - 1, "r");
  ASSERT_NE(file, nullptr);
  char f[5][64];
  ASSERT_TRUE(registry_.ReadOneEncodingLine(file, f[0], f[1], f[2], f[3], f[4]));
  EXPECT_STREQ(f[0], "A");
  EXPECT_STREQ(f[4], "E");
  ASSERT_TRUE(registry_.ReadOneEncodingLine(file, f[0], f[1], f[2], f[3], f[4]));
  EXPECT_STREQ(f[0], "F");
  EXPECT_STREQ(f[4], "J");
  EXPECT_FALSE(registry_.ReadOneEncodingLine(file, f[0], f[1], f[2], f[3], f[4]));
  EXPECT_FALSE(registry_.ReadOneAliasLine(file, f[0], f[1]));
  std::fclose(file);
}

}  // namespace

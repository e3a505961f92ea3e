// TEncodingRegistry: the built state, normalization and remembering of
// unknown names, converter and detector creation (built-in module, the test
// converter library, the host's registrations), listings, and the data files
// shipped in data/conv30/.
#include <gtest/gtest.h>
#include <strings.h>

#include <cstring>
#include <set>
#include <string>
#include <typeinfo>
#include <utility>
#include <vector>

#include "nlscnv/registry/dll_linker.h"
#include "nlscnv/registry/encoding_registry.h"
#include "registry_test_util.h"

using nls_test::AssertText;
using nls_test::StderrCapture;
using nls_test::TempDataDir;

namespace {

constexpr char kUcs2[] = "ISO-10646-UCS-2";

// Reads the names a converter was built with.
struct ConverterNames : TEncodingConverter {
  static const char* Source(TEncodingConverter* c) { return c->*(&ConverterNames::fSourceName); }
  static const char* Destination(TEncodingConverter* c) {
    return c->*(&ConverterNames::fDestinationName);
  }
};

std::vector<uint16_t> ConvertToUnits(TEncodingConverter* converter, const std::string& text) {
  unsigned char out[256];
  unsigned int produced = 0, used = 0;
  int status = converter->Convert(out, &produced, sizeof out,
                                  reinterpret_cast<const unsigned char*>(text.data()),
                                  static_cast<unsigned int>(text.size()), &used);
  EXPECT_EQ(status, 1);
  EXPECT_EQ(used, text.size());
  return nls_test::Units(nls_test::Bytes(out, out + produced));
}

std::vector<uint16_t> AsciiUnits(const char* text) {
  return std::vector<uint16_t>(text, text + std::strlen(text));
}

TEST(EncodingRegistry, BuiltState) {
  TEncodingRegistry registry(EncodingConverter::getDataDirectory());
  EXPECT_EQ(registry.GetStatus(), 1);
  EXPECT_EQ(registry.EncodingCount(), 14);
  EXPECT_EQ(registry.AliasCount(), 67);
  EXPECT_EQ(registry.fJavaToNormalized->fCount, 0);
  EXPECT_EQ(registry.fNormalizedToJava->fCount, 0);
  EXPECT_EQ(registry.fDataDirectory, nullptr);
  ASSERT_NE(registry.fLinker, nullptr);
  EXPECT_EQ(registry.fLinker->GetStatus(), 1);
  EXPECT_EQ(TEncodingRegistry::fStaticEntryListLength, 14u);
  EXPECT_EQ(TEncodingRegistry::fStaticAliasListLength, 39u);

  // Every built-in row is an entry of the pseudo-library without detector.
  for (uint32_t i = 0; i < TEncodingRegistry::fStaticEntryListLength; ++i) {
    const NLS_StaticConverterEntry& row = TEncodingRegistry::fStaticEntryList[i];
    TEncodingEntry* entry = registry.FindEncoding(row.from, row.to);
    ASSERT_NE(entry, nullptr) << i;
    EXPECT_STREQ(entry->fLibrary, "@@staticconvertersINTERNAL@@");
    EXPECT_STREQ(entry->fConverterEntry, row.entryPointName);
    EXPECT_STREQ(entry->fDetectorEntry, "#");
  }
  // The identity aliases of the rows make canonical names normalize to
  // themselves without growing the alias table.
  EXPECT_STREQ(registry.NormalizeEncodingName("x-mac-roman"), "x-mac-roman");
  EXPECT_STREQ(registry.NormalizeEncodingName("IMAP-MODIFIED-UTF-7"), "IMAP-MODIFIED-UTF-7");
  EXPECT_EQ(registry.AliasCount(), 67);
}

TEST(EncodingRegistry, BuiltinRowsMakeTheirOwnConverters) {
  TEncodingRegistry registry(EncodingConverter::getDataDirectory());
  const NLS_StaticConverterEntry* rows = TEncodingRegistry::fStaticEntryList;
  const char* const expected[14][2] = {
      {"ISO_8859-1:1987", kUcs2},
      {kUcs2, "ISO_8859-1:1987"},
      {"x-mac-roman", kUcs2},
      {kUcs2, "x-mac-roman"},
      {"ISO-10646-UCS-4", kUcs2},
      {kUcs2, "ISO-10646-UCS-4"},
      {"ESCAPED_UNICODE", kUcs2},
      {kUcs2, "ESCAPED_UNICODE"},
      {"UTF-8", kUcs2},
      {kUcs2, "UTF-8"},
      {"UNICODE-1-1-UTF-7", kUcs2},
      {kUcs2, "UNICODE-1-1-UTF-7"},
      {"IMAP-MODIFIED-UTF-7", kUcs2},
      {kUcs2, "IMAP-MODIFIED-UTF-7"},
  };
  for (int i = 0; i < 14; ++i) {
    EXPECT_STREQ(rows[i].from, expected[i][0]) << i;
    EXPECT_STREQ(rows[i].to, expected[i][1]) << i;
    TEncodingConverter* made = registry.CreateEncodingConverter(rows[i].from, rows[i].to);
    TEncodingConverter* direct = rows[i].function();
    ASSERT_NE(made, nullptr) << i;
    ASSERT_NE(direct, nullptr) << i;
    EXPECT_TRUE(typeid(*made) == typeid(*direct)) << i;
    EXPECT_STREQ(ConverterNames::Source(made), expected[i][0]) << i;
    EXPECT_STREQ(ConverterNames::Destination(made), expected[i][1]) << i;
    made->ReleaseEncodingConverter();
    direct->ReleaseEncodingConverter();
  }
  // The pair of an alias: row 0 through "us-ascii".
  TEncodingConverter* latin1 = registry.CreateEncodingConverter("us-ascii", kUcs2);
  ASSERT_NE(latin1, nullptr);
  TEncodingConverter* row0 = NEWLATIN1TOUNICODEENCODINGCONVERTER();
  EXPECT_TRUE(typeid(*latin1) == typeid(*row0));
  EXPECT_STREQ(ConverterNames::Source(latin1), "ISO_8859-1:1987");
  latin1->ReleaseEncodingConverter();
  row0->ReleaseEncodingConverter();
  // A converter that really converts: UTF-8 to UCS-2.
  TEncodingConverter* utf8 = registry.CreateEncodingConverter("utf_8", "ISO-10646-UCS-2");
  ASSERT_NE(utf8, nullptr);
  EXPECT_EQ(ConvertToUnits(utf8, "A\xC3\xA9\xE2\x82\xAC"),
            (std::vector<uint16_t>{0x41, 0xE9, 0x20AC}));
  utf8->ReleaseEncodingConverter();
  EXPECT_EQ(registry.GetStatus(), 1);
}

TEST(EncodingRegistry, MissingPairIsQuiet) {
  TEncodingRegistry registry(EncodingConverter::getDataDirectory());
  StderrCapture capture;
  EXPECT_EQ(registry.CreateEncodingConverter("UTF-8", "latin1"), nullptr);
  EXPECT_EQ(registry.GetStatus(), -1301);
  EXPECT_EQ(capture.Text(), "");
}

TEST(EncodingRegistry, Normalization) {
  TEncodingRegistry registry(EncodingConverter::getDataDirectory());
  EXPECT_STREQ(registry.NormalizeEncodingName("latin1"), "ISO_8859-1:1987");
  EXPECT_STREQ(registry.NormalizeEncodingName("LATIN1"), "ISO_8859-1:1987");
  EXPECT_STREQ(registry.NormalizeEncodingName("us-ascii"), "ISO_8859-1:1987");
  EXPECT_STREQ(registry.NormalizeEncodingName("ISO-10646-UCS-2"), "ISO-10646-UCS-2");
  EXPECT_STREQ(registry.NormalizeEncodingName("csunicode11utf7"), "UNICODE-1-1-UTF-7");
  EXPECT_STREQ(registry.NormalizeEncodingName("EUC-JP"),
               "Extended_UNIX_Code_Packed_Format_for_Japanese");
  EXPECT_STREQ(registry.NormalizeEncodingName(nullptr), "");
  EXPECT_EQ(registry.AliasCount(), 67);

  // An unknown name is remembered in the spelling of its first request.
  const char* first = registry.NormalizeEncodingName("X-Unknown-Enc");
  EXPECT_STREQ(first, "X-Unknown-Enc");
  EXPECT_EQ(registry.AliasCount(), 68);
  const char* again = registry.NormalizeEncodingName("x-unknown-ENC");
  EXPECT_EQ(again, first);
  EXPECT_EQ(registry.AliasCount(), 68);
  ASSERT_NE(registry.FindAliasItem("X-UNKNOWN-ENC"), nullptr);

  // A name too long for the alias table comes back as it is, unremembered,
  // and finds no conversion.
  std::string longName(64, 'q');
  EXPECT_EQ(registry.NormalizeEncodingName(longName.c_str()), longName.c_str());
  EXPECT_EQ(registry.AliasCount(), 68);
  std::string maxName(63, 'q');
  EXPECT_EQ(maxName, registry.NormalizeEncodingName(maxName.c_str()));
  EXPECT_EQ(registry.AliasCount(), 69);
  EXPECT_EQ(registry.CreateEncodingConverter(longName.c_str(), kUcs2), nullptr);
  EXPECT_EQ(registry.GetStatus(), -1301);
  EXPECT_EQ(registry.FindEncoding(longName.c_str(), kUcs2), nullptr);
}

TEST(EncodingRegistry, CountsAndListings) {
  TEncodingRegistry registry(EncodingConverter::getDataDirectory());
  EXPECT_EQ(registry.EnumerateEncodingConverters("UTF-8", "ISO_8859-1:1987"), 1);
  EXPECT_EQ(registry.EnumerateEncodingConverters("UTF-8", kUcs2), 1);
  EXPECT_EQ(registry.EnumerateEncodingConverters("latin1", "utf_8"), 1);
  EXPECT_EQ(registry.EnumerateEncodingConverters("*", kUcs2), 7);
  EXPECT_EQ(registry.EnumerateEncodingConverters(kUcs2, "*"), 7);
  EXPECT_EQ(registry.EnumerateEncodingConverters("*", "*"), 14);
  EXPECT_EQ(registry.EnumerateEncodingConverters("UTF-8", "UTF-8"), 1);
  EXPECT_EQ(registry.EnumerateEncodingConverters(kUcs2, kUcs2), 0);
  EXPECT_EQ(registry.EnumerateEncodingConverters("euc-jp", "UTF-8"), 0);
  EXPECT_EQ(registry.EnumerateEncodingConverters("*", "euc-jp"), 0);
  // Wildcard patterns are compared unnormalized.
  EXPECT_EQ(registry.EnumerateEncodingConverters("*", "ucs-2"), 0);

  const char* from[16];
  const char* to[16];
  for (int i = 0; i < 16; ++i) from[i] = to[i] = "untouched";
  unsigned int count = 0;
  registry.ListEncodingConverters("*", "*", from, to, 14, &count);
  EXPECT_EQ(count, 14u);
  std::set<std::pair<std::string, std::string>> listed, builtin;
  for (int i = 0; i < 14; ++i) {
    listed.emplace(from[i], to[i]);
    builtin.emplace(TEncodingRegistry::fStaticEntryList[i].from,
                    TEncodingRegistry::fStaticEntryList[i].to);
    // Enumeration order: ascending bucket.
    if (i > 0) {
      EXPECT_LE(registry.fEncodings->BucketIndex(from[i - 1], to[i - 1]),
                registry.fEncodings->BucketIndex(from[i], to[i]));
    }
  }
  EXPECT_EQ(listed, builtin);
  EXPECT_STREQ(from[14], "untouched");

  const char* few[6] = {"untouched", "untouched", "untouched",
                        "untouched", "untouched", "untouched"};
  const char* fewTo[6] = {};
  count = 0;
  registry.ListEncodingConverters("*", "*", few, fewTo, 5, &count);
  EXPECT_EQ(count, 14u);
  EXPECT_STREQ(few[5], "untouched");
  for (int i = 0; i < 5; ++i) EXPECT_STREQ(few[i], from[i]);

  // Two plain names list the direct entry only (no two-stage item here).
  count = 0;
  registry.ListEncodingConverters("UTF_8", "iso-10646-ucs-2", from, to, 14, &count);
  EXPECT_EQ(count, 1u);
  EXPECT_STREQ(from[0], "UTF-8");
  EXPECT_STREQ(to[0], kUcs2);
  count = 3;  // the count is not reset
  registry.ListEncodingConverters("UTF-8", "latin1", nullptr, nullptr, 0, &count);
  EXPECT_EQ(count, 3u);
}

TEST(EncodingRegistry, InitializeArgumentsAndRepeats) {
  TEncodingRegistry registry(EncodingConverter::getDataDirectory());
  {
    StderrCapture capture;
    EXPECT_EQ(registry.Initialize(nullptr), -1009);
    EXPECT_EQ(capture.Text(), AssertText(158, "reg"));
  }
  TempDataDir dir;
  dir.Write("encreg.txt", "X-R ISO-10646-UCS-2 lib New #\n");
  dir.Write("aliasreg.txt", "r-alias X-R\n");
  ASSERT_EQ(registry.Initialize(dir.Prefix().c_str()), 1);
  // Reading again adds the records once more; the newest wins.
  ASSERT_EQ(registry.Initialize(dir.Prefix().c_str()), 1);
  EXPECT_EQ(registry.EncodingCount(), 16);
  EXPECT_EQ(registry.AliasCount(), 67 + 4);
  EXPECT_EQ(registry.EnumerateEncodingConverters("X-R", kUcs2), 1);
  EXPECT_EQ(registry.EnumerateEncodingConverters("*", kUcs2), 9);
  EXPECT_EQ(dir.Prefix(), registry.fDataDirectory);
}

// ---- Converter library ------------------------------------------------------

class RegistryWithTestLibrary : public ::testing::Test {
 protected:
  void SetUp() override {
    nls_test::UseTestLibraryDirectory();
    registry_ = new TEncodingRegistry(EncodingConverter::getDataDirectory());
    ASSERT_EQ(registry_->GetStatus(), 1);
    ASSERT_EQ(registry_->Initialize(EncodingConverter::getDataDirectory()), 1);
  }
  void TearDown() override { delete registry_; }
  TEncodingRegistry* registry_ = nullptr;
};

TEST_F(RegistryWithTestLibrary, ConvertersComeFromTheLibrary) {
  EXPECT_STREQ(registry_->fLinker->fDefaultLibraryPath, EncodingConverter::getDataDirectory());
  TEncodingConverter* toUnicode = registry_->CreateEncodingConverter("x-nlstest-upper", kUcs2);
  ASSERT_NE(toUnicode, nullptr);
  EXPECT_EQ(ConvertToUnits(toUnicode, "Hello, w0rld"), AsciiUnits("HELLO, W0RLD"));
  TEncodingConverter* fromUnicode = registry_->CreateEncodingConverter(kUcs2, "X-NLSTEST-UPPER");
  ASSERT_NE(fromUnicode, nullptr);
  toUnicode->ReleaseEncodingConverter();
  fromUnicode->ReleaseEncodingConverter();
  // Loaded once, behind the pseudo-library.
  NLS_Library* library = registry_->fLinker->NLS_FindLibrary("nlstest");
  ASSERT_NE(library, nullptr);
  EXPECT_EQ(registry_->fLinker->fLibraries->next, library);
  EXPECT_EQ(library->referenceCount, 1u);
  EXPECT_EQ(library->entryPoints->fCount, 2);
}

TEST_F(RegistryWithTestLibrary, MissingLibraryAndEntryPoint) {
  {
    StderrCapture capture;
    EXPECT_EQ(registry_->CreateEncodingConverter("X-NLSTEST-NOLIB", kUcs2), nullptr);
    EXPECT_EQ(registry_->GetStatus(), -1300);
    EXPECT_EQ(capture.Text(), AssertText(499, "linker") + AssertText(266, "linker") +
                                  AssertText(628, "linker") + AssertText(533, "reg"));
  }
  {
    StderrCapture capture;
    EXPECT_EQ(registry_->CreateEncodingConverter("X-NLSTEST-NOENTRY", kUcs2), nullptr);
    EXPECT_EQ(registry_->GetStatus(), -1306);
    EXPECT_EQ(capture.Text(), AssertText(733, "linker") + AssertText(533, "reg"));
  }
  {
    StderrCapture capture;
    EXPECT_EQ(registry_->CreateEncodingConverter(nullptr), nullptr);
    EXPECT_EQ(capture.Text(), AssertText(525, "reg"));
  }
}

TEST_F(RegistryWithTestLibrary, EncregOverridesABuiltinRow) {
  TempDataDir dir;
  dir.Write("encreg.txt", "UTF-8 ISO-10646-UCS-2 nlstest NewNlsTestUpperToUnicodeConverter #\n");
  ASSERT_EQ(registry_->Initialize(dir.Prefix().c_str()), 1);
  TEncodingConverter* converter = registry_->CreateEncodingConverter("UTF-8", kUcs2);
  ASSERT_NE(converter, nullptr);
  EXPECT_EQ(ConvertToUnits(converter, "abc"), AsciiUnits("ABC"));
  converter->ReleaseEncodingConverter();

  const char* from[32];
  const char* to[32];
  unsigned int count = 0;
  registry_->ListEncodingConverters("UTF-8", kUcs2, from, to, 32, &count);
  EXPECT_EQ(count, 1u);
  count = 0;
  registry_->ListEncodingConverters("*", kUcs2, from, to, 32, &count);
  unsigned int utf8 = 0;
  for (unsigned int i = 0; i < count; ++i) utf8 += std::strcmp(from[i], "UTF-8") == 0;
  EXPECT_EQ(utf8, 2u);
  EXPECT_EQ(count, 7u + 3u + 1u);  // built-ins, the test library's three, the override
}

TEST_F(RegistryWithTestLibrary, DetectorFromAnEncregRecord) {
  TAutoDetector* detector = registry_->CreateEncodingDetector("x-nlstest-upper");
  ASSERT_NE(detector, nullptr);
  char name[64] = {};
  detector->DetectorEncoding(name);
  EXPECT_STREQ(name, "X-NLSTEST-UPPER");
  _NLS_AUTO_DETECT_RESULT result = {nullptr, 0, 0, -1};
  EXPECT_EQ(detector->DetectBufferEncoding("HELLO 42", 8, &result), 1);
  EXPECT_STREQ(result.encoding, "X-NLSTEST-UPPER");
  EXPECT_EQ(result.confidence, 8u);
  EXPECT_EQ(detector->DetectBufferEncoding("hello", 5, &result), 0);
  detector->ReleaseEncodingDetector();
  EXPECT_EQ(registry_->GetStatus(), 1);

  // A newer entry of the same source without a detector does not hide it.
  TempDataDir dir;
  dir.Write("encreg.txt", "X-NLSTEST-UPPER UTF-8 nlstest NewWhatever #\n");
  ASSERT_EQ(registry_->Initialize(dir.Prefix().c_str()), 1);
  detector = registry_->CreateEncodingDetector("X-NLSTEST-UPPER");
  ASSERT_NE(detector, nullptr);
  detector->ReleaseEncodingDetector();
}

TEST_F(RegistryWithTestLibrary, DetectorFailures) {
  {
    // The built-in entries declare no detector.
    StderrCapture capture;
    EXPECT_EQ(registry_->CreateEncodingDetector("UTF-8"), nullptr);
    EXPECT_EQ(registry_->GetStatus(), 1);  // the loader's status
    EXPECT_EQ(capture.Text(), AssertText(439, "reg"));
  }
  {
    StderrCapture capture;
    EXPECT_EQ(registry_->CreateEncodingDetector("X-NLSTEST-NOENTRY"), nullptr);
    EXPECT_EQ(registry_->GetStatus(), -1306);
    EXPECT_EQ(capture.Text(), AssertText(733, "linker") + AssertText(451, "reg"));
  }
  {
    StderrCapture capture;
    EXPECT_EQ(registry_->CreateEncodingDetector("X-NLSTEST-NOLIB"), nullptr);
    EXPECT_EQ(registry_->GetStatus(), -1300);
    EXPECT_EQ(capture.Text(), AssertText(499, "linker") + AssertText(266, "linker") +
                                  AssertText(628, "linker") + AssertText(451, "reg"));
  }
  {
    StderrCapture capture;
    EXPECT_EQ(registry_->CreateEncodingDetector(nullptr), nullptr);
    EXPECT_EQ(capture.Text(), AssertText(439, "reg"));
  }
}

// ---- Host registration --------------------------------------------------------

int gHostCalls = 0;
TEncodingConverter* HostUtf8Factory() {
  ++gHostCalls;
  return NEWUTF8TOUNICODEENCODINGCONVERTER();
}
TEncodingConverter* HostLatin1Factory() {
  ++gHostCalls;
  return NEWLATIN1TOUNICODEENCODINGCONVERTER();
}

TEST(EncodingRegistry, HostRegistration) {
  TEncodingRegistry registry(EncodingConverter::getDataDirectory());
  registry.RegisterStaticConverters(nullptr);
  EXPECT_EQ(registry.EncodingCount(), 14);
  EXPECT_EQ(registry.AliasCount(), 67);

  const std::string longName(64, 'z');
  NLS_StaticConverterEntry list[] = {
      {"X-Host", kUcs2, "NewHostConverter", HostLatin1Factory},
      {longName.c_str(), kUcs2, "NewHostLong", HostLatin1Factory},  // not registered
      {"UTF-8", kUcs2, "NewHostUtf8", HostUtf8Factory},             // overrides row 8
      {"latin1", kUcs2, "NewHostLatin1", HostLatin1Factory},
      {nullptr, nullptr, nullptr, nullptr},
  };
  registry.RegisterStaticConverters(reinterpret_cast<char*>(list));
  EXPECT_EQ(registry.EncodingCount(), 17);
  EXPECT_EQ(registry.AliasCount(), 67 + 6);
  // The host's names are normalized names of their own.
  EXPECT_STREQ(registry.NormalizeEncodingName("LATIN1"), "latin1");
  EXPECT_STREQ(registry.NormalizeEncodingName("x-host"), "X-Host");

  gHostCalls = 0;
  TEncodingConverter* host = registry.CreateEncodingConverter("x-host", kUcs2);
  ASSERT_NE(host, nullptr);
  host->ReleaseEncodingConverter();
  TEncodingConverter* utf8 = registry.CreateEncodingConverter("UTF-8", kUcs2);
  ASSERT_NE(utf8, nullptr);
  utf8->ReleaseEncodingConverter();
  EXPECT_EQ(gHostCalls, 2);
  TEncodingEntry* entry = registry.FindEncoding("UTF-8", kUcs2);
  ASSERT_NE(entry, nullptr);
  EXPECT_STREQ(entry->fLibrary, "@@staticconvertersINTERNAL@@");
  EXPECT_STREQ(entry->fConverterEntry, "NewHostUtf8");

  NLS_StaticConverterEntry empty[] = {{"X-None", kUcs2, nullptr, HostUtf8Factory}};
  registry.RegisterStaticConverters(reinterpret_cast<char*>(empty));
  EXPECT_EQ(registry.EncodingCount(), 17);
}

// ---- The data files shipped with the library ------------------------------------

bool IsConversionName(TEncodingRegistry& registry, const char* name) {
  TRegistryEnumeration walk(registry.fEncodings);
  while (TEncodingEntry* entry = static_cast<TEncodingEntry*>(walk.next())) {
    if (strcasecmp(entry->fSource, name) == 0 || strcasecmp(entry->fDestination, name) == 0)
      return true;
  }
  return false;
}

TEST(ShippedDataFiles, ReadAndConsistent) {
  TEncodingRegistry registry(EncodingConverter::getDataDirectory());
  const std::string directory = std::string(NLS_SOURCE_DIR) + "/data/conv30/";
  {
    StderrCapture capture;
    ASSERT_EQ(registry.Initialize(directory.c_str()), 1);
    EXPECT_EQ(capture.Text(), "");
  }
  // The built-in conversions, and the 105 encodings of the converter
  // libraries both ways (54 table-driven, CJK and Unicode, 41 single-byte
  // codecs, 3 of CNS 11643, 7 of the JIS X 0213 section).
  EXPECT_EQ(registry.EncodingCount(), 14 + 2 * (54 + 41 + 3 + 7));
  EXPECT_GT(registry.AliasCount(), 67);
  EXPECT_STREQ(registry.NormalizeEncodingName("utf8"), "UTF-8");
  EXPECT_STREQ(registry.NormalizeEncodingName("Macintosh"), "x-mac-roman");
  EXPECT_STREQ(registry.NormalizeEncodingName("mac"), "x-mac-roman");
  EXPECT_STREQ(registry.NormalizeEncodingName("UCS-4"), "ISO-10646-UCS-4");
  EXPECT_STREQ(registry.NormalizeEncodingName("ucs-2"), "ISO-10646-UCS-2");
  EXPECT_STREQ(registry.FindJavaEntityName("ISO_8859-1:1987"), "ISO8859_1");
  EXPECT_STREQ(registry.FindJavaEntityName("UTF-8"), "UTF8");
  EXPECT_STREQ(registry.FindJavaEntityName("x-mac-roman"), "MacRoman");
  EXPECT_STREQ(registry.FindJavaEntityName("UNICODE-1-1-UTF-7"), "UTF-7");
  EXPECT_STREQ(registry.NormalizeJavaEntity("UTF8"), "UTF-8");
  EXPECT_STREQ(registry.NormalizeJavaEntity("iso-8859-1"), "ISO_8859-1:1987");

  // Every alias and every Java name leads to a name that some conversion
  // uses, or to EUC-JP, whose conversions come from converter libraries.
  const char kEucJp[] = "Extended_UNIX_Code_Packed_Format_for_Japanese";
  for (TRegistry* table : {registry.fAliases, registry.fJavaToNormalized}) {
    TRegistryEnumeration walk(table);
    while (TAliasEntry* alias = static_cast<TAliasEntry*>(walk.next())) {
      EXPECT_TRUE(IsConversionName(registry, alias->fNormalized) ||
                  std::strcmp(alias->fNormalized, kEucJp) == 0)
          << alias->fAlias << " -> " << alias->fNormalized;
    }
  }
  // Each Java name given for a canonical name maps back to it.
  TRegistryEnumeration walk(registry.fNormalizedToJava);
  while (TAliasEntry* entry = static_cast<TAliasEntry*>(walk.next())) {
    const char* java = registry.FindJavaEntityName(entry->fAlias);
    ASSERT_NE(java, nullptr);
    EXPECT_STRCASEEQ(registry.NormalizeJavaEntity(java), entry->fAlias);
  }
}

}  // namespace

// The converter libraries as a host reaches them: NLS_EncInitialize with the
// build tree as the data directory, then conversions by canonical name, alias
// and Java name through the registry, which loads lib<name>30.so on first use.
// Samples and their UTF-8 form come from Python's codecs.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "nlscnv.h"
#include "support/test_support.h"

namespace {

using nls_test::Bytes;

const std::string kDataDir = std::string(NLS_BUILD_DATA_BASE) + "/conv30/";

struct Sample {
  std::string codec;
  Bytes encoded;
  Bytes utf8;
};

std::vector<Sample> ReadSamples() {
  const Bytes data = nls_test::ReadFile(nls_test::OraclePath("convlibs_samples"));
  std::vector<Sample> samples;
  size_t pos = 0;
  auto block = [&] {
    uint32_t n = data.at(pos) | data.at(pos + 1) << 8 | data.at(pos + 2) << 16 |
                 static_cast<uint32_t>(data.at(pos + 3)) << 24;
    Bytes b(data.begin() + static_cast<long>(pos + 4),
            data.begin() + static_cast<long>(pos + 4 + n));
    pos += 4 + n;
    return b;
  };
  while (pos < data.size()) {
    Bytes codec = block();
    Bytes encoded = block();
    Bytes utf8 = block();
    samples.push_back({std::string(codec.begin(), codec.end()), encoded, utf8});
  }
  return samples;
}

// How a host might name each encoding: canonical names, aliases, Java names.
const std::map<std::string, std::string> kHostNames = {
    {"shift_jis", "sjis"},
    {"euc_jp", "EUC-JP"},
    {"iso2022_jp", "ISO-2022-JP"},
    {"iso2022_jp_1", "iso2022jp-1"},
    {"iso2022_jp_2", "csISO2022JP2"},
    {"gb2312", "EUC-CN"},
    {"big5", "big5"},
    {"euc_kr", "euckr"},
    {"cp932", "ms932"},
    {"gbk", "cp936"},
    {"gb18030", "GB18030"},
    {"cp950", "x-windows-950"},
    {"big5hkscs", "big5-hkscs"},
    {"cp949", "ks_c_5601-1987"},
    {"johab", "cp1361"},
    {"euc_jis_2004", "EUC-JIS-2004"},
    {"euc_jisx0213", "euc_jisx0213"},
    {"shift_jis_2004", "sjis_2004"},
    {"shift_jisx0213", "SHIFT_JISX0213"},
    {"iso2022_jp_3", "ISO-2022-JP-3"},
    {"iso2022_jp_2004", "iso2022jp-2004"},
    {"iso2022_jp_ext", "ISO-2022-JP-EXT"},
    {"iso2022_kr", "csISO2022KR"},
    {"hz", "HZ"},
    {"euc_tw", "EUCTW"},
    {"iso2022_cn", "csISO2022CN"},
    {"iso2022_cn_ext", "ISO-2022-CN-EXT"},
    {"cp1250", "cp1250"},
    {"cp1251", "windows-1251"},
    {"cp1252", "CP1252"},
    {"cp1253", "x-cp1253"},
    {"cp1254", "windows-1254"},
    {"cp1255", "cp1255"},
    {"cp1256", "cswindows1256"},
    {"cp1257", "cp1257"},
    {"cp1258", "windows-1258"},
    {"iso8859_2", "latin2"},
    {"iso8859_3", "ISO-8859-3"},
    {"iso8859_4", "l4"},
    {"iso8859_5", "cyrillic"},
    {"iso8859_6", "arabic"},
    {"iso8859_7", "greek"},
    {"iso8859_8", "hebrew"},
    {"iso8859_9", "latin5"},
    {"iso8859_10", "latin6"},
    {"iso8859_11", "ISO-8859-11"},
    {"iso8859_13", "iso8859-13"},
    {"iso8859_14", "latin8"},
    {"iso8859_15", "latin9"},
    {"iso8859_16", "ISO-8859-16"},
    {"koi8_r", "koi8r"},
    {"koi8_u", "KOI8-U"},
    {"cp437", "cp437"},
    {"cp850", "IBM850"},
    {"cp866", "866"},
    {"utf_16", "UTF16"},
    {"utf_16_be", "utf-16be"},
    {"utf_16_le", "UTF16LE"},
    {"utf_32", "utf32"},
    {"utf_32_be", "UTF-32BE"},
    {"utf_32_le", "csUTF32LE"},
    {"ucs_2_be", "UNICODEBIG"},
    {"ucs_2_le", "ucs-2le"},
    {"cesu_8", "cesu8"},
    // The single-byte codec libraries' samples are named by canonical name.
    {"IBM037", "ebcdic-cp-us"},
    {"IBM273", "CP273"},
    {"IBM424", "ebcdic-cp-he"},
    {"IBM500", "csIBM500"},
    {"IBM875", "cp875"},
    {"IBM1026", "IBM1026"},
    {"IBM01140", "ebcdic-us-37+euro"},
    {"IBM737", "cp737"},
    {"IBM775", "csPC775Baltic"},
    {"IBM852", "852"},
    {"IBM855", "cp855"},
    {"IBM857", "IBM857"},
    {"IBM00858", "PC-Multilingual-850+euro"},
    {"IBM860", "cp860"},
    {"IBM861", "cp-is"},
    {"IBM863", "863"},
    {"IBM865", "csIBM865"},
    {"IBM869", "cp-gr"},
    {"IBM1125", "ruscii"},
    {"x-mac-ce", "maccentraleurope"},
    {"x-mac-croatian", "mac_croatian"},
    {"x-mac-cyrillic", "maccyrillic"},
    {"x-mac-greek", "x-mac-greek"},
    {"x-mac-iceland", "mac-is"},
    {"x-mac-romanian", "macromania"},
    {"x-mac-turkish", "macturkish"},
    {"IBM720", "cp720"},
    {"IBM856", "856"},
    {"IBM862", "csPC862LatinHebrew"},
    {"IBM864", "cp864"},
    {"IBM1006", "cp1006"},
    {"x-mac-arabic", "mac_arabic"},
    {"x-mac-farsi", "x-mac-farsi"},
    {"ISO-8859-8-I", "csISO88598I"},
    {"windows-874", "ms874"},
    {"TIS-620", "tis620"},
    {"KOI8-T", "koi8t"},
    {"KZ-1048", "RK1048"},
    {"PTCP154", "PT154"},
    {"hp-roman8", "roman8"},
    {"x-user-defined", "X-USER-DEFINED"},
};

// The EBCDIC encodings write "A" as 0xC1; every other one as 0x41.
bool IsEbcdic(const std::string& name) {
  for (const char* e : {"IBM037", "IBM273", "IBM424", "IBM500", "IBM875", "IBM1026", "IBM01140"})
    if (name == e) return true;
  return false;
}

class ConverterLibraries : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(NLS_EncInitialize(nullptr, NLS_BUILD_DATA_BASE), 1); }
  void TearDown() override { NLS_EncTerminate(); }

  // NLS_ConvertBuffer with the size the library asks for.
  static Bytes Convert(const std::string& from, const std::string& to, const Bytes& in,
                       int* status = nullptr) {
    unsigned size = NLS_GetResultBufferSize(in.data(), static_cast<unsigned>(in.size()),
                                            from.c_str(), to.c_str());
    EXPECT_GT(size, 0u) << from << " -> " << to;
    Bytes out(size + 1);
    unsigned produced = 0;
    int st = NLS_ConvertBuffer(from.c_str(), to.c_str(), in.data(),
                               static_cast<unsigned>(in.size()), out.data(), size, &produced);
    if (status) *status = st;
    EXPECT_EQ(st, 1) << from << " -> " << to;
    out.resize(produced);
    return out;
  }
};

// The records of the libraries' sections of a registry file of the build
// tree's data directory (every generated section but the built-in one).
std::vector<std::vector<std::string>> SectionRecords(const std::string& file, size_t fields) {
  std::ifstream in(kDataDir + file);
  std::string line;
  bool inside = false;
  std::vector<std::string> tokens;
  while (std::getline(in, line)) {
    if (line.rfind("// ---- End of", 0) == 0)
      inside = false;
    else if (line.rfind("// ---- ", 0) == 0)
      inside = line.find("Built-in") == std::string::npos;
    if (!inside || line.rfind("/", 0) == 0) continue;
    std::istringstream words(line);
    for (std::string w; words >> w;) tokens.push_back(w);
  }
  std::vector<std::vector<std::string>> records;
  for (size_t i = 0; i + fields <= tokens.size(); i += fields)
    records.emplace_back(tokens.begin() + static_cast<long>(i),
                         tokens.begin() + static_cast<long>(i + fields));
  EXPECT_EQ(tokens.size() % fields, 0u) << file;
  return records;
}

TEST_F(ConverterLibraries, SamplesConvertToAndFromUtf8) {
  const std::vector<Sample> samples = ReadSamples();
  ASSERT_EQ(samples.size(), kHostNames.size());
  for (const Sample& s : samples) {
    const std::string& name = kHostNames.at(s.codec);
    EXPECT_EQ(Convert(name, "UTF-8", s.encoded), s.utf8) << name;
    EXPECT_EQ(Convert("UTF-8", name, s.utf8), s.encoded) << name;
  }
}

TEST_F(ConverterLibraries, EveryRecordCreatesAConverterOfItsDirection) {
  const auto records = SectionRecords("encreg.txt", 5);
  ASSERT_EQ(records.size(), 2u * kHostNames.size());
  const uint16_t a = 'A';
  Bytes ucs2A(2);
  std::memcpy(ucs2A.data(), &a, 2);
  for (const auto& r : records) {
    NLS_ConverterHandle h = nullptr;
    ASSERT_EQ(NLS_NewEncodingConverter(r[0].c_str(), r[1].c_str(), &h), 1) << r[0] << " " << r[1];
    const bool toUcs2 = r[1] == "ISO-10646-UCS-2";
    // "A" in the encoding: one byte (0xC1 in EBCDIC), but for the Unicode
    // forms of more.
    const std::string& name = toUcs2 ? r[0] : r[1];
    const std::map<std::string, Bytes> forms = {{"UTF-16", {0xFF, 0xFE, 'A', 0}},
                                                {"UTF-16LE", {'A', 0}},
                                                {"UCS-2LE", {'A', 0}},
                                                {"UTF-16BE", {0, 'A'}},
                                                {"UCS-2BE", {0, 'A'}},
                                                {"UTF-32LE", {'A', 0, 0, 0}},
                                                {"UTF-32BE", {0, 0, 0, 'A'}},
                                                {"UTF-32", {0xFF, 0xFE, 0, 0, 'A', 0, 0, 0}}};
    Bytes encodedA = forms.count(name)
                         ? forms.at(name)
                         : Bytes{static_cast<unsigned char>(IsEbcdic(name) ? 0xC1 : 'A')};
    const Bytes in = toUcs2 ? encodedA : ucs2A;
    // Room for a character and what a stateful encoder writes around it
    // (ISO-2022-KR: the header, a shift, the end of the text).
    unsigned char out[16] = {};
    unsigned produced = 0;
    EXPECT_EQ(NLS_ConvertStreamBuffer(h, in.data(), static_cast<unsigned>(in.size()), out,
                                      sizeof out, &produced),
              1);
    // Written by the encoder after the header in ISO-2022-KR.
    if (r[1] == "ISO-2022-KR") encodedA.insert(encodedA.begin(), {0x1B, '$', ')', 'C'});
    EXPECT_EQ(Bytes(out, out + produced), toUcs2 ? ucs2A : encodedA) << r[0] << " " << r[1];
    NLS_DeleteEncodingConverter(h);
  }
}

TEST_F(ConverterLibraries, EveryAliasAndJavaNameLeadsToAConversion) {
  const auto aliases = SectionRecords("aliasreg.txt", 2);
  ASSERT_GT(aliases.size(), 100u);
  for (const auto& r : aliases) {
    EXPECT_STREQ(NLS_GetNormalizedEncodingName(r[0].c_str()), r[1].c_str()) << r[0];
    EXPECT_EQ(NLS_EncodingConverterExists(r[0].c_str(), "UTF-8"), 1) << r[0];
  }
  std::map<std::string, std::string> lastJavaName;
  for (const auto& r : SectionRecords("javareg.txt", 2)) {
    const char* name = NLS_GetEncodingNameFromJava(r[0].c_str());
    ASSERT_NE(name, nullptr) << r[0];
    EXPECT_STREQ(name, r[1].c_str()) << r[0];
    EXPECT_EQ(NLS_EncodingConverterExists(name, "UTF-8"), 1) << r[0];
    lastJavaName[r[1]] = r[0];
  }
  for (const auto& [canonical, java] : lastJavaName) {
    const char* name = NLS_GetJavaEncodingName(canonical.c_str());
    ASSERT_NE(name, nullptr) << canonical;
    EXPECT_EQ(name, java) << canonical;
  }
}

TEST_F(ConverterLibraries, CommonSpellingsAndJavaNames) {
  const std::pair<const char*, const char*> spellings[] = {
      {"sjis", "Shift_JIS"},
      {"SHIFT_JIS", "Shift_JIS"},
      {"euc-jp", "Extended_UNIX_Code_Packed_Format_for_Japanese"},
      {"csISO2022JP", "ISO-2022-JP"},
      {"EUC-CN", "GB2312"},
      {"euckr", "EUC-KR"},
      {"cp932", "windows-31j"},
      {"CP936", "GBK"},
      {"big5hkscs", "Big5-HKSCS"},
      {"ks_c_5601-1987", "windows-949"},  // as Windows and the browsers read it
      {"uhc", "windows-949"},
      {"cp950", "windows-950"},
      {"cp1252", "windows-1252"},
      {"latin2", "ISO_8859-2:1987"},
      {"ISO-8859-15", "ISO-8859-15"},
      {"koi8r", "KOI8-R"},
      {"cp866", "IBM866"},
      {"latin1", "ISO_8859-1:1987"},  // built in, unchanged
      {"ebcdic-cp-ca", "IBM037"},
      {"CP01140", "IBM01140"},
      {"IBM858", "IBM00858"},
      {"cp874", "windows-874"},
      {"TIS-620-2529", "TIS-620"},
      {"cyrillic-asian", "PTCP154"},
      {"ISO_8859-8-I", "ISO-8859-8-I"},
      {"ISO_8859-8", "ISO_8859-8:1988"},  // visual order stays apart
  };
  for (const auto& [alias, canonical] : spellings)
    EXPECT_STREQ(NLS_GetNormalizedEncodingName(alias), canonical) << alias;
  EXPECT_STREQ(NLS_GetJavaEncodingName("Shift_JIS"), "SJIS");
  EXPECT_STREQ(NLS_GetJavaEncodingName("windows-1252"), "Cp1252");
  EXPECT_STREQ(NLS_GetJavaEncodingName("ISO_8859-2:1987"), "ISO8859_2");
  EXPECT_STREQ(NLS_GetEncodingNameFromJava("EUC_KR"), "EUC-KR");
  EXPECT_STREQ(NLS_GetEncodingNameFromJava("ISO2022JP"), "ISO-2022-JP");
  EXPECT_STREQ(NLS_GetJavaEncodingName("windows-31j"), "MS932");
  EXPECT_STREQ(NLS_GetJavaEncodingName("Big5-HKSCS"), "Big5_HKSCS");
  EXPECT_STREQ(NLS_GetEncodingNameFromJava("x-windows-949"), "windows-949");
  EXPECT_EQ(NLS_GetJavaEncodingName("ISO-8859-10"), nullptr);  // Java has none
  EXPECT_STREQ(NLS_GetJavaEncodingName("IBM01140"), "Cp1140");
  EXPECT_STREQ(NLS_GetEncodingNameFromJava("x-MacCentralEurope"), "x-mac-ce");
  EXPECT_STREQ(NLS_GetEncodingNameFromJava("MS874"), "windows-874");
}

TEST_F(ConverterLibraries, DetectedJapaneseEncodingsConvert) {
  const std::map<std::string, std::string> detected = {
      {"shift_jis", "Shift_JIS"},
      {"euc_jp", "Extended_UNIX_Code_Packed_Format_for_Japanese"},
      {"iso2022_jp", "ISO-2022-JP"}};
  for (const Sample& s : ReadSamples()) {
    auto it = detected.find(s.codec);
    if (it == detected.end()) continue;
    _NLS_AUTO_DETECT_RESULT result{};
    unsigned count = 0;
    ASSERT_EQ(NLS_DetectEncodingForBuffer(s.encoded.data(), static_cast<unsigned>(s.encoded.size()),
                                          &result, 0, &count),
              1)
        << s.codec;
    ASSERT_EQ(count, 1u);
    EXPECT_STREQ(result.encoding, it->second.c_str());
    EXPECT_EQ(Convert(result.encoding, "UTF-8", s.encoded), s.utf8) << s.codec;
  }
}

TEST_F(ConverterLibraries, Iso2022JpStreamsThroughAHandleCutAnywhere) {
  for (const Sample& s : ReadSamples()) {
    if (s.codec != "iso2022_jp") continue;
    NLS_ConverterHandle h = nullptr;
    ASSERT_EQ(NLS_NewEncodingConverter("ISO-2022-JP", "UTF-8", &h), 1);
    Bytes joined;
    unsigned char out[256];
    size_t pos = 0;
    for (unsigned piece = 1; pos < s.encoded.size(); piece = piece % 7 + 1) {
      const unsigned n = static_cast<unsigned>(std::min<size_t>(piece, s.encoded.size() - pos));
      unsigned produced = 0;
      int st = NLS_ConvertStreamBuffer(h, s.encoded.data() + pos, n, out, sizeof out, &produced);
      joined.insert(joined.end(), out, out + produced);
      while (st == 2) {
        st = NLS_ConverterGetOverflow(h, out, sizeof out, &produced);
        joined.insert(joined.end(), out, out + produced);
      }
      ASSERT_EQ(st, 1) << "at " << pos;
      pos += n;
    }
    EXPECT_EQ(joined, s.utf8);
    NLS_DeleteEncodingConverter(h);
  }
}

TEST_F(ConverterLibraries, JapaneseRoundTripBetweenEncodings) {
  for (const Sample& s : ReadSamples()) {
    if (s.codec != "shift_jis") continue;
    // Through both libraries' tables; half-width katakana keep their form
    // (ISO-2022-JP has none, so it is not on this path).
    const Bytes euc = Convert("Shift_JIS", "EUC-JP", s.encoded);
    EXPECT_EQ(Convert("EUC-JP", "sjis", euc), s.encoded);
    EXPECT_EQ(Convert("EUC-JP", "UTF-8", euc), s.utf8);
  }
}

}  // namespace

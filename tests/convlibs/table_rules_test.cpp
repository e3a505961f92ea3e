// Table-driven converters of the converter libraries: the factories, the
// engine's documented rules as they show in these encodings, the characters
// with more than one code (and the code each encodes to), and resumption
// through small output buffers.
//
// Engine rules (documented behaviour, not faults):
// - to UCS-2, a 0 byte ends the input (result 2);
// - to UCS-2, bytes below 0x20 are themselves;
// - to UCS-2, an unmapped byte, or a lead byte whose sequence is unmapped or
//   cut by the end of the input, is U+FFFD and consumes one byte; the bytes
//   after it are read on their own (so a sequence cut between two calls is
//   not joined: cut input between characters);
// - to UCS-2, the high bit of trail bytes read through the two-byte tables
//   with high bits set (EUC-JP, GB2312, EUC-KR) is not checked;
// - from UCS-2, an unmapped character is "?" (itself when at most 0x20), and
//   a sequence longer than the room left is "?" too (the character counts as
//   consumed).
#include <gtest/gtest.h>

#include <string>

#include "convlibs/convlibs_support.h"
#include "support/converter_harness.h"

namespace {

using convlibs_test::Bytes;
using convlibs_test::ConvertAll;
using convlibs_test::Converted;
using convlibs_test::LeUnits;
using convlibs_test::TableEncoding;
using nls_test::B;
using nls_test::Ucs2;
using U = std::vector<uint16_t>;

// A converter pair of one encoding, released at the end of the scope.
struct Pair {
  explicit Pair(const char* name) {
    for (const TableEncoding& e : convlibs_test::TableEncodings()) {
      if (std::string(e.name) == name) {
        dec = e.toUcs2();
        enc = e.fromUcs2();
      }
    }
    EXPECT_NE(dec, nullptr) << name;
    EXPECT_NE(enc, nullptr) << name;
  }
  ~Pair() {
    if (dec) dec->ReleaseEncodingConverter();
    if (enc) enc->ReleaseEncodingConverter();
  }
  U Decode(const Bytes& in, int status = 1) {
    Converted r = ConvertAll(dec, in, static_cast<unsigned>(2 * in.size() + 4));
    EXPECT_EQ(r.status, status);
    return LeUnits(r.out);
  }
  Bytes Encode(const U& text) {
    Converted r = ConvertAll(enc, Ucs2(text), static_cast<unsigned>(4 * text.size() + 4));
    EXPECT_EQ(r.status, 1);
    return r.out;
  }
  TEncodingConverter* dec = nullptr;
  TEncodingConverter* enc = nullptr;
};

TEST(ConverterLibraryFactories, StatusAndBufferSizes) {
  for (const TableEncoding& e : convlibs_test::TableEncodings()) {
    Pair p(e.name);
    ASSERT_NE(p.dec, nullptr);
    EXPECT_EQ(p.dec->GetStatus(), 1) << e.name;
    EXPECT_EQ(p.enc->GetStatus(), 1) << e.name;
    unsigned size = 0;
    p.dec->TargetBufferSize(nullptr, 10, &size);
    EXPECT_EQ(size, 22u) << e.name;
    // Three bytes per character in EUC-JP (JIS X 0212), at most two elsewhere.
    p.enc->TargetBufferSize(nullptr, 10, &size);
    EXPECT_EQ(size, std::string(e.codec) == "euc_jp" ? 22u : 12u) << e.name;
  }
}

TEST(ConverterLibraryExamples, ExactBytes) {
  Pair sjis("Shift_JIS");
  EXPECT_EQ(sjis.Decode({0x8A, 0xBF, 0x8E, 0x9A, 0xB1, 0x41}), (U{0x6F22, 0x5B57, 0xFF71, 'A'}));
  EXPECT_EQ(sjis.Encode({0xFF21, 0xFF42, 0xFF71}), (Bytes{0x82, 0x60, 0x82, 0x82, 0xB1}));
  Pair eucjp("Extended_UNIX_Code_Packed_Format_for_Japanese");
  const Bytes eucText = {0xB4, 0xC1, 0x8E, 0xB1, 0x8F, 0xB0, 0xA1, 'a'};  // 漢 ｱ 丂 a
  EXPECT_EQ(eucjp.Decode(eucText), (U{0x6F22, 0xFF71, 0x4E02, 'a'}));
  EXPECT_EQ(eucjp.Encode({0x6F22, 0xFF71, 0x4E02, 'a'}), eucText);
  Pair gb("GB2312");
  EXPECT_EQ(gb.Decode({0xB0, 0xA1, 'x'}), (U{0x554A, 'x'}));
  EXPECT_EQ(gb.Encode({0x554A}), (Bytes{0xB0, 0xA1}));
  Pair big5("Big5");
  EXPECT_EQ(big5.Decode({0xA4, 0x40, 0xA4, 0xA1}), (U{0x4E00, 0x4E11}));
  Pair kr("EUC-KR");
  EXPECT_EQ(kr.Decode({0xB0, 0xA1}), U{0xAC00});
  Pair cp1252("windows-1252");
  EXPECT_EQ(cp1252.Decode({0x80, 0x81, 0x9F}), (U{0x20AC, 0xFFFD, 0x0178}));
  Pair koi8r("KOI8-R");
  EXPECT_EQ(koi8r.Encode({0x0416, 0x20AC}), (Bytes{0xF6, '?'}));
}

TEST(ConverterLibraryRules, ZeroByteEndsTheInput) {
  Pair sjis("Shift_JIS");
  Converted r = ConvertAll(sjis.dec, Bytes{'A', 0, 'B'}, 16);
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.used, 1u);
  EXPECT_EQ(LeUnits(r.out), U{'A'});
  Converted first = ConvertAll(sjis.dec, Bytes{0, 'B'}, 16);
  EXPECT_EQ(first.status, 2);
  EXPECT_EQ(first.used, 0u);
  EXPECT_TRUE(first.out.empty());
  // A 0 as a trail byte: the lead is U+FFFD, then the 0 ends the input.
  Converted trail = ConvertAll(sjis.dec, Bytes{0x8A, 0}, 16);
  EXPECT_EQ(trail.status, 2);
  EXPECT_EQ(LeUnits(trail.out), U{0xFFFD});
}

TEST(ConverterLibraryRules, BadSequencesGiveOneReplacementPerByte) {
  Pair sjis("Shift_JIS");
  EXPECT_EQ(sjis.Decode({0x81, 0x20, 0x80, 0xA0, 0xFD}), (U{0xFFFD, ' ', 0xFFFD, 0xFFFD, 0xFFFD}));
  // A lead byte at the end of the input is consumed as U+FFFD.
  Converted cut = ConvertAll(sjis.dec, Bytes{'A', 0x8A}, 16);
  EXPECT_EQ(cut.status, 1);
  EXPECT_EQ(cut.used, 2u);
  EXPECT_EQ(LeUnits(cut.out), (U{'A', 0xFFFD}));
  Pair eucjp("Extended_UNIX_Code_Packed_Format_for_Japanese");
  EXPECT_EQ(eucjp.Decode({0x8E, 0xE0, 0x8F, 0xB0}), (U{0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD}));
  Pair gb("GB2312");
  EXPECT_EQ(gb.Decode({0xA1, 0x0A, 0xF8, 0xA1}), (U{0xFFFD, '\n', 0xFFFD, 0xFFFD}));
}

TEST(ConverterLibraryRules, TrailHighBitIsNotCheckedInHighBitTables) {
  Pair kr("EUC-KR");
  EXPECT_EQ(kr.Decode({0xB0, 0x21}), U{0xAC00});  // read as 0xB0 0xA1
  Pair gb("GB2312");
  EXPECT_EQ(gb.Decode({0xB0, 0x21}), U{0x554A});
  Pair eucjp("Extended_UNIX_Code_Packed_Format_for_Japanese");
  EXPECT_EQ(eucjp.Decode({0xB4, 0x41}), U{0x6F22});
  EXPECT_EQ(eucjp.Decode({0x8F, 0x30, 0x21}), U{0x4E02});
  // The Big5 and Shift_JIS tables take the whole trail byte.
  Pair big5("Big5");
  EXPECT_EQ(big5.Decode({0xA4, 0xC0}), U{0x5206});  // not 0xA4 0x40
  Pair sjis("Shift_JIS");
  EXPECT_EQ(sjis.Decode({0x8A, 0x3F}), (U{0xFFFD, '?'}));
}

TEST(ConverterLibraryRules, UnmappedCharactersAndShortRoom) {
  Pair cp1250("windows-1250");
  EXPECT_EQ(cp1250.Encode({0x0A, 0x20, 0x4E00, 0xD800, 0xFFFF}),
            (Bytes{0x0A, 0x20, '?', '?', '?'}));
  // Three bytes (JIS X 0212) with two bytes of room: "?" and a diagnostic.
  Pair eucjp("Extended_UNIX_Code_Packed_Format_for_Japanese");
  nls_test::StderrCapture capture;
  Converted r = ConvertAll(eucjp.enc, Ucs2({'a', 0x4E02}), 3);
  const std::string diagnostics = capture.Text();
  capture.Restore();
  EXPECT_EQ(r.used, 4u);
  ASSERT_GE(r.out.size(), 2u);
  EXPECT_EQ(r.out[1], '?');
  EXPECT_NE(diagnostics.find(nls_test::AssertText(108, "enccn")), std::string::npos);
}

TEST(ConverterLibraryOneWayMappings, DecodeBothCodesEncodeTheDocumentedOne) {
  // Big5: four characters with two codes; each encodes to the second.
  Pair big5("Big5");
  const struct {
    uint16_t c;
    Bytes first, second;
  } big5Pairs[] = {{0xFF0F, {0xA1, 0xFE}, {0xA2, 0x41}},
                   {0xFF3C, {0xA2, 0x40}, {0xA2, 0x42}},
                   {0x5341, {0xA2, 0xCC}, {0xA4, 0x51}},
                   {0x5345, {0xA2, 0xCE}, {0xA4, 0xCA}}};
  for (const auto& m : big5Pairs) {
    EXPECT_EQ(big5.Decode(m.first), U{m.c});
    EXPECT_EQ(big5.Decode(m.second), U{m.c});
    EXPECT_EQ(big5.Encode({m.c}), m.second);
  }
  // EUC-JP: the JIS X 0212 tilde decodes as U+007E, which encodes as 0x7E.
  Pair eucjp("Extended_UNIX_Code_Packed_Format_for_Japanese");
  EXPECT_EQ(eucjp.Decode({0x8F, 0xA2, 0xB7}), U{0x7E});
  EXPECT_EQ(eucjp.Encode({0x7E}), Bytes{0x7E});
  // Shift_JIS and EUC-JP write U+00A5 and U+203E as 0x5C and 0x7E, which
  // read back as U+005C and U+007E.
  Pair sjis("Shift_JIS");
  for (Pair* p : {&sjis, &eucjp}) {
    EXPECT_EQ(p->Encode({0xA5, 0x203E}), (Bytes{0x5C, 0x7E}));
    EXPECT_EQ(p->Decode({0x5C, 0x7E}), (U{0x5C, 0x7E}));
  }
  // EUC-KR: the filler is a character of its own; eight-byte compositions
  // are not used, so a syllable outside KS X 1001 is "?".
  Pair kr("EUC-KR");
  EXPECT_EQ(kr.Decode({0xA4, 0xD4}), U{0x3164});
  EXPECT_EQ(kr.Encode({0x3164, 0xAC02}), (Bytes{0xA4, 0xD4, '?'}));
  EXPECT_EQ(kr.Decode({0xA4, 0xD4, 0xA4, 0xA1, 0xA4, 0xBF, 0xA4, 0xA2}),
            (U{0x3164, 0x3131, 0x314F, 0x3132}));
}

TEST(ConverterLibraryResume, EveryOutputSizeGivesTheSameOutput) {
  // Texts whose characters take one or two bytes; JIS X 0212 (three bytes)
  // is left out since a short room turns it into "?".
  const struct {
    const char* name;
    U text;
  } samples[] = {
      {"Shift_JIS", {'a', 0x6F22, 0xFF71, 0x5B57, '\n', 0x3042, 'z', 0xFF9F}},
      {"Extended_UNIX_Code_Packed_Format_for_Japanese", {0x6F22, 'a', 0xFF71, 0xFF71, 0x5B57}},
      {"GB2312", {0x554A, 'b', 0x4E2D, 0x6587, ' ', 0x3002}},
      {"Big5", {0x4E00, 'c', 0x4E5D, 0x5341, 0x3000}},
      {"EUC-KR", {0xAC00, 'd', 0xAC01, 0x3164, 0x4F3D}},
      {"windows-1251", {0x0416, 'e', 0x20AC, 0x0451}},
  };
  for (const auto& s : samples) {
    Pair p(s.name);
    const Bytes encoded = p.Encode(s.text);
    EXPECT_EQ(p.Decode(encoded), s.text) << s.name;
    nls_test::ExpectResumeIdentity(p.enc, Ucs2(s.text), 1, 2);
    nls_test::ExpectResumeIdentity(p.dec, encoded, 2, 4);
  }
}

}  // namespace

// Exact cases of the CJK libraries that the differential tests cannot
// derive from their peers, through the strict interface (NLS_Iconv) and the
// legacy calls (NLS_ConvertBuffer), by canonical name as a host gives it
// (input cut anywhere is the streaming tests' part):
// - a lead byte followed by a byte that cannot be its trail (or by an ASCII
//   byte of an unassigned pair) is ill-formed in itself, and the next byte
//   is read on its own; an unassigned pair of two high bytes goes as a
//   whole, so that Big5 resynchronises on the next character;
// - mappings where the libraries depart from every peer on this machine:
//   GB18030's 2022 edition, Big5-HKSCS's pairs for two characters (the
//   encoder holds the base back until the end of the text), the vendor
//   choices of windows-31j and GBK;
// - the shifts and escape sequences of the stateful encodings, where the
//   peers write or read them otherwise.
#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "nlscnv.h"
#include "support/test_support.h"

namespace {

using nls_test::Bytes;

Bytes Hex(const std::string& hex) {
  Bytes out;
  for (size_t i = 0; i + 1 < hex.size(); i += 3)
    out.push_back(static_cast<unsigned char>(std::stoi(hex.substr(i, 2), nullptr, 16)));
  return out;
}

struct Strict {
  Bytes out;
  size_t result;
  int error;
  size_t consumed;
  NLS_IconvFailure failure;
};

// One NLS_Iconv call on the whole input and the end of the text.
Strict Iconv(const char* to, const char* from, const Bytes& in) {
  Strict r{Bytes(4 * in.size() + 16), 0, 0, 0, {}};
  NLS_Iconv_t cd = NLS_IconvOpen(to, from);
  EXPECT_NE(cd, reinterpret_cast<NLS_Iconv_t>(-1)) << from << " -> " << to;
  Bytes copy = in;
  char* src = reinterpret_cast<char*>(copy.data());
  char* dst = reinterpret_cast<char*>(r.out.data());
  size_t left = copy.size(), room = r.out.size();
  errno = 0;
  r.result = NLS_Iconv(cd, &src, &left, &dst, &room);
  r.error = r.result == static_cast<size_t>(-1) ? errno : 0;
  r.consumed = copy.size() - left;
  NLS_IconvGetFailure(cd, &r.failure);
  if (r.error == 0) {
    EXPECT_NE(NLS_Iconv(cd, nullptr, nullptr, &dst, &room), static_cast<size_t>(-1));
  }
  r.out.resize(r.out.size() - room);
  NLS_IconvClose(cd);
  return r;
}

// NLS_Iconv on in[0, cut) (a sequence cut there waits for the rest), then
// on what it left and the rest, and the end of the text: the output, or
// nothing on an error.
Bytes IconvInTwo(const char* to, const char* from, const Bytes& in, size_t cut) {
  Bytes out(4 * in.size() + 16), copy = in;
  NLS_Iconv_t cd = NLS_IconvOpen(to, from);
  char* src = reinterpret_cast<char*>(copy.data());
  char* dst = reinterpret_cast<char*>(out.data());
  size_t room = out.size(), left = cut;
  const size_t failed = static_cast<size_t>(-1);
  errno = 0;
  bool ok = NLS_Iconv(cd, &src, &left, &dst, &room) != failed || errno == EINVAL;
  left += in.size() - cut;
  ok = ok && NLS_Iconv(cd, &src, &left, &dst, &room) != failed &&
       NLS_Iconv(cd, nullptr, nullptr, &dst, &room) != failed;
  NLS_IconvClose(cd);
  out.resize(ok ? out.size() - room : 0);
  return out;
}

Bytes Legacy(const char* from, const char* to, const Bytes& in) {
  Bytes out(8 * in.size() + 16);
  unsigned produced = 0;
  EXPECT_EQ(NLS_ConvertBuffer(from, to, in.data(), static_cast<unsigned>(in.size()), out.data(),
                              static_cast<unsigned>(out.size()), &produced),
            1)
      << from << " -> " << to;
  out.resize(produced);
  return out;
}

class CjkCases : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(NLS_EncInitialize(nullptr, NLS_BUILD_DATA_BASE), 1); }
  void TearDown() override { NLS_EncTerminate(); }
};

// Ill-formed input: what the legacy calls make of it (U+FFFD per ill-formed
// sequence) and where the strict interface stops (offset, length, whether
// the next byte broke it).
struct IllFormed {
  const char* encoding;
  const char* bytes;
  const char* legacy;  // UTF-8
  size_t offset, length, context;
} const kIllFormed[] = {
    {"Shift_JIS", "78 88 20 79", "x\xEF\xBF\xBD y", 1, 1, 1},
    {"windows-31j", "78 81 7F 79", "x\xEF\xBF\xBD\x7Fy", 1, 1, 1},
    {"EUC-JP", "78 B0 41 79",
     "x\xEF\xBF\xBD"
     "Ay",
     1, 1, 1},
    {"EUC-JP", "8F B0 41",
     "\xEF\xBF\xBD\xEF\xBF\xBD"
     "A",
     0, 1, 1},
    {"EUC-JP", "A9 A1 41",
     "\xEF\xBF\xBD"
     "A",
     0, 2, 0},
    {"ISO-2022-JP", "1B 24 42 34 0A", "\xEF\xBF\xBD\n", 3, 1, 1},
    {"ISO-2022-JP", "1B 28 58 41", "\xEF\xBF\xBD(XA", 0, 1, 1},
    // ISO-2022-JP-1: an escape of ISO-2022-JP-2 (GB2312). ISO-2022-JP-2: ESC N
    // without a G2 set, before a control byte, before a byte ISO-8859-7
    // leaves unassigned.
    {"ISO-2022-JP-1", "1B 24 41 30 21", "\xEF\xBF\xBD$A0!", 0, 1, 1},
    {"ISO-2022-JP-2", "1B 4E 41 42",
     "\xEF\xBF\xBD"
     "AB",
     0, 2, 0},
    {"ISO-2022-JP-2", "1B 2E 41 1B 4E 0A", "\xEF\xBF\xBD\n", 3, 2, 1},
    {"ISO-2022-JP-2", "1B 2E 46 1B 4E 24 41",
     "\xEF\xBF\xBD"
     "A",
     3, 3, 0},
    {"GB2312", "78 B0 41 79",
     "x\xEF\xBF\xBD"
     "Ay",
     1, 1, 1},
    {"GBK", "78 81 20 79", "x\xEF\xBF\xBD y", 1, 1, 1},
    {"GB18030", "78 81 30 20 79",
     "x\xEF\xBF\xBD"
     "0 y",
     1, 1, 1},
    {"GB18030", "84 31 A5 30 41",
     "\xEF\xBF\xBD"
     "A",
     0, 4, 0},
    {"Big5", "A4 40 9D EF A4 40", "\xE4\xB8\x80\xEF\xBF\xBD\xE4\xB8\x80", 2, 2, 0},
    {"Big5", "78 A4 20 79", "x\xEF\xBF\xBD y", 1, 1, 1},
    {"windows-950", "78 C8 40 79", "x\xEF\xBF\xBD@y", 1, 1, 1},
    {"Big5-HKSCS", "78 A4 20 79", "x\xEF\xBF\xBD y", 1, 1, 1},
    {"EUC-KR", "78 B0 41 79",
     "x\xEF\xBF\xBD"
     "Ay",
     1, 1, 1},
    {"windows-949", "78 B0 20 79", "x\xEF\xBF\xBD y", 1, 1, 1},
    // ISO-2022-KR: a first byte whose second is not a GL byte, an unassigned
    // pair, a space while shifted, an escape sequence other than the header,
    // bytes from 0x80 in either shift.
    {"ISO-2022-KR", "1B 24 29 43 0E 30 0F 41",
     "\xEF\xBF\xBD"
     "A",
     5, 1, 1},
    {"ISO-2022-KR", "0E 7E 7E 0F 41",
     "\xEF\xBF\xBD"
     "A",
     1, 2, 0},
    {"ISO-2022-KR", "0E 20 30 21", "\xEF\xBF\xBD\xEA\xB0\x80", 1, 1, 0},
    {"ISO-2022-KR", "1B 24 28 43 41", "\xEF\xBF\xBD$(CA", 0, 1, 1},
    {"ISO-2022-KR", "41 0E B0 A1", "A\xEF\xBF\xBD\xEF\xBF\xBD", 2, 1, 0},
    // HZ-GB-2312: "~" before anything but "~", "{" or a line feed in ASCII, and
    // before anything but "}" in GB2312; a line feed and a space in GB2312.
    {"HZ-GB-2312", "61 7E 7D 62", "a\xEF\xBF\xBD}b", 1, 1, 1},
    {"HZ-GB-2312", "7E 7B 56 50 7E 7E 7E 7D 41",
     "\xE4\xB8\xAD\xEF\xBF\xBD\xEF\xBF\xBD"
     "A",
     4, 1, 1},
    {"HZ-GB-2312", "7E 7B 56 50 0A 56 50", "\xE4\xB8\xAD\xEF\xBF\xBD\xE4\xB8\xAD", 4, 1, 0},
    {"HZ-GB-2312", "7E 7B 56 20 7E 7D", "\xEF\xBF\xBD\xEF\xBF\xBD", 2, 1, 1},
    {"HZ-GB-2312", "7E 7B 2A 21 7E 7D 41",
     "\xEF\xBF\xBD"
     "A",
     2, 2, 0},
};

TEST_F(CjkCases, IllFormedInput) {
  for (const IllFormed& c : kIllFormed) {
    const Bytes in = Hex(c.bytes);
    EXPECT_EQ(Legacy(c.encoding, "UTF-8", in), nls_test::B(c.legacy))
        << c.encoding << " " << c.bytes;
    const Strict s = Iconv("UTF-8", c.encoding, in);
    EXPECT_EQ(s.error, EILSEQ) << c.encoding << " " << c.bytes;
    EXPECT_EQ(s.consumed, c.offset) << c.encoding << " " << c.bytes;
    EXPECT_EQ(s.failure.kind, NLS_ICONV_INVALID) << c.encoding << " " << c.bytes;
    EXPECT_EQ(s.failure.length, c.length) << c.encoding << " " << c.bytes;
    EXPECT_EQ(s.failure.context, c.context) << c.encoding << " " << c.bytes;
  }
}

// Mappings both ways ('b'), decoding only ('d'), encoding only ('e').
struct Mapping {
  const char* encoding;
  char way;
  const char* bytes;
  const char* text;  // UTF-8
} const kMappings[] = {
    // GB18030, 2022 edition: the pairs of 2022 and 2005, and the four-byte
    // forms their former characters take; the six pairs that stay private.
    {"GB18030", 'b', "A6 D9", "\xEF\xB8\x90"},                    // U+FE10
    {"GB18030", 'b', "84 31 82 36", "\xEE\x9E\x8D"},              // U+E78D
    {"GB18030", 'b', "A6 DA A6 DB", "\xEF\xB8\x92\xEF\xB8\x91"},  // U+FE12 U+FE11
    {"GB18030", 'b', "84 31 82 38", "\xEE\x9E\x8E"},              // U+E78E
    {"GB18030", 'b', "FE 59", "\xE9\xBE\xB4"},                    // U+9FB4
    {"GB18030", 'b', "82 35 90 37", "\xEE\xA0\x9E"},              // U+E81E
    {"GB18030", 'b', "A8 BC", "\xE1\xB8\xBF"},                    // U+1E3F
    {"GB18030", 'b', "81 35 F4 37", "\xEE\x9F\x87"},              // U+E7C7
    {"GB18030", 'b', "FE 51", "\xEE\xA0\x96"},                    // U+E816
    {"GB18030", 'b', "95 32 90 31", "\xF0\xA0\x82\x87"},          // U+20087
    {"GB18030", 'b', "81 30 81 30 84 31 A4 39", "\xC2\x80\xEF\xBF\xBF"},
    {"GB18030", 'b', "90 30 81 30 E3 32 9A 35", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"},
    {"GBK", 'b', "80", "\xE2\x82\xAC"},
    // Big5-HKSCS: pairs for two characters, and their bases alone.
    {"Big5-HKSCS", 'b', "88 62", "\xC3\x8A\xCC\x84"},  // U+00CA U+0304
    {"Big5-HKSCS", 'b', "88 66 88 64", "\xC3\x8A\xC3\x8A\xCC\x8C"},
    {"Big5-HKSCS", 'b', "88 A7 41",
     "\xC3\xAA"
     "A"},
    {"Big5-HKSCS", 'b', "88 A7", "\xC3\xAA"},          // held to the end
    {"Big5-HKSCS", 'b', "87 45", "\xF0\xA7\x89\xA7"},  // U+27267
    // windows-31j: Microsoft's choices for characters with several codes,
    // and the one-way codes of JIS characters.
    {"windows-31j", 'b', "FA 5C", "\xE7\xBA\x8A"},  // U+7E8A
    {"windows-31j", 'd', "ED 40", "\xE7\xBA\x8A"},
    {"windows-31j", 'b', "81 E0", "\xE2\x89\x92"},  // U+2252, not 0x8790
    {"windows-31j", 'b', "87 54", "\xE2\x85\xA0"},  // U+2160, not 0xFA4A
    {"windows-31j", 'b', "81 60", "\xEF\xBD\x9E"},  // U+FF5E
    {"windows-31j", 'e', "81 60", "\xE3\x80\x9C"},  // U+301C
    {"windows-31j", 'b', "F0 40", "\xEE\x80\x80"},  // U+E000
    {"EUC-KR", 'b', "A4 D4", "\xE3\x85\xA4"},       // U+3164 alone
    // ISO-2022-JP-1 and -2: JIS X 0212, KS X 1001 and GB2312 in the order
    // Python's codecs try them, JIS X 0201 Roman last; the short
    // designations; ISO-8859-1 and -7 through G2, which a line feed keeps.
    {"ISO-2022-JP-1", 'b', "1B 24 28 44 2B 31 1B 24 42 30 6C 1B 24 28 44 2B 31 1B 28 42",
     "\xC3\xA9\xE4\xB8\x80\xC3\xA9"},
    {"ISO-2022-JP-1", 'd', "1B 24 44 22 37", "~"},
    {"ISO-2022-JP-2", 'b',
     "1B 24 28 43 30 21 1B 24 28 41 43 47 1B 28 4A 5C 1B 28 42 61 1B 24 42 26 21 1B 28 42",
     "\xEA\xB0\x80\xE4\xBB\xAC\xC2\xA5"
     "a\xCE\x91"},
    {"ISO-2022-JP-2", 'd', "1B 24 41 30 21 1B 24 43 30 21", "\xE5\x95\x8A\xEA\xB0\x80"},
    {"ISO-2022-JP-2", 'd', "1B 2E 41 1B 4E 69 1B 2E 46 1B 4E 41 0A 1B 4E 41 1B 4E 20",
     "\xC3\xA9\xCE\x91\n\xCE\x91\xC2\xA0"},
    // ISO-2022-KR: the header first, a shift only where the set changes,
    // SI before the end of a line and at the end of the text.
    {"ISO-2022-KR", 'b', "1B 24 29 43 41 0E 30 21 0F 0A", "A\xEA\xB0\x80\n"},
    {"ISO-2022-KR", 'b', "1B 24 29 43 0E 30 21 30 22 0F 0D 0A 0E 30 21 0F",
     "\xEA\xB0\x80\xEA\xB0\x81\r\n\xEA\xB0\x80"},
    {"ISO-2022-KR", 'b', "1B 24 29 43 0E 24 54 22 66 0F", "\xE3\x85\xA4\xE2\x82\xAC"},
    // A header anywhere changes nothing; SO without one reads KS X 1001; a
    // line feed ends the shift; other control bytes do not.
    {"ISO-2022-KR", 'd', "0E 30 21 1B 24 29 43 30 21", "\xEA\xB0\x80\xEA\xB0\x80"},
    {"ISO-2022-KR", 'd', "0E 30 21 0A 30 21", "\xEA\xB0\x80\n0!"},
    {"ISO-2022-KR", 'd', "0E 30 21 09 30 21 0F 0F 0E 0E", "\xEA\xB0\x80\t\xEA\xB0\x80"},
    // HZ-GB-2312: "~{" and "~}" only where the mode changes, "~~" for "~" in
    // ASCII, "~}" before a line feed and at the end of the text; "~" and a
    // line feed is a line continuation.
    {"HZ-GB-2312", 'b', "61 7E 7B 56 50 4E 44 7E 7D 7E 7E 0A 7E 7B 56 50 7E 7D",
     "a\xE4\xB8\xAD\xE6\x96\x87~\n\xE4\xB8\xAD"},
    {"HZ-GB-2312", 'd', "61 7E 0A 62 7E 7B 7E 7D 7E 7B 56 50", "ab\xE4\xB8\xAD"},
};

TEST_F(CjkCases, Mappings) {
  for (const Mapping& m : kMappings) {
    const Bytes bytes = Hex(m.bytes), text = nls_test::B(m.text);
    const std::string what = std::string(m.encoding) + " " + m.bytes;
    if (m.way != 'e') {
      EXPECT_EQ(Iconv("UTF-8", m.encoding, bytes).out, text) << what;
      // Cut anywhere: inside an escape sequence, a shift or a pair.
      for (size_t cut = 1; cut < bytes.size(); ++cut)
        EXPECT_EQ(IconvInTwo("UTF-8", m.encoding, bytes, cut), text) << what << " cut at " << cut;
      EXPECT_EQ(Legacy(m.encoding, "UTF-8", bytes), text) << what;
    }
    if (m.way != 'd') {
      const Strict s = Iconv(m.encoding, "UTF-8", text);
      EXPECT_EQ(s.error, 0) << what;
      EXPECT_EQ(s.out, bytes) << what;
      EXPECT_EQ(Legacy("UTF-8", m.encoding, text), bytes) << what;
    }
  }
}

TEST_F(CjkCases, UnmappableCharacters) {
  const std::pair<const char*, const char*> cases[] = {
      {"Shift_JIS", "\xEF\xBD\x9E"},      // U+FF5E: windows-31j only
      {"EUC-KR", "\xEA\xB0\x82"},         // U+AC02: windows-949 only (no compositions)
      {"GB2312", "\xE2\x82\xAC"},         // U+20AC
      {"Big5", "\xE2\x82\xAC"},           // U+20AC
      {"ISO-2022-JP-1", "\xEA\xB0\x80"},  // U+AC00: KS X 1001 only
      {"ISO-2022-JP-2", "\xC2\xA0"},      // U+00A0: G2 only, never written
  };
  for (const auto& [encoding, text] : cases) {
    const Strict s = Iconv(encoding, "UTF-8", nls_test::B(std::string("a") + text));
    EXPECT_EQ(s.error, EILSEQ) << encoding;
    EXPECT_EQ(s.consumed, 1u) << encoding;
    EXPECT_EQ(s.failure.kind, NLS_ICONV_UNMAPPABLE) << encoding;
    EXPECT_EQ(Legacy("UTF-8", encoding, nls_test::B(std::string("a") + text)), nls_test::B("a?"))
        << encoding;
  }
}

}  // namespace

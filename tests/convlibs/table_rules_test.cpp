// Table-driven converters of the converter libraries: the factories, the
// engine's documented rules as they show in these encodings, and resumption
// through small output buffers.
//
// Engine rules (documented behaviour, not faults):
// - to UCS-2, a 0 byte ends the input (result 2);
// - to UCS-2, bytes below 0x20 are themselves;
// - to UCS-2, an unmapped byte is U+FFFD;
// - from UCS-2, an unmapped character is "?" (itself when at most 0x20).
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
    p.enc->TargetBufferSize(nullptr, 10, &size);
    EXPECT_EQ(size, 12u) << e.name;
  }
}

TEST(ConverterLibraryExamples, ExactBytes) {
  Pair cp1252("windows-1252");
  EXPECT_EQ(cp1252.Decode({0x80, 0x81, 0x9F}), (U{0x20AC, 0xFFFD, 0x0178}));
  Pair koi8r("KOI8-R");
  EXPECT_EQ(koi8r.Encode({0x0416, 0x20AC}), (Bytes{0xF6, '?'}));
}

TEST(ConverterLibraryRules, ZeroByteEndsTheInput) {
  Pair cp1251("windows-1251");
  Converted r = ConvertAll(cp1251.dec, Bytes{'A', 0, 'B'}, 16);
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.used, 1u);
  EXPECT_EQ(LeUnits(r.out), U{'A'});
  Converted first = ConvertAll(cp1251.dec, Bytes{0, 'B'}, 16);
  EXPECT_EQ(first.status, 2);
  EXPECT_EQ(first.used, 0u);
  EXPECT_TRUE(first.out.empty());
}

TEST(ConverterLibraryRules, UnmappedCharacters) {
  Pair cp1250("windows-1250");
  EXPECT_EQ(cp1250.Encode({0x0A, 0x20, 0x4E00, 0xD800, 0xFFFF}),
            (Bytes{0x0A, 0x20, '?', '?', '?'}));
}

TEST(ConverterLibraryResume, EveryOutputSizeGivesTheSameOutput) {
  const struct {
    const char* name;
    U text;
  } samples[] = {
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

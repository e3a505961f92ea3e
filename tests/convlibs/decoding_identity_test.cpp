// The planned bytes -> UCS-2 loops of every table set in the build (the
// converter libraries' sets and the built-in MacRoman set) against the
// reference engine: every byte and pair, every prefix length and output size
// near the end, 0 bytes, cut sequences, random texts and buffers that end at
// an inaccessible page, under every instruction-set level.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "convlibs/convlibs_support.h"
#include "nlscnv.h"
#include "tables/decoding_identity.h"

namespace {

using convlibs_test::Bytes;

struct DecodedSet {
  std::string name;
  convlibs_test::Factory toUcs2;
  convlibs_test::Factory fromUcs2;
};

void PrintTo(const DecodedSet& s, std::ostream* os) { *os << s.name; }

std::vector<DecodedSet> AllDecodedSets() {
  std::vector<DecodedSet> sets = {{"x-mac-roman", NEWMACROMANTOUNICODEENCODINGCONVERTER,
                                   NEWUNICODETOMACROMANENCODINGCONVERTER}};
  for (const convlibs_test::TableEncoding& e : convlibs_test::TableEncodings())
    sets.push_back({e.name, e.toUcs2, e.fromUcs2});
  return sets;
}

// Text in the set's byte forms: ASCII letters and spaces mixed with every
// kind of character the set can write, encoded in one go.
Bytes Material(TEncodingConverter* enc, unsigned seed) {
  std::vector<uint16_t> mapped;
  for (unsigned u = 0x21; u < 0x10000; ++u) {
    const Bytes one = nls_test::Ucs2({static_cast<uint16_t>(u)});
    unsigned char out[8];
    unsigned len = 0, used = 0;
    enc->Convert(out, &len, sizeof out, one.data(), 2, &used);
    if (!(len == 1 && out[0] == '?')) mapped.push_back(static_cast<uint16_t>(u));
  }
  std::mt19937 rng(seed);
  std::vector<uint16_t> text;
  for (int i = 0; i < 6000; ++i)
    text.push_back(rng() % 2 == 0 ? static_cast<uint16_t>(rng() % 3 == 0 ? ' ' : 'a' + rng() % 26)
                                  : mapped[rng() % mapped.size()]);
  const Bytes units = nls_test::Ucs2(text);
  Bytes out(4 * text.size() + 2);
  unsigned len = 0, used = 0;
  enc->Convert(out.data(), &len, static_cast<unsigned>(out.size()), units.data(),
               static_cast<unsigned>(units.size()), &used);
  out.resize(len);
  return out;
}

class PlannedDecoding : public ::testing::TestWithParam<DecodedSet> {};

TEST_P(PlannedDecoding, SameAsReferenceEngine) {
  TEncodingConverter* dec = GetParam().toUcs2();
  TEncodingConverter* enc = GetParam().fromUcs2();
  ASSERT_NE(dec, nullptr);
  ASSERT_NE(enc, nullptr);
  ASSERT_EQ(dec->GetStatus(), 1);
  const auto seed = static_cast<unsigned>(std::hash<std::string>()(GetParam().name));
  const Bytes material = Material(enc, seed);
  ASSERT_GT(material.size(), 1000u);
  nls_test::ExpectDecodingIdentity(dec, material, seed);
  dec->ReleaseEncodingConverter();
  enc->ReleaseEncodingConverter();
}

INSTANTIATE_TEST_SUITE_P(Sets, PlannedDecoding, ::testing::ValuesIn(AllDecodedSets()),
                         [](const auto& info) {
                           std::string name;
                           for (char ch : info.param.name)
                             name += std::isalnum(static_cast<unsigned char>(ch)) ? ch : '_';
                           return name;
                         });

}  // namespace

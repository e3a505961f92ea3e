// The fast table engine against the reference engine (a cell search per
// character): every byte, every byte pair, every 16-bit unit and random
// input through every synthetic set and the built-in tables must give the
// same output bytes, terminator, counts, result and diagnostics. Also the
// direct lookup arrays themselves.
#include <gtest/gtest.h>

#include <random>
#include <thread>

#include "nlscnv/table_access.h"
#include "tables/synthetic_sets.h"

using nls_test::Bytes;
using nls_test::Engine;
using nls_test::Outcome;
using nls_test::TableConverter;
using nls_test::Ucs2;
namespace synth = nls_test::synth;

namespace {

struct Case {
  Bytes in;
  unsigned dstSize;
};

std::vector<Outcome> RunBatch(TableConverter& c, const std::vector<Case>& cases, Engine engine,
                              std::string* diagnostics) {
  std::vector<Outcome> out;
  out.reserve(cases.size());
  nls_test::StderrCapture capture;
  for (const Case& k : cases) out.push_back(nls_test::RunUncaptured(c, k.in, k.dstSize, engine));
  *diagnostics = capture.Text();
  return out;
}

// Runs the cases through both engines; reports the first difference.
void ExpectSameAsReference(TableConverter& c, const std::vector<Case>& cases, const char* what) {
  std::string fastText, refText;
  const std::vector<Outcome> fast = RunBatch(c, cases, Engine::kFast, &fastText);
  const std::vector<Outcome> ref = RunBatch(c, cases, Engine::kReference, &refText);
  for (size_t i = 0; i < cases.size(); ++i) {
    EXPECT_TRUE(ref[i].guardIntact);
    if (!(fast[i] == ref[i])) {
      std::string in;
      for (unsigned char b : cases[i].in) in += std::to_string(b) + " ";
      ADD_FAILURE() << what << ": case " << i << " (input " << in << "dstSize " << cases[i].dstSize
                    << ")\n fast " << fast[i] << "\n  ref " << ref[i];
      return;
    }
  }
  EXPECT_EQ(fastText.size(), refText.size()) << what;
  EXPECT_TRUE(fastText == refText) << what << ": diagnostics differ";
}

Bytes AllUnits() {
  std::vector<uint16_t> units(65536);
  for (unsigned u = 0; u < 65536; ++u) units[u] = static_cast<uint16_t>(u);
  return Ucs2(units);
}

class FastPath : public ::testing::TestWithParam<synth::NamedSet> {};

TEST_P(FastPath, EveryByteAndBytePairToUnicode) {
  TableConverter c(GetParam().slots, 0);
  ASSERT_EQ(c.GetStatus(), 1);
  std::vector<Case> cases;
  Bytes all;
  for (int b = 0; b < 256; ++b) {
    cases.push_back({{static_cast<unsigned char>(b)}, 8});
    if (b) all.push_back(static_cast<unsigned char>(b));
  }
  cases.push_back({all, 1024});
  cases.push_back({all, 101});  // odd: output full, no terminator
  ExpectSameAsReference(c, cases, "bytes");
  cases.clear();
  for (int b0 = 0; b0 < 256; ++b0)
    for (int b1 = 0; b1 < 256; ++b1)
      cases.push_back({{static_cast<unsigned char>(b0), static_cast<unsigned char>(b1)}, 8});
  ExpectSameAsReference(c, cases, "pairs");
}

TEST_P(FastPath, EveryUnitFromUnicode) {
  TableConverter c(GetParam().slots, 1);
  ASSERT_EQ(c.GetStatus(), 1);
  std::vector<Case> cases = {{AllUnits(), 4 * 65536 + 1}, {AllUnits(), 1000}};
  ExpectSameAsReference(c, cases, "all units");
  cases.clear();
  for (unsigned u = 0; u < 65536; ++u) {
    const Bytes one = Ucs2({static_cast<uint16_t>(u)});
    // Room for any sequence, exactly 2 bytes (longer sequences do not fit,
    // two-byte ones fill the output), and 3 bytes.
    cases.push_back({one, 5});
    cases.push_back({one, 2});
    cases.push_back({one, 3});
  }
  ExpectSameAsReference(c, cases, "single units");
}

TEST_P(FastPath, RandomInput) {
  std::mt19937 rng(0x5EED + static_cast<unsigned>(GetParam().name.size()));
  // Byte material in the set's own forms: everything it can write.
  TableConverter enc(GetParam().slots, 1), dec(GetParam().slots, 0);
  Outcome encoded = nls_test::RunOnce(enc, AllUnits(), 4 * 65536 + 1, Engine::kReference);
  const Bytes material = encoded.Out();
  // Characters the set maps (unmapped ones come out as a lone "?").
  std::vector<uint16_t> mapped;
  {
    nls_test::StderrCapture quiet;
    for (unsigned u = 0; u < 65536; ++u) {
      unsigned char out[8];
      unsigned len = 0, used = 0;
      const Bytes one = Ucs2({static_cast<uint16_t>(u)});
      enc.ConvertReference(out, &len, sizeof out, one.data(), 2, &used);
      if (!(len == 1 && out[0] == '?')) mapped.push_back(static_cast<uint16_t>(u));
    }
  }
  ASSERT_FALSE(mapped.empty());

  std::vector<Case> toCases, fromCases;
  for (int i = 0; i < 3000; ++i) {
    Bytes in;
    const int pieces = static_cast<int>(rng() % 8);
    for (int p = 0; p < pieces; ++p) {
      if (rng() % 3 == 0) {
        const unsigned n = rng() % 4;
        for (unsigned k = 0; k < n; ++k) in.push_back(static_cast<unsigned char>(rng() % 255 + 1));
      } else {
        const size_t start = rng() % material.size();
        const size_t n = std::min<size_t>(rng() % 12, material.size() - start);
        in.insert(in.end(), material.begin() + start, material.begin() + start + n);
      }
    }
    if (rng() % 20 == 0 && !in.empty()) in[rng() % in.size()] = 0;
    toCases.push_back({in, static_cast<unsigned>(rng() % 64 + 1)});

    std::vector<uint16_t> units;
    const unsigned n = rng() % 24;
    for (unsigned k = 0; k < n; ++k)
      units.push_back(rng() % 4 == 0 ? static_cast<uint16_t>(rng())
                                     : mapped[rng() % mapped.size()]);
    Bytes src = Ucs2(units);
    if (rng() % 8 == 0) src.push_back(static_cast<unsigned char>(rng()));
    fromCases.push_back({src, static_cast<unsigned>(rng() % 48)});
  }
  ExpectSameAsReference(dec, toCases, "random bytes");
  ExpectSameAsReference(enc, fromCases, "random units");
}

INSTANTIATE_TEST_SUITE_P(Sets, FastPath, ::testing::ValuesIn(synth::AllSets()),
                         [](const auto& info) { return info.param.name; });

// ---- Direct lookup arrays -------------------------------------------------

TEST(DirectMap, NoArrayForTablesWithUnknownFormats) {
  // Their lookups must print the diagnostic, so the engine keeps searching.
  for (const nls_test::SlotSpec& slot : synth::UnknownFormat()) {
    EXPECT_EQ(nls::DirectMap(slot.toTable, nls::kByteMapSize), nullptr);
    EXPECT_EQ(nls::DirectMap(slot.fromTable, nls::kFullMapSize), nullptr);
  }
  const uint16_t* t = synth::MacRoman()[0].fromTable;
  const uint16_t* map = nls::DirectMap(t, nls::kFullMapSize);
  ASSERT_NE(map, nullptr);
  EXPECT_EQ(nls::DirectMap(t, nls::kFullMapSize), map);  // built once
  EXPECT_EQ(nls::DirectMap(t, nls::kByteMapSize), map);  // the larger array serves
}

TEST(DirectMap, ChangedTableAtTheSameAddressIsRebuilt) {
  // A table that lives in writable memory, as one in an unloaded library
  // whose address is reused could.
  static std::vector<uint16_t> table = {1, 4, 5, 8, 0x0002, 0x0041, 0, 0x1000};
  const uint16_t* before = nls::DirectMap(table.data(), nls::kFullMapSize);
  ASSERT_NE(before, nullptr);
  EXPECT_EQ(before[0x41], 0x1000);
  table[7] = 0x2000;
  const uint16_t* after = nls::DirectMap(table.data(), nls::kFullMapSize);
  ASSERT_NE(after, nullptr);
  EXPECT_EQ(after[0x41], 0x2000);
  EXPECT_EQ(after[0x42], 0xFFFD);
}

TEST(DirectMap, ConcurrentFirstUseBuildsOneArray) {
  const uint16_t* t = nls_test::MakeTable({{0, 0x100, 0x1FF, 0x4E00}, {2, 0x41, 0, 0x61}});
  const uint16_t* seen[8] = {};
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i)
    threads.emplace_back([&, i] { seen[i] = nls::DirectMap(t, nls::kFullMapSize); });
  for (auto& th : threads) th.join();
  ASSERT_NE(seen[0], nullptr);
  for (const uint16_t* s : seen) EXPECT_EQ(s, seen[0]);
  EXPECT_EQ(seen[0][0x1FF], 0x4EFF);
  EXPECT_EQ(seen[0][0x41], 0x61);
}

}  // namespace

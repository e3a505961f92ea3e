// Decoding plans of the table engine: the planned loops of every synthetic
// set and of sets with unusual shift tables (odd cell lengths, classes that
// print diagnostics, three- and four-byte forms) against the reference
// engine under every instruction-set level, the plan of a known set, and
// the plan cache.
#include <gtest/gtest.h>

#include <random>
#include <thread>

#include "nlscnv/table_access.h"
#include "nlscnv/tables/shift_tables.h"
#include "nlscnv/tables/table_decoding_fast.h"
#include "tables/decoding_identity.h"
#include "tables/synthetic_sets.h"

using nls_test::Bytes;
using nls_test::TableConverter;
namespace synth = nls_test::synth;

namespace {

// Text in the set's byte forms: the reference encoding of every unit.
Bytes Material(const std::vector<nls_test::SlotSpec>& slots) {
  TableConverter enc(slots, 1);
  std::vector<uint16_t> units;
  for (unsigned u = 0x21; u < 0x10000; u += 1 + u / 4096) units.push_back(static_cast<uint16_t>(u));
  const Bytes in = nls_test::Ucs2(units);
  Bytes out(4 * units.size() + 2);
  unsigned len = 0, used = 0;
  nls_test::StderrCapture quiet;
  enc.ConvertReference(out.data(), &len, static_cast<unsigned>(out.size()), in.data(),
                       static_cast<unsigned>(in.size()), &used);
  out.resize(len);
  return out;
}

class PlannedSynthetic : public ::testing::TestWithParam<synth::NamedSet> {};

TEST_P(PlannedSynthetic, SameAsReferenceEngine) {
  TableConverter dec(GetParam().slots, 0);
  ASSERT_EQ(dec.GetStatus(), 1);
  nls_test::ExpectDecodingIdentity(&dec, Material(GetParam().slots),
                                   static_cast<unsigned>(GetParam().name.size()));
}

// The set with an unknown cell format gets no plan (see below); the general
// loop it runs on is compared with the reference in fastpath_test.cpp.
std::vector<synth::NamedSet> PlannedSets() {
  std::vector<synth::NamedSet> sets;
  for (const synth::NamedSet& s : synth::AllSets())
    if (s.name != "Unknown") sets.push_back(s);
  return sets;
}

INSTANTIATE_TEST_SUITE_P(Sets, PlannedSynthetic, ::testing::ValuesIn(PlannedSets()),
                         [](const auto& info) { return info.param.name; });

// Shift tables no built-in id selects: class-2 cells with lengths that
// differ from what their class reads, an unknown cell class, a three-byte
// cell and a zero-length cell; a two-byte class-1 slot behind them; and an
// unknown table class.
const ShiftTable kOddCells = {8,
                              2,
                              {{0, 2, 0x80, 0x8F, 0, 0, 0xFF, 0xFF},
                               {1, 1, 0x90, 0x9F, 0, 0, 0xFF, 0xFF},
                               {9, 2, 0xA0, 0xA7, 0, 0, 0xFF, 0xFF},
                               {1, 2, 0xA8, 0xCF, 0, 0, 0xFF, 0xFF},
                               {5, 3, 0xD0, 0xDF, 0, 0, 0xFF, 0xFF},
                               {2, 4, 0xE0, 0xEB, 0, 0, 0xFF, 0xFF},
                               {0, 0, 0xEC, 0xEC, 0, 0, 0xFF, 0xFF},
                               {0, 1, 0x20, 0x7F, 0, 0, 0xFF, 0xFF}}};
const ShiftTable kBadClass = {0, 7, {{0, 0, 0, 0, 0, 0, 0, 0}}};

std::vector<nls_test::SlotSpec> OddSlots() {
  // Codes up to 0x7FFF map to themselves plus 0x100, higher ones are unmapped
  // and fall through to the next slot.
  static const uint16_t* low = nls_test::MakeTable({{0, 0x0000, 0x7FFF, 0x0100}});
  static const uint16_t* high = nls_test::MakeTable({{0, 0x8000, 0xBFFF, 0x1000}});
  return {{1, 0x20, 0xEC, low, low}, {1, 0x80, 0xFF, high, high}, {1, 0xF0, 0xFF, low, low}};
}

TEST(PlannedDecoding, UnusualShiftTablesSameAsReferenceEngine) {
  TableConverter dec(OddSlots(), 0);
  ASSERT_EQ(dec.GetStatus(), 1);
  dec.Set().shiftTables[0] = &kOddCells;
  dec.Set().shiftTables[1] = &tbShiftT;
  dec.Set().shiftTables[2] = &kBadClass;
  std::mt19937 rng(7);
  Bytes material;
  for (int i = 0; i < 5000; ++i) material.push_back(static_cast<unsigned char>(rng() % 255 + 1));
  nls_test::ExpectDecodingIdentity(&dec, material, 11);
}

const nls::DecodePlan* PlanOf(TableConverter& c) {
  const uTableSet& set = c.Set();
  const uint16_t* direct[4] = {};
  for (uint32_t s = 0; s < c.TableCount(); ++s)
    if (set.tables[s] != nullptr && set.shiftTables[s] != nullptr)
      direct[s] =
          nls::DirectMap(set.tables[s], set.shiftTables[s]->tableClass == 0 ? nls::kByteMapSize
                                                                            : nls::kFullMapSize);
  return nls::DecodePlanFor(set, c.TableCount(), direct);
}

uint32_t Kind(const nls::DecodePlan& plan, unsigned b) { return plan.lead[b] >> 16; }

TEST(DecodePlan, KindsOfTheEucJpForm) {
  TableConverter dec(synth::EucJp(), 0);
  const nls::DecodePlan* plan = PlanOf(dec);
  ASSERT_NE(plan, nullptr);
  EXPECT_FALSE(plan->singleByte);
  EXPECT_EQ(Kind(*plan, 0x00), nls::kLeadStop);
  EXPECT_EQ(plan->lead[0x09], 0x09u);    // control byte: itself
  EXPECT_EQ(plan->lead[0x41], 0x41u);    // ASCII slot
  EXPECT_EQ(plan->lead[0x80], 0xFFFDu);  // no slot holds it: one byte of U+FFFD
  EXPECT_EQ(Kind(*plan, 0x8E), nls::kLeadPair);
  EXPECT_EQ(Kind(*plan, 0xA1), nls::kLeadPair);
  EXPECT_EQ(Kind(*plan, 0x8F), nls::kLeadGeneral);  // three bytes
  const uint16_t* kana = plan->rows + (plan->lead[0x8E] & 0xFFFF) * 256;
  EXPECT_EQ(kana[0xA1], 0xFF61);
  EXPECT_EQ(kana[0xE0], 0xFFFD);  // unmapped: the general step decides
  const uint16_t* jis = plan->rows + (plan->lead[0xB0] & 0xFFFF) * 256;
  EXPECT_EQ(jis[0xA1], 0x4E9C);
  EXPECT_EQ(jis[0x21], 0x4E9C);        // the high bit of the trail byte is not checked
  EXPECT_EQ(plan->identityGroups, 8);  // 0x01-0x7F; 0x80 is no single byte
}

TEST(DecodePlan, SingleByteSetsAndIdentityRange) {
  TableConverter latin(synth::Iso88591(), 0), printable(synth::Printable(), 0);
  const nls::DecodePlan* a = PlanOf(latin);
  const nls::DecodePlan* b = PlanOf(printable);
  ASSERT_NE(a, nullptr);
  ASSERT_NE(b, nullptr);
  EXPECT_TRUE(a->singleByte);
  EXPECT_EQ(a->identityGroups, 7);  // 0x01-0x7E: the table leaves DEL unmapped
  EXPECT_EQ(a->bytes[0xE9], 0xE9);
  EXPECT_EQ(a->bytes[0x85], 0xFFFD);
  EXPECT_TRUE(b->singleByte);
  EXPECT_EQ(b->identityGroups, 7);
}

TEST(DecodePlan, NoPlanWithoutDirectArrays) {
  // Lookups in a table with an unknown cell format print a diagnostic, which
  // only the general loop does.
  TableConverter dec(synth::UnknownFormat(), 0);
  EXPECT_EQ(PlanOf(dec), nullptr);
}

TEST(DecodePlan, CachedAndRebuiltWhenAShiftTableChanges) {
  static ShiftTable shift = {1, 2, {{1, 2, 0x80, 0xFF, 0, 0, 0xFF, 0xFF}}};
  TableConverter dec({{1, 0x00, 0xFF, synth::Utf8()[0].toTable, nullptr}}, 0);
  dec.Set().shiftTables[0] = &shift;
  const nls::DecodePlan* first = PlanOf(dec);
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(PlanOf(dec), first);
  EXPECT_EQ(Kind(*first, 0x90), nls::kLeadPair);
  shift.cells[0].length = 3;  // same address, different contents
  const nls::DecodePlan* second = PlanOf(dec);
  ASSERT_NE(second, nullptr);
  EXPECT_NE(second, first);
  EXPECT_EQ(Kind(*second, 0x90), nls::kLeadGeneral);
  EXPECT_EQ(Kind(*first, 0x90), nls::kLeadPair);  // published plans never change
}

TEST(DecodePlan, ConcurrentFirstUseBuildsOnePlan) {
  const uint16_t* t = nls_test::MakeTable({{0, 0x20, 0xFF, 0x0400}});
  TableConverter dec({{1, 0x00, 0xFF, t, nullptr}}, 0);
  const nls::DecodePlan* seen[8] = {};
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) threads.emplace_back([&, i] { seen[i] = PlanOf(dec); });
  for (auto& th : threads) th.join();
  ASSERT_NE(seen[0], nullptr);
  for (const nls::DecodePlan* s : seen) EXPECT_EQ(s, seen[0]);
  EXPECT_EQ(seen[0]->bytes[0x20], 0x0400);
  EXPECT_EQ(seen[0]->bytes[0x21], 0x0401);
}

}  // namespace

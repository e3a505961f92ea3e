// The table engine on synthetic table sets, one per byte scheme: exact byte
// examples in both directions, the buffer limits, and the diagnostics of
// sequences that cannot be written and of damaged shift tables.
#include <gtest/gtest.h>

#include "nlscnv/support/diagnostics.h"
#include "nlscnv/tables/shift_tables.h"
#include "tables/synthetic_sets.h"

using nls_test::Bytes;
using nls_test::Diag;
using nls_test::Outcome;
using nls_test::RunOnce;
using nls_test::TableConverter;
using nls_test::Ucs2;
using nls_test::Units;
namespace synth = nls_test::synth;
namespace unit = nls::unit;

namespace {

using U = std::vector<uint16_t>;

// Decodes with a roomy output and checks the terminator and that all input
// was consumed.
U Decode(const std::vector<nls_test::SlotSpec>& set, const Bytes& in) {
  TableConverter c(set, 0);
  EXPECT_EQ(c.GetStatus(), 1);
  Outcome o = RunOnce(c, in, 1024);
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.used, in.size());
  EXPECT_EQ(o.buffer[o.dstLen], 0);
  EXPECT_EQ(o.buffer[o.dstLen + 1], 0);
  EXPECT_EQ(o.diagnostics, "");
  return Units(o.Out());
}

Bytes Encode(const std::vector<nls_test::SlotSpec>& set, const U& in) {
  TableConverter c(set, 1);
  EXPECT_EQ(c.GetStatus(), 1);
  Outcome o = RunOnce(c, Ucs2(in), 1024);
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.used, 2 * in.size());
  EXPECT_EQ(o.buffer[o.dstLen], 0);
  EXPECT_EQ(o.diagnostics, "");
  return o.Out();
}

constexpr uint16_t F = 0xFFFD;

TEST(TableEngineSchemes, ShiftJis) {
  const auto set = synth::ShiftJis();
  const Bytes bytes = {0x41, 0xB1, 0x81, 0x40, 0x81, 0x43, 0x88, 0x9F, 0xE0, 0x40, 0xFC, 0x4B};
  const U chars = {0x41, 0xFF71, 0x3000, 0x3002, 0x4E9C, 0x6F3E, 0x9ED1};
  EXPECT_EQ(Decode(set, bytes), chars);
  EXPECT_EQ(Encode(set, chars), bytes);
  // A lead byte that ends the input is one unmapped byte.
  EXPECT_EQ(Decode(set, {0x41, 0x88}), (U{0x41, F}));
  // A sequence whose code the table leaves unmapped (0x8142, and 0x8841
  // outside every cell) costs one byte; the next byte is read on its own.
  EXPECT_EQ(Decode(set, {0x81, 0x42, 0x41}), (U{F, 0x42, 0x41}));
  EXPECT_EQ(Decode(set, {0x88, 0x41}), (U{F, 0x41}));
  // DEL is not in the table; 0xA0, 0x80 and 0xFD start no form of the scheme.
  EXPECT_EQ(Decode(set, {0x7F, 0xA0, 0x80, 0xFD, 0x40}), (U{F, F, F, F, 0x40}));
}

TEST(TableEngineSchemes, EucJpWithFourSlots) {
  const auto set = synth::EucJp();
  const Bytes bytes = {0x41, 0x8E, 0xB1, 0xB0, 0xA1, 0xA1, 0xA3,
                       0x8F, 0xB0, 0xA1, 0x8F, 0xA2, 0xB7};
  const U chars = {0x41, 0xFF71, 0x4E9C, 0x3002, 0x4E02, 0xFF5E};
  EXPECT_EQ(Decode(set, bytes), chars);
  // U+4E9C is also in the 0212 from-table; the earlier GR slot spells it.
  EXPECT_EQ(Encode(set, chars), bytes);
  // Only the first byte is checked: after 0x8E any byte is the kana code,
  // and the second byte of a GR pair loses its high bit as it comes.
  EXPECT_EQ(Decode(set, {0x8E, 0x41}), (U{F, 0x41}));
  EXPECT_EQ(Decode(set, {0xB0, 0x21}), (U{0x4E9C}));
  // Truncated prefixed sequences.
  EXPECT_EQ(Decode(set, {0x8E}), (U{F}));
  EXPECT_EQ(Decode(set, {0x8F, 0xB0}), (U{F, F}));
  // Bytes in no slot's range.
  EXPECT_EQ(Decode(set, {0x80, 0xFF}), (U{F, F}));
}

TEST(TableEngineSchemes, EucTwPlaneTwo) {
  const auto set = synth::EucTw();
  const Bytes bytes = {0x8E, 0xA2, 0xA1, 0xA1, 0x8E, 0xA2, 0xA1, 0xA3, 0xC4, 0xA1, 0x5A};
  const U chars = {0x4E42, 0x4E44, 0x4E00, 0x5A};
  EXPECT_EQ(Decode(set, bytes), chars);
  EXPECT_EQ(Encode(set, chars), bytes);
  // 0x8E must be followed by 0xA2; the bytes after it are then read on
  // their own: unmapped GR pairs cost one byte each, the last one ends the
  // input.
  EXPECT_EQ(Decode(set, {0x8E, 0xA1, 0xA1, 0xA1}), (U{F, F, F, F}));
  EXPECT_EQ(Decode(set, {0x8E, 0xA2, 0xA1}), (U{F, F, F}));
}

TEST(TableEngineSchemes, Big5) {
  const auto set = synth::Big5();
  const Bytes bytes = {0x41, 0xA1, 0x40, 0xA1, 0x41, 0xA4, 0x40, 0xA1, 0x42};
  const U chars = {0x41, 0x3000, 0xFF0C, 0x4E00, 0x3001};
  EXPECT_EQ(Decode(set, bytes), chars);
  EXPECT_EQ(Encode(set, chars), bytes);
  EXPECT_EQ(Decode(set, {0x80, 0xFF, 0xA4}), (U{F, F, F}));
}

TEST(TableEngineSchemes, Utf8Cells) {
  const auto set = synth::Utf8();
  EXPECT_EQ(Decode(set, {0x41, 0xC3, 0xA9, 0xE4, 0xB8, 0xAD, 0xDF, 0xBF, 0xE0, 0xA0, 0x80}),
            (U{0x41, 0xE9, 0x4E2D, 0x7FF, 0x800}));
  // Continuation bytes are not checked; overlong forms decode; four-byte
  // leads and stray continuation bytes start no form.
  EXPECT_EQ(Decode(set, {0xC3, 0x41, 0xC0, 0x80, 0xF0, 0x9F}), (U{0xC1, 0x0000, F, F}));
  // U+FFFD itself is the unmapped value: its three bytes become three.
  EXPECT_EQ(Decode(set, {0xEF, 0xBF, 0xBD}), (U{F, F, F}));
  EXPECT_EQ(Decode(set, {0xE4, 0xB8}), (U{F, F}));
  EXPECT_EQ(Encode(set, {0x41, 0xE9, 0x4E2D, 0x07FF, 0x0800, 0xFFFF, 0xD800, 0xFFFD, 0x0000}),
            (Bytes{0x41, 0xC3, 0xA9, 0xE4, 0xB8, 0xAD, 0xDF, 0xBF, 0xE0, 0xA0, 0x80, 0xEF, 0xBF,
                   0xBF, 0xED, 0xA0, 0x80, '?', 0x00}));
}

TEST(TableEngineSchemes, SingleByteSlotsSplitByFirstByte) {
  const auto set = synth::SplitSingleByte();
  EXPECT_EQ(Decode(set, {0x41, 0xE8, 0xE9, 0x80, 0x81, 0xFE}),
            (U{0x41, 0x0434, F, 0x0400, F, 0x043F}));
  EXPECT_EQ(Encode(set, {0x41, 0xE9, 0x0400, 0x043F, 0x0440}),
            (Bytes{0x41, 0xE9, 0x80, 0xFE, '?'}));
}

TEST(TableEngineSchemes, ControlBytesBypassTheTables) {
  const auto set = synth::Printable();
  Bytes controls;
  U units;
  for (int b = 1; b < 0x20; ++b) {
    controls.push_back(static_cast<unsigned char>(b));
    units.push_back(static_cast<uint16_t>(b));
  }
  controls.push_back(0x7F);
  units.push_back(F);
  EXPECT_EQ(Decode(set, controls), units);
  // Unmapped characters up to U+0020 keep their byte, the others become "?".
  EXPECT_EQ(Encode(set, {0x0A, 0x00, 0x20, 0x21, 0x7F, 0xE9}),
            (Bytes{0x0A, 0x00, 0x20, 0x21, '?', '?'}));
}

TEST(TableEngineSchemes, EmptySetMapsNothing) {
  const std::vector<nls_test::SlotSpec> set = {{0, 0, 0, nullptr, nullptr}};
  TableConverter dec(set, 0), enc(set, 1);
  EXPECT_EQ(dec.TableCount(), 0u);
  EXPECT_EQ(Units(RunOnce(dec, {0x41, 0x09, 0xE9}, 64).Out()), (U{F, 0x09, F}));
  EXPECT_EQ(RunOnce(enc, Ucs2({0x41, 0x09}), 64).Out(), (Bytes{'?', 0x09}));
}

// ---- Buffer limits --------------------------------------------------------

TEST(TableEngineLimits, ToUnicodeStopsAtZeroByteAndFullOutput) {
  TableConverter c(synth::ShiftJis(), 0);
  Outcome o = RunOnce(c, {0x00, 0x41}, 64);
  EXPECT_EQ(o.status, 2);
  EXPECT_EQ(o.dstLen, 0u);
  EXPECT_EQ(o.used, 0u);
  EXPECT_EQ(o.buffer[0], 0);
  EXPECT_EQ(o.buffer[1], 0);

  o = RunOnce(c, {0x41, 0x00, 0x42}, 64);
  EXPECT_EQ(o.status, 2);
  EXPECT_EQ(o.used, 1u);
  EXPECT_EQ(Units(o.Out()), (U{0x41}));

  // Characters are stored while more than 2 bytes remain; the terminator
  // follows only where it fits.
  const Bytes in = {0x41, 0x88, 0x9F, 0x42};
  struct Case {
    unsigned dstSize, chars, used;
    bool terminated;
  };
  for (const Case& k :
       {Case{1, 0, 0, false}, Case{2, 0, 0, true}, Case{3, 1, 1, false}, Case{4, 1, 1, true},
        Case{5, 2, 3, false}, Case{6, 2, 3, true}, Case{7, 3, 4, false}, Case{8, 3, 4, true}}) {
    o = RunOnce(c, in, k.dstSize);
    SCOPED_TRACE(k.dstSize);
    EXPECT_TRUE(o.guardIntact);
    EXPECT_EQ(o.dstLen, 2 * k.chars);
    EXPECT_EQ(o.used, k.used);
    EXPECT_EQ(o.status, k.used == in.size() ? 1 : 2);
    const bool zeroAfter = o.buffer[o.dstLen] == 0 && o.buffer[o.dstLen + 1] == 0;
    EXPECT_EQ(zeroAfter, k.terminated);
  }
}

TEST(TableEngineLimits, ToUnicodeRejectsBadArguments) {
  TableConverter c(synth::ShiftJis(), 0);
  const unsigned char src[] = {0x41};
  unsigned char dst[8] = {0xA5, 0xA5, 0xA5, 0xA5, 0xA5, 0xA5, 0xA5, 0xA5};
  unsigned len = 7, used = 7;
  EXPECT_EQ(c.Convert(nullptr, &len, 8, src, 1, &used), -1009);
  EXPECT_EQ(c.Convert(dst, nullptr, 8, src, 1, &used), -1009);
  EXPECT_EQ(c.Convert(dst, &len, 8, nullptr, 1, &used), -1009);
  EXPECT_EQ(c.Convert(dst, &len, 0, src, 1, &used), -1009);
  EXPECT_EQ(c.Convert(dst, &len, 8, src, 0, &used), -1009);
  EXPECT_EQ(len, 7u);
  EXPECT_EQ(used, 7u);
  for (unsigned char b : dst) EXPECT_EQ(b, 0xA5);
}

TEST(TableEngineLimits, FromUnicodeOutputSizes) {
  TableConverter sjis(synth::ShiftJis(), 1);
  // One-byte sequences into 2 bytes: the byte and the NUL.
  Outcome o = RunOnce(sjis, Ucs2({0x41}), 2);
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.Out(), (Bytes{0x41}));
  EXPECT_EQ(o.buffer[1], 0);
  EXPECT_EQ(o.diagnostics, "");

  // A two-byte sequence that fills the output: no room for the NUL.
  o = RunOnce(sjis, Ucs2({0x4E9C}), 2);
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.Out(), (Bytes{0x88, 0x9F}));
  EXPECT_TRUE(o.guardIntact);
  EXPECT_EQ(o.diagnostics, Diag({{143, unit::kEnccn}}));

  // Reading stops when fewer than 2 bytes remain.
  o = RunOnce(sjis, Ucs2({0x4E9C, 0x41}), 3);
  EXPECT_EQ(o.status, 2);
  EXPECT_EQ(o.used, 2u);
  EXPECT_EQ(o.Out(), (Bytes{0x88, 0x9F}));
  EXPECT_EQ(o.buffer[2], 0);
  EXPECT_EQ(o.diagnostics, "");

  o = RunOnce(sjis, Ucs2({0x41}), 1);
  EXPECT_EQ(o.status, 2);
  EXPECT_EQ(o.dstLen, 0u);
  EXPECT_EQ(o.buffer[0], 0);
  EXPECT_EQ(o.diagnostics, "");

  o = RunOnce(sjis, Ucs2({0x41}), 0);
  EXPECT_EQ(o.status, 2);
  EXPECT_EQ(o.dstLen, 0u);
  EXPECT_TRUE(o.guardIntact);
  EXPECT_EQ(o.diagnostics, Diag({{143, unit::kEnccn}}));

  // An odd length: the last byte is never read.
  Bytes odd = Ucs2({0x41, 0x42});
  odd.push_back(0x43);
  o = RunOnce(sjis, odd, 64);
  EXPECT_EQ(o.status, 2);
  EXPECT_EQ(o.used, 4u);
  EXPECT_EQ(o.Out(), (Bytes{0x41, 0x42}));
}

TEST(TableEngineLimits, SequenceThatDoesNotFitBecomesQuestionMark) {
  TableConverter euc(synth::EucJp(), 1);
  // Three bytes needed, two left: "?" and the character counts as read.
  Outcome o = RunOnce(euc, Ucs2({0x41, 0x4E02, 0x42}), 3);
  EXPECT_EQ(o.status, 2);
  EXPECT_EQ(o.used, 4u);
  EXPECT_EQ(o.Out(), (Bytes{0x41, '?'}));
  EXPECT_EQ(o.buffer[2], 0);
  EXPECT_EQ(o.diagnostics, Diag({{108, unit::kEnccn}}));

  TableConverter tw(synth::EucTw(), 1);
  o = RunOnce(tw, Ucs2({0x4E42}), 3);
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.Out(), (Bytes{'?'}));
  EXPECT_EQ(o.diagnostics, Diag({{108, unit::kEnccn}}));
  o = RunOnce(tw, Ucs2({0x4E42}), 4);
  EXPECT_EQ(o.Out(), (Bytes{0x8E, 0xA2, 0xA1, 0xA1}));
  EXPECT_EQ(o.diagnostics, Diag({{143, unit::kEnccn}}));

  // A code that no byte form of the scheme spells.
  TableConverter sjis(synth::ShiftJis(), 1);
  o = RunOnce(sjis, Ucs2({0x00A5, 0x41}), 64);
  EXPECT_EQ(o.status, 1);
  EXPECT_EQ(o.Out(), (Bytes{'?', 0x41}));
  EXPECT_EQ(o.diagnostics, Diag({{108, unit::kEnccn}}));
}

// ---- Shift tables that no table id selects, and damaged ones --------------

// A converter on one table whose slot's shift table the test replaces.
struct Poked {
  TableConverter dec, enc;
  Poked(const uint16_t* to, const uint16_t* from, const ShiftTable* shift)
      : dec({{1, 0x00, 0xFF, to, from}}, 0), enc({{1, 0x00, 0xFF, to, from}}, 1) {
    dec.Set().shiftTables[0] = shift;
    enc.Set().shiftTables[0] = shift;
  }
};

TEST(TableEngineShiftClasses, TwoBytesBigEndian) {
  const uint16_t* t = nls_test::MakeTable({{2, 0x4142, 0, 0x4E00}});
  const uint16_t* f = nls_test::MakeTable({{2, 0x4E00, 0, 0x4142}});
  Poked p(t, f, &tbShiftT);
  EXPECT_EQ(Units(RunOnce(p.dec, {0x41, 0x42, 0x41}, 64).Out()), (U{0x4E00, F}));
  Outcome o = RunOnce(p.enc, Ucs2({0x4E00}), 2);
  EXPECT_EQ(o.Out(), (Bytes{0x41, 0x42}));
  EXPECT_EQ(o.diagnostics, Diag({{143, unit::kEnccn}}));
}

TEST(TableEngineShiftClasses, CellsWithHighBitsSet) {
  static const ShiftTable grCells = {
      2,
      2,
      {{0, 1, 0x00, 0x7F, 0x00, 0x00, 0x00, 0x7F}, {2, 2, 0xA1, 0xFE, 0x21, 0x21, 0x7E, 0x7E}}};
  const uint16_t* t = nls_test::MakeTable({{0, 0, 0x7F, 0}, {2, 0x2122, 0, 0x3001}});
  const uint16_t* f = nls_test::MakeTable({{0, 0, 0x7F, 0}, {2, 0x3001, 0, 0x2122}});
  Poked p(t, f, &grCells);
  EXPECT_EQ(Units(RunOnce(p.dec, {0x41, 0xA1, 0xA2}, 64).Out()), (U{0x41, 0x3001}));
  EXPECT_EQ(RunOnce(p.enc, Ucs2({0x3001, 0x41}), 64).Out(), (Bytes{0xA1, 0xA2, 0x41}));
}

TEST(TableEngineShiftClasses, UnknownClassesPrintTheirLines) {
  static const ShiftTable badClass = {0, 9, {}};
  static const ShiftTable badCell = {1, 2, {{7, 1, 0x00, 0xFF, 0x00, 0x00, 0xFF, 0xFF}}};
  const uint16_t* id = nls_test::MakeTable({{0, 0, 0xFF, 0}});

  Poked a(id, id, &badClass);
  Outcome o = RunOnce(a.dec, {0x41, 0x05}, 64);
  EXPECT_EQ(Units(o.Out()), (U{F, 0x05}));
  EXPECT_EQ(o.diagnostics, Diag({{644, unit::kUtblfunc}}));
  o = RunOnce(a.enc, Ucs2({0x41}), 64);
  EXPECT_EQ(o.Out(), (Bytes{'?'}));
  EXPECT_EQ(o.diagnostics, Diag({{277, unit::kUtblfunc}, {108, unit::kEnccn}}));

  Poked b(id, id, &badCell);
  o = RunOnce(b.dec, {0x41}, 64);
  EXPECT_EQ(Units(o.Out()), (U{F}));
  EXPECT_EQ(o.diagnostics, Diag({{570, unit::kUtblfunc}}));
  o = RunOnce(b.enc, Ucs2({0x41}), 64);
  EXPECT_EQ(o.Out(), (Bytes{'?'}));
  EXPECT_EQ(o.diagnostics, Diag({{124, unit::kUtblfunc}, {108, unit::kEnccn}}));

  // The reference engine prints the same.
  EXPECT_EQ(RunOnce(b.enc, Ucs2({0x41}), 64, nls_test::Engine::kReference), o);
}

TEST(TableEngineMappingFormats, UnknownFormatIsSkippedWithItsLine) {
  const auto set = synth::UnknownFormat();
  TableConverter dec(set, 0), enc(set, 1);
  Outcome o = RunOnce(dec, {0x41, 0x30, 0x21}, 64);
  EXPECT_EQ(Units(o.Out()), (U{0x61, 0x2080, F}));
  EXPECT_EQ(o.diagnostics, Diag({{298, unit::kUtblfunc}, {298, unit::kUtblfunc}}));
  o = RunOnce(enc, Ucs2({0x61, 0x2080}), 64);
  EXPECT_EQ(o.Out(), (Bytes{0x41, 0x30}));
  EXPECT_EQ(o.diagnostics, Diag({{298, unit::kUtblfunc}}));
}

}  // namespace

// Building blocks of the table tests: mapping tables assembled from cells, a
// converter subclass that reaches the loaded table set and the reference
// engine, and a runner that records everything a conversion shows.
#ifndef NLSCNV_TESTS_TABLES_TABLE_TEST_SUPPORT_H
#define NLSCNV_TESTS_TABLES_TABLE_TEST_SUPPORT_H

#include <gtest/gtest.h>

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "nlscnv/converter.h"
#include "nlscnv/tables/table_engine.h"
#include "support/test_support.h"

namespace nls_test {

struct Cell {
  unsigned format;
  uint16_t first;
  uint16_t last;
  uint16_t value;
};

// Lays out a mapping table: header, packed formats, cells, mapping array.
// Tables live until the end of the test program, like real table data (the
// engine caches lookups by table address).
inline const uint16_t* MakeTable(const std::vector<Cell>& cells,
                                 const std::vector<uint16_t>& mapping = {}) {
  static std::deque<std::vector<uint16_t>> store;
  const auto n = static_cast<uint16_t>(cells.size());
  const uint16_t formatOffset = 4;
  const auto cellOffset = static_cast<uint16_t>(formatOffset + (n + 3) / 4);
  const auto mapOffset = static_cast<uint16_t>(cellOffset + 3 * n);
  std::vector<uint16_t> t = {n, formatOffset, cellOffset, mapOffset};
  t.resize(cellOffset, 0);
  for (size_t j = 0; j < cells.size(); ++j)
    t[formatOffset + j / 4] |= static_cast<uint16_t>(cells[j].format << (4 * (j % 4)));
  for (const Cell& c : cells) t.insert(t.end(), {c.first, c.last, c.value});
  t.insert(t.end(), mapping.begin(), mapping.end());
  store.push_back(t);
  return store.back().data();
}

struct SlotSpec {
  uint16_t id;
  uint8_t first;
  uint8_t last;
  const uint16_t* toTable;
  const uint16_t* fromTable;
};

// A converter built on its own tables: the lists and the set are made from
// slot specs, with a resource map so that the constructor loads them.
class TableConverter : public TEncodingConverter {
 public:
  TableConverter(const std::vector<SlotSpec>& slots, char fromUnicode)
      : TableConverter(Lists::Make(slots), fromUnicode) {}

  uTableSet& Set() { return fFromUnicode ? fFromUnicodeSet : fToUnicodeSet; }
  uTableSet& OtherSet() { return fFromUnicode ? fToUnicodeSet : fFromUnicodeSet; }
  uint32_t TableCount() const { return fTableCount; }
  void SetTableCount(uint32_t n) { fTableCount = n; }

  int ConvertReference(unsigned char* dst, unsigned* dstLen, unsigned dstSize,
                       const unsigned char* src, unsigned srcLen, unsigned* srcUsed) {
    return fFromUnicode ? nls::TableFromUnicodeReference(fFromUnicodeSet, fTableCount, dst, dstLen,
                                                         dstSize, src, srcLen, srcUsed)
                        : nls::TableToUnicodeReference(fToUnicodeSet, fTableCount, dst, dstLen,
                                                       dstSize, src, srcLen, srcUsed);
  }

 private:
  struct Lists {
    UnicodeTableSet* set;
    UnicodeTableList* to;
    UnicodeTableList* from;
    static Lists Make(const std::vector<SlotSpec>& slots) {
      static std::deque<UnicodeTableSet> sets;
      static std::deque<std::vector<UnicodeTableList>> lists;
      UnicodeTableSet set{slots.empty() ? uint16_t{0} : slots[0].id, {}};
      for (auto& s : set.slots) s = UnicodeTableSlot{0, 0xFF, 0x00};
      std::vector<UnicodeTableList> to, from;
      for (size_t i = 0; i < slots.size() && i < 4; ++i) {
        set.slots[i] = UnicodeTableSlot{slots[i].id, slots[i].first, slots[i].last};
        if (slots[i].toTable) to.push_back({slots[i].id, slots[i].toTable});
        if (slots[i].fromTable) from.push_back({slots[i].id, slots[i].fromTable});
      }
      to.push_back({0, nullptr});
      from.push_back({0, nullptr});
      sets.push_back(set);
      lists.push_back(to);
      UnicodeTableList* toList = lists.back().data();
      lists.push_back(from);
      return Lists{&sets.back(), toList, lists.back().data()};
    }
  };
  static const resourceMapTable* AnyMap() {
    static const resourceMapTable map[] = {{0, {}, {}}};
    return map;
  }
  TableConverter(const Lists& l, char fromUnicode)
      : TEncodingConverter("test", "ISO-10646-UCS-2", l.set, l.from, l.to, l.set->setId,
                           fromUnicode ? 1 : 2, AnyMap(), 0, fromUnicode) {}
};

// Everything one conversion shows: result, counts, the whole output buffer
// (guard bytes included) and the diagnostics it printed.
struct Outcome {
  int status;
  unsigned dstLen;
  unsigned used;
  Bytes buffer;
  std::string diagnostics;
  bool guardIntact;
  Bytes Out() const { return Bytes(buffer.begin(), buffer.begin() + dstLen); }
  bool operator==(const Outcome& o) const {
    return status == o.status && dstLen == o.dstLen && used == o.used && buffer == o.buffer &&
           diagnostics == o.diagnostics && guardIntact == o.guardIntact;
  }
};

inline std::ostream& operator<<(std::ostream& os, const Outcome& o) {
  os << "{status " << o.status << ", dstLen " << o.dstLen << ", used " << o.used << ", out";
  for (size_t i = 0; i < o.buffer.size(); ++i)
    os << ' ' << std::hex << int(o.buffer[i]) << std::dec;
  return os << ", diagnostics \"" << o.diagnostics << "\"}";
}

enum class Engine { kFast, kReference };

// One conversion without capturing standard error (for loops that capture
// around many conversions).
inline Outcome RunUncaptured(TableConverter& c, const Bytes& in, unsigned dstSize, Engine engine) {
  GuardedBuffer buf(dstSize);
  unsigned dstLen = 0xDEAD, used = 0xDEAD;
  const unsigned char* src = in.empty() ? nullptr : in.data();
  const auto srcLen = static_cast<unsigned>(in.size());
  int st = engine == Engine::kFast
               ? c.Convert(buf.data(), &dstLen, dstSize, src, srcLen, &used)
               : c.ConvertReference(buf.data(), &dstLen, dstSize, src, srcLen, &used);
  return Outcome{st, dstLen,           used, buf.Prefix(dstSize + GuardedBuffer::kGuard),
                 "", buf.GuardIntact()};
}

inline Outcome RunOnce(TableConverter& c, const Bytes& in, unsigned dstSize,
                       Engine engine = Engine::kFast) {
  StderrCapture capture;
  Outcome o = RunUncaptured(c, in, dstSize, engine);
  o.diagnostics = capture.Text();
  return o;
}

// The diagnostic lines in order.
inline std::string Diag(std::initializer_list<std::pair<int, const char*>> lines) {
  std::string s;
  for (const auto& l : lines) s += AssertText(l.first, l.second);
  return s;
}

}  // namespace nls_test

#endif  // NLSCNV_TESTS_TABLES_TABLE_TEST_SUPPORT_H

// UCS-2 to bytes through the encode arrays of the multi-byte table sets of
// the converter libraries, against the reference engine (a cell search per
// character and the shift table's generator): every UCS-2 unit, random texts,
// every tail length with every output size near the end, and buffers that end
// at an inaccessible page. Output bytes, the bytes behind the output, counts,
// result and diagnostic lines must all be the same.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <random>
#include <string>
#include <vector>

#include "converters/fast_path_support.h"
#include "convlibs/convlibs_support.h"
#include "nlscnv/table_access.h"
#include "nlscnv/tables/shift_tables.h"
#include "nlscnv/tables/table_encoding_fast.h"
#include "nlscnv/tables/table_engine.h"

namespace {

using convlibs_test::Bytes;
using convlibs_test::TableEncoding;
using nls_test::Ucs2;

// Reaches the loaded from-UCS-2 set of any converter.
struct SetAccess : TEncodingConverter {
  static const uTableSet& Set(const TEncodingConverter* c) {
    return c->*(&SetAccess::fFromUnicodeSet);
  }
  static uint32_t Count(const TEncodingConverter* c) { return c->*(&SetAccess::fTableCount); }
};

bool MultiByte(const uTableSet& set, uint32_t count) {
  for (uint32_t s = 0; s < count && s < 4; ++s)
    if (set.tables[s] != nullptr && set.shiftTables[s] != nullptr &&
        set.shiftTables[s]->tableClass != 0)
      return true;
  return false;
}

std::vector<TableEncoding> MultiByteEncodings() {
  std::vector<TableEncoding> list;
  for (const TableEncoding& e : convlibs_test::TableEncodings()) {
    TEncodingConverter* c = e.fromUcs2();
    if (c != nullptr && MultiByte(SetAccess::Set(c), SetAccess::Count(c))) list.push_back(e);
    if (c != nullptr) c->ReleaseEncodingConverter();
  }
  return list;
}

struct Case {
  Bytes in;
  unsigned dstSize;
};

struct Result {
  int status;
  unsigned dstLen;
  unsigned used;
  Bytes buffer;  // the output buffer and the bytes behind it
  bool operator==(const Result& o) const {
    return status == o.status && dstLen == o.dstLen && used == o.used && buffer == o.buffer;
  }
};

class EncodeFast : public ::testing::TestWithParam<TableEncoding> {
 protected:
  void SetUp() override {
    conv_ = GetParam().fromUcs2();
    ASSERT_NE(conv_, nullptr);
    ASSERT_EQ(conv_->GetStatus(), 1);
    set_ = &SetAccess::Set(conv_);
    count_ = std::min<uint32_t>(SetAccess::Count(conv_), 4);
    for (uint32_t s = 0; s < count_; ++s)
      if (set_->tables[s] != nullptr)
        direct_[s] = nls::DirectMap(set_->tables[s], nls::kFullMapSize);
  }
  void TearDown() override {
    if (conv_ != nullptr) conv_->ReleaseEncodingConverter();
  }

  // The converter's own path, or the reference engine, into dst.
  int Run(bool fast, unsigned char* dst, unsigned* dstLen, unsigned dstSize,
          const unsigned char* src, unsigned srcLen, unsigned* used) {
    return fast ? conv_->Convert(dst, dstLen, dstSize, src, srcLen, used)
                : nls::TableFromUnicodeReference(*set_, SetAccess::Count(conv_), dst, dstLen,
                                                 dstSize, src, srcLen, used);
  }

  Result RunCase(bool fast, const Case& k) {
    constexpr unsigned kBehind = 24;
    Bytes src = k.in;  // exactly the input's size
    Bytes buf(k.dstSize + kBehind);
    for (size_t i = 0; i < buf.size(); ++i) buf[i] = static_cast<unsigned char>(0xC3 ^ (i * 13));
    Result r{0, 0xDEAD, 0xDEAD, {}};
    r.status = Run(fast, buf.data(), &r.dstLen, k.dstSize, src.empty() ? nullptr : src.data(),
                   static_cast<unsigned>(src.size()), &r.used);
    r.buffer = buf;
    return r;
  }

  // Runs every case both ways; each case's diagnostics are told apart by a
  // separator line, so the captured texts compare case by case.
  void ExpectSame(const std::vector<Case>& cases, const char* what) {
    std::vector<Result> results[2];
    std::string text[2];
    for (int fast = 0; fast < 2; ++fast) {
      nls_test::StderrCapture capture;
      for (const Case& k : cases) {
        results[fast].push_back(RunCase(fast == 1, k));
        std::fputs("--\n", stderr);
      }
      text[fast] = capture.Text();
    }
    for (size_t i = 0; i < cases.size(); ++i) {
      if (!(results[1][i] == results[0][i])) {
        const Result& a = results[1][i];
        const Result& b = results[0][i];
        ADD_FAILURE() << GetParam().name << ", " << what << ", case " << i << ": input "
                      << convlibs_test::Hex(cases[i].in) << ", room " << cases[i].dstSize
                      << "\n fast: status " << a.status << " dstLen " << a.dstLen << " used "
                      << a.used << " buffer " << convlibs_test::Hex(a.buffer) << "\n  ref: status "
                      << b.status << " dstLen " << b.dstLen << " used " << b.used << " buffer "
                      << convlibs_test::Hex(b.buffer);
        return;
      }
    }
    EXPECT_EQ(text[1], text[0]) << GetParam().name << ", " << what << ": diagnostics differ";
  }

  // Output of c alone with ample room, by the reference engine.
  Bytes ReferenceBytes(uint16_t c) {
    unsigned char out[16];
    unsigned len = 0, used = 0;
    const Bytes in = Ucs2({c});
    nls::TableFromUnicodeReference(*set_, SetAccess::Count(conv_), out, &len, sizeof out, in.data(),
                                   2, &used);
    return Bytes(out, out + len);
  }

  // Characters by the length of their reference output: [0] those written
  // as "?" without being "?", [1] one byte, [2] two bytes, [3] longer.
  void Classify(std::vector<uint16_t> kinds[4]) {
    nls_test::StderrCapture quiet;
    for (unsigned u = 0; u < 65536; ++u) {
      const auto c = static_cast<uint16_t>(u);
      const Bytes b = ReferenceBytes(c);
      if (b == Bytes{'?'} && c != '?')
        kinds[0].push_back(c);
      else
        kinds[std::min<size_t>(b.size(), 3)].push_back(c);
    }
  }

  TEncodingConverter* conv_ = nullptr;
  const uTableSet* set_ = nullptr;
  uint32_t count_ = 0;
  const uint16_t* direct_[4] = {};
};

TEST_P(EncodeFast, SetHasAnEncodeArrayBuiltOnce) {
  const uint16_t* map = nls::EncodeMap(*set_, count_, direct_);
  ASSERT_NE(map, nullptr);
  EXPECT_EQ(nls::EncodeMap(*set_, count_, direct_), map);
  // A second converter of the same encoding has its own copy of the set and
  // shares the array.
  TEncodingConverter* other = GetParam().fromUcs2();
  ASSERT_NE(other, nullptr);
  EXPECT_EQ(nls::EncodeMap(SetAccess::Set(other), count_, direct_), map);
  other->ReleaseEncodingConverter();
  // Plain entries are what the reference writes for the character alone.
  nls_test::StderrCapture quiet;
  for (unsigned u = 0; u < 65536; u += 97) {
    const uint16_t e = map[u];
    if (e == nls::kEncodeGeneral) continue;
    Bytes expected{static_cast<unsigned char>(e)};
    if (e > 0xFF) expected.push_back(static_cast<unsigned char>(e >> 8));
    EXPECT_EQ(ReferenceBytes(static_cast<uint16_t>(u)), expected) << std::hex << u;
  }
}

TEST_P(EncodeFast, EveryUnit) {
  std::vector<uint16_t> all(65536);
  for (unsigned u = 0; u < 65536; ++u) all[u] = static_cast<uint16_t>(u);
  const Bytes text = Ucs2(all);
  // All at once with room to spare, and stopping inside the text.
  ExpectSame({{text, 4 * 65536 + 1}, {text, 70001}, {text, 2}, {text, 1}, {text, 0}}, "all units");

  // Each character alone with room for 2 and for 3 bytes: a two-byte code
  // fills the output (no terminator), a longer one does not fit. One-byte
  // characters behave the same at both sizes and at any larger one.
  std::vector<uint16_t> kinds[4];
  Classify(kinds);
  EXPECT_GT(kinds[2].size(), 5000u);
  std::vector<Case> cases;
  for (int k : {0, 2, 3})
    for (uint16_t c : kinds[k])
      for (unsigned room : {2u, 3u}) cases.push_back({Ucs2({c}), room});
  for (unsigned u = 0; u < 65536; u += 251)
    for (unsigned room : {1u, 2u, 3u}) cases.push_back({Ucs2({static_cast<uint16_t>(u)}), room});
  ExpectSame(cases, "single units");
}

TEST_P(EncodeFast, RandomTexts) {
  std::vector<uint16_t> kinds[4];
  Classify(kinds);
  std::mt19937 rng(0xE7C0 + static_cast<unsigned>(std::string(GetParam().name).size()));
  auto pick = [&](const std::vector<uint16_t>& v, uint16_t fallback) {
    return v.empty() ? fallback : v[rng() % v.size()];
  };
  std::vector<Case> cases;
  nls_test::StderrCapture quiet;  // the probes below
  for (int i = 0; i < 4000; ++i) {
    std::vector<uint16_t> units;
    const unsigned n = rng() % 80;
    for (unsigned k = 0; k < n; ++k) {
      switch (rng() % 8) {
        case 0:
          units.push_back(static_cast<uint16_t>(rng() % 0x80));  // ASCII and controls
          break;
        case 1:
          units.push_back(pick(kinds[0], 0x0100));  // unmapped
          break;
        case 2:
          units.push_back(static_cast<uint16_t>(0xD800 + rng() % 0x800));  // surrogates
          break;
        case 3:
          units.push_back(pick(kinds[3], 0x4E00));  // longer sequences where there are any
          break;
        case 4:
          units.push_back(static_cast<uint16_t>(rng()));
          break;
        default:
          units.push_back(pick(kinds[2], 0x4E00));
          break;
      }
    }
    Bytes in = Ucs2(units);
    if (rng() % 6 == 0) in.push_back(static_cast<unsigned char>(rng()));  // odd length
    const unsigned full = static_cast<unsigned>(in.size() * 2 + 2);
    unsigned room = rng() % (full + 1);
    if (rng() % 2 == 0) {
      // Near the size the whole text needs.
      unsigned char probe[1024];
      unsigned len = 0, used = 0;
      nls::TableFromUnicodeReference(*set_, SetAccess::Count(conv_), probe, &len, sizeof probe,
                                     in.empty() ? nullptr : in.data(),
                                     static_cast<unsigned>(in.size()), &used);
      room = static_cast<unsigned>(
          std::max(0, static_cast<int>(len) + static_cast<int>(rng() % 7) - 3));
    }
    cases.push_back({in, room});
  }
  quiet.Restore();
  ExpectSame(cases, "random texts");
}

// Texts of every length from 0 to 64 units, even and odd in bytes, each with
// every output size from 0 to a few bytes beyond what it needs.
TEST_P(EncodeFast, EveryTailLengthAndRoomNearTheEnd) {
  std::vector<uint16_t> kinds[4];
  Classify(kinds);
  std::mt19937 rng(0x7A11);
  std::vector<std::vector<uint16_t>> texts(3);
  for (unsigned k = 0; k < 64; ++k) {
    texts[0].push_back(kinds[2][rng() % kinds[2].size()]);  // two-byte codes only
    const unsigned r = rng() % 6;
    texts[1].push_back(r < 3   ? kinds[2][rng() % kinds[2].size()]
                       : r < 5 ? kinds[1][rng() % kinds[1].size()]
                               : kinds[0][rng() % kinds[0].size()]);
    texts[2].push_back(k % 5 == 4 && !kinds[3].empty() ? kinds[3][rng() % kinds[3].size()]
                       : k % 2                         ? static_cast<uint16_t>('a' + k % 26)
                                                       : kinds[2][rng() % kinds[2].size()]);
  }
  std::vector<Case> cases;
  for (const auto& text : texts) {
    for (unsigned n = 0; n <= 64; ++n) {
      const Bytes even = Ucs2(std::vector<uint16_t>(text.begin(), text.begin() + n));
      Bytes odd = even;
      odd.push_back(0x41);
      for (unsigned room = 0; room <= 3 * n + 4; ++room) {
        cases.push_back({even, room});
        if (room % 3 == 0) cases.push_back({odd, room});
      }
    }
  }
  ExpectSame(cases, "tails");
}

// Input and output each end exactly where readable memory ends: the fast
// loop must not read a unit past srcLen nor write a byte past dstSize.
TEST_P(EncodeFast, BuffersEndingAtAPageBoundary) {
  std::vector<uint16_t> kinds[4];
  Classify(kinds);
  nls_fast::GuardPage srcPage, dstPage;
  ASSERT_TRUE(srcPage.ok() && dstPage.ok());
  std::mt19937 rng(0x9A6E);
  std::vector<uint16_t> text;
  for (unsigned k = 0; k < 64; ++k)
    text.push_back(rng() % 4 == 0 ? static_cast<uint16_t>(0x20 + rng() % 0x5F)
                                  : kinds[2][rng() % kinds[2].size()]);
  nls_test::StderrCapture quiet;
  for (unsigned n = 0; n <= 64; ++n) {
    for (unsigned extra = 0; extra < 2; ++extra) {
      Bytes in = Ucs2(std::vector<uint16_t>(text.begin(), text.begin() + n));
      if (extra) in.push_back(0x30);
      unsigned char* src = srcPage.Tail(in.size());
      std::copy(in.begin(), in.end(), src);
      for (unsigned room = 0; room <= 2 * n + 3; ++room) {
        unsigned char* dst = dstPage.Tail(room);
        std::fill(dst, dst + room, 0x77);
        Bytes ref(room + 1, 0x77);
        unsigned lenA = 0, usedA = 0, lenB = 0, usedB = 0;
        const int a =
            conv_->Convert(dst, &lenA, room, src, static_cast<unsigned>(in.size()), &usedA);
        const int b =
            nls::TableFromUnicodeReference(*set_, SetAccess::Count(conv_), ref.data(), &lenB, room,
                                           in.data(), static_cast<unsigned>(in.size()), &usedB);
        ASSERT_EQ(a, b) << n << " units, room " << room;
        ASSERT_EQ(lenA, lenB) << n << " units, room " << room;
        ASSERT_EQ(usedA, usedB) << n << " units, room " << room;
        ASSERT_EQ(Bytes(dst, dst + room), Bytes(ref.begin(), ref.begin() + room))
            << n << " units, room " << room;
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Libraries, EncodeFast, ::testing::ValuesIn(MultiByteEncodings()),
                         [](const auto& info) {
                           std::string name;
                           for (const char* p = info.param.codec; *p; ++p)
                             name += std::isalnum(static_cast<unsigned char>(*p)) ? *p : '_';
                           return name;
                         });

}  // namespace

// Identity checks of the table engine's bytes -> UCS-2 direction: a
// converter's Convert (the planned fast loops) against the reference engine
// (a cell search per character) on the same loaded table set. Everything a
// caller can see must agree: result, counts, every byte of the output buffer
// up to and past dstSize, and the diagnostics printed. The reference results
// are computed once and compared under every instruction-set level.
#ifndef NLSCNV_TESTS_TABLES_DECODING_IDENTITY_H
#define NLSCNV_TESTS_TABLES_DECODING_IDENTITY_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "converters/fast_path_support.h"
#include "nlscnv/converter.h"
#include "nlscnv/tables/table_engine.h"
#include "support/test_support.h"

namespace nls_test {

// Reaches the loaded to-UCS-2 set of any converter (a pointer to a
// protected member named through a derived class applies to the base).
struct LoadedSet : TEncodingConverter {
  static const uTableSet& ToUnicode(const TEncodingConverter& c) {
    return c.*(&LoadedSet::fToUnicodeSet);
  }
  static uint32_t Count(const TEncodingConverter& c) { return c.*(&LoadedSet::fTableCount); }
};

struct DecodeCase {
  Bytes in;
  unsigned dstSize;
  unsigned srcOffset = 0;  // misalignment of the input
};

struct DecodeOutcome {
  int status;
  unsigned dstLen;
  unsigned used;
  Bytes buffer;  // dstSize bytes plus a tail that must stay as it was
  bool operator==(const DecodeOutcome& o) const {
    return status == o.status && dstLen == o.dstLen && used == o.used && buffer == o.buffer;
  }
};

class DecodeIdentity {
 public:
  static constexpr unsigned kTail = 40;

  explicit DecodeIdentity(TEncodingConverter* c)
      : c_(c), set_(LoadedSet::ToUnicode(*c)), count_(LoadedSet::Count(*c)) {}

  DecodeOutcome Run(const DecodeCase& k, bool fast) const {
    Bytes src(k.srcOffset + k.in.size());
    std::copy(k.in.begin(), k.in.end(), src.begin() + k.srcOffset);
    const unsigned char* s = k.in.empty() ? nullptr : src.data() + k.srcOffset;
    DecodeOutcome o{0, 7777, 7777, Bytes(k.dstSize + kTail)};
    for (size_t i = 0; i < o.buffer.size(); ++i)
      o.buffer[i] = static_cast<unsigned char>(0xA5 ^ (i * 13));
    const auto n = static_cast<unsigned>(k.in.size());
    o.status = fast ? c_->Convert(o.buffer.data(), &o.dstLen, k.dstSize, s, n, &o.used)
                    : nls::TableToUnicodeReference(set_, count_, o.buffer.data(), &o.dstLen,
                                                   k.dstSize, s, n, &o.used);
    return o;
  }

  // The reference once, then the fast loops under every level; reports the
  // first difference of each level.
  void Expect(const std::vector<DecodeCase>& cases, const std::string& what) const {
    std::vector<DecodeOutcome> ref;
    ref.reserve(cases.size());
    std::string refText;
    {
      StderrCapture capture;
      for (const DecodeCase& k : cases) ref.push_back(Run(k, false));
      refText = capture.Text();
    }
    nls_fast::EachLevel levels;
    for (int level : levels.Levels()) {
      nls::simd::SetLevel(level);
      StderrCapture capture;
      size_t bad = cases.size();
      DecodeOutcome first{};
      for (size_t i = 0; i < cases.size() && bad == cases.size(); ++i) {
        DecodeOutcome o = Run(cases[i], true);
        if (!(o == ref[i])) {
          bad = i;
          first = std::move(o);
        }
      }
      const std::string text = capture.Text();
      capture.Restore();
      if (bad != cases.size()) {
        ADD_FAILURE() << what << ", level " << level << ", case " << bad << ": "
                      << Describe(cases[bad]) << "\n fast " << Describe(first) << "\n  ref "
                      << Describe(ref[bad]);
      }
      EXPECT_EQ(text, refText) << what << ", level " << level << ": diagnostics differ";
    }
  }

  // The output length of a conversion with room for everything.
  unsigned FullLength(const Bytes& in) const {
    StderrCapture quiet;
    return Run({in, static_cast<unsigned>(2 * in.size() + 2)}, false).dstLen;
  }

  // Input and output both end exactly at an inaccessible page: one byte of
  // reading or writing past either faults. Compared with the reference on
  // ordinary buffers.
  void ExpectAtPageEnd(const Bytes& in, unsigned dstSize, const std::string& what) const {
    nls_fast::GuardPage srcPage, dstPage;
    ASSERT_TRUE(srcPage.ok() && dstPage.ok());
    ASSERT_LE(std::max<size_t>(in.size(), dstSize), srcPage.capacity());
    std::string refText;
    DecodeOutcome ref;
    {
      StderrCapture capture;
      ref = Run({in, dstSize}, false);
      refText = capture.Text();
    }
    nls_fast::EachLevel levels;
    for (int level : levels.Levels()) {
      nls::simd::SetLevel(level);
      unsigned char* s = srcPage.Tail(in.size());
      if (!in.empty()) std::memcpy(s, in.data(), in.size());
      unsigned char* d = dstPage.Tail(dstSize);
      for (unsigned i = 0; i < dstSize; ++i) d[i] = static_cast<unsigned char>(0xA5 ^ (i * 13));
      unsigned dstLen = 7777, used = 7777;
      StderrCapture capture;
      const int st = c_->Convert(d, &dstLen, dstSize, in.empty() ? nullptr : s,
                                 static_cast<unsigned>(in.size()), &used);
      const std::string text = capture.Text();
      capture.Restore();
      EXPECT_EQ(text, refText) << what << ", level " << level << ": diagnostics differ";
      EXPECT_EQ(st, ref.status) << what << ", level " << level;
      EXPECT_EQ(dstLen, ref.dstLen) << what << ", level " << level;
      EXPECT_EQ(used, ref.used) << what << ", level " << level;
      EXPECT_TRUE(std::equal(d, d + dstSize, ref.buffer.begin())) << what << ", level " << level;
    }
  }

 private:
  static std::string Describe(const DecodeCase& k) {
    std::string s = "input";
    for (unsigned char b : k.in) s += " " + std::to_string(b);
    return s + ", dstSize " + std::to_string(k.dstSize) + ", offset " + std::to_string(k.srcOffset);
  }
  static std::string Describe(const DecodeOutcome& o) {
    std::string s = "status " + std::to_string(o.status) + ", dstLen " + std::to_string(o.dstLen) +
                    ", used " + std::to_string(o.used) + ", buffer";
    for (unsigned char b : o.buffer) s += " " + std::to_string(b);
    return s;
  }

  TEncodingConverter* c_;
  const uTableSet& set_;
  uint32_t count_;
};

// The families of cases that every set goes through. `material` is text in
// the set's own byte forms (starting at a character boundary).
inline void ExpectDecodingIdentity(TEncodingConverter* c, const Bytes& material, unsigned seed) {
  const DecodeIdentity check(c);
  std::vector<DecodeCase> cases;

  // Every byte alone, all non-zero bytes in a row (room for all of them and
  // an odd room that ends the output without terminator), and every pair
  // alone and followed by more input.
  Bytes all;
  for (unsigned b = 0; b < 256; ++b) {
    cases.push_back({{static_cast<unsigned char>(b)}, 8});
    if (b != 0) all.push_back(static_cast<unsigned char>(b));
  }
  cases.push_back({all, 1024});
  cases.push_back({all, 101});
  for (unsigned b0 = 0; b0 < 256; ++b0)
    for (unsigned b1 = 0; b1 < 256; ++b1) {
      const auto x = static_cast<unsigned char>(b0), y = static_cast<unsigned char>(b1);
      cases.push_back({{x, y}, 8});
      cases.push_back({{x, y, 0x41, x, y}, 10});
    }
  check.Expect(cases, "bytes and pairs");
  cases.clear();

  // Every length of a prefix of the material (a cut sequence at the end for
  // some of them) from 0 to 130 bytes, with every output size around the end
  // of its output and at three alignments.
  for (unsigned len = 0; len <= 130; ++len) {
    const Bytes in(material.begin(), material.begin() + std::min<size_t>(len, material.size()));
    const unsigned full = check.FullLength(in);
    for (unsigned size = full > 6 ? full - 6 : 1; size <= full + 4; ++size)
      cases.push_back({in, size, len % 3});
    cases.push_back({in, 1});
    cases.push_back({in, 3 * len / 2 + 1});
  }
  check.Expect(cases, "tails and output sizes");
  cases.clear();

  // A 0 byte at every position of a text, and a text whose last byte is
  // each possible byte (a lead byte cut by the end of the input), alone and
  // followed by one more byte.
  const Bytes text(material.begin(), material.begin() + std::min<size_t>(100, material.size()));
  for (size_t p = 0; p < text.size(); ++p) {
    Bytes in = text;
    in[p] = 0;
    cases.push_back({in, 512});
  }
  for (unsigned b = 1; b < 256; ++b) {
    Bytes in(text.begin(), text.begin() + std::min<size_t>(40, text.size()));
    in.push_back(static_cast<unsigned char>(b));
    cases.push_back({in, 512});
    in.push_back(0xA1);
    cases.push_back({in, 512});
  }
  check.Expect(cases, "zero bytes and cut sequences");
  cases.clear();

  // Random texts: slices of the material mixed with random bytes and the
  // odd 0 byte, short ones with random output sizes and long ones (many
  // vector blocks) with room for everything or for part.
  std::mt19937 rng(seed);
  auto randomText = [&](size_t target) {
    Bytes in;
    while (in.size() < target) {
      if (rng() % 4 == 0) {
        const unsigned n = rng() % 4;
        for (unsigned k = 0; k < n; ++k) in.push_back(static_cast<unsigned char>(rng() % 255 + 1));
      } else {
        const size_t start = rng() % material.size();
        const size_t n = std::min<size_t>(rng() % 48, material.size() - start);
        in.insert(in.end(), material.begin() + start, material.begin() + start + n);
      }
    }
    if (rng() % 10 == 0 && !in.empty()) in[rng() % in.size()] = 0;
    return in;
  };
  for (int i = 0; i < 1500; ++i) {
    Bytes in = randomText(rng() % 160);
    cases.push_back({in, static_cast<unsigned>(rng() % (2 * in.size() + 8) + 1),
                     static_cast<unsigned>(rng() % 4)});
  }
  for (int i = 0; i < 40; ++i) {
    Bytes in = randomText(2000 + rng() % 6000);
    const auto room = static_cast<unsigned>(2 * in.size() + 2);
    cases.push_back({in, i % 2 == 0 ? room : static_cast<unsigned>(rng() % room + 1),
                     static_cast<unsigned>(rng() % 4)});
  }
  check.Expect(cases, "random texts");

  // Input and output ending at an inaccessible page.
  for (unsigned len : {1u, 2u, 3u, 15u, 16u, 17u, 31u, 32u, 33u, 63u, 64u, 65u, 100u, 1000u}) {
    const Bytes in(material.begin(), material.begin() + std::min<size_t>(len, material.size()));
    const unsigned full = check.FullLength(in);
    for (unsigned size : {full + 2, full + 1, full, full > 3 ? full - 3 : 1u})
      check.ExpectAtPageEnd(in, size, "page end, " + std::to_string(len) + " bytes");
  }
}

}  // namespace nls_test

#endif  // NLSCNV_TESTS_TABLES_DECODING_IDENTITY_H

// Drives one converter directly (no conversion object) with guarded output
// buffers, for the converter tests.
#ifndef NLSCNV_TESTS_SUPPORT_CONVERTER_HARNESS_H
#define NLSCNV_TESTS_SUPPORT_CONVERTER_HARNESS_H

#include <gtest/gtest.h>

#include <algorithm>

#include "nlscnv/converter.h"
#include "support/test_support.h"

namespace nls_test {

struct ConvertResult {
  int status;
  Bytes out;        // produced bytes, terminator excluded
  unsigned used;    // input consumed
  bool terminated;  // a terminator of termSize zero bytes follows the output
};

// One Convert call into a buffer of exactly dstSize bytes followed by guard
// bytes; fails the test when anything is written past dstSize.
inline ConvertResult ConvertOnce(TEncodingConverter* c, const Bytes& in, unsigned dstSize,
                                 unsigned termSize) {
  GuardedBuffer buf(dstSize);
  unsigned produced = 12345, used = 12345;
  int st = c->Convert(buf.data(), &produced, dstSize, in.empty() ? nullptr : in.data(),
                      static_cast<unsigned>(in.size()), &used);
  EXPECT_TRUE(buf.GuardIntact()) << "wrote past dstSize " << dstSize;
  EXPECT_LE(produced, dstSize);
  EXPECT_LE(used, in.size());
  ConvertResult r{st, buf.Prefix(std::min(produced, dstSize)), used, false};
  if (produced + termSize <= dstSize) {
    Bytes term = buf.Prefix(produced + termSize);
    r.terminated =
        std::all_of(term.begin() + produced, term.end(), [](unsigned char b) { return b == 0; });
  }
  return r;
}

// Converts `in` through output buffers of every size from 1 to maxSize,
// resuming at the unconsumed input each time, and expects the bytes of one
// large conversion. Sizes below minProgress may stall (no room for the
// largest item); larger ones must finish.
inline void ExpectResumeIdentity(TEncodingConverter* c, const Bytes& in, unsigned termSize,
                                 unsigned minProgress, unsigned maxSize = 64) {
  c->Reset();
  ConvertResult whole = ConvertOnce(c, in, static_cast<unsigned>(in.size() * 8 + 16), termSize);
  for (unsigned size = 1; size <= maxSize; ++size) {
    c->Reset();
    Bytes joined;
    size_t pos = 0;
    int stalls = 0;
    while (pos < in.size()) {
      Bytes rest(in.begin() + static_cast<long>(pos), in.end());
      ConvertResult r = ConvertOnce(c, rest, size, termSize);
      joined.insert(joined.end(), r.out.begin(), r.out.end());
      pos += r.used;
      if (r.used == 0 && ++stalls > 2) break;
      if (r.used) stalls = 0;
    }
    if (pos < in.size()) {
      EXPECT_LT(size, minProgress) << "stalled with output size " << size;
      continue;
    }
    EXPECT_EQ(joined, whole.out) << "output size " << size;
  }
}

}  // namespace nls_test

#endif  // NLSCNV_TESTS_SUPPORT_CONVERTER_HARNESS_H

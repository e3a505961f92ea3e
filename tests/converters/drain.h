// Drains one input through a converter with output buffers of random sizes,
// resuming at the unconsumed input each time, as a conversion object does.
#ifndef NLSCNV_TESTS_CONVERTERS_DRAIN_H
#define NLSCNV_TESTS_CONVERTERS_DRAIN_H

#include <gtest/gtest.h>

#include <random>

#include "support/converter_harness.h"

namespace nls_test {

struct Drained {
  Bytes out;       // all output, joined
  int lastStatus;  // result of the call that consumed the last input
  bool finished;   // all input was consumed
};

// Output sizes are drawn from [minSize, maxSize]; minSize must leave room for
// the converter's largest item so that every call makes progress.
inline Drained DrainRandom(TEncodingConverter* c, const Bytes& in, unsigned termSize,
                           std::mt19937& rng, unsigned minSize, unsigned maxSize) {
  c->Reset();
  Drained d{{}, 0, false};
  std::uniform_int_distribution<unsigned> size(minSize, maxSize);
  size_t pos = 0;
  do {
    Bytes rest(in.begin() + static_cast<long>(pos), in.end());
    ConvertResult r = ConvertOnce(c, rest, size(rng), termSize);
    d.out.insert(d.out.end(), r.out.begin(), r.out.end());
    d.lastStatus = r.status;
    if (r.used == 0 && !rest.empty()) {
      ADD_FAILURE() << "no progress at input offset " << pos;
      return d;
    }
    pos += r.used;
  } while (pos < in.size());
  d.finished = true;
  return d;
}

}  // namespace nls_test

#endif  // NLSCNV_TESTS_CONVERTERS_DRAIN_H

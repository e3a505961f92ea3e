// The run loops of the UTF-7 and IMAP modified UTF-7 converters against the
// one-step-at-a-time algorithm alone (ConvertReference): same status, counts
// and buffer bytes on every call, for inputs of every length 0-64, every
// output size, streaming through small outputs (open runs carried between
// calls), and buffers that end against an inaccessible page.
#include <gtest/gtest.h>

#include <random>

#include "converters/fast_path_support.h"
#include "nlscnv/converters/modified_utf7_converters.h"
#include "nlscnv/converters/utf7_converters.h"

using nls_fast::Bytes;

namespace {

// Units drawn in runs from classes that exercise every branch: letters,
// characters with a meaning to the decoders, spaces and controls, Latin-1
// and CJK characters.
Bytes MakeUnits(std::mt19937* rng, size_t count) {
  static const uint16_t kSpecial[] = {'+', '-', '&',  '/',  ',', '\\', '~',  '0',  '9', 'A',
                                      'z', ' ', '\t', '\n', 0,   1,    0x7F, 0x80, 0xFF};
  Bytes out;
  while (out.size() / 2 < count) {
    const unsigned kind = (*rng)() % 5;
    const unsigned run = 1 + (*rng)() % 12;
    for (unsigned i = 0; i < run && out.size() / 2 < count; ++i) {
      uint16_t u;
      switch (kind) {
        case 0:
          u = static_cast<uint16_t>('a' + (*rng)() % 26);
          break;
        case 1:
          u = kSpecial[(*rng)() % (sizeof kSpecial / sizeof kSpecial[0])];
          break;
        case 2:
          u = static_cast<uint16_t>(0xC0 + (*rng)() % 0x40);
          break;
        case 3:
          u = static_cast<uint16_t>(0x3040 + (*rng)() % 0x6000);
          break;
        default:
          u = static_cast<uint16_t>(0x20 + (*rng)() % 0x5F);
          break;
      }
      out.push_back(static_cast<unsigned char>(u & 0xFF));  // machine order, little-endian x86
      out.push_back(static_cast<unsigned char>(u >> 8));
    }
  }
  return out;
}

// Encoded text with a few bytes replaced, so that runs end in every way
// (absorbed, by another character, by a byte above 0x7F, with bits left).
Bytes Mutate(std::mt19937* rng, Bytes text) {
  static const unsigned char kBytes[] = {'+', '&', '-', 'A', '/', ',', 'x', ' ', 0x80, 0xE9, '\n'};
  const size_t changes = text.empty() ? 0 : (*rng)() % 4;
  for (size_t i = 0; i < changes; ++i)
    text[(*rng)() % text.size()] = kBytes[(*rng)() % sizeof kBytes];
  return text;
}

// A converter and its reference, each a separate object with its own state.
template <class Converter>
struct Pair {
  Converter fast, reference;
  void Reset() {
    fast.Reset();
    reference.Reset();
  }
};

template <class Converter>
nls_fast::ConvertFn ReferenceOf(Converter* c) {
  return [c](unsigned char* d, unsigned* l, unsigned s, const unsigned char* x, unsigned n,
             unsigned* u) { return c->ConvertReference(d, l, s, x, n, u); };
}

class Base64FastPaths : public ::testing::Test {
 protected:
  std::mt19937 rng_{20240611};
  Pair<TUnicodeToUTF7Converter> utf7Enc_;
  Pair<TUTF7ToUnicodeConverter> utf7Dec_;
  Pair<TUnicodeToModifiedUTF7Converter> imapEnc_;
  Pair<TModifiedUTF7ToUnicodeConverter> imapDec_;

  // Encoded forms of random units, made by the reference encoders.
  Bytes Encode(bool imap, const Bytes& units) {
    Bytes out(4 * units.size() + 16);
    unsigned len = 0, used = 0;
    if (imap) {
      imapEnc_.Reset();
      imapEnc_.reference.ConvertReference(out.data(), &len, static_cast<unsigned>(out.size()),
                                          units.data(), static_cast<unsigned>(units.size()), &used);
    } else {
      utf7Enc_.Reset();
      utf7Enc_.reference.ConvertReference(out.data(), &len, static_cast<unsigned>(out.size()),
                                          units.data(), static_cast<unsigned>(units.size()), &used);
    }
    out.resize(len);
    return out;
  }

  // Every output size up to the whole result, from a fresh state, and
  // streaming through small outputs.
  template <class Converter>
  void Check(Pair<Converter>* p, const Bytes& in, unsigned maxRoom) {
    for (unsigned room = 0; room <= maxRoom; ++room) {
      p->Reset();
      nls_fast::ExpectSame(&p->fast, ReferenceOf(&p->reference), in, room);
      if (::testing::Test::HasFatalFailure()) return;
    }
    for (unsigned room : {3u, 4u, 5u, 7u, 9u, 16u, 33u}) {
      p->Reset();
      size_t at = 0;
      for (int call = 0; call < 10000 && at <= in.size(); ++call) {
        Bytes a(room + 8, 0xA5), b(room + 8, 0xA5);
        unsigned lenA = 0, usedA = 0, lenB = 0, usedB = 0;
        const unsigned n = static_cast<unsigned>(in.size() - at);
        const unsigned char* s = n != 0 ? in.data() + at : nullptr;
        const int stA = p->fast.Convert(a.data(), &lenA, room, s, n, &usedA);
        const int stB = p->reference.ConvertReference(b.data(), &lenB, room, s, n, &usedB);
        ASSERT_EQ(stA, stB) << "call " << call << ", room " << room;
        ASSERT_EQ(lenA, lenB) << "call " << call << ", room " << room;
        ASSERT_EQ(usedA, usedB) << "call " << call << ", room " << room;
        ASSERT_EQ(a, b) << "call " << call << ", room " << room;
        if (usedA == 0) break;
        at += usedA;
        if (at == in.size()) break;
      }
    }
  }
};

TEST_F(Base64FastPaths, EveryLengthAndOutputSize) {
  for (unsigned length = 0; length <= 64; ++length) {
    for (int trial = 0; trial < 6; ++trial) {
      SCOPED_TRACE(std::to_string(length) + " units, trial " + std::to_string(trial));
      const Bytes units = MakeUnits(&rng_, length);
      Check(&utf7Enc_, units, 4 * length + 4);
      Check(&imapEnc_, units, 4 * length + 4);
      Bytes utf7 = Encode(false, units), imap = Encode(true, units);
      if (trial % 2 == 1) {
        utf7 = Mutate(&rng_, utf7);
        imap = Mutate(&rng_, imap);
      }
      // Tails of every length 0-64 of the encoded text.
      utf7.resize(std::min<size_t>(utf7.size(), length));
      imap.resize(std::min<size_t>(imap.size(), length));
      Check(&utf7Dec_, utf7, 2 * length + 4);
      Check(&imapDec_, imap, 2 * length + 4);
    }
  }
}

TEST_F(Base64FastPaths, LongTextThroughSmallOutputs) {
  for (int trial = 0; trial < 8; ++trial) {
    const Bytes units = MakeUnits(&rng_, 600);
    Check(&utf7Enc_, units, 40);
    Check(&imapEnc_, units, 40);
    Check(&utf7Dec_, Mutate(&rng_, Encode(false, units)), 40);
    Check(&imapDec_, Mutate(&rng_, Encode(true, units)), 40);
  }
}

// Input that ends on the last readable byte, output on the last writable
// byte: a read or write past either faults.
TEST_F(Base64FastPaths, BuffersAgainstAnInaccessiblePage) {
  nls_fast::GuardPage input, output;
  ASSERT_TRUE(input.ok() && output.ok());
  const Bytes units = MakeUnits(&rng_, 700);
  const Bytes utf7 = Encode(false, units), imap = Encode(true, units);
  for (unsigned len : {0u, 1u, 2u, 6u, 7u, 8u, 15u, 16u, 17u, 31u, 32u, 33u, 64u, 65u, 1000u}) {
    for (const auto& [conv, ref, source, factor] :
         {std::make_tuple(static_cast<TEncodingConverter*>(&utf7Enc_.fast),
                          ReferenceOf(&utf7Enc_.reference), &units, 4u),
          std::make_tuple(static_cast<TEncodingConverter*>(&imapEnc_.fast),
                          ReferenceOf(&imapEnc_.reference), &units, 4u),
          std::make_tuple(static_cast<TEncodingConverter*>(&utf7Dec_.fast),
                          ReferenceOf(&utf7Dec_.reference), &utf7, 2u),
          std::make_tuple(static_cast<TEncodingConverter*>(&imapDec_.fast),
                          ReferenceOf(&imapDec_.reference), &imap, 2u)}) {
      const unsigned n = std::min<unsigned>(len, static_cast<unsigned>(source->size()));
      unsigned char* src = input.Tail(n);
      std::memcpy(src, source->data(), n);
      for (unsigned room : {n / 2, n, factor * n + 2}) {
        conv->Reset();
        utf7Enc_.reference.Reset();
        imapEnc_.reference.Reset();
        utf7Dec_.reference.Reset();
        imapDec_.reference.Reset();
        unsigned char* dst = output.Tail(room);
        unsigned len1 = 0, used1 = 0, len2 = 0, used2 = 0;
        const int st1 = conv->Convert(dst, &len1, room, n ? src : nullptr, n, &used1);
        Bytes expect(room + 8);
        const int st2 = ref(expect.data(), &len2, room, source->data(), n, &used2);
        ASSERT_EQ(st1, st2) << n << " bytes, room " << room;
        ASSERT_EQ(len1, len2);
        ASSERT_EQ(used1, used2);
        ASSERT_EQ(Bytes(dst, dst + len1), Bytes(expect.begin(), expect.begin() + len2));
      }
    }
  }
}

}  // namespace

// The run loops of the UTF-7 and IMAP modified UTF-7 converters against the
// one-step-at-a-time algorithm alone (ConvertReference): same status, counts
// and buffer bytes on every call, at every instruction-set level, for inputs
// of every length 0-64, every output size (below, at and above the room from
// which a call cannot stop early), streaming in pieces and through outputs
// of every scale (open runs carried between calls), malformed input, and
// buffers that end against an inaccessible page.
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

void PutUnit(Bytes* out, uint16_t u) {
  out->push_back(static_cast<unsigned char>(u & 0xFF));  // machine order, little-endian x86
  out->push_back(static_cast<unsigned char>(u >> 8));
}

// Words of mostly plain letters with an accented letter every few words,
// separated by spaces, punctuation, line ends and now and then a character
// that the encoders escape ("+", "&", "~", "\\") or a dash after a run.
Bytes FrenchLike(std::mt19937* rng, size_t count) {
  static const uint16_t kAccents[] = {0xE9, 0xE8, 0xEA,  0xE0,   0xE7, 0xF4, 0xFB, 0xEF,
                                      0xC9, 0xC6, 0x152, 0x2019, 0xAB, 0xBB, 0x80, 0xFF};
  static const char* const kSeparators[] = {" ", " ", " ",  ", ", ". ", "\n", "-", " - ", "+",
                                            "&", "~", "\\", "'",  "!",  "\t", "0", "/"};
  Bytes out;
  while (out.size() / 2 < count) {
    const unsigned letters = 1 + (*rng)() % 11;
    for (unsigned i = 0; i < letters; ++i) {
      const unsigned pick = (*rng)() % 10;
      if (pick == 0)
        PutUnit(&out, kAccents[(*rng)() % (sizeof kAccents / sizeof kAccents[0])]);
      else
        PutUnit(&out, static_cast<uint16_t>((pick == 1 ? 'A' : 'a') + (*rng)() % 26));
    }
    for (const char* p = kSeparators[(*rng)() % (sizeof kSeparators / sizeof kSeparators[0])];
         *p != '\0'; ++p)
      PutUnit(&out, static_cast<unsigned char>(*p));
  }
  out.resize(2 * count);
  return out;
}

// Long runs of kana and kanji (units below and above 0x8000) broken by
// ideographic punctuation, digits, line ends and now and then a 7-bit
// character that a run encodes or that ends it.
Bytes JapaneseLike(std::mt19937* rng, size_t count) {
  static const uint16_t kBreaks[] = {'\n', '1', '9', ' ', '-', 'A', '+', '&', '~', 0x01, 0x7F, '.'};
  Bytes out;
  while (out.size() / 2 < count) {
    const unsigned run = 1 + (*rng)() % 40;
    for (unsigned i = 0; i < run; ++i) {
      const unsigned pick = (*rng)() % 16;
      uint16_t u;
      if (pick < 6)
        u = static_cast<uint16_t>(0x3041 + (*rng)() % 0xBE);  // kana
      else if (pick < 14)
        u = static_cast<uint16_t>(0x4E00 + (*rng)() % 0x5200);  // kanji
      else if (pick == 14)
        u = static_cast<uint16_t>(0x3001 + (*rng)() % 2);  // comma, full stop
      else
        u = static_cast<uint16_t>(0xFF01 + (*rng)() % 0x5E);  // full-width forms
      PutUnit(&out, u);
    }
    const unsigned breaks = (*rng)() % 3;
    for (unsigned i = 0; i < breaks; ++i)
      PutUnit(&out, kBreaks[(*rng)() % (sizeof kBreaks / sizeof kBreaks[0])]);
  }
  out.resize(2 * count);
  return out;
}

// Encoded text with faults placed where the decoders' run loops decide: a
// shift byte followed by a non-digit, runs cut short or given a stray last
// digit, bytes above 0x7F, doubled shift bytes.
Bytes Corrupt(std::mt19937* rng, Bytes text, bool imap) {
  const unsigned char shift = imap ? '&' : '+';
  const size_t changes = text.empty() ? 0 : 1 + (*rng)() % 5;
  for (size_t i = 0; i < changes; ++i) {
    const size_t at = (*rng)() % text.size();
    switch ((*rng)() % 6) {
      case 0:  // a lone shift or a shift before a non-digit
        text.insert(text.begin() + static_cast<long>(at), {shift, '.'});
        break;
      case 1:  // a run that stops after one or two digits
        text.insert(text.begin() + static_cast<long>(at), {shift, 'A', 'B', '-'});
        break;
      case 2:  // leftover bits that are not zero
        text.insert(text.begin() + static_cast<long>(at), {shift, 'A', 'O', 'l', 'x'});
        break;
      case 3:
        text[at] = static_cast<unsigned char>(0x80 + (*rng)() % 0x80);
        break;
      case 4:
        text.insert(text.begin() + static_cast<long>(at), {shift, shift});
        break;
      default:  // the escape of the shift byte
        text.insert(text.begin() + static_cast<long>(at), {shift, '-'});
        break;
    }
  }
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

// The run flag that the IMAP converters keep in the object (-1 for UTF-7).
template <class Converter>
int RunFlag(const Converter&) {
  return -1;
}
int RunFlag(const TUnicodeToModifiedUTF7Converter& c) { return c.shifted; }
int RunFlag(const TModifiedUTF7ToUnicodeConverter& c) { return c.shifted; }

class Base64FastPaths : public ::testing::Test {
 protected:
  std::mt19937 rng_{20240611};
  nls_fast::EachLevel levels_;
  Pair<TUnicodeToUTF7Converter> utf7Enc_;
  Pair<TUTF7ToUnicodeConverter> utf7Dec_;
  Pair<TUnicodeToModifiedUTF7Converter> imapEnc_;
  Pair<TModifiedUTF7ToUnicodeConverter> imapDec_;

  // Encoded forms of units, made by the reference encoders.
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

  // One call of each from a fresh state with dstSize bytes of room.
  template <class Converter>
  void Once(Pair<Converter>* p, const Bytes& in, unsigned dstSize) {
    p->Reset();
    nls_fast::ExpectSame(&p->fast, ReferenceOf(&p->reference), in, dstSize);
    if (::testing::Test::HasFatalFailure()) return;
    ASSERT_EQ(RunFlag(p->fast), RunFlag(p->reference)) << "room " << dstSize;
  }

  // Successive calls, each offered the input after what the previous one
  // consumed plus up to `piece` more bytes (everything when piece is 0), with
  // room from `rooms` in turn; the kept state decides each next call.
  template <class Converter>
  void Stream(Pair<Converter>* p, const Bytes& in, const std::vector<unsigned>& rooms,
              unsigned piece = 0) {
    p->Reset();
    size_t at = 0;
    for (int call = 0; call < 100000; ++call) {
      const unsigned room = rooms[static_cast<size_t>(call) % rooms.size()];
      unsigned n = static_cast<unsigned>(in.size() - at);
      if (piece != 0) n = std::min(n, 1 + static_cast<unsigned>(rng_() % piece));
      Bytes a(room + 48, 0xA5), b(room + 48, 0xA5);
      unsigned lenA = 0, usedA = 0, lenB = 0, usedB = 0;
      const unsigned char* s = n != 0 ? in.data() + at : nullptr;
      const int stA = p->fast.Convert(a.data(), &lenA, room, s, n, &usedA);
      const int stB = p->reference.ConvertReference(b.data(), &lenB, room, s, n, &usedB);
      ASSERT_EQ(stA, stB) << "call " << call << ", room " << room;
      ASSERT_EQ(lenA, lenB) << "call " << call << ", room " << room;
      ASSERT_EQ(usedA, usedB) << "call " << call << ", room " << room;
      ASSERT_EQ(a, b) << "call " << call << ", room " << room;
      ASSERT_EQ(RunFlag(p->fast), RunFlag(p->reference)) << "call " << call;
      at += usedA;
      if (at >= in.size() || (usedA == 0 && piece == 0)) break;
    }
  }

  // Every output size up to maxRoom from a fresh state, and streaming
  // through small outputs.
  template <class Converter>
  void Check(Pair<Converter>* p, const Bytes& in, unsigned maxRoom) {
    for (unsigned room = 0; room <= maxRoom; ++room) {
      Once(p, in, room);
      if (::testing::Test::HasFatalFailure()) return;
    }
    for (unsigned room : {3u, 4u, 5u, 7u, 9u, 16u, 33u}) {
      Stream(p, in, {room});
      if (::testing::Test::HasFatalFailure()) return;
    }
  }

  // Output sizes near the end of the output and near the least room from
  // which a call cannot stop early (`ample`), and the conversion object's
  // usual room.
  template <class Converter>
  void NearTheEnds(Pair<Converter>* p, const Bytes& in, unsigned ample, unsigned usual) {
    Bytes out(usual + 64);
    unsigned length = 0, used = 0;
    p->reference.Reset();
    p->reference.ConvertReference(out.data(), &length, usual, in.empty() ? nullptr : in.data(),
                                  static_cast<unsigned>(in.size()), &used);
    std::vector<unsigned> rooms{0, 1, 2, 3, length / 2, usual};
    for (unsigned centre : {length, ample})
      for (unsigned room = centre > 24 ? centre - 24 : 0; room <= centre + 24; ++room)
        rooms.push_back(room);
    for (unsigned room : rooms) {
      Once(p, in, room);
      if (::testing::Test::HasFatalFailure()) return;
    }
  }
};

TEST_F(Base64FastPaths, EveryLengthAndOutputSize) {
  for (int level : levels_.Levels()) {
    nls::simd::SetLevel(level);
    for (unsigned length = 0; length <= 64; ++length) {
      for (int trial = 0; trial < 4; ++trial) {
        SCOPED_TRACE("level " + std::to_string(level) + ", " + std::to_string(length) +
                     " units, trial " + std::to_string(trial));
        const Bytes units = MakeUnits(&rng_, length);
        Check(&utf7Enc_, units, 8 * length + 24);
        Check(&imapEnc_, units, 8 * length + 24);
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
        if (HasFatalFailure()) return;
      }
    }
  }
}

// French-like and Japanese-like texts (and their encoded forms, sound and
// corrupted) after a prefix that puts the vector steps at every offset, with
// tails of every length 0-64.
TEST_F(Base64FastPaths, TextsWithEveryTailLength) {
  for (int level : levels_.Levels()) {
    nls::simd::SetLevel(level);
    for (int japanese = 0; japanese < 2; ++japanese) {
      for (unsigned prefix : {0u, 37u, 120u}) {
        const Bytes text =
            japanese ? JapaneseLike(&rng_, prefix + 64) : FrenchLike(&rng_, prefix + 64);
        const Bytes utf7 = Encode(false, text), imap = Encode(true, text);
        const Bytes badUtf7 = Corrupt(&rng_, utf7, false), badImap = Corrupt(&rng_, imap, true);
        for (unsigned tail = 0; tail <= 64; ++tail) {
          SCOPED_TRACE("level " + std::to_string(level) + (japanese ? ", Japanese" : ", French") +
                       ", prefix " + std::to_string(prefix) + ", tail " + std::to_string(tail));
          const unsigned units = prefix + tail;
          const Bytes in(text.begin(), text.begin() + 2 * units);
          NearTheEnds(&utf7Enc_, in, 8 * units + 16, 12 * units + 2);
          NearTheEnds(&imapEnc_, in, 8 * units + 16, 12 * units + 2);
          for (const Bytes* encoded : {&utf7, &badUtf7, &imap, &badImap}) {
            const unsigned n =
                std::min<unsigned>(static_cast<unsigned>(encoded->size()),
                                   (encoded->size() > 64 ? encoded->size() - 64 : 0) + tail);
            const Bytes cut(encoded->begin(), encoded->begin() + n);
            if (encoded == &utf7 || encoded == &badUtf7)
              NearTheEnds(&utf7Dec_, cut, 2 * n + 2, 2 * n + 2);
            else
              NearTheEnds(&imapDec_, cut, 2 * n + 2, 6 * n + 2);
          }
          if (HasFatalFailure()) return;
        }
      }
    }
  }
}

// Long texts through outputs of every scale: rooms that leave a call to the
// step algorithm, rooms under which part of the input takes the room-free
// loops and the rest stops the call, and ample rooms; the input offered
// whole or in random pieces.
TEST_F(Base64FastPaths, LongTextsInPiecesAndThroughOutputs) {
  const std::vector<std::vector<unsigned>> roomSets{{40},           {131},           {537},
                                                    {600, 7, 2000}, {1024, 131, 33}, {1 << 16}};
  for (int level : levels_.Levels()) {
    nls::simd::SetLevel(level);
    for (int trial = 0; trial < 4; ++trial) {
      SCOPED_TRACE("level " + std::to_string(level) + ", trial " + std::to_string(trial));
      const Bytes units = trial < 2 ? FrenchLike(&rng_, 3000) : JapaneseLike(&rng_, 3000);
      const Bytes mixed = MakeUnits(&rng_, 1500);
      const Bytes utf7 = Encode(false, units), imap = Encode(true, units);
      for (const auto& rooms : roomSets) {
        for (unsigned piece : {0u, 97u, 700u}) {
          Stream(&utf7Enc_, units, rooms, piece);
          Stream(&imapEnc_, units, rooms, piece);
          Stream(&utf7Enc_, mixed, rooms, piece);
          Stream(&imapEnc_, mixed, rooms, piece);
          Stream(&utf7Dec_, utf7, rooms, piece);
          Stream(&imapDec_, imap, rooms, piece);
          Stream(&utf7Dec_, Corrupt(&rng_, utf7, false), rooms, piece);
          Stream(&imapDec_, Corrupt(&rng_, imap, true), rooms, piece);
          Stream(&utf7Dec_, Mutate(&rng_, Encode(false, mixed)), rooms, piece);
          Stream(&imapDec_, Mutate(&rng_, Encode(true, mixed)), rooms, piece);
          if (HasFatalFailure()) return;
        }
      }
    }
  }
}

// Input that ends on the last readable byte, output on the last writable
// byte: a read or write past either faults.
TEST_F(Base64FastPaths, BuffersAgainstAnInaccessiblePage) {
  nls_fast::GuardPage input, output;
  ASSERT_TRUE(input.ok() && output.ok());
  const Bytes french = FrenchLike(&rng_, 700), japanese = JapaneseLike(&rng_, 700);
  std::vector<unsigned> lengths;
  for (unsigned len = 0; len <= 64; ++len) lengths.push_back(len);
  for (unsigned len : {65u, 127u, 128u, 129u, 1000u, 1001u}) lengths.push_back(len);
  for (int level : levels_.Levels()) {
    nls::simd::SetLevel(level);
    for (const Bytes* units : {&french, &japanese}) {
      const Bytes utf7 = Encode(false, *units), imap = Encode(true, *units);
      for (unsigned len : lengths) {
        for (const auto& [conv, ref, source, factor] :
             {std::make_tuple(static_cast<TEncodingConverter*>(&utf7Enc_.fast),
                              ReferenceOf(&utf7Enc_.reference), units, 6u),
              std::make_tuple(static_cast<TEncodingConverter*>(&imapEnc_.fast),
                              ReferenceOf(&imapEnc_.reference), units, 6u),
              std::make_tuple(static_cast<TEncodingConverter*>(&utf7Dec_.fast),
                              ReferenceOf(&utf7Dec_.reference), &utf7, 2u),
              std::make_tuple(static_cast<TEncodingConverter*>(&imapDec_.fast),
                              ReferenceOf(&imapDec_.reference), &imap, 2u)}) {
          const unsigned n = std::min<unsigned>(len, static_cast<unsigned>(source->size()));
          ASSERT_LE(6 * n + 2, output.capacity());
          unsigned char* src = input.Tail(n);
          std::memcpy(src, source->data(), n);
          // Half the input, the ample room of each direction, the usual room.
          for (unsigned room : {n / 2, n, 4 * n + 16, 2 * n + 2, factor * n + 2}) {
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
            ASSERT_EQ(st1, st2) << "level " << level << ", " << n << " bytes, room " << room;
            ASSERT_EQ(len1, len2);
            ASSERT_EQ(used1, used2);
            ASSERT_EQ(Bytes(dst, dst + len1), Bytes(expect.begin(), expect.begin() + len2));
          }
        }
      }
    }
  }
}

}  // namespace

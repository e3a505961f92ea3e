// The UTF-8 converters' vector and block fast paths against a plain
// transcription of the general one-character-at-a-time algorithm, at every
// instruction-set level the machine offers: same status, counts and buffer
// bytes (including the bytes after the terminator), for inputs of every
// length 0-64, every output size, misaligned buffers, and buffers that end
// against an inaccessible page.
#include <gtest/gtest.h>

#include <random>

#include "converters/fast_path_support.h"
#include "nlscnv/converters/utf8_converters.h"
#include "support/test_support.h"

using nls_fast::Bytes;
using nls_fast::ExpectSame;

namespace {

// ---- Reference transcriptions ------------------------------------------------

int RefDecode(unsigned char* dst, unsigned* dstLen, unsigned dstSize, const unsigned char* src,
              unsigned srcLen, unsigned* srcUsed) {
  int status = 1;
  bool full = false;
  unsigned in = 0, out = 0;
  while (in < srcLen) {
    const unsigned char lead = src[in];
    const unsigned trail = static_cast<unsigned>(bytesFromUTF8[lead]);
    if (trail >= srcLen - in) {
      status = -1304;
      break;
    }
    uint32_t value = 0;
    for (unsigned k = 0; k <= trail; ++k) {
      value += src[in + k];
      if (k < trail) value <<= 6;
    }
    value -= offsetsFromUTF8[trail];
    if (lead >= 0xF0) {
      if (value >= 0x10000 && value <= 0x10FFFF) {
        if (dstSize - out < 4) {
          full = true;
          break;
        }
        value -= 0x10000;
        const uint16_t pair[2] = {static_cast<uint16_t>(0xD800 + (value >> 10)),
                                  static_cast<uint16_t>(0xDC00 + (value & 0x3FF))};
        std::memcpy(dst + out, pair, 4);
        out += 4;
        in += trail + 1;
        continue;
      }
      value = 0xFFFD;
    }
    if (dstSize - out < 2) {
      full = true;
      break;
    }
    const uint16_t unit = static_cast<uint16_t>(value);
    std::memcpy(dst + out, &unit, 2);
    out += 2;
    in += trail + 1;
  }
  *dstLen = out;
  *srcUsed = in;
  if (dstSize - out < 2) return 2;
  std::memset(dst + out, 0, 2);
  return full ? 2 : status;
}

int RefEncode(unsigned char* dst, unsigned* dstLen, unsigned dstSize, const unsigned char* src,
              unsigned srcLen, unsigned* srcUsed) {
  int status = 1;
  unsigned in = 0, out = 0;
  while (srcLen - in >= 2) {
    uint16_t u;
    std::memcpy(&u, src + in, 2);
    uint32_t value = u;
    unsigned units = 1;
    if (value >= 0xD800 && value <= 0xDBFF && srcLen - in >= 4) {
      uint16_t low;
      std::memcpy(&low, src + in + 2, 2);
      if (low >= 0xDC00 && low <= 0xDFFF) {
        value = 0x10000 + ((value - 0xD800) << 10) + (low - 0xDC00);
        units = 2;
      }
    }
    const unsigned length = units == 2 ? 4 : value < 0x80 ? 1 : value < 0x800 ? 2 : 3;
    if (dstSize - out < length) {
      status = -1304;
      break;
    }
    for (unsigned k = length - 1; k > 0; --k) {
      dst[out + k] = static_cast<unsigned char>((value | 0x80) & 0xBF);
      value >>= 6;
    }
    dst[out] = static_cast<unsigned char>(firstByteMark[length] | value);
    out += length;
    in += 2 * units;
  }
  *dstLen = out;
  *srcUsed = in;
  if (out >= dstSize) return 2;
  dst[out] = 0;
  return status;
}

// ---- Inputs ------------------------------------------------------------------

void AppendUtf8(Bytes* out, uint32_t c) {
  if (c < 0x80) {
    out->push_back(static_cast<unsigned char>(c));
  } else if (c < 0x800) {
    out->insert(out->end(), {static_cast<unsigned char>(0xC0 | c >> 6),
                             static_cast<unsigned char>(0x80 | (c & 0x3F))});
  } else if (c < 0x10000) {
    out->insert(out->end(), {static_cast<unsigned char>(0xE0 | c >> 12),
                             static_cast<unsigned char>(0x80 | (c >> 6 & 0x3F)),
                             static_cast<unsigned char>(0x80 | (c & 0x3F))});
  } else {
    out->insert(out->end(), {static_cast<unsigned char>(0xF0 | c >> 18),
                             static_cast<unsigned char>(0x80 | (c >> 12 & 0x3F)),
                             static_cast<unsigned char>(0x80 | (c >> 6 & 0x3F)),
                             static_cast<unsigned char>(0x80 | (c & 0x3F))});
  }
}

// UTF-8 text in the given style: runs of ASCII broken by two- and three-byte
// characters, with (when `rough`) supplementary characters, stray trail
// bytes, truncated sequences and long leads mixed in.
Bytes MakeUtf8(std::mt19937* rng, size_t size, int style, bool rough) {
  std::uniform_int_distribution<int> pick(0, 99);
  Bytes out;
  while (out.size() < size) {
    const int p = pick(*rng);
    if (rough && p < 8) {
      const unsigned char odd[] = {0x80, 0xBF, 0xC0, 0xC3, 0xDF, 0xE0, 0xEF, 0xF0,
                                   0xF4, 0xF8, 0xFC, 0xFF, 0x41, 0x00, 0x7F};
      out.push_back(odd[(*rng)() % sizeof odd]);
    } else if (rough && p < 12) {
      AppendUtf8(&out, 0x10000 + (*rng)() % 0x100000);
    } else if (p < (style == 0 ? 90 : style == 1 ? 60 : 15)) {
      const size_t run = (*rng)() % (style == 0 ? 40 : 8);
      for (size_t i = 0; i < run; ++i)
        out.push_back(static_cast<unsigned char>(0x20 + (*rng)() % 0x5F));
    } else if (p < (style == 2 ? 30 : 92)) {
      AppendUtf8(&out, 0x80 + (*rng)() % 0x780);
    } else {
      AppendUtf8(&out, 0x800 + (*rng)() % 0xF800);
    }
  }
  out.resize(size);
  return out;
}

Bytes MakeUcs2(std::mt19937* rng, size_t units, int style, bool rough) {
  std::uniform_int_distribution<int> pick(0, 99);
  std::vector<uint16_t> u;
  while (u.size() < units) {
    const int p = pick(*rng);
    if (rough && p < 6) {
      u.push_back(static_cast<uint16_t>(0xD800 + (*rng)() % 0x800));  // lone or paired by chance
    } else if (rough && p < 10) {
      u.push_back(static_cast<uint16_t>(0xD800 + (*rng)() % 0x400));
      u.push_back(static_cast<uint16_t>(0xDC00 + (*rng)() % 0x400));
    } else if (p < (style == 0 ? 90 : style == 1 ? 60 : 15)) {
      const size_t run = (*rng)() % (style == 0 ? 40 : 8);
      for (size_t i = 0; i < run; ++i) u.push_back(static_cast<uint16_t>((*rng)() % 0x80));
    } else if (p < (style == 2 ? 30 : 92)) {
      u.push_back(static_cast<uint16_t>(0x80 + (*rng)() % 0x780));
    } else {
      uint16_t c = static_cast<uint16_t>(0x800 + (*rng)() % 0xF800);
      if (c >= 0xD800 && c < 0xE000) c = static_cast<uint16_t>(c + 0x800);
      u.push_back(c);
    }
  }
  u.resize(units);
  return nls_test::Ucs2(u);
}

class Utf8FastPaths : public ::testing::Test {
 protected:
  void TearDown() override {
    dec_->ReleaseEncodingConverter();
    enc_->ReleaseEncodingConverter();
  }
  TEncodingConverter* dec_ = NEWUTF8TOUNICODEENCODINGCONVERTER();
  TEncodingConverter* enc_ = NEWUNICODETOUTF8ENCODINGCONVERTER();
  nls_fast::EachLevel levels_;
  std::mt19937 rng_{20240611};
};

TEST_F(Utf8FastPaths, ShortInputsAtEveryOutputSize) {
  for (int level : levels_.Levels()) {
    nls::simd::SetLevel(level);
    SCOPED_TRACE("level " + std::to_string(level));
    for (int style = 0; style < 3; ++style) {
      for (bool rough : {false, true}) {
        const Bytes text = MakeUtf8(&rng_, 64, style, rough);
        const Bytes units = MakeUcs2(&rng_, 48, style, rough);
        for (unsigned len = 0; len <= 64; ++len) {
          const Bytes in(text.begin(), text.begin() + len);
          for (unsigned room = 0; room <= 2 * len + 6; ++room)
            ExpectSame(dec_, RefDecode, in, room);
        }
        for (unsigned len = 0; len <= 64 + 1; ++len) {  // odd lengths leave half a unit
          const Bytes in(units.begin(), units.begin() + len);
          for (unsigned room = 0; room <= 3 * len / 2 + 6; ++room)
            ExpectSame(enc_, RefEncode, in, room);
        }
      }
    }
  }
}

TEST_F(Utf8FastPaths, LongTextsWithScatteredOutputSizesAndAlignments) {
  for (int level : levels_.Levels()) {
    nls::simd::SetLevel(level);
    SCOPED_TRACE("level " + std::to_string(level));
    for (int round = 0; round < 12; ++round) {
      const int style = round % 3;
      const bool rough = round >= 6;
      const Bytes text = MakeUtf8(&rng_, 700 + rng_() % 600, style, rough);
      const Bytes units = MakeUcs2(&rng_, 500 + rng_() % 400, style, rough);
      for (int trial = 0; trial < 40; ++trial) {
        const unsigned so = rng_() % 32, d = rng_() % 32;
        ExpectSame(dec_, RefDecode, text, static_cast<unsigned>(rng_() % (2 * text.size() + 8)), so,
                   d);
        ExpectSame(enc_, RefEncode, units, static_cast<unsigned>(rng_() % (2 * units.size() + 8)),
                   so, d);
      }
      ExpectSame(dec_, RefDecode, text, static_cast<unsigned>(2 * text.size() + 2));
      ExpectSame(enc_, RefEncode, units, static_cast<unsigned>(2 * units.size() + 1));
    }
  }
}

// Blocks that the mixed-block loops take or refuse by one byte: a lead as the
// last byte of a 16-byte block, a lead followed by a non-trail byte, a stray
// trail byte, a three-byte sequence, a surrogate among 16 units.
TEST_F(Utf8FastPaths, BlockBoundariesAndNearMisses) {
  std::vector<Bytes> decodeInputs;
  for (unsigned pos = 0; pos < 40; ++pos) {
    for (const Bytes& insert : std::vector<Bytes>{{0xC3, 0xA9},
                                                  {0xC3},
                                                  {0xC3, 0x41},
                                                  {0xA9},
                                                  {0xC3, 0xC3, 0xA9},
                                                  {0xE4, 0xB8, 0xAD},
                                                  {0xDF, 0xBF},
                                                  {0xC0, 0x80},
                                                  {0xF0, 0x9F, 0x98, 0x80}}) {
      Bytes in(48, 'a');
      for (unsigned k = 0; k < 48; k += 5) in[k] = 0xC3, in[k + 1] = 0xA8;  // paired text
      in.insert(in.begin() + pos, insert.begin(), insert.end());
      decodeInputs.push_back(in);
    }
  }
  std::vector<Bytes> encodeInputs;
  for (unsigned pos = 0; pos < 40; ++pos) {
    for (uint16_t special : {0x00E9, 0x4E2D, 0xD83D, 0xDE00, 0x07FF, 0x0800, 0xFFFF, 0x007F}) {
      std::vector<uint16_t> u(48, 'a');
      for (unsigned k = 0; k < 48; k += 3) u[k] = 0xE8;
      u.insert(u.begin() + pos, special);
      encodeInputs.push_back(nls_test::Ucs2(u));
    }
  }
  for (int level : levels_.Levels()) {
    nls::simd::SetLevel(level);
    SCOPED_TRACE("level " + std::to_string(level));
    for (const Bytes& in : decodeInputs)
      for (unsigned room : {2u, 20u, 34u, 35u, 36u, 37u, 40u, 60u, 96u, 200u})
        ExpectSame(dec_, RefDecode, in, room);
    for (const Bytes& in : encodeInputs)
      for (unsigned room : {1u, 16u, 40u, 55u, 56u, 57u, 60u, 80u, 200u})
        ExpectSame(enc_, RefEncode, in, room);
  }
}

// A mixed block whose last characters are short stores a few bytes past its
// output; whatever the room, those bytes must be written again (or not at
// all) by the time the call returns.
TEST_F(Utf8FastPaths, BlocksEndingInShortCharactersAtEveryRoom) {
  std::vector<Bytes> encodeInputs, decodeInputs;
  for (unsigned lead = 0; lead < 4; ++lead) {
    for (unsigned shortTail = 1; shortTail <= 3; ++shortTail) {
      std::vector<uint16_t> u(lead, 'x');
      for (unsigned k = 0; k < 16; ++k) u.push_back(k >= 16 - shortTail ? 'a' : 0x4E2D);
      for (unsigned k = 0; k < 4; ++k) u.push_back(k % 2 ? 0x00E9 : 0x4E2D);
      encodeInputs.push_back(nls_test::Ucs2(u));
      Bytes b(lead, 'x');
      for (unsigned k = 0; k < 16; k += 2) {
        if (k + 2 + 2 * shortTail > 16) {
          b.insert(b.end(), {'a', 'b'});
        } else {
          b.insert(b.end(), {0xC3, 0xA9});
        }
      }
      b.insert(b.end(), {0xC3, 0xA9, 0xE4, 0xB8, 0xAD, 0xC3, 0xA9});
      decodeInputs.push_back(b);
    }
  }
  for (unsigned pair = 0; pair < 16; ++pair) {  // one pair in ASCII, at every position
    Bytes b(20, 'y');
    b[pair] = 0xC3;
    b[pair + 1] = 0xA9;
    decodeInputs.push_back(b);
  }
  for (int level : levels_.Levels()) {
    nls::simd::SetLevel(level);
    SCOPED_TRACE("level " + std::to_string(level));
    for (const Bytes& in : encodeInputs)
      for (unsigned room = 0; room <= 3 * in.size() / 2 + 4; ++room)
        ExpectSame(enc_, RefEncode, in, room);
    for (const Bytes& in : decodeInputs)
      for (unsigned room = 0; room <= 2 * in.size() + 4; ++room)
        ExpectSame(dec_, RefDecode, in, room);
  }
}

// Long ASCII runs go 64 bytes at a time once a whole vector of ASCII has
// gone by: a run broken at every position of the blocks around it, with the
// room ending anywhere near the break and near the end.
TEST_F(Utf8FastPaths, LongAsciiRunsBrokenAtEveryPosition) {
  std::vector<Bytes> inputs;
  for (unsigned pos = 0; pos < 200; ++pos) {
    for (const Bytes& insert :
         std::vector<Bytes>{{0xC3, 0xA9}, {0x80}, {0xE4, 0xB8}, {0xF0, 0x9F, 0x98, 0x80}, {0x00}}) {
      Bytes in(230, 0);
      for (size_t i = 0; i < in.size(); ++i) in[i] = static_cast<unsigned char>(0x20 + i % 0x5F);
      in.insert(in.begin() + pos, insert.begin(), insert.end());
      inputs.push_back(in);
    }
  }
  for (int level : levels_.Levels()) {
    nls::simd::SetLevel(level);
    SCOPED_TRACE("level " + std::to_string(level));
    for (size_t k = 0; k < inputs.size(); ++k) {
      const Bytes& in = inputs[k];
      const unsigned pos = static_cast<unsigned>(k / 5);
      const unsigned full = static_cast<unsigned>(2 * in.size() + 2);
      for (unsigned room : {2 * pos, 2 * pos + 1, 2 * pos + 2, 2 * pos + 3, 2 * pos + 4,
                            2 * pos + 130, full - 4, full - 1, full, full + 7})
        ExpectSame(dec_, RefDecode, in, room, static_cast<unsigned>(k % 7),
                   static_cast<unsigned>(k % 5));
      for (unsigned len = 0; len <= 64; ++len) {  // every tail of the text
        const Bytes cut(in.end() - len, in.end());
        ExpectSame(dec_, RefDecode, cut, 2 * len + 2);
      }
    }
  }
}

// Input that ends on the last readable byte, output that ends on the last
// writable byte: a read or write past either faults.
TEST_F(Utf8FastPaths, BuffersAgainstAnInaccessiblePage) {
  nls_fast::GuardPage input, output;
  ASSERT_TRUE(input.ok() && output.ok());
  for (int level : levels_.Levels()) {
    nls::simd::SetLevel(level);
    SCOPED_TRACE("level " + std::to_string(level));
    for (int style = 0; style < 4; ++style) {
      Bytes made = MakeUtf8(&rng_, 1200, style % 3, style == 2);
      if (style == 3)  // one long ASCII run
        for (size_t i = 0; i < made.size(); ++i) made[i] = static_cast<unsigned char>('A' + i % 26);
      const Bytes text = made;
      const Bytes units = MakeUcs2(&rng_, 600, style % 3, style == 2);
      for (unsigned len : {0u,  1u,  2u,  3u,  7u,  15u, 16u,  17u,  31u,  32u,   33u,  47u,
                           63u, 64u, 65u, 95u, 96u, 97u, 100u, 160u, 161u, 1000u, 1199u}) {
        for (const auto& [conv, ref, source, factor, term] :
             {std::make_tuple(dec_, &RefDecode, &text, 2u, 2u),
              std::make_tuple(enc_, &RefEncode, &units, 3u, 1u)}) {
          const unsigned n = std::min<unsigned>(len, static_cast<unsigned>(source->size()));
          unsigned char* src = input.Tail(n);
          std::memcpy(src, source->data(), n);
          for (unsigned room : {factor * n / 2, factor * n / 2 + 1, factor * n + 2}) {
            unsigned char* dst = output.Tail(room);
            std::memset(dst, 0, room);
            unsigned len1 = 0, used1 = 0, len2 = 0, used2 = 0;
            const int st1 = conv->Convert(dst, &len1, room, n ? src : nullptr, n, &used1);
            Bytes expect(room + 8);
            const int st2 = ref(expect.data(), &len2, room, source->data(), n, &used2);
            ASSERT_EQ(st1, st2) << n << " bytes, room " << room;
            ASSERT_EQ(len1, len2);
            ASSERT_EQ(used1, used2);
            const unsigned written = std::min(room, len2 + term);  // output and terminator
            ASSERT_EQ(Bytes(dst, dst + written), Bytes(expect.begin(), expect.begin() + written));
          }
        }
      }
    }
  }
}

}  // namespace

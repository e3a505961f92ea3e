// The vector widening and narrowing loops of ISO-8859-1 against the plain
// byte loop (the scalar level): same output, counts and untouched bytes at
// every length, alignment and room, and no access past a buffer that ends
// at an inaccessible page.
#include <gtest/gtest.h>

#include <random>

#include "fast_path_support.h"
#include "nlscnv/builtin/builtin_module.h"

namespace {

using nls_fast::Bytes;
using nls_fast::ExpectSame;

class Latin1FastPaths : public ::testing::Test {
 protected:
  void TearDown() override {
    dec_->ReleaseEncodingConverter();
    enc_->ReleaseEncodingConverter();
  }
  // The same converter at the scalar level.
  static nls_fast::ConvertFn AtScalarLevel(TEncodingConverter* c) {
    return [c](unsigned char* dst, unsigned* dstLen, unsigned dstSize, const unsigned char* src,
               unsigned srcLen, unsigned* srcUsed) {
      const int saved = nls::simd::Level();
      nls::simd::SetLevel(nls::simd::kScalar);
      const int status = c->Convert(dst, dstLen, dstSize, src, srcLen, srcUsed);
      nls::simd::SetLevel(saved);
      return status;
    };
  }
  Bytes RandomBytes(size_t n) {
    Bytes b(n);
    for (auto& x : b) x = static_cast<unsigned char>(rng_());
    return b;
  }
  TEncodingConverter* dec_ = NEWLATIN1TOUNICODEENCODINGCONVERTER();
  TEncodingConverter* enc_ = NEWUNICODETOLATIN1ENCODINGCONVERTER();
  nls_fast::EachLevel levels_;
  std::mt19937 rng_{7};
};

TEST_F(Latin1FastPaths, EveryLengthAlignmentAndRoom) {
  const Bytes text = RandomBytes(300);
  const Bytes units = RandomBytes(600);
  for (int level : levels_.Levels()) {
    nls::simd::SetLevel(level);
    SCOPED_TRACE("level " + std::to_string(level));
    for (unsigned len = 0; len <= 200; ++len) {
      const Bytes in(text.begin(), text.begin() + len);
      const Bytes wide(units.begin(), units.begin() + 2 * len);
      for (unsigned dstOffset = 0; dstOffset < 34; ++dstOffset) {
        ExpectSame(dec_, AtScalarLevel(dec_), in, 2 * len + 2, len % 3, dstOffset);
        ExpectSame(enc_, AtScalarLevel(enc_), wide, len + 1, len % 3, dstOffset);
      }
      if (len > 70) continue;
      for (unsigned room = 0; room <= 2 * len + 4; ++room) {
        ExpectSame(dec_, AtScalarLevel(dec_), in, room, 0, room % 32);
        ExpectSame(enc_, AtScalarLevel(enc_), wide, room, 1, room % 32);
      }
    }
  }
}

TEST_F(Latin1FastPaths, BuffersAgainstAnInaccessiblePage) {
  nls_fast::GuardPage input, output;
  ASSERT_TRUE(input.ok() && output.ok());
  const Bytes text = RandomBytes(1500);
  for (int level : levels_.Levels()) {
    nls::simd::SetLevel(level);
    SCOPED_TRACE("level " + std::to_string(level));
    for (unsigned n = 1; n <= 1500; n += (n < 130 ? 1 : 97)) {
      // Bytes to units: input and output each end at the page.
      unsigned char* src = input.Tail(n);
      std::memcpy(src, text.data(), n);
      unsigned char* dst = output.Tail(2 * n);
      unsigned len = 0, used = 0;
      ASSERT_EQ(dec_->Convert(dst, &len, 2 * n, src, n, &used), 2);  // no room for the last
      ASSERT_EQ(used, n - 1);
      for (unsigned i = 0; i < used; ++i)
        ASSERT_EQ(dst[2 * i] | dst[2 * i + 1] << 8, text[i]) << "unit " << i << " of " << n;
      // Units to bytes.
      unsigned char* wide = input.Tail(2 * n);
      std::memcpy(wide, dst, 2 * (n - 1));
      wide[2 * n - 2] = text[n - 1];
      wide[2 * n - 1] = 0x01;
      unsigned char* narrow = output.Tail(n + 1);
      ASSERT_EQ(enc_->Convert(narrow, &len, n + 1, wide, 2 * n, &used), 1);
      ASSERT_EQ(len, n);
      ASSERT_EQ(Bytes(narrow, narrow + n), Bytes(text.begin(), text.begin() + n));
      ASSERT_EQ(narrow[n], 0);
    }
  }
}

}  // namespace

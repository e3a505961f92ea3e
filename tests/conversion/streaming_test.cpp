// Conversion objects through the exported calls: the streaming loop, the
// remainder, overflow sizes and whole-buffer conversion.
#include <random>

#include "conversion/conversion_test_env.h"
#include "nlscnv/conversion/encoding_converter.h"
#include "support/test_support.h"

using nls_test::B;
using nls_test::Bytes;
using nls_test::GuardedBuffer;
using nls_test::StderrCapture;

namespace {

class Streaming : public nls_test::BuiltinsOnly {};

TEST_F(Streaming, LatinOneThroughTenByteBuffers) {
  NLS_ConverterHandle h = nullptr;
  ASSERT_EQ(NLS_NewEncodingConverter("ISO_8859-1:1987", "ISO-10646-UCS-2", &h), 1);
  Bytes in = B("abcdefghij");
  GuardedBuffer out(10);
  unsigned produced = 0, size = 0;

  EXPECT_EQ(NLS_ConvertStreamBuffer(h, in.data(), 10, out.data(), 10, &produced), 2);
  EXPECT_EQ(produced, 8u);  // four characters; the last two bytes hold the terminator
  EXPECT_EQ(out.Prefix(10), nls_test::Ucs2({'a', 'b', 'c', 'd', 0}));
  EXPECT_EQ(NLS_GetConversionOverflowSize(h, &size), 1);
  EXPECT_EQ(size, 42u);  // seven bytes per held input byte

  EXPECT_EQ(NLS_ConverterGetOverflow(h, out.data(), 10, &produced), 2);
  EXPECT_EQ(produced, 8u);
  EXPECT_EQ(out.Prefix(8), nls_test::Ucs2({'e', 'f', 'g', 'h'}));
  NLS_GetConversionOverflowSize(h, &size);
  EXPECT_EQ(size, 14u);

  EXPECT_EQ(NLS_ConverterGetOverflow(h, out.data(), 10, &produced), 1);
  EXPECT_EQ(produced, 4u);
  EXPECT_EQ(out.Prefix(6), nls_test::Ucs2({'i', 'j', 0}));
  NLS_GetConversionOverflowSize(h, &size);
  EXPECT_EQ(size, 0u);
  EXPECT_TRUE(out.GuardIntact());
  EXPECT_EQ(NLS_DeleteEncodingConverter(h), 1);
}

TEST_F(Streaming, NewInputReplacesUndrainedRemainderAndResetDropsIt) {
  EncodingConverter object("latin1", "ISO-10646-UCS-2");
  ASSERT_EQ(object.status(), 1);
  unsigned char out[10];
  Bytes first = B("0123456789");
  object.convert(first.data(), 10, out, 10);
  EXPECT_EQ(object.remainderSize(), 6u);
  Bytes second = B("xy");
  EXPECT_EQ(object.convert(second.data(), 2, out, 10), 4u);
  EXPECT_EQ(object.status(), 1);
  EXPECT_EQ(object.remainderSize(), 0u);

  object.convert(first.data(), 10, out, 10);
  object.reset();
  EXPECT_EQ(object.status(), 1);
  EXPECT_EQ(object.remainderSize(), 0u);
  EXPECT_EQ(object.leftoverSize(), 0u);
  EXPECT_EQ(object.leftover(nullptr, 0), 0u);
}

TEST_F(Streaming, DrainIntoTooSmallBufferKeepsRemainder) {
  EncodingConverter object("UTF-8", "ISO-10646-UCS-2");
  Bytes in = B("\xE4\xB8\xAD\xE6\x96\x87");
  unsigned char out[4];
  object.convert(in.data(), 6, out, 1);  // no room for a single unit
  EXPECT_EQ(object.status(), 2);
  EXPECT_EQ(object.remainderSize(), 6u);
  EXPECT_EQ(object.nextBuffer(out, 1), 0u);
  EXPECT_EQ(object.remainderSize(), 6u);
  EXPECT_EQ(object.nextBuffer(out, 3), 2u);  // one unit; the terminator does not fit
  EXPECT_EQ(object.status(), 2);
  EXPECT_EQ(object.remainderSize(), 3u);
  EXPECT_EQ(object.nextBuffer(out, 4), 2u);
  EXPECT_EQ(object.status(), 1);
  EXPECT_EQ(object.remainderSize(), 0u);
}

TEST_F(Streaming, NextBufferWithoutBufferIsRefused) {
  EncodingConverter object("latin1", "ISO-10646-UCS-2");
  unsigned char out[4];
  StderrCapture err;
  EXPECT_EQ(object.nextBuffer(nullptr, 4), 0u);
  EXPECT_EQ(object.status(), -1009);
  EXPECT_EQ(object.nextBuffer(out, 0), 0u);
  EXPECT_EQ(err.Text(), nls_test::AssertText(337, "enconv") + nls_test::AssertText(337, "enconv"));
}

TEST_F(Streaming, ObjectWithoutConverterReportsNoConverter) {
  StderrCapture err;
  EncodingConverter object("no-such-encoding", "UTF-8");
  EXPECT_EQ(object.status(), -1301);
  unsigned char out[8];
  Bytes in = B("abc");
  EXPECT_EQ(object.convert(in.data(), 3, out, 8), 0u);
  EXPECT_EQ(object.status(), -1014);
  EXPECT_EQ(object.nextBuffer(out, 8), 0u);
  EXPECT_EQ(object.status(), -1014);
}

TEST_F(Streaming, ConvertBufferMatchesStreaming) {
  Bytes in =
      B("Stra\xC3\x9F"
        "e \xE2\x82\xAC 5 \xF0\x9F\x98\x80");
  GuardedBuffer whole(64);
  unsigned produced = 0;
  ASSERT_EQ(NLS_ConvertBuffer("utf-8", "UCS-4", in.data(), static_cast<unsigned>(in.size()),
                              whole.data(), 64, &produced),
            -1014);  // "UCS-4" names no encoding here: no converter
  ASSERT_EQ(NLS_ConvertBuffer("utf-8", "ISO-10646-UCS-4", in.data(),
                              static_cast<unsigned>(in.size()), whole.data(), 64, &produced),
            1);
  Bytes expected = whole.Prefix(produced);

  NLS_ConverterHandle h = nullptr;
  ASSERT_EQ(NLS_NewEncodingConverter("utf-8", "ISO-10646-UCS-4", &h), 1);
  Bytes streamed;
  unsigned char out[64];
  int st =
      NLS_ConvertStreamBuffer(h, in.data(), static_cast<unsigned>(in.size()), out, 64, &produced);
  streamed.insert(streamed.end(), out, out + produced);
  EXPECT_EQ(st, 1);
  EXPECT_EQ(streamed, expected);
  NLS_DeleteEncodingConverter(h);

  // Too small an output: status 2, and the rest of the input is gone.
  GuardedBuffer small(9);
  EXPECT_EQ(NLS_ConvertBuffer("utf-8", "ISO-10646-UCS-4", in.data(),
                              static_cast<unsigned>(in.size()), small.data(), 9, &produced),
            2);
  EXPECT_TRUE(small.GuardIntact());
}

TEST_F(Streaming, ResultBufferSize) {
  EXPECT_EQ(NLS_GetResultBufferSize(nullptr, 10, "latin1", "ISO-10646-UCS-2"), 22u);
  EXPECT_EQ(NLS_GetResultBufferSize(nullptr, 0, "latin1", "ISO-10646-UCS-2"), 2u);
  // Two stages: 4 * (2 * 10 + 2) + 2 for UTF-8 through UCS-2.
  EXPECT_EQ(NLS_GetResultBufferSize(nullptr, 10, "latin1", "UTF-8"), 90u);
  StderrCapture err;
  EXPECT_EQ(NLS_GetResultBufferSize(nullptr, 10, "latin1", "no-such"), 0u);
  EXPECT_EQ(NLS_GetResultBufferSize(nullptr, 10, nullptr, "UTF-8"), 0u);
}

}  // namespace

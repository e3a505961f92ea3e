// NLS_IconvGetProperties: what a host needs to know to cut a text and
// convert its pieces in parallel.
#include <errno.h>
#include <gtest/gtest.h>

#include "conversion_test_env.h"
#include "nlscnv.h"
#include "nlscnv/iconv/descriptor.h"

namespace {

using nls_test::BuiltinsOnly;
using IconvProperties = BuiltinsOnly;

constexpr unsigned kResync = NLS_ICONV_SOURCE_RESYNCS_AT_LINE_FEED;
constexpr unsigned kStateless = NLS_ICONV_SOURCE_STATELESS;
constexpr unsigned kStateful = NLS_ICONV_TARGET_STATEFUL;

TEST_F(IconvProperties, FromTheCodecsOfBothEncodings) {
  const struct {
    const char* to;
    const char* from;
    unsigned expected;
  } kCases[] = {
      {"ISO-10646-UCS-2", "UTF-8", kResync | kStateless},
      {"latin1//TRANSLIT", "UTF-8", kResync | kStateless},
      {"UTF-8", "ISO-10646-UCS-2", kStateless},  // a 0x0A byte may be half a unit
      {"UTF-8", "ISO-10646-UCS-4", kStateless},
      {"UTF-7", "UTF-8", kResync | kStateless | kStateful},
      {"UTF-8", "UTF-7", 0},
      {"IMAP-MODIFIED-UTF-7", "x-mac-roman", kResync | kStateless | kStateful},
      {"ASCII", "ESCAPED_UNICODE", kResync | kStateless},
  };
  for (const auto& c : kCases) {
    NLS_Iconv_t cd = NLS_IconvOpen(c.to, c.from);
    ASSERT_NE(cd, reinterpret_cast<NLS_Iconv_t>(-1)) << c.from << " -> " << c.to;
    unsigned properties = ~0u;
    EXPECT_EQ(NLS_IconvGetProperties(cd, &properties), 0);
    EXPECT_EQ(properties, c.expected) << c.from << " -> " << c.to;
    NLS_IconvClose(cd);
  }
}

// An encoder that keeps state after a line feed (a byte-order mark written
// first) is stateful even when its codec does not say so.
int EncodeWithMark(const NLS_Codec*, NLS_CodecState* state, NLS_CodecCall* call) {
  call->srcUsed = call->srcLen;
  call->dstLen = 0;
  state->word[0] = 1;
  return NLS_CODEC_DONE;
}

TEST_F(IconvProperties, EncoderThatRemembersItsMark) {
  NLS_Iconv_t cd = NLS_IconvOpen("UTF-8", "UTF-8");
  ASSERT_NE(cd, reinterpret_cast<NLS_Iconv_t>(-1));
  const NLS_Codec marked = {"X-MARKED", cd->to->decode, EncodeWithMark, nullptr, 4, 0};
  const NLS_Codec* original = cd->to;
  cd->to = &marked;
  unsigned properties = 0;
  EXPECT_EQ(NLS_IconvGetProperties(cd, &properties), 0);
  EXPECT_EQ(properties, kResync | kStateless | kStateful);
  cd->to = original;
  NLS_IconvClose(cd);
}

TEST_F(IconvProperties, BadArguments) {
  unsigned properties = 0;
  errno = 0;
  EXPECT_EQ(NLS_IconvGetProperties(nullptr, &properties), -1);
  EXPECT_EQ(errno, EBADF);
  NLS_Iconv_t cd = NLS_IconvOpen("UTF-8", "UTF-8");
  errno = 0;
  EXPECT_EQ(NLS_IconvGetProperties(cd, nullptr), -1);
  EXPECT_EQ(errno, EINVAL);
  NLS_IconvClose(cd);
}

}  // namespace

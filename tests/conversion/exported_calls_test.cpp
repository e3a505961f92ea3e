// The exported interface: argument checks, construction statuses, library
// lifetime and host registration.
#include <cstdlib>

#include "conversion/conversion_test_env.h"
#include "nlscnv/conversion/encoding_converter.h"
#include "nlscnv/converter.h"
#include "nlscnv/registry/encoding_registry.h"
#include "support/test_support.h"

using nls_test::AssertText;
using nls_test::B;
using nls_test::Bytes;
using nls_test::StderrCapture;

namespace {

class ExportedCalls : public nls_test::BuiltinsOnly {};

TEST_F(ExportedCalls, NullHandlesGiveInvalidArgumentSilently) {
  unsigned n = 7;
  unsigned char buf[8];
  StderrCapture err;
  EXPECT_EQ(NLS_DeleteEncodingConverter(nullptr), -1009);
  EXPECT_EQ(NLS_ConvertStreamBuffer(nullptr, buf, 1, buf, 8, &n), -1009);
  EXPECT_EQ(NLS_GetConversionOverflowSize(nullptr, &n), -1009);
  EXPECT_EQ(NLS_ConverterGetOverflow(nullptr, buf, 8, &n), -1009);
  EXPECT_EQ(NLS_ResetEncodingConverter(nullptr), -1009);
  EXPECT_EQ(NLS_GetConversionRemSize(nullptr, &n), -1009);
  EXPECT_EQ(NLS_GetConversionRem(nullptr, buf, 8, &n), -1009);
  EXPECT_EQ(NLS_DeleteEncodingConverterEnumeration(nullptr), -1009);
  EXPECT_EQ(NLS_CountEncodingConverters(nullptr, &n), -1009);
  EXPECT_EQ(NLS_GetEncodingConverterListItem(nullptr, 0, reinterpret_cast<char*>(buf),
                                             reinterpret_cast<char*>(buf)),
            -1009);
  EXPECT_EQ(n, 7u);
  EXPECT_EQ(err.Text(), "");
}

TEST_F(ExportedCalls, NullOutPointersOfStreamCallsAreRefused) {
  NLS_ConverterHandle h = nullptr;
  ASSERT_EQ(NLS_NewEncodingConverter("latin1", "ISO-10646-UCS-2", &h), 1);
  unsigned char buf[8];
  Bytes in = B("abc");
  EXPECT_EQ(NLS_ConvertStreamBuffer(h, in.data(), 3, buf, 8, nullptr), -1009);
  EXPECT_EQ(NLS_GetConversionOverflowSize(h, nullptr), -1009);
  EXPECT_EQ(NLS_ConverterGetOverflow(h, buf, 8, nullptr), -1009);
  EXPECT_EQ(NLS_GetConversionRemSize(h, nullptr), -1009);
  EXPECT_EQ(NLS_GetConversionRem(h, buf, 8, nullptr), -1009);
  unsigned n = 9;
  EXPECT_EQ(NLS_GetConversionRemSize(h, &n), 1);
  EXPECT_EQ(n, 0u);
  n = 9;
  EXPECT_EQ(NLS_GetConversionRem(h, nullptr, 0, &n), 1);
  EXPECT_EQ(n, 0u);
  EXPECT_EQ(NLS_DeleteEncodingConverter(h), 1);
}

TEST_F(ExportedCalls, NewEncodingConverterStatuses) {
  NLS_ConverterHandle h = reinterpret_cast<NLS_ConverterHandle>(0x1);
  {
    StderrCapture err;
    EXPECT_EQ(NLS_NewEncodingConverter(nullptr, "UTF-8", &h), -1009);
    EXPECT_EQ(h, nullptr);
    EXPECT_EQ(NLS_NewEncodingConverter("UTF-8", "latin1", nullptr), -1009);
    EXPECT_EQ(err.Text(), AssertText(144, "nlsenc") + AssertText(144, "nlsenc"));
  }
  {
    StderrCapture err;
    h = reinterpret_cast<NLS_ConverterHandle>(0x1);
    EXPECT_EQ(NLS_NewEncodingConverter("latin1", "klingon", &h), -1301);
    EXPECT_EQ(h, nullptr);
    EXPECT_EQ(err.Text(), AssertText(90, "enconv"));
  }
  // Two stages through UCS-2, with any alias on either side.
  ASSERT_EQ(NLS_NewEncodingConverter("latin1", "utf_8", &h), 1);
  Bytes in = B("caf\xE9");
  unsigned char out[16];
  unsigned n = 0;
  EXPECT_EQ(NLS_ConvertStreamBuffer(h, in.data(), 4, out, 16, &n), 1);
  EXPECT_EQ(Bytes(out, out + n), B("caf\xC3\xA9"));
  NLS_DeleteEncodingConverter(h);
  EXPECT_EQ(NLS_EncodingConverterExists("ISO-8859-1", "UTF-8"), 1);
  EXPECT_EQ(NLS_EncodingConverterExists("latin1", "klingon"), 0);
  EXPECT_EQ(NLS_EncodingConverterExists("*", "ISO-10646-UCS-2"), 1);
}

TEST_F(ExportedCalls, ConvertBufferArgumentChecks) {
  unsigned char buf[8];
  Bytes in = B("a");
  unsigned n = 5;
  StderrCapture err;
  EXPECT_EQ(NLS_ConvertBuffer("ISO-8859-1", "UTF-8", in.data(), 1, buf, 0, &n), -1009);
  EXPECT_EQ(n, 0u);
  EXPECT_EQ(NLS_ConvertBuffer(nullptr, "UTF-8", in.data(), 1, buf, 8, &n), -1009);
  EXPECT_EQ(NLS_ConvertBuffer("ISO-8859-1", "UTF-8", nullptr, 1, buf, 8, &n), -1009);
  EXPECT_EQ(NLS_ConvertBuffer("ISO-8859-1", "UTF-8", in.data(), 1, nullptr, 8, &n), -1009);
  EXPECT_EQ(NLS_ConvertBuffer("ISO-8859-1", "UTF-8", in.data(), 1, buf, 8, nullptr), -1009);
  EXPECT_EQ(err.Text(), AssertText(85, "nlsenc") + AssertText(85, "nlsenc") +
                            AssertText(85, "nlsenc") + AssertText(85, "nlsenc") +
                            AssertText(85, "nlsenc"));
}

// A host converter: ASCII to UCS-2 with letters rotated by 13.
class Rot13ToUnicode : public TEncodingConverter {
 public:
  Rot13ToUnicode()
      : TEncodingConverter("X-ROT13", "ISO-10646-UCS-2", nullptr, nullptr, nullptr, 0, 2, nullptr,
                           0, 0) {}
  int Convert(unsigned char* dst, unsigned* dstLen, unsigned dstSize, const unsigned char* src,
              unsigned srcLen, unsigned* srcUsed) override {
    unsigned i = 0;
    for (; i < srcLen && 2 * i + 4 <= dstSize; ++i) {
      unsigned char c = src[i];
      if ((c | 32) >= 'a' && (c | 32) <= 'z')
        c = static_cast<unsigned char>((((c | 32) - 'a' + 13) % 26 + 'a') - (c & 32 ? 0 : 32));
      uint16_t u = c;
      std::memcpy(dst + 2 * i, &u, 2);
    }
    *dstLen = 2 * i;
    *srcUsed = i;
    if (2 * i + 2 <= dstSize) std::memset(dst + 2 * i, 0, 2);
    return i == srcLen ? 1 : 2;
  }
};

TEncodingConverter* NewRot13() { return new Rot13ToUnicode(); }
TEncodingConverter* NewNothing() { return nullptr; }

TEST_F(ExportedCalls, HostRegisteredConverters) {
  static const NLS_StaticConverterEntry list[] = {
      {"X-ROT13", "ISO-10646-UCS-2", "NewRot13", NewRot13},
      {"X-BROKEN-IN", "ISO-10646-UCS-2", "NewBrokenIn", NewNothing},
      {"ISO-10646-UCS-2", "X-BROKEN-OUT", "NewBrokenOut", NewNothing},
      {nullptr, nullptr, nullptr, nullptr}};
  {
    StderrCapture err;
    EXPECT_EQ(NLS_RegisterStaticLibrary(nullptr), -1009);
    EXPECT_EQ(err.Text(), AssertText(112, "nlsenc"));
  }
  ASSERT_EQ(NLS_RegisterStaticLibrary(list), 1);
  EXPECT_STREQ(NLS_GetNormalizedEncodingName("x-rot13"), "X-ROT13");

  Bytes in = B("Uryyb");
  unsigned char out[16];
  unsigned n = 0;
  ASSERT_EQ(NLS_ConvertBuffer("X-ROT13", "UTF-8", in.data(), 5, out, 16, &n), 1);
  EXPECT_EQ(Bytes(out, out + n), B("Hello"));

  NLS_ConverterHandle h = nullptr;
  {
    StderrCapture err;
    EXPECT_EQ(NLS_NewEncodingConverter("X-BROKEN-IN", "UTF-8", &h), -1007);
    EXPECT_EQ(err.Text(), AssertText(79, "enconv"));
  }
  {
    StderrCapture err;
    EXPECT_EQ(NLS_NewEncodingConverter("UTF-8", "X-BROKEN-OUT", &h), -1008);
    EXPECT_EQ(err.Text(), AssertText(81, "enconv"));
  }
  EXPECT_EQ(h, nullptr);
}

// Converter creation remembers resolved name pairs; a conversion registered
// later for the same pair, a new alias and a new registry must still win.
TEST_F(ExportedCalls, RepeatedCreationFollowsRegistryChanges) {
  const Bytes in = B("Uryyb");
  unsigned char out[16];
  unsigned n = 0;
  for (int i = 0; i < 3; ++i) {  // the plain Latin-1 converter, cached after the first
    ASSERT_EQ(NLS_ConvertBuffer("ISO-8859-1", "ISO-10646-UCS-2", in.data(), 5, out, 16, &n), 1);
    EXPECT_EQ(Bytes(out, out + n), nls_test::Ucs2({'U', 'r', 'y', 'y', 'b'}));
  }
  const int aliases = EncodingConverter::getEncodingRegistry()->AliasCount();
  for (int i = 0; i < 2; ++i) {  // an unknown name is remembered once, cache or not
    StderrCapture err;
    EXPECT_EQ(NLS_ConvertBuffer("X-NOT-THERE", "ISO-10646-UCS-2", in.data(), 5, out, 16, &n),
              -1014);
    EXPECT_EQ(err.Text(), AssertText(90, "enconv"));
    EXPECT_EQ(EncodingConverter::getEncodingRegistry()->AliasCount(), aliases + 1);
  }
  static const NLS_StaticConverterEntry list[] = {
      {"ISO-8859-1", "ISO-10646-UCS-2", "NewRot13", NewRot13},
      {nullptr, nullptr, nullptr, nullptr}};
  ASSERT_EQ(NLS_RegisterStaticLibrary(list), 1);
  ASSERT_EQ(NLS_ConvertBuffer("ISO-8859-1", "ISO-10646-UCS-2", in.data(), 5, out, 16, &n), 1);
  EXPECT_EQ(Bytes(out, out + n), nls_test::Ucs2({'H', 'e', 'l', 'l', 'o'}));

  NLS_EncTerminate();
  ASSERT_EQ(NLS_EncInitialize(nullptr, nls_test::EmptyDataDirectory()), 1);
  ASSERT_EQ(NLS_ConvertBuffer("ISO-8859-1", "ISO-10646-UCS-2", in.data(), 5, out, 16, &n), 1);
  EXPECT_EQ(Bytes(out, out + n), nls_test::Ucs2({'U', 'r', 'y', 'y', 'b'}));
}

// The same for a pair converted in two stages: a stage registered later is
// used by the next creation, and a direct conversion registered later for
// the pair replaces both stages.
TEST_F(ExportedCalls, RepeatedTwoStageCreationFollowsRegistryChanges) {
  const Bytes in = B("Uryyb");
  unsigned char out[16];
  unsigned n = 0;
  for (int i = 0; i < 3; ++i) {
    StderrCapture quiet;
    ASSERT_EQ(NLS_ConvertBuffer("ISO-8859-1", "UTF-8", in.data(), 5, out, 16, &n), 1);
    EXPECT_EQ(Bytes(out, out + n), in);
    EXPECT_EQ(quiet.Text(), "");
  }
  NLS_ConverterHandle h = nullptr;
  ASSERT_EQ(NLS_NewEncodingConverter("ISO-8859-1", "UTF-8", &h), 1);
  NLS_DeleteEncodingConverter(h);

  static const NLS_StaticConverterEntry firstStage[] = {
      {"ISO-8859-1", "ISO-10646-UCS-2", "NewRot13", NewRot13},
      {nullptr, nullptr, nullptr, nullptr}};
  ASSERT_EQ(NLS_RegisterStaticLibrary(firstStage), 1);
  for (int i = 0; i < 2; ++i) {
    ASSERT_EQ(NLS_ConvertBuffer("ISO-8859-1", "UTF-8", in.data(), 5, out, 16, &n), 1);
    EXPECT_EQ(Bytes(out, out + n), B("Hello"));
  }

  static const NLS_StaticConverterEntry direct[] = {{"ISO-8859-1", "UTF-8", "NewRot13", NewRot13},
                                                    {nullptr, nullptr, nullptr, nullptr}};
  ASSERT_EQ(NLS_RegisterStaticLibrary(direct), 1);
  ASSERT_EQ(NLS_ConvertBuffer("ISO-8859-1", "UTF-8", in.data(), 5, out, 16, &n), 1);
  EXPECT_EQ(Bytes(out, out + n), nls_test::Ucs2({'H', 'e', 'l', 'l', 'o'}));  // no second stage
}

// One call in two stages keeps short intermediate text on its stack and
// longer text on the heap; either way it converts what a handle's first
// call converts, and stops where that call stops when the output is short.
TEST_F(ExportedCalls, ConvertBufferInTwoStagesAtEveryScale) {
  Bytes text;
  for (size_t i = 0; text.size() < 70000; ++i)
    text.push_back(static_cast<unsigned char>(i % 7 == 3 ? 0xC0 + i % 60 : 'a' + i % 26));
  for (size_t length : {1u, 2u, 31u, 255u, 256u, 257u, 511u, 512u, 513u, 1000u, 4096u, 70000u}) {
    const Bytes in(text.begin(), text.begin() + length);
    Bytes expected;  // Latin-1 to UTF-8
    for (unsigned char c : in) {
      if (c < 0x80) {
        expected.push_back(c);
      } else {
        expected.push_back(static_cast<unsigned char>(0xC0 | c >> 6));
        expected.push_back(static_cast<unsigned char>(0x80 | (c & 0x3F)));
      }
    }
    for (size_t room : {expected.size() + 1, expected.size() / 2 + 1, size_t{2}}) {
      SCOPED_TRACE("length " + std::to_string(length) + ", room " + std::to_string(room));
      Bytes once(room + 8, 0xEE), streamed(room + 8, 0xEE);
      unsigned onceLength = 0, streamedLength = 0;
      const int onceStatus =
          NLS_ConvertBuffer("ISO-8859-1", "UTF-8", in.data(), static_cast<unsigned>(length),
                            once.data(), static_cast<unsigned>(room), &onceLength);
      NLS_ConverterHandle h = nullptr;
      ASSERT_EQ(NLS_NewEncodingConverter("ISO-8859-1", "UTF-8", &h), 1);
      const int streamedStatus =
          NLS_ConvertStreamBuffer(h, in.data(), static_cast<unsigned>(length), streamed.data(),
                                  static_cast<unsigned>(room), &streamedLength);
      NLS_DeleteEncodingConverter(h);
      EXPECT_EQ(onceStatus, streamedStatus);
      ASSERT_EQ(onceLength, streamedLength);
      EXPECT_EQ(once, streamed);
      EXPECT_EQ(Bytes(once.begin(), once.begin() + onceLength),
                Bytes(expected.begin(), expected.begin() + onceLength));
      if (room > expected.size()) {
        EXPECT_EQ(onceStatus, 1);
        EXPECT_EQ(onceLength, expected.size());
      }
    }
  }
}

TEST(Lifetime, InitialisesItselfFromTheEnvironment) {
  NLS_EncTerminate();
  EXPECT_EQ(NLS_EncTerminate(), 1);  // terminating twice is harmless
  setenv("QV_NLS_DATADIRECTORY", nls_test::EmptyDataDirectory(), 1);
  Bytes in = B("ok");
  unsigned char out[8];
  unsigned n = 0;
  EXPECT_EQ(NLS_ConvertBuffer("ISO-8859-1", "UTF-8", in.data(), 2, out, 8, &n), 1);
  EXPECT_EQ(Bytes(out, out + n), in);
  unsetenv("QV_NLS_DATADIRECTORY");
  EXPECT_EQ(NLS_EncTerminate(), 1);

  // Initialise, terminate, initialise again: the library works each time.
  for (int round = 0; round < 3; ++round) {
    EXPECT_EQ(NLS_EncInitialize(nullptr, nls_test::EmptyDataDirectory()), 1);
    NLS_ConverterHandle h = nullptr;
    EXPECT_EQ(NLS_NewEncodingConverter("UTF-8", "ISO-10646-UCS-2", &h), 1);
    EXPECT_EQ(NLS_DeleteEncodingConverter(h), 1);
    EXPECT_EQ(NLS_EncTerminate(), 1);
  }
}

}  // namespace

// Failures found by the allocation sweep and the fuzzers, each pinned down
// on its own.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "faults/allocation_hooks.h"
#include "faults/fault_env.h"
#include "nlscnv.h"
#include "nlscnv/registry/encoding_registry.h"
#include "support/test_support.h"

namespace {

using nls_test::AssertText;

// The first call initialises the library; when the registry itself cannot be
// allocated, every call answers without one instead of crashing.
TEST(Regression, CallsWithoutRegistryWhenItCannotBeAllocated) {
  unsetenv("QV_NLS_DATADIRECTORY");
  NLS_EncTerminate();
  NLS_ConverterHandle h = reinterpret_cast<NLS_ConverterHandle>(1);
  NLS_EnumerationHandle list = nullptr;
  unsigned count = 99, produced = 99, size = 99;
  int created = 0, exists = 0, whole = 0, listed = 0, registered = 0;
  const char *normalized = nullptr, *java = nullptr;
  unsigned char out[16];
  nls_test::StderrCapture capture;
  {
    nls_faults::Window window(0);
    nls_faults::OpenWindowFailingSize(sizeof(TEncodingRegistry));
    created = NLS_NewEncodingConverter("latin1", "UTF-8", &h);
    exists = NLS_EncodingConverterExists("latin1", "UTF-8");
    normalized = NLS_GetNormalizedEncodingName("latin1");
    java = NLS_GetJavaEncodingName("UTF-8");
    listed = NLS_NewEncodingConverterEnumeration("*", "*", &list);
    if (list != nullptr) NLS_CountEncodingConverters(list, &count);
    whole = NLS_ConvertBuffer("latin1", "UTF-8", nls_faults::kLatin, 4, out, sizeof out, &produced);
    size = NLS_GetResultBufferSize(nls_faults::kLatin, 4, "latin1", "UTF-8");
    registered = NLS_RegisterStaticLibrary(nls_faults::kHostList);
  }
  const std::string printed = capture.Text();
  capture.Restore();

  EXPECT_EQ(created, -1002);
  EXPECT_EQ(h, nullptr);
  EXPECT_EQ(exists, 0);
  EXPECT_STREQ(normalized, "latin1");  // no alias table to consult
  EXPECT_EQ(java, nullptr);
  EXPECT_EQ(listed, 1);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(whole, -1014);
  EXPECT_EQ(produced, 0u);
  EXPECT_EQ(size, 0u);
  EXPECT_EQ(registered, 1);
  EXPECT_NE(printed.find(AssertText(221, "enconv")), std::string::npos) << printed;
  EXPECT_NE(printed.find(AssertText(270, "enconv")), std::string::npos) << printed;
  NLS_DeleteEncodingConverterEnumeration(list);

  // With memory back, the next call builds the registry.
  EXPECT_STREQ(NLS_GetNormalizedEncodingName("latin1"), "ISO_8859-1:1987");
  EXPECT_EQ(NLS_EncodingConverterExists("latin1", "UTF-8"), 1);
  NLS_EncTerminate();
}

// A drain with nothing held hands the converter no input at all (a null
// pointer and length 0); the ISO-2022-JP decoder, holding a cut escape
// sequence, must not copy from it. (The undefined-behaviour checks of the
// asan configuration catch the copy.)
TEST(Regression, IsoJpDecoderHoldingACutSequenceGetsNoInput) {
  NLS_EncTerminate();
  NLS_EncInitialize(nullptr, NLS_BUILD_DATA_BASE);
  NLS_ConverterHandle h = nullptr;
  ASSERT_EQ(NLS_NewEncodingConverter("ISO-2022-JP", "ISO-10646-UCS-2", &h), 1);
  unsigned char out[16];
  unsigned produced = 99;
  const unsigned char cut[] = {0x1B, '$'};
  EXPECT_EQ(NLS_ConvertStreamBuffer(h, cut, sizeof cut, out, sizeof out, &produced), 1);
  EXPECT_EQ(produced, 0u);
  EXPECT_EQ(NLS_ConverterGetOverflow(h, out, sizeof out, &produced), 1);
  EXPECT_EQ(produced, 0u);
  // The held bytes still begin the next piece: ESC $ B, then JIS 0x467C.
  const unsigned char rest[] = {'B', 0x46, 0x7C};
  EXPECT_EQ(NLS_ConvertStreamBuffer(h, rest, sizeof rest, out, sizeof out, &produced), 1);
  ASSERT_EQ(produced, 2u);
  EXPECT_EQ(nls_test::Units(nls_test::Bytes(out, out + 2)), std::vector<uint16_t>{0x65E5});
  NLS_DeleteEncodingConverter(h);
  NLS_EncTerminate();
}

}  // namespace

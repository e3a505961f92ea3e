// NLS_SetDiagnosticHandler: the host's handler receives exactly the lines the
// default prints, a null handler silences them, NLS_PrintDiagnostic brings
// the line back, and a handler cannot change the handler.
#include <gtest/gtest.h>

#include <string>

#include "nlscnv.h"
#include "support/test_support.h"

namespace {

// The lines a handler received, in the default's format.
void Collect(void* context, int line, const char* unit) {
  *static_cast<std::string*>(context) += nls_test::AssertText(line, unit);
}

// Calls that fail with diagnostics from two units.
void Diagnose() {
  NLS_ConverterHandle h;
  EXPECT_EQ(NLS_NewEncodingConverter(nullptr, "UTF-8", &h), -1009);
  EXPECT_EQ(NLS_NewEncodingConverter("latin1", "UTF-8", &h), 1);
  unsigned char out[4];
  unsigned int n;
  EXPECT_EQ(NLS_ConverterGetOverflow(h, nullptr, 4, &n), -1009);
  // Output full.
  NLS_ConvertStreamBuffer(h, reinterpret_cast<const unsigned char*>("abcdef"), 6, out, sizeof out,
                          &n);
  NLS_DeleteEncodingConverter(h);
}

class DiagnosticHandler : public ::testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(NLS_SetDiagnosticHandler(NLS_PrintDiagnostic, nullptr), 1); }
};

TEST_F(DiagnosticHandler, ReplacesSilencesAndRestoresTheLine) {
  std::string printed;
  {
    nls_test::StderrCapture capture;
    Diagnose();
    printed = capture.Text();
  }
  ASSERT_NE(printed.find(nls_test::AssertText(144, "nlsenc")), std::string::npos);

  std::string received;
  ASSERT_EQ(NLS_SetDiagnosticHandler(Collect, &received), 1);
  {
    nls_test::StderrCapture capture;
    Diagnose();
    EXPECT_EQ(capture.Text(), "");
  }
  EXPECT_EQ(received, printed);

  ASSERT_EQ(NLS_SetDiagnosticHandler(nullptr, &received), 1);
  {
    nls_test::StderrCapture capture;
    Diagnose();
    EXPECT_EQ(capture.Text(), "");
  }
  EXPECT_EQ(received, printed);

  ASSERT_EQ(NLS_SetDiagnosticHandler(NLS_PrintDiagnostic, nullptr), 1);
  nls_test::StderrCapture capture;
  Diagnose();
  EXPECT_EQ(capture.Text(), printed);
}

// A handler that tries to install another handler, then records the line.
int gStatusInside = 0;
void Reinstalling(void* context, int line, const char* unit) {
  gStatusInside = NLS_SetDiagnosticHandler(Collect, context);
  *static_cast<std::string*>(context) += "inside " + nls_test::AssertText(line, unit);
}

TEST_F(DiagnosticHandler, AHandlerCannotChangeTheHandler) {
  std::string received;
  ASSERT_EQ(NLS_SetDiagnosticHandler(Reinstalling, &received), 1);
  NLS_ConverterHandle h;
  EXPECT_EQ(NLS_NewEncodingConverter(nullptr, "UTF-8", &h), -1009);
  EXPECT_EQ(NLS_NewEncodingConverter(nullptr, "UTF-8", &h), -1009);
  EXPECT_EQ(gStatusInside, -1009);
  const std::string line = "inside " + nls_test::AssertText(144, "nlsenc");
  EXPECT_EQ(received, line + line);
}

}  // namespace

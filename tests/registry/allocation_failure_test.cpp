// Allocation failures: every checked allocation of the registry, its readers,
// the loader and the data directory is made to fail in turn. Each failure
// must print its own diagnostic line, report its status and release what was
// built before (AddressSanitizer's leak check runs over these tests too).
#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <string>
#include <vector>

#include "fault_injection.h"
#include "nlscnv/conversion/encoding_converter.h"
#include "nlscnv/registry/dll_linker.h"
#include "nlscnv/registry/encoding_registry.h"
#include "registry_test_util.h"

using nls_test::AssertText;
using nls_test::ScopedAllocationFailure;
using nls_test::StderrCapture;
using nls_test::TempDataDir;

namespace {

// (line, unit) pairs of the diagnostic lines in a captured text.
std::vector<std::pair<int, std::string>> Lines(const std::string& text) {
  static const std::regex kLine("assert: line (\\d+), file (\\w+)\a\n");
  std::vector<std::pair<int, std::string>> lines;
  for (std::sregex_iterator it(text.begin(), text.end(), kLine), end; it != end; ++it) {
    lines.emplace_back(std::stoi((*it)[1]), (*it)[2]);
  }
  return lines;
}

using Line = std::pair<int, std::string>;

TEST(AllocationFailure, RegistryConstruction) {
  // The first line printed for each failing allocation, in allocation order:
  // the four containers (object and buckets), the loader (object, then its
  // pseudo-library record, cache, cache buckets and entries table), then per
  // built-in row the conversion entry and the two identity aliases, then the
  // built-in aliases; every entry is followed by its chain node.
  std::vector<Line> expected;
  for (int line : {57, 57, 59, 59, 61, 61, 63, 63, 67}) expected.emplace_back(line, "reg");
  for (int line : {159, 159, 159, 175}) expected.emplace_back(line, "linker");
  for (int row = 0; row < 14; ++row) {
    for (int line : {76, 76, 83, 83, 87, 87}) expected.emplace_back(line, "reg");
  }
  for (int alias = 0; alias < 39; ++alias) {
    for (int i = 0; i < 2; ++i) expected.emplace_back(95, "reg");
  }

  std::vector<Line> observed;
  for (long index = 0;; ++index) {
    ASSERT_LT(index, 2000) << "construction never succeeded";
    StderrCapture capture;
    TEncodingRegistry* registry;
    bool failed;
    {
      ScopedAllocationFailure failure(index);
      registry = new TEncodingRegistry(EncodingConverter::getDataDirectory());
      failed = failure.Happened();
    }
    std::string text = capture.Text();
    if (!failed) {
      EXPECT_EQ(registry->GetStatus(), 1);
      EXPECT_EQ(text, "");
      delete registry;
      break;
    }
    EXPECT_EQ(registry->GetStatus(), -1002) << index;
    EXPECT_EQ(registry->fEncodings, nullptr);
    EXPECT_EQ(registry->fAliases, nullptr);
    EXPECT_EQ(registry->fJavaToNormalized, nullptr);
    EXPECT_EQ(registry->fNormalizedToJava, nullptr);
    EXPECT_EQ(registry->fLinker, nullptr);
    // Nothing left to fill or to find.
    EXPECT_EQ(registry->Initialize(nls_test::TestLibraryDirectory().c_str()), -1002);
    EXPECT_EQ(registry->GetStatus(), -1002);
    EXPECT_EQ(registry->EncodingCount(), 0);
    EXPECT_EQ(registry->CreateEncodingConverter("UTF-8", "ISO-10646-UCS-2"), nullptr);
    delete registry;

    std::vector<Line> lines = Lines(text);
    ASSERT_FALSE(lines.empty()) << index;
    if (lines[0].second == "linker") {
      // The loader's own failure, then the registry's line for its status.
      ASSERT_EQ(lines.size(), 2u) << text;
      EXPECT_EQ(lines[1], Line(68, "reg"));
    } else {
      EXPECT_EQ(lines.size(), 1u) << text;
    }
    observed.push_back(lines[0]);
  }
  EXPECT_EQ(observed, expected);
}

TEST(AllocationFailure, ReadingTheRegistryFiles) {
  TempDataDir dir;
  dir.Write("encreg.txt", "X-A ISO-10646-UCS-2 lib NewA #\nX-B ISO-10646-UCS-2 lib NewB #\n");
  dir.Write("aliasreg.txt", "a-one X-A\na-two X-B\n");
  dir.Write("javareg.txt", "JA X-A\nJB X-B\n");
  const std::map<int, int> readerToInitialize = {
      {274, 186}, {281, 186}, {360, 215}, {333, 238}, {335, 238}};
  std::map<int, int> seen;
  for (long index = 0;; ++index) {
    ASSERT_LT(index, 500);
    TEncodingRegistry registry(EncodingConverter::getDataDirectory());
    ASSERT_EQ(registry.GetStatus(), 1);
    StderrCapture capture;
    int status;
    bool failed;
    {
      ScopedAllocationFailure failure(index);
      status = registry.Initialize(dir.Prefix().c_str());
      failed = failure.Happened();
    }
    std::vector<Line> lines = Lines(capture.Text());
    if (!failed) {
      EXPECT_EQ(status, 1);
      EXPECT_TRUE(lines.empty());
      EXPECT_EQ(registry.EncodingCount(), 16);
      EXPECT_EQ(registry.fNormalizedToJava->fCount, 2);
      break;
    }
    EXPECT_EQ(status, -1002) << index;
    EXPECT_EQ(registry.GetStatus(), -1002);
    ASSERT_FALSE(lines.empty());
    auto reader = readerToInitialize.find(lines[0].first);
    if (reader != readerToInitialize.end()) {
      // The reader's line, then Initialize's line for that file.
      ASSERT_EQ(lines.size(), 2u);
      EXPECT_EQ(lines[1].first, reader->second);
    } else {
      EXPECT_EQ(lines.size(), 1u);
    }
    ++seen[lines[0].first];
    // What was read before the failure stays.
    if (lines[0].first == 360) {
      EXPECT_EQ(registry.EncodingCount(), 16);
    }
  }
  for (int line : {164, 172, 274, 281, 201, 360, 224, 333, 335}) {
    EXPECT_GT(seen[line], 0) << line;
  }
}

TEST(AllocationFailure, RememberingANameAndHostRegistration) {
  TEncodingRegistry registry(EncodingConverter::getDataDirectory());
  {
    StderrCapture capture;
    ScopedAllocationFailure failure(0);
    EXPECT_STREQ(registry.NormalizeEncodingName("x-not-kept"), "");
    EXPECT_EQ(capture.Text(), AssertText(479, "reg"));
  }
  EXPECT_EQ(registry.AliasCount(), 67);
  EXPECT_STREQ(registry.NormalizeEncodingName("x-not-kept"), "x-not-kept");

  NLS_StaticConverterEntry list[] = {
      {"X-H1", "ISO-10646-UCS-2", "NewH1", NEWLATIN1TOUNICODEENCODINGCONVERTER},
      {"X-H2", "ISO-10646-UCS-2", "NewH2", NEWLATIN1TOUNICODEENCODINGCONVERTER},
      {nullptr, nullptr, nullptr, nullptr},
  };
  std::map<int, int> seen;
  for (long index = 0;; ++index) {
    ASSERT_LT(index, 100);
    TEncodingRegistry host(EncodingConverter::getDataDirectory());
    StderrCapture capture;
    bool failed;
    {
      ScopedAllocationFailure failure(index);
      host.RegisterStaticConverters(reinterpret_cast<char*>(list));
      failed = failure.Happened();
    }
    std::vector<Line> lines = Lines(capture.Text());
    if (!failed) {
      EXPECT_EQ(host.EncodingCount(), 16);
      break;
    }
    // The loader's cache failures are silent; the registry's are not.
    if (!lines.empty()) {
      ASSERT_EQ(lines.size(), 1u);
      ++seen[lines[0].first];
    }
  }
  for (int line : {618, 626, 630}) EXPECT_GT(seen[line], 0) << line;
}

TEST(AllocationFailure, LoaderAndDataDirectory) {
  {
    StderrCapture capture;
    ScopedAllocationFailure failure(0);
    TDLLLinker linker(nullptr, 0, "/nonexistent/");
    EXPECT_EQ(linker.GetStatus(), -1002);
    EXPECT_EQ(linker.fLibraries, nullptr);
    EXPECT_EQ(capture.Text(), AssertText(159, "linker"));
  }
  const std::string directory = nls_test::TestLibraryDirectory();
  TDLLLinker linker(nullptr, 0, directory.c_str());
  {
    StderrCapture capture;
    ScopedAllocationFailure failure(0);
    EXPECT_EQ(linker.NLS_LoadLibrary("nlstest"), -1002);
    EXPECT_EQ(capture.Text(), AssertText(255, "linker"));
  }
  EXPECT_EQ(linker.NLS_LoadLibrary("nlstest"), 1);

  {
    StderrCapture capture;
    ScopedAllocationFailure failure(0);
    EncodingConverter::setDataDirectory("/opt/nls");
    EXPECT_EQ(capture.Text(), AssertText(181, "enconv"));
  }
  {
    StderrCapture capture;
    ScopedAllocationFailure failure(0);
    EncodingConverter::setDataDirectory(nullptr);
    EXPECT_EQ(capture.Text(), AssertText(168, "enconv"));
  }
  // With no path left, the next read sets the default.
  EXPECT_STREQ(EncodingConverter::getDataDirectory(), "./conv30/");
}

}  // namespace

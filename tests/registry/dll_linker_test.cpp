// The library loader: the pseudo-library of built-in factories, the host's
// registrations, the real test library libnlstest30.so loaded with dlopen,
// the entry-point caches, reference counts and the failure lines.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>

#include "nlscnv/registry/dll_linker.h"
#include "nlscnv/registry/encoding_registry.h"
#include "registry_test_util.h"

using nls_test::AssertText;
using nls_test::StderrCapture;

namespace {

const std::string kLibraryDirectory = nls_test::TestLibraryDirectory();

// Whether the process has libnlstest30.so loaded, asked of the dynamic
// loader itself.
bool TestLibraryLoaded() {
  std::string path = kLibraryDirectory + "libnlstest30.so";
  void* handle = dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD);
  if (handle == nullptr) return false;
  dlclose(handle);
  return true;
}

TEncodingConverter* FakeFactory() { return nullptr; }
TEncodingConverter* OtherFakeFactory() { return nullptr; }

class Linker : public ::testing::Test {
 protected:
  Linker()
      : linker_(TEncodingRegistry::fStaticEntryList, TEncodingRegistry::fStaticEntryListLength,
                kLibraryDirectory.c_str()) {}
  void SetUp() override {
    ASSERT_EQ(linker_.GetStatus(), 1);
    ASSERT_FALSE(TestLibraryLoaded());
  }
  NLS_Library* Head() { return linker_.fLibraries; }

  TDLLLinker linker_;
};

TEST_F(Linker, PseudoLibraryEntriesThenCache) {
  ASSERT_NE(Head(), nullptr);
  EXPECT_STREQ(Head()->name, "@@staticconvertersINTERNAL@@");
  EXPECT_EQ(Head()->referenceCount, 1u);
  EXPECT_EQ(Head()->handle, nullptr);
  EXPECT_EQ(Head()->next, nullptr);
  EXPECT_EQ(Head()->entryPoints->fBucketCount, 7);

  for (uint32_t i = 0; i < TEncodingRegistry::fStaticEntryListLength; ++i) {
    const NLS_StaticConverterEntry& row = TEncodingRegistry::fStaticEntryList[i];
    void* first = linker_.NLS_FindSymbolInLibrary(kNLSStaticLibraryName, row.entryPointName);
    EXPECT_EQ(first, reinterpret_cast<void*>(row.function)) << row.entryPointName;
    EXPECT_EQ(Head()->entryPoints->fCount, static_cast<int32_t>(i + 1));
    void* second = linker_.NLS_FindSymbolInLibrary(kNLSStaticLibraryName, row.entryPointName);
    EXPECT_EQ(second, first);
    EXPECT_EQ(Head()->entryPoints->fCount, static_cast<int32_t>(i + 1));
    EXPECT_EQ(linker_.GetStatus(), 1);
  }
  // The cache is asked before the table.
  Head()->entryPoints->addEntry(
      new TEntryPoint(reinterpret_cast<void*>(FakeFactory), "NewUTF8ToUnicodeEncodingConverter"));
  EXPECT_EQ(
      linker_.NLS_FindSymbolInLibrary(kNLSStaticLibraryName, "NewUTF8ToUnicodeEncodingConverter"),
      reinterpret_cast<void*>(FakeFactory));
}

TEST_F(Linker, EntryPointNamesAreExactInTheTable) {
  StderrCapture capture;
  EXPECT_EQ(
      linker_.NLS_FindSymbolInLibrary(kNLSStaticLibraryName, "newutf8tounicodeencodingconverter"),
      nullptr);
  EXPECT_EQ(linker_.GetStatus(), -1306);
  EXPECT_EQ(linker_.NLS_FindSymbolInLibrary(kNLSStaticLibraryName, "NoSuchFactory"), nullptr);
  EXPECT_EQ(capture.Text(), AssertText(733, "linker") + AssertText(733, "linker"));
  EXPECT_EQ(Head()->entryPoints->fCount, 0);
}

TEST(LinkerTable, SearchStopsAfterCount) {
  NLS_StaticConverterEntry rows[] = {
      {"A", "B", "First", FakeFactory},
      {"B", "A", "Second", OtherFakeFactory},
      {"C", "A", "Third", FakeFactory},
  };
  TDLLLinker linker(rows, 2, "/nonexistent/");
  EXPECT_EQ(linker.NLS_FindSymbolInLibrary(kNLSStaticLibraryName, "Second"),
            reinterpret_cast<void*>(OtherFakeFactory));
  StderrCapture capture;
  EXPECT_EQ(linker.NLS_FindSymbolInLibrary(kNLSStaticLibraryName, "Third"), nullptr);
  EXPECT_EQ(capture.Text(), AssertText(733, "linker"));

  TDLLLinker empty(nullptr, 0, "/nonexistent/");
  EXPECT_EQ(empty.GetStatus(), 1);
  EXPECT_EQ(empty.NLS_FindSymbolInLibrary(kNLSStaticLibraryName, "First"), nullptr);
}

TEST_F(Linker, HostRegistrations) {
  NLS_StaticConverterEntry none[] = {{"A", "B", nullptr, FakeFactory}};
  linker_.RegisterStaticConverters(reinterpret_cast<char*>(none));
  linker_.RegisterStaticConverters(nullptr);
  EXPECT_EQ(Head()->entryPoints->fCount, 0);

  NLS_StaticConverterEntry list[] = {
      {"A", "B", "HostFirst", FakeFactory},
      {"B", "A", "HostSecond", OtherFakeFactory},
      {nullptr, nullptr, nullptr, nullptr},
  };
  linker_.RegisterStaticConverters(reinterpret_cast<char*>(list));
  EXPECT_EQ(Head()->entryPoints->fCount, 2);
  EXPECT_EQ(linker_.NLS_FindSymbolInLibrary(kNLSStaticLibraryName, "HostSecond"),
            reinterpret_cast<void*>(OtherFakeFactory));
  EXPECT_EQ(Head()->entryPoints->fCount, 2);
}

TEST_F(Linker, RealLibraryFirstFromTheLibraryThenFromTheCache) {
  void* factory = linker_.NLS_FindSymbolInLibrary("nlstest", "NewNlsTestUpperToUnicodeConverter");
  ASSERT_NE(factory, nullptr);
  EXPECT_EQ(linker_.GetStatus(), 1);
  EXPECT_TRUE(TestLibraryLoaded());
  NLS_Library* library = Head()->next;
  ASSERT_NE(library, nullptr);
  EXPECT_STREQ(library->name, "nlstest");
  EXPECT_EQ(library->referenceCount, 1u);
  EXPECT_NE(library->handle, nullptr);
  EXPECT_EQ(library->entries, nullptr);
  EXPECT_EQ(library->entryPoints->fCount, 1);
  // It is the function the dynamic loader knows under that name.
  EXPECT_EQ(factory, dlsym(library->handle, "NewNlsTestUpperToUnicodeConverter"));

  // The library's objects are made by the library.
  auto live =
      reinterpret_cast<int (*)()>(linker_.NLS_FindSymbolInLibrary("nlstest", "NlsTestLiveObjects"));
  ASSERT_NE(live, nullptr);
  TEncodingConverter* converter = reinterpret_cast<NLS_ConverterFactory>(factory)();
  ASSERT_NE(converter, nullptr);
  EXPECT_EQ(live(), 1);
  converter->ReleaseEncodingConverter();
  EXPECT_EQ(live(), 0);

  EXPECT_EQ(linker_.NLS_FindSymbolInLibrary("nlstest", "NewNlsTestUpperToUnicodeConverter"),
            factory);
  EXPECT_EQ(library->entryPoints->fCount, 2);  // the factory and the counter
  EXPECT_EQ(library->referenceCount, 1u);
  // The cache is asked before dlsym.
  library->entryPoints->addEntry(
      new TEntryPoint(reinterpret_cast<void*>(FakeFactory), "NewNlsTestDetector"));
  EXPECT_EQ(linker_.NLS_FindSymbolInLibrary("nlstest", "NewNlsTestDetector"),
            reinterpret_cast<void*>(FakeFactory));

  StderrCapture capture;
  EXPECT_EQ(linker_.NLS_FindSymbolInLibrary("nlstest", "NewNlsTestNoSuchConverter"), nullptr);
  EXPECT_EQ(linker_.GetStatus(), -1306);
  EXPECT_EQ(capture.Text(), AssertText(733, "linker"));
}

TEST_F(Linker, MissingLibraryIsNotRemembered) {
  for (int attempt = 0; attempt < 2; ++attempt) {
    StderrCapture capture;
    EXPECT_EQ(linker_.NLS_FindSymbolInLibrary("nlsmissing", "NewNlsMissingConverter"), nullptr);
    EXPECT_EQ(linker_.GetStatus(), -1300);
    EXPECT_EQ(capture.Text(),
              AssertText(499, "linker") + AssertText(266, "linker") + AssertText(628, "linker"));
    EXPECT_EQ(linker_.NLS_FindLibrary("nlsmissing"), nullptr);
  }
  // Library names are case-sensitive file names.
  StderrCapture capture;
  EXPECT_EQ(linker_.NLS_LoadLibrary("NLSTEST"), -1300);
  EXPECT_EQ(capture.Text(), AssertText(499, "linker") + AssertText(266, "linker"));
}

TEST_F(Linker, LibraryNamesTooLongAreRefused) {
  const std::string longest(55, 'n'), tooLong(56, 'n'), huge(200, 'h');
  {
    // Fits the file-name buffer: tried, and simply not there.
    StderrCapture capture;
    EXPECT_EQ(linker_.NLS_LoadLibrary(longest.c_str()), -1300);
    EXPECT_EQ(capture.Text(), AssertText(499, "linker") + AssertText(266, "linker"));
  }
  for (const std::string* name : {&tooLong, &huge}) {
    StderrCapture capture;
    EXPECT_EQ(linker_.NLS_FindSymbolInLibrary(name->c_str(), "Anything"), nullptr);
    EXPECT_EQ(linker_.GetStatus(), -1300);
    EXPECT_EQ(capture.Text(), AssertText(266, "linker") + AssertText(628, "linker"));
  }
  EXPECT_EQ(Head()->next, nullptr);
}

TEST_F(Linker, TwoLoadsNeedTwoUnloads) {
  ASSERT_EQ(linker_.NLS_LoadLibrary("nlstest"), 1);
  ASSERT_EQ(linker_.NLS_LoadLibrary("nlstest"), 1);
  NLS_Library* library = linker_.NLS_FindLibrary("nlstest");
  ASSERT_NE(library, nullptr);
  EXPECT_EQ(library->referenceCount, 2u);
  // Finding an entry point of a loaded library does not count as a load.
  ASSERT_NE(linker_.NLS_FindSymbolInLibrary("nlstest", "NewNlsTestDetector"), nullptr);
  EXPECT_EQ(library->referenceCount, 2u);

  EXPECT_EQ(linker_.NLS_UnloadLibrary("nlstest"), 1);
  EXPECT_TRUE(TestLibraryLoaded());
  EXPECT_EQ(linker_.NLS_FindLibrary("nlstest"), library);
  EXPECT_EQ(linker_.NLS_UnloadLibrary("nlstest"), 1);
  EXPECT_FALSE(TestLibraryLoaded());
  EXPECT_EQ(linker_.NLS_FindLibrary("nlstest"), nullptr);
  EXPECT_EQ(Head()->next, nullptr);

  StderrCapture capture;
  EXPECT_EQ(linker_.NLS_UnloadLibrary("nlstest"), -1300);
  EXPECT_EQ(capture.Text(), AssertText(526, "linker"));
}

TEST(LinkerLifetime, DestructionUnloadsEverything) {
  {
    TDLLLinker linker(TEncodingRegistry::fStaticEntryList,
                      TEncodingRegistry::fStaticEntryListLength, kLibraryDirectory.c_str());
    ASSERT_EQ(linker.NLS_LoadLibrary("nlstest"), 1);
    ASSERT_EQ(linker.NLS_LoadLibrary("nlstest"), 1);
    ASSERT_EQ(linker.NLS_LoadLibrary(kNLSStaticLibraryName), 1);
    EXPECT_TRUE(TestLibraryLoaded());
  }
  EXPECT_FALSE(TestLibraryLoaded());

  // Unloading the pseudo-library empties the list.
  TDLLLinker linker(nullptr, 0, kLibraryDirectory.c_str());
  EXPECT_EQ(linker.NLS_UnloadLibrary(kNLSStaticLibraryName), 1);
  EXPECT_EQ(linker.fLibraries, nullptr);
  StderrCapture capture;
  EXPECT_EQ(linker.NLS_FindLibrary("nlstest"), nullptr);
  EXPECT_EQ(capture.Text(), AssertText(303, "linker"));
}

TEST_F(Linker, NullArgumentsAndPaths) {
  {
    StderrCapture capture;
    EXPECT_EQ(linker_.Platform_FindSymbolInLibrary(nullptr, "Name"), nullptr);
    EXPECT_EQ(linker_.GetStatus(), -1009);
    EXPECT_EQ(linker_.Platform_FindSymbolInLibrary(Head(), nullptr), nullptr);
    EXPECT_EQ(linker_.GetStatus(), -1009);
    EXPECT_EQ(capture.Text(), AssertText(652, "linker") + AssertText(653, "linker"));
  }
  EXPECT_STREQ(linker_.GetDefaultLibraryPath(), kLibraryDirectory.c_str());
  std::string moved = "/nonexistent/";
  EXPECT_EQ(linker_.SetDefaultLibraryPath(moved.c_str()), 1);
  moved[1] = 'X';  // a copy was kept
  EXPECT_STREQ(linker_.GetDefaultLibraryPath(), "/nonexistent/");
  {
    StderrCapture capture;
    EXPECT_EQ(linker_.NLS_LoadLibrary("nlstest"), -1300);
    EXPECT_EQ(capture.Text(), AssertText(499, "linker") + AssertText(266, "linker"));
  }
  TDLLLinker pathless(nullptr, 0, nullptr);
  StderrCapture capture;
  EXPECT_EQ(pathless.GetDefaultLibraryPath(), nullptr);
  EXPECT_EQ(pathless.NLS_LoadLibrary("nlstest"), -1300);
  EXPECT_EQ(capture.Text(),
            AssertText(227, "linker") + AssertText(499, "linker") + AssertText(266, "linker"));
}

}  // namespace

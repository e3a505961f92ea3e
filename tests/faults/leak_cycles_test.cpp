// Initialise, use every part of the library, terminate, many times over:
// afterwards nothing that a cycle allocated may still be live except the
// data directory string, which the library keeps for the whole process.
// (The asan configuration runs this program under LeakSanitizer as well.)
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "faults/allocation_hooks.h"
#include "faults/fault_env.h"
#include "nlscnv.h"
#include "nlscnv/conversion/encoding_converter.h"

namespace {

// Source lines of the checks that failed in a session (kept in a fixed
// array: the session runs inside the allocation window).
struct Wrong {
  int lines[64];
  int count = 0;
  void Check(bool ok, int line) {
    if (!ok && count < 64) lines[count++] = line;
  }
};
#define CHECK_THAT(condition) wrong->Check(condition, __LINE__)

// One host session; records the checks that did not answer as expected.
void Session(int cycle, Wrong* wrong) {
  MutexImplementation mutex = nls_faults::HostMutex();
  CHECK_THAT(NLS_EncInitialize(cycle % 2 ? &mutex : nullptr, nls_faults::FilesDirectory()) == 1);

  // Direct, two-stage and file-declared converters; one keeps input held
  // when it is deleted.
  NLS_ConverterHandle direct = nullptr, twoStage = nullptr, fromFile = nullptr;
  CHECK_THAT(NLS_NewEncodingConverter("UTF-8", "ISO-10646-UCS-2", &direct) == 1);
  CHECK_THAT(NLS_NewEncodingConverter("latin-one", "UTF-8", &twoStage) == 1);
  CHECK_THAT(NLS_NewEncodingConverter("x-file-alias", "IMAP-UTF-7", &fromFile) == 1);
  unsigned char out[64];
  unsigned produced = 0;
  const unsigned char utf8[] = "\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E";
  CHECK_THAT(NLS_ConvertStreamBuffer(direct, utf8, 9, out, 4, &produced) == 2);
  int st = NLS_ConvertStreamBuffer(twoStage, nls_faults::kLatin, sizeof nls_faults::kLatin - 1, out,
                                   10, &produced);
  while (st == 2) st = NLS_ConverterGetOverflow(twoStage, out, sizeof out, &produced);
  CHECK_THAT(st == 1);
  CHECK_THAT(NLS_ConvertStreamBuffer(fromFile, nls_faults::kLatin, 4, out, 5, &produced) == 2);
  CHECK_THAT(NLS_ResetEncodingConverter(fromFile) == 1);

  // A first stage whose library is missing, a pair without any path.
  NLS_ConverterHandle none = nullptr;
  CHECK_THAT(NLS_NewEncodingConverter("X-LIB", "UTF-8", &none) == -1007);
  CHECK_THAT(NLS_NewEncodingConverter("euc-jp", "UTF-8", &none) == -1301);

  // Listings, names, host registration, whole buffers, detection.
  NLS_EnumerationHandle list = nullptr;
  unsigned count = 0;
  CHECK_THAT(NLS_NewEncodingConverterEnumeration("*", "*", &list) == 1);
  CHECK_THAT(NLS_CountEncodingConverters(list, &count) == 1 && count == 17);
  NLS_DeleteEncodingConverterEnumeration(list);
  for (int i = 0; i < 20; ++i) {
    const std::string name = "x-cycle-name-" + std::to_string(i);
    CHECK_THAT(name == NLS_GetNormalizedEncodingName(name.c_str()));
  }
  CHECK_THAT(NLS_GetEncodingNameFromJava("JFILE") != nullptr);
  CHECK_THAT(NLS_RegisterStaticLibrary(nls_faults::kHostList) == 1);
  NLS_ConverterHandle host = nullptr;
  CHECK_THAT(NLS_NewEncodingConverter("X-HOST", "UTF-8", &host) == 1);
  CHECK_THAT(NLS_ConvertBuffer("X-HOST", "ESCAPED_UNICODE", nls_faults::kLatin, 4, out, sizeof out,
                               &produced) == 1);
  CHECK_THAT(NLS_GetResultBufferSize(nls_faults::kLatin, 4, "latin1", "UTF-7") != 0);
  _NLS_AUTO_DETECT_RESULT result;
  CHECK_THAT(NLS_DetectEncodingForBuffer(utf8, 9, &result, 0, &count) == 1);
  char* copy = nullptr;
  StrAllocCopy(&copy, "abc");
  StrAllocCat(&copy, "def");
  CHECK_THAT(copy != nullptr && std::strcmp(copy, "abcdef") == 0);
  std::free(copy);

  NLS_DeleteEncodingConverter(direct);
  NLS_DeleteEncodingConverter(twoStage);
  NLS_DeleteEncodingConverter(fromFile);
  NLS_DeleteEncodingConverter(host);
  CHECK_THAT(NLS_EncTerminate() == 1);
}

TEST(LeakCycles, InitialiseUseTerminate) {
  NLS_EncTerminate();
  nls_faults::FilesDirectory();
  for (int cycle = 0; cycle < 30; ++cycle) {
    Wrong wrong;
    nls_faults::OpenWindow(0);
    Session(cycle, &wrong);
    nls_faults::CloseWindow();
    dlerror();  // the loader keeps its last error message until asked again
    dlerror();
    for (int i = 0; i < wrong.count; ++i)
      ADD_FAILURE() << "cycle " << cycle << ": the check on line " << wrong.lines[i] << " failed";
    ASSERT_EQ(nls_faults::LiveBlocks(EncodingConverter::getDataDirectory()), 0)
        << "cycle " << cycle << " leaves " << nls_faults::FirstLiveSize() << " bytes and more";
  }
}

}  // namespace

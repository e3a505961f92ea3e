// The trust rule: registry files and converter libraries planted where
// another user could have put or changed them are not used; a refused
// library fails exactly as a missing one, a refused registry file is treated
// as a missing one; NLS_GetRegistryInfo says what happened. Also the
// environment variable in secure-execution mode, through the test hook.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>

#include "nlscnv.h"
#include "support/test_support.h"

namespace fs = std::filesystem;

namespace {

int gSecureExecution = 0;

}  // namespace

// Found by the library through its weak reference (see
// nlscnv/support/secure_environment.h).
extern "C" int nls_test_secure_execution(void) { return gSecureExecution; }

namespace {

constexpr uid_t kOtherUser = 65534;
constexpr gid_t kOtherGroup = 65534;

constexpr char kEncodings[] =
    "// the test library's conversions, and one of a library that is not there\n"
    "X-SEC ISO-10646-UCS-2 nlstest NewNlsTestUpperToUnicodeConverter #\n"
    "ISO-10646-UCS-2 X-SEC nlstest NewUnicodeToNlsTestUpperConverter #\n"
    "X-SEC-NOLIB ISO-10646-UCS-2 nlsnone NewNlsNoneConverter #\n"
    "X-SEC-LONG ISO-10646-UCS-2 nlstest "
    "AnEntryPointNameThatIsFarTooLongForTheSixtyFourByteFieldOfARecord #\n";

void WriteFile(const std::string& path, const std::string& text, mode_t mode = 0644) {
  FILE* f = std::fopen(path.c_str(), "w");
  ASSERT_NE(f, nullptr) << path;
  std::fputs(text.c_str(), f);
  std::fclose(f);
  ASSERT_EQ(chmod(path.c_str(), mode), 0);
}

// A base directory whose conv30/ holds a copy of the test library and the
// three registry files; the base itself is private to the test.
class DataDir {
 public:
  DataDir() {
    char pattern[] = "/tmp/nls_security_XXXXXX";
    base_ = mkdtemp(pattern);
    Fill(Conv(), 0755);
  }
  ~DataDir() { fs::remove_all(base_); }
  DataDir(const DataDir&) = delete;
  DataDir& operator=(const DataDir&) = delete;

  const std::string& Base() const { return base_; }
  std::string Conv() const { return base_ + "/conv30/"; }
  std::string Library() const { return Conv() + "libnlstest30.so"; }
  // Another directory beside conv30/, holding the same files.
  std::string Other(const std::string& name, mode_t mode) const {
    const std::string dir = base_ + "/" + name + "/";
    Fill(dir, mode);
    return dir;
  }

 private:
  static void Fill(const std::string& dir, mode_t mode) {
    mkdir(dir.c_str(), 0755);
    WriteFile(dir + "encreg.txt", kEncodings);
    WriteFile(dir + "aliasreg.txt", "sec-alias X-SEC\n");
    WriteFile(dir + "javareg.txt", "JSec X-SEC\n");
    fs::copy_file(NLS_TEST_LIBRARY, dir + "libnlstest30.so");
    chmod((dir + "libnlstest30.so").c_str(), 0755);
    chmod(dir.c_str(), mode);  // last: the mode may forbid writing
  }
  std::string base_;
};

// What a host sees after initialising with a data directory and asking for
// a conversion.
struct Session {
  int status = 0;     // NLS_NewEncodingConverter(from, "UTF-8")
  std::string lines;  // what that call printed
  std::string directory;
  NLS_RegistryFileInfo files[3] = {};
  uint32_t loaded = 0;
  uint32_t failures = 0;
  std::string lastFailure;
};

Session RunSession(const char* base, const char* from = "X-SEC") {
  Session s;
  NLS_EncTerminate();
  NLS_EncInitialize(nullptr, base);
  {
    nls_test::StderrCapture capture;
    NLS_ConverterHandle h = nullptr;
    s.status = NLS_NewEncodingConverter(from, "UTF-8", &h);
    if (h != nullptr) NLS_DeleteEncodingConverter(h);
    s.lines = capture.Text();
  }
  NLS_RegistryInfo info = {};
  info.size = sizeof info;
  EXPECT_EQ(NLS_GetRegistryInfo(&info), 1);
  s.directory = info.dataDirectory;
  for (int i = 0; i < 3; ++i) s.files[i] = info.files[i];
  s.loaded = info.librariesLoaded;
  s.failures = info.libraryFailures;
  s.lastFailure = info.lastLibraryFailure != nullptr ? info.lastLibraryFailure : "";
  NLS_EncTerminate();
  return s;
}

bool LoadedInProcess(const std::string& path) {
  void* handle = dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD);
  if (handle != nullptr) dlclose(handle);
  return handle != nullptr;
}

void Link(const std::string& target, const std::string& link) {
  fs::remove(link);
  fs::create_symlink(target, link);
}

struct Case {
  const char* name;
  bool changesOwner;  // needs root
  std::function<void(const DataDir&)> plant;
  const char* registryRefusal;  // null: the registry files are read
  const char* libraryRefusal;   // null: the library is loaded
};

const char kDirOthers[] = "refused: directory writable by others";
const char kDirGroup[] = "refused: directory writable by its group";
const char kDirOwner[] = "refused: directory owned by another user";
const char kFileOthers[] = "refused: file writable by others";
const char kFileGroup[] = "refused: file writable by its group";
const char kFileOwner[] = "refused: file owned by another user";

void Chown(const std::string& path, uid_t user, gid_t group) {
  ASSERT_EQ(lchown(path.c_str(), user, group), 0) << path;
}

const Case kCases[] = {
    {"ordinary directory", false, [](const DataDir&) {}, nullptr, nullptr},
    {"root's group-writable directory with group root", true,
     [](const DataDir& d) {
       Chown(d.Conv(), 0, 0);
       chmod(d.Conv().c_str(), 0775);
     },
     nullptr, nullptr},
    {"group-writable directory", false,
     [](const DataDir& d) {
       if (geteuid() == 0) Chown(d.Conv(), 0, kOtherGroup);
       chmod(d.Conv().c_str(), 0775);
     },
     kDirGroup, nullptr},
    {"world-writable directory", false, [](const DataDir& d) { chmod(d.Conv().c_str(), 0777); },
     kDirOthers, nullptr},
    {"world-writable sticky directory", false,
     [](const DataDir& d) { chmod(d.Conv().c_str(), 01777); }, kDirOthers, nullptr},
    {"directory of another user", true,
     [](const DataDir& d) { Chown(d.Conv(), kOtherUser, kOtherGroup); }, kDirOwner, nullptr},
    {"world-writable registry file", false,
     [](const DataDir& d) { chmod((d.Conv() + "encreg.txt").c_str(), 0666); }, kFileOthers,
     nullptr},
    {"registry file of another user", true,
     [](const DataDir& d) { Chown(d.Conv() + "encreg.txt", kOtherUser, 0); }, kFileOwner, nullptr},
    {"world-writable library", false, [](const DataDir& d) { chmod(d.Library().c_str(), 0757); },
     nullptr, kFileOthers},
    {"group-writable library", false,
     [](const DataDir& d) {
       if (geteuid() == 0) Chown(d.Library(), 0, kOtherGroup);
       chmod(d.Library().c_str(), 0775);
     },
     nullptr, kFileGroup},
    {"library of another user", true, [](const DataDir& d) { Chown(d.Library(), kOtherUser, 0); },
     nullptr, kFileOwner},
    {"registry file linked into a world-writable directory", false,
     [](const DataDir& d) { Link(d.Other("open", 0777) + "encreg.txt", d.Conv() + "encreg.txt"); },
     kDirOthers, nullptr},
    {"library linked into a world-writable directory", false,
     [](const DataDir& d) { Link(d.Other("open", 0777) + "libnlstest30.so", d.Library()); },
     nullptr, kDirOthers},
    {"library linked to a file of another user", true,
     [](const DataDir& d) {
       const std::string target = d.Other("theirs", 0755) + "libnlstest30.so";
       Chown(target, kOtherUser, kOtherGroup);
       Link(target, d.Library());
     },
     nullptr, kFileOwner},
    {"library linked into a trusted directory", false,
     [](const DataDir& d) { Link(d.Other("trusted", 0755) + "libnlstest30.so", d.Library()); },
     nullptr, nullptr},
    {"data directory linked to a world-writable one", false,
     [](const DataDir& d) {
       const std::string open = d.Other("open", 0777);
       fs::remove_all(d.Conv());
       fs::create_symlink(open, d.Base() + "/conv30");
     },
     kDirOthers, nullptr},
};

TEST(TrustRule, PlantedFilesAreNotUsed) {
  // How a library that is not there fails: a refused one must fail the same.
  DataDir reference;
  const Session missing = RunSession(reference.Base().c_str(), "X-SEC-NOLIB");
  ASSERT_NE(missing.status, 1);
  ASSERT_NE(missing.lines, "");

  bool skipped = false;
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.name);
    if (c.changesOwner && geteuid() != 0) {
      std::printf("skipped without root (needs chown): %s\n", c.name);
      skipped = true;
      continue;
    }
    DataDir dir;
    c.plant(dir);
    const Session s = RunSession(dir.Base().c_str());
    EXPECT_EQ(s.directory, dir.Conv());
    EXPECT_EQ(s.failures, c.libraryRefusal != nullptr ? 1u : 0u);
    if (c.registryRefusal != nullptr) {
      EXPECT_EQ(s.files[0].state, NLS_REGISTRY_FILE_REFUSED);
      EXPECT_STREQ(s.files[0].refusal, c.registryRefusal);
      EXPECT_EQ(s.files[0].records, 0u);
      EXPECT_EQ(s.files[1].state, NLS_REGISTRY_FILE_NOT_READ);
      EXPECT_EQ(s.status, -1301);  // X-SEC is unknown
      EXPECT_EQ(s.loaded, 0u);
      continue;
    }
    for (int i = 0; i < 3; ++i) {
      EXPECT_EQ(s.files[i].state, NLS_REGISTRY_FILE_FOUND) << i;
      EXPECT_EQ(s.files[i].refusal, nullptr) << i;
    }
    EXPECT_EQ(s.files[0].records, 3u);  // the record with the long name is skipped
    EXPECT_EQ(s.files[1].records, 1u);
    EXPECT_EQ(s.files[2].records, 1u);
    if (c.libraryRefusal != nullptr) {
      EXPECT_EQ(s.status, missing.status);
      EXPECT_EQ(s.lines, missing.lines);
      EXPECT_EQ(s.lastFailure, c.libraryRefusal);
      EXPECT_EQ(s.loaded, 0u);
      EXPECT_FALSE(LoadedInProcess(dir.Library()));
    } else {
      EXPECT_EQ(s.status, 1);
      EXPECT_EQ(s.lines, "");
      EXPECT_EQ(s.loaded, 1u);
      EXPECT_EQ(s.lastFailure, "");
    }
  }
  if (skipped) GTEST_SKIP() << "cases that change an owner need root";
}

TEST(RegistryInfo, FilesRecordsAndFailures) {
  NLS_RegistryInfo info = {};
  EXPECT_EQ(NLS_GetRegistryInfo(nullptr), -1009);
  info.size = sizeof info - 1;
  EXPECT_EQ(NLS_GetRegistryInfo(&info), -1009);

  DataDir dir;
  // Reading stops at the first missing file.
  fs::remove(dir.Conv() + "aliasreg.txt");
  NLS_EncTerminate();
  NLS_EncInitialize(nullptr, dir.Base().c_str());
  info.size = sizeof info;
  ASSERT_EQ(NLS_GetRegistryInfo(&info), 1);
  EXPECT_EQ(std::string(info.dataDirectory), dir.Conv());
  EXPECT_EQ(info.files[0].state, NLS_REGISTRY_FILE_FOUND);
  EXPECT_EQ(info.files[0].records, 3u);
  EXPECT_EQ(info.files[1].state, NLS_REGISTRY_FILE_MISSING);
  EXPECT_EQ(info.files[2].state, NLS_REGISTRY_FILE_NOT_READ);
  EXPECT_EQ(info.librariesLoaded, 0u);
  EXPECT_EQ(info.libraryFailures, 0u);
  EXPECT_EQ(info.lastLibraryFailure, nullptr);

  // Failed loads are not remembered: each attempt counts.
  NLS_SetDiagnosticHandler(nullptr, nullptr);
  NLS_ConverterHandle h;
  for (int i = 0; i < 2; ++i) EXPECT_NE(NLS_NewEncodingConverter("X-SEC-NOLIB", "UTF-8", &h), 1);
  ASSERT_EQ(NLS_NewEncodingConverter("X-SEC", "UTF-8", &h), 1);
  NLS_SetDiagnosticHandler(NLS_PrintDiagnostic, nullptr);
  ASSERT_EQ(NLS_GetRegistryInfo(&info), 1);
  EXPECT_EQ(info.librariesLoaded, 1u);
  EXPECT_EQ(info.libraryFailures, 2u);
  ASSERT_NE(info.lastLibraryFailure, nullptr);
  EXPECT_EQ(std::string(info.lastLibraryFailure),
            dir.Conv() + "libnlsnone30.so: No such file or directory");
  NLS_DeleteEncodingConverter(h);

  // A new initialisation starts a new report.
  fs::remove(dir.Conv() + "encreg.txt");
  NLS_EncTerminate();
  NLS_EncInitialize(nullptr, dir.Base().c_str());
  ASSERT_EQ(NLS_GetRegistryInfo(&info), 1);
  EXPECT_EQ(info.files[0].state, NLS_REGISTRY_FILE_MISSING);
  EXPECT_EQ(info.files[1].state, NLS_REGISTRY_FILE_NOT_READ);
  EXPECT_EQ(info.libraryFailures, 0u);
  EXPECT_EQ(info.lastLibraryFailure, nullptr);
  NLS_EncTerminate();
}

TEST(SecureExecution, EnvironmentVariableIgnored) {
  DataDir dir;
  ASSERT_EQ(setenv("QV_NLS_DATADIRECTORY", dir.Base().c_str(), 1), 0);
  const Session honoured = RunSession(nullptr);
  gSecureExecution = 1;
  const Session ignored = RunSession(nullptr);
  const Session given = RunSession(dir.Base().c_str());
  gSecureExecution = 0;
  unsetenv("QV_NLS_DATADIRECTORY");

  EXPECT_EQ(honoured.directory, dir.Conv());
  EXPECT_EQ(honoured.status, 1);
  EXPECT_EQ(ignored.directory, "./conv30/");
  EXPECT_EQ(ignored.status, -1301);
  // An explicit directory is the host's choice and still counts.
  EXPECT_EQ(given.directory, dir.Conv());
  EXPECT_EQ(given.status, 1);
}

}  // namespace

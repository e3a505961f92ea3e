// The host mutex as the registry drives it, and the data directory.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "nlscnv/conversion/encoding_converter.h"
#include "nlscnv/registry/dll_linker.h"
#include "nlscnv/registry/encoding_registry.h"
#include "nlscnv/support/nls_mutex.h"
#include "registry_test_util.h"

namespace {

// The data directory as the process starts, read before any test runs.
const std::string gInitialDataDirectory = EncodingConverter::getDataDirectory();

// Records the host's lock calls; a second lock while locked is an error (the
// library promises never to need a recursive mutex).
struct LockRecorder {
  std::string calls;
  int depth = 0;
  bool nested = false;
  static void Lock(void* context) {
    LockRecorder* self = static_cast<LockRecorder*>(context);
    self->calls += 'L';
    if (++self->depth > 1) self->nested = true;
  }
  static void Unlock(void* context) {
    LockRecorder* self = static_cast<LockRecorder*>(context);
    self->calls += 'U';
    --self->depth;
  }
};

class HostMutex : public ::testing::Test {
 protected:
  void SetUp() override {
    MutexImplementation implementation = {&recorder_, LockRecorder::Lock, LockRecorder::Unlock};
    NLSMutex::SetImplementation(&implementation);  // the record need not outlive the call
  }
  void TearDown() override {
    NLSMutex::ReleaseImplementation();
    EXPECT_FALSE(recorder_.nested);
    EXPECT_EQ(recorder_.depth, 0);
  }
  LockRecorder recorder_;
};

TEST_F(HostMutex, RegistryLocksForConstructionInitializeAndNewNames) {
  nls_test::TempDataDir dir;
  dir.Write("encreg.txt", "X-M ISO-10646-UCS-2 lib New #\n");
  dir.Write("aliasreg.txt", "m-alias X-M\n");
  dir.Write("javareg.txt", "JM X-M\n");
  TEncodingRegistry registry(EncodingConverter::getDataDirectory());
  EXPECT_EQ(recorder_.calls, "LU");
  ASSERT_EQ(registry.Initialize(dir.Prefix().c_str()), 1);
  EXPECT_EQ(recorder_.calls, "LULU");

  recorder_.calls.clear();
  registry.NormalizeEncodingName("x-never-seen");
  EXPECT_EQ(recorder_.calls, "LU");
  recorder_.calls.clear();
  registry.NormalizeEncodingName("X-NEVER-SEEN");  // remembered now
  registry.NormalizeEncodingName("latin1");
  registry.NormalizeEncodingName(std::string(80, 'x').c_str());  // too long to remember
  registry.NormalizeEncodingName(nullptr);
  // Lookups, listings, creation and host registration take no lock.
  TEncodingConverter* converter = registry.CreateEncodingConverter("UTF-8", "ISO-10646-UCS-2");
  ASSERT_NE(converter, nullptr);
  converter->ReleaseEncodingConverter();
  registry.EnumerateEncodingConverters("*", "*");
  registry.NormalizeJavaEntity("JM");
  registry.FindJavaEntityName("X-M");
  registry.RegisterStaticConverters(nullptr);
  EXPECT_EQ(recorder_.calls, "");
}

TEST_F(HostMutex, EveryInitializeLocksOnce) {
  TEncodingRegistry registry(EncodingConverter::getDataDirectory());
  recorder_.calls.clear();
  registry.Initialize("/nonexistent/conv30/");
  nls_test::StderrCapture capture;
  registry.Initialize(nullptr);
  EXPECT_EQ(recorder_.calls, "LULU");
}

TEST_F(HostMutex, ReleasedOrReplacedImplementation) {
  LockRecorder other;
  MutexImplementation replacement = {&other, LockRecorder::Lock, LockRecorder::Unlock};
  NLSMutex::SetImplementation(&replacement);
  replacement.lock = nullptr;  // the library holds its own copy
  { TEncodingRegistry registry(EncodingConverter::getDataDirectory()); }
  EXPECT_EQ(other.calls, "LU");
  EXPECT_EQ(recorder_.calls, "");

  NLSMutex::ReleaseImplementation();
  EXPECT_EQ(NLSMutex::fgImplementation, nullptr);
  {
    TEncodingRegistry registry(EncodingConverter::getDataDirectory());
    registry.Initialize("/nonexistent/conv30/");
    registry.NormalizeEncodingName("x-after-release");
  }
  EXPECT_EQ(other.calls, "LU");
  EXPECT_EQ(recorder_.calls, "");
}

TEST_F(HostMutex, ScopeDecidesAtEachEnd) {
  {
    NLSMutex lock;
    EXPECT_EQ(recorder_.calls, "L");
    NLSMutex::ReleaseImplementation();
  }
  EXPECT_EQ(recorder_.calls, "L");  // nothing installed when the scope ended
  recorder_.depth = 0;
}

TEST(HostMutexThreads, ConcurrentNewNamesAreAllRemembered) {
  std::mutex mutex;
  MutexImplementation implementation = {&mutex,
                                        [](void* m) { static_cast<std::mutex*>(m)->lock(); },
                                        [](void* m) { static_cast<std::mutex*>(m)->unlock(); }};
  NLSMutex::SetImplementation(&implementation);
  TEncodingRegistry registry(EncodingConverter::getDataDirectory());
  constexpr int kThreads = 4, kNames = 300;
  auto name = [](int thread, int i) {
    return "x-thread-" + std::to_string(thread) + "-" + std::to_string(i);
  };
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kNames; ++i) {
        // New names are inserted under the lock while other threads look up
        // names in the same table without it.
        if (name(t, i) != registry.NormalizeEncodingName(name(t, i).c_str())) ++wrong;
        if (std::strcmp(registry.NormalizeEncodingName("latin1"), "ISO_8859-1:1987") != 0) ++wrong;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  NLSMutex::ReleaseImplementation();
  EXPECT_EQ(wrong.load(), 0);
  EXPECT_EQ(registry.AliasCount(), 67 + kThreads * kNames);
  for (int t = 0; t < kThreads; ++t) {
    for (int i = 0; i < kNames; ++i) {
      TAliasEntry* entry = registry.FindAliasItem(name(t, i).c_str());
      ASSERT_NE(entry, nullptr);
      EXPECT_EQ(name(t, i), entry->fNormalized);
    }
  }
}

// ---- Data directory ---------------------------------------------------------

TEST(DataDirectory, DefaultBeforeAnySet) { EXPECT_EQ(gInitialDataDirectory, "./conv30/"); }

TEST(DataDirectory, SetAndGet) {
  EncodingConverter::setDataDirectory(nullptr);
  EXPECT_STREQ(EncodingConverter::getDataDirectory(), "./conv30/");
  EncodingConverter::setDataDirectory("");
  EXPECT_STREQ(EncodingConverter::getDataDirectory(), "./conv30/");
  EncodingConverter::setDataDirectory("data");
  EXPECT_STREQ(EncodingConverter::getDataDirectory(), "data/conv30/");
  EncodingConverter::setDataDirectory("data/");
  EXPECT_STREQ(EncodingConverter::getDataDirectory(), "data/conv30/");
  EncodingConverter::setDataDirectory("/");
  EXPECT_STREQ(EncodingConverter::getDataDirectory(), "/conv30/");
  std::string base = "/opt/nls";
  EncodingConverter::setDataDirectory(base.c_str());
  base[1] = 'X';  // the path is a copy
  EXPECT_STREQ(EncodingConverter::getDataDirectory(), "/opt/nls/conv30/");
  const std::string longBase(500, 'd');
  EncodingConverter::setDataDirectory(longBase.c_str());
  EXPECT_EQ(longBase + "/conv30/", EncodingConverter::getDataDirectory());
}

TEST(DataDirectory, RegistryLoaderUsesIt) {
  EncodingConverter::setDataDirectory("/somewhere/else");
  TEncodingRegistry registry(EncodingConverter::getDataDirectory());
  ASSERT_NE(registry.fLinker, nullptr);
  EXPECT_STREQ(registry.fLinker->fDefaultLibraryPath, "/somewhere/else/conv30/");
}

}  // namespace

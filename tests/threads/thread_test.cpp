// Several threads use the library at once, with a host mutex installed: some
// stream random text through their own converter handles, others normalise
// names the registry has never seen, create and delete converters and list
// conversions. Every conversion must give the bytes that the same conversion
// gives on one thread, and every name must come back as a spelling of
// itself. Built with ThreadSanitizer (the tsan preset), the run must also be
// free of data races.
#include <gtest/gtest.h>
#include <pthread.h>
#include <strings.h>

#include <atomic>
#include <cstdio>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "nlscnv.h"
#include "nlscnv/registry/dll_linker.h"
#include "nlscnv/registry/registry_container.h"
#include "support/test_support.h"

using nls_test::Bytes;

namespace {

pthread_mutex_t gMutex = PTHREAD_MUTEX_INITIALIZER;
std::atomic<long> gLocks{0};
void Lock(void* m) {
  pthread_mutex_lock(static_cast<pthread_mutex_t*>(m));
  gLocks.fetch_add(1, std::memory_order_relaxed);
}
void Unlock(void* m) { pthread_mutex_unlock(static_cast<pthread_mutex_t*>(m)); }

// The data directory: the test's converter library is already in its
// conv30/; the registry files name it and one more alias.
const char* DataDirectory() {
  static const bool written = [] {
    const std::string conv = std::string(NLS_THREADS_DATA) + "/conv30/";
    FILE* f = std::fopen((conv + "encreg.txt").c_str(), "w");
    if (f == nullptr) return false;
    std::fputs(
        "X-THREAD ISO-10646-UCS-2 @@staticconvertersINTERNAL@@ "
        "NewLatin1ToUnicodeEncodingConverter #\n"
        "X-THREADLIB ISO-10646-UCS-2 nlsthreads NewThreadLatinToUnicode #\n"
        "ISO-10646-UCS-2 X-THREADLIB nlsthreads NewUnicodeToThreadLatin #\n",
        f);
    std::fclose(f);
    f = std::fopen((conv + "aliasreg.txt").c_str(), "w");
    if (f == nullptr) return false;
    std::fputs("thread-latin ISO_8859-1:1987\n", f);
    std::fclose(f);
    return true;
  }();
  return written ? NLS_THREADS_DATA : nullptr;
}

struct Pair {
  const char* from;
  const char* to;
};

// Direct and two-stage pairs of every built-in converter.
const Pair kPairs[] = {
    {"latin1", "UTF-8"},
    {"UTF-8", "ISO-10646-UCS-2"},
    {"ISO-10646-UCS-2", "UTF-7"},
    {"UTF-7", "x-mac-roman"},
    {"x-mac-roman", "ESCAPED_UNICODE"},
    {"ESCAPED_UNICODE", "ISO-10646-UCS-4"},
    {"ISO-10646-UCS-4", "IMAP-MODIFIED-UTF-7"},
    {"IMAP-MODIFIED-UTF-7", "thread-latin"},
    {"X-THREAD", "UTF-8"},
    {"X-THREADLIB", "UTF-8"},
    {"ISO-10646-UCS-4", "X-THREADLIB"},
};
constexpr size_t kPairCount = sizeof(kPairs) / sizeof(kPairs[0]);

Bytes RandomText(std::mt19937& rng, const char* from) {
  // Text that each source encoding reads whole: bytes without 0 for the
  // byte encodings, whole units for UCS-2 and UCS-4, ASCII for the
  // escaped and UTF-7 forms.
  const std::string name = from;
  const size_t n = 1 + rng() % 300;
  Bytes text;
  for (size_t i = 0; i < n; ++i) {
    if (name == "ISO-10646-UCS-2") {
      const uint16_t u = static_cast<uint16_t>(0x20 + rng() % 0x4000);
      text.insert(text.end(), reinterpret_cast<const uint8_t*>(&u),
                  reinterpret_cast<const uint8_t*>(&u) + 2);
    } else if (name == "ISO-10646-UCS-4") {
      const uint32_t u = 0x20 + rng() % 0x4000;
      text.insert(text.end(), reinterpret_cast<const uint8_t*>(&u),
                  reinterpret_cast<const uint8_t*>(&u) + 4);
    } else if (name == "latin1" || name == "x-mac-roman" || name == "X-THREAD" ||
               name == "X-THREADLIB") {
      text.push_back(static_cast<uint8_t>(1 + rng() % 255));
    } else if (name == "UTF-8") {
      const char* pieces[] = {"a", "\xC3\xA9", "\xE6\x97\xA5", "\xF0\x9F\x98\x80", " "};
      const std::string p = pieces[rng() % 5];
      text.insert(text.end(), p.begin(), p.end());
    } else {
      text.push_back(static_cast<uint8_t>(0x20 + rng() % 0x5F));
    }
  }
  return text;
}

// Streams through a handle with a small output buffer, draining each piece.
Bytes Stream(NLS_ConverterHandle h, const Bytes& text, unsigned outSize) {
  Bytes joined;
  std::vector<unsigned char> out(outSize < 64 ? 64 : outSize);
  unsigned produced = 0;
  int st = NLS_ConvertStreamBuffer(h, text.data(), static_cast<unsigned>(text.size()), out.data(),
                                   outSize, &produced);
  joined.insert(joined.end(), out.begin(), out.begin() + produced);
  for (int rounds = 0; st == 2 && rounds < 100000; ++rounds) {
    st = NLS_ConverterGetOverflow(h, out.data(), static_cast<unsigned>(out.size()), &produced);
    joined.insert(joined.end(), out.begin(), out.begin() + produced);
  }
  NLS_ResetEncodingConverter(h);
  return joined;
}

struct Job {
  size_t pair;
  Bytes text;
  unsigned outSize;
};

// Runs one thread's jobs through its own handles, one per pair, reset
// between texts; returns the outputs, or nothing for a job whose handle could
// not be made.
std::vector<Bytes> RunJobs(const std::vector<Job>& jobs, int* failures) {
  std::vector<Bytes> outputs;
  std::vector<NLS_ConverterHandle> handles(kPairCount, nullptr);
  for (const Job& job : jobs) {
    NLS_ConverterHandle& h = handles[job.pair];
    if (h == nullptr &&
        NLS_NewEncodingConverter(kPairs[job.pair].from, kPairs[job.pair].to, &h) != 1) {
      ++*failures;
      outputs.emplace_back();
      continue;
    }
    outputs.push_back(Stream(h, job.text, job.outSize));
  }
  for (NLS_ConverterHandle h : handles)
    if (h != nullptr) NLS_DeleteEncodingConverter(h);
  return outputs;
}

TEST(Threads, ConvertersNamesAndListsAtOnce) {
  NLS_EncTerminate();
  MutexImplementation mutex = {&gMutex, Lock, Unlock};
  ASSERT_NE(DataDirectory(), nullptr);
  ASSERT_EQ(NLS_EncInitialize(&mutex, DataDirectory()), 1);

  // Each thread's jobs. The threads start before anything else has used a
  // converter, so that the first use of every part happens on them.
  constexpr int kConverterThreads = 4;
  constexpr int kJobsPerThread = 60;
  std::vector<std::vector<Job>> jobs(kConverterThreads);
  std::vector<std::vector<Bytes>> outputs(kConverterThreads);
  std::mt19937 rng(20260801);
  for (int t = 0; t < kConverterThreads; ++t) {
    for (int j = 0; j < kJobsPerThread; ++j) {
      Job job;
      job.pair = rng() % kPairCount;
      job.text = RandomText(rng, kPairs[job.pair].from);
      job.outSize = 7 + static_cast<unsigned>(rng() % 90);
      jobs[t].push_back(job);
    }
    // Every thread begins with a pair whose converters fill tables on
    // first use (UTF-7 and modified UTF-7).
    jobs[t][0].pair = t % 2 ? 2 : 6;
    jobs[t][0].text = RandomText(rng, kPairs[jobs[t][0].pair].from);
  }

  std::atomic<int> failures{0};
  std::atomic<int> waiting{kConverterThreads};
  std::vector<std::thread> threads;
  for (int t = 0; t < kConverterThreads; ++t) {
    threads.emplace_back([&, t] {
      // All converter threads make their first converter at the same moment.
      waiting.fetch_sub(1);
      while (waiting.load() > 0) std::this_thread::yield();
      int failed = 0;
      outputs[t] = RunJobs(jobs[t], &failed);
      failures += failed;
    });
  }

  // Name and converter traffic: every thread asks for the same unknown
  // names in its own letter case.
  constexpr int kNameThreads = 3;
  constexpr int kNames = 150;
  std::atomic<int> wrongNames{0};
  for (int t = 0; t < kNameThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kNames; ++i) {
        char name[48];
        std::snprintf(name, sizeof name, t % 2 ? "X-UNSEEN-%d" : "x-unseen-%d", i);
        const char* normalized = NLS_GetNormalizedEncodingName(name);
        if (normalized == nullptr || strcasecmp(normalized, name) != 0) ++wrongNames;
        const char* known = NLS_GetNormalizedEncodingName(i % 2 ? "LATIN1" : "utf_8");
        if (std::string(known) != (i % 2 ? "ISO_8859-1:1987" : "UTF-8")) ++wrongNames;

        const Pair& pair = kPairs[(i + t) % kPairCount];
        NLS_ConverterHandle h = nullptr;
        if (NLS_NewEncodingConverter(pair.from, pair.to, &h) == 1) {
          NLS_DeleteEncodingConverter(h);
        } else {
          ++failures;
        }
        if (NLS_NewEncodingConverter(name, "UTF-8", &h) != -1301) ++failures;
        if (NLS_EncodingConverterExists(pair.from, pair.to) != 1) ++failures;
        if (i % 10 == 0) {
          NLS_EnumerationHandle list = nullptr;
          unsigned count = 0;
          if (NLS_NewEncodingConverterEnumeration("*", "ISO-10646-UCS-2", &list) != 1 ||
              NLS_CountEncodingConverters(list, &count) != 1 || count != 9) {
            ++failures;
          }
          NLS_DeleteEncodingConverterEnumeration(list);
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();

  // The same jobs once more, one thread after the other.
  int mismatches = 0;
  for (int t = 0; t < kConverterThreads; ++t) {
    int failed = 0;
    const std::vector<Bytes> expected = RunJobs(jobs[t], &failed);
    ASSERT_EQ(failed, 0);
    for (size_t j = 0; j < expected.size(); ++j) {
      ASSERT_FALSE(expected[j].empty()) << "a conversion gave nothing";
      if (outputs[t][j] != expected[j]) ++mismatches;
    }
  }
  EXPECT_EQ(mismatches, 0) << "conversions on several threads differ from one thread's";
  EXPECT_EQ(failures.load(), 0) << "calls failed on several threads";
  EXPECT_EQ(wrongNames.load(), 0);
  // Afterwards every unknown name is known, in one spelling for all cases.
  for (int i = 0; i < kNames; ++i) {
    char lower[48], upper[48];
    std::snprintf(lower, sizeof lower, "x-unseen-%d", i);
    std::snprintf(upper, sizeof upper, "X-UNSEEN-%d", i);
    EXPECT_STREQ(NLS_GetNormalizedEncodingName(lower), NLS_GetNormalizedEncodingName(upper));
  }
  EXPECT_GT(gLocks.load(), 2) << "the registry never took the host's mutex";
  EXPECT_EQ(NLS_EncTerminate(), 1);
}

}  // namespace

namespace {

// Lets `count` threads pass only together.
class StartLine {
 public:
  explicit StartLine(int count) : waiting_(count) {}
  void Pass() {
    waiting_.fetch_sub(1);
    while (waiting_.load() > 0) std::this_thread::yield();
  }

 private:
  std::atomic<int> waiting_;
};

// Entries added to one container by several threads at once all stay in it:
// none is lost to a concurrent insertion into the same chain.
TEST(Threads, ConcurrentInsertionsKeepEveryEntry) {
  constexpr int kThreads = 6;
  constexpr int kEach = 1500;
  TRegistry registry(7);
  StartLine start(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      start.Pass();
      for (int i = 0; i < kEach; ++i) {
        const std::string name = "entry-" + std::to_string(t) + "-" + std::to_string(i);
        auto* entry =
            new TEntryPoint(reinterpret_cast<void*>(static_cast<uintptr_t>(i + 1)), name.c_str());
        if (!registry.addEntry(entry)) delete entry;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();

  EXPECT_EQ(registry.fCount, kThreads * kEach);
  int enumerated = 0;
  TRegistryEnumeration all(&registry);
  while (all.next() != nullptr) ++enumerated;
  EXPECT_EQ(enumerated, kThreads * kEach);
  for (int t = 0; t < kThreads; ++t) {
    const std::string name = "ENTRY-" + std::to_string(t) + "-" + std::to_string(kEach - 1);
    EXPECT_NE(registry.lookup(name.c_str(), nullptr), nullptr) << name;
  }
}

// Threads that ask a fresh loader for an entry point of the same library at
// the same moment all get it, and the library is in the loader's list once.
TEST(Threads, ConcurrentFirstLoadsOfOneLibrary) {
  ASSERT_NE(DataDirectory(), nullptr);
  const std::string path = std::string(NLS_THREADS_DATA) + "/conv30/";
  constexpr int kThreads = 6;
  for (int round = 0; round < 25; ++round) {
    TDLLLinker linker(nullptr, 0, path.c_str());
    ASSERT_EQ(linker.GetStatus(), 1);
    StartLine start(kThreads);
    std::vector<void*> found(kThreads, nullptr);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([&, t] {
        start.Pass();
        found[t] = linker.NLS_FindSymbolInLibrary(
            "nlsthreads", t % 3 ? "NewThreadLatinToUnicode" : "NewUnicodeToThreadLatin");
      });
    }
    for (std::thread& thread : threads) thread.join();
    for (int t = 0; t < kThreads; ++t) {
      ASSERT_NE(found[t], nullptr) << "round " << round << ", thread " << t;
      EXPECT_EQ(found[t], found[t % 3 ? 1 : 0]) << "round " << round;
    }
    int records = 0;
    for (NLS_Library* library = linker.fLibraries; library != nullptr; library = library->next)
      records += std::string(library->name) == "nlsthreads";
    ASSERT_EQ(records, 1) << "round " << round;
  }
}

// Diagnostics raised on several threads while another thread keeps changing
// the handler: each goes to exactly one handler with that handler's own
// context, and none reaches a context after the change away from it has
// returned. Library loads fail meanwhile, and the registry information is
// read while they do.
struct HandlerContext {
  std::atomic<bool> retired{false};
  std::atomic<long> calls{0};
};
std::atomic<long> gLateCalls{0};
std::atomic<long> gUnexpectedLines{0};

void CountingHandler(void* context, int line, const char* unit) {
  HandlerContext* c = static_cast<HandlerContext*>(context);
  if (c->retired.load()) gLateCalls.fetch_add(1);
  const std::string u = unit;
  if (!((line == 144 && u == "nlsenc") || ((line == 499 || line == 266) && u == "linker")))
    gUnexpectedLines.fetch_add(1);
  c->calls.fetch_add(1);
  // Still inside: the change away from this context must wait for the return.
  std::this_thread::yield();
  if (c->retired.load()) gLateCalls.fetch_add(1);
}

TEST(Threads, DiagnosticHandlerChangesWhileDiagnosing) {
  NLS_EncTerminate();
  MutexImplementation mutex = {&gMutex, Lock, Unlock};
  ASSERT_NE(DataDirectory(), nullptr);
  ASSERT_EQ(NLS_EncInitialize(&mutex, DataDirectory()), 1);
  const std::string path = std::string(NLS_THREADS_DATA) + "/conv30/";
  TDLLLinker linker(nullptr, 0, path.c_str());

  constexpr int kRaisers = 2;
  constexpr int kChanges = 2000;
  std::vector<HandlerContext> contexts(kChanges);
  ASSERT_EQ(NLS_SetDiagnosticHandler(CountingHandler, &contexts[0]), 1);
  std::atomic<bool> done{false};
  std::atomic<long> raised{0};
  std::atomic<long> badInfo{0};
  StartLine start(kRaisers + 2);
  std::vector<std::thread> threads;
  for (int t = 0; t < kRaisers; ++t) {
    threads.emplace_back([&] {
      start.Pass();
      while (!done.load()) {
        NLS_ConverterHandle h;
        if (NLS_NewEncodingConverter(nullptr, "UTF-8", &h) != -1009) badInfo.fetch_add(1);
        if (linker.NLS_LoadLibrary("nlsnone") != -1300) badInfo.fetch_add(1);
        raised.fetch_add(3);  // lines 144, 499 and 266
      }
    });
  }
  threads.emplace_back([&] {
    uint32_t failures = 0;
    start.Pass();
    while (!done.load()) {
      NLS_RegistryInfo seen = {};
      seen.size = sizeof seen;
      if (NLS_GetRegistryInfo(&seen) != 1 || seen.libraryFailures < failures) badInfo.fetch_add(1);
      failures = seen.libraryFailures;
      if (seen.lastLibraryFailure != nullptr &&
          std::string(seen.lastLibraryFailure) !=
              path + "libnlsnone30.so: No such file or directory")
        badInfo.fetch_add(1);
    }
  });
  // Now and then a handler must have received diagnostics before it is
  // replaced, so that changes and deliveries overlap throughout.
  start.Pass();
  for (int i = 1; i < kChanges; ++i) {
    while (i % 100 == 0 && contexts[i - 1].calls.load() == 0) std::this_thread::yield();
    ASSERT_EQ(NLS_SetDiagnosticHandler(CountingHandler, &contexts[i]), 1);
    contexts[i - 1].retired.store(true);
  }
  done.store(true);
  for (std::thread& thread : threads) thread.join();
  ASSERT_EQ(NLS_SetDiagnosticHandler(NLS_PrintDiagnostic, nullptr), 1);

  long delivered = 0;
  for (const HandlerContext& c : contexts) delivered += c.calls.load();
  EXPECT_EQ(delivered, raised.load());
  EXPECT_EQ(gLateCalls.load(), 0);
  EXPECT_EQ(gUnexpectedLines.load(), 0);
  EXPECT_EQ(badInfo.load(), 0);
}

}  // namespace

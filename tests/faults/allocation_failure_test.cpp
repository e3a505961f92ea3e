// Every allocation of a scenario fails once: the scenario is run once to
// count its allocations, then once for each of them with exactly that one
// failing. Each run must neither crash nor leak; the step in which the
// allocation failed must answer one of its documented statuses and print
// only its documented diagnostic lines; the steps before it must behave as
// in the run without failure. Over all runs, every diagnostic line that a
// step documents for a failed allocation must have been seen.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "faults/allocation_hooks.h"
#include "faults/fault_env.h"
#include "nlscnv.h"
#include "nlscnv/conversion/encoding_converter.h"
#include "support/test_support.h"

namespace {

using LineSet = std::set<std::string>;  // "unit:line"

constexpr int kMaxSteps = 12;
constexpr int kMaxValues = 48;

// ---- Recording a run ----------------------------------------------------------

// Statuses and other answers of a run, kept in fixed arrays so that the
// recording itself allocates nothing inside the window.
struct Record {
  int steps = 0;
  long boundary[kMaxSteps + 1] = {};  // allocations before each step
  size_t stderrOffset[kMaxSteps + 1] = {};
  int statusCount[kMaxSteps] = {};
  int status[kMaxSteps][kMaxValues] = {};
  int valueCount[kMaxSteps] = {};
  long value[kMaxSteps][kMaxValues] = {};
  std::string text[kMaxSteps];  // what each step printed
};

class Recorder {
 public:
  Recorder(Record* record, nls_test::StderrCapture* capture) : r_(record), capture_(capture) {}

  // Marks the start of step `id` (steps are numbered 0, 1, 2, ... in order).
  void Step(int id) {
    nls_faults::PauseWindow();
    r_->boundary[id] = nls_faults::Allocations();
    r_->stderrOffset[id] = capture_->Text().size();
    r_->steps = id + 1;
    current_ = id;
    nls_faults::ResumeWindow();
  }
  // A status code: checked against the statuses the step may answer.
  void Status(int status) {
    if (r_->statusCount[current_] < kMaxValues)
      r_->status[current_][r_->statusCount[current_]++] = status;
  }
  // Any other answer: compared with the run without failure only.
  void Value(long value) {
    if (r_->valueCount[current_] < kMaxValues)
      r_->value[current_][r_->valueCount[current_]++] = value;
  }
  void Finish() {
    nls_faults::CloseWindow();
    r_->boundary[r_->steps] = nls_faults::Allocations();
    const std::string all = capture_->Text();
    r_->stderrOffset[r_->steps] = all.size();
    for (int i = 0; i < r_->steps; ++i)
      r_->text[i] = all.substr(r_->stderrOffset[i], r_->stderrOffset[i + 1] - r_->stderrOffset[i]);
  }

 private:
  Record* r_;
  nls_test::StderrCapture* capture_;
  int current_ = 0;
};

// The diagnostic lines in a step's output; anything else there is reported.
LineSet ParseLines(const std::string& text, std::string* garbage) {
  LineSet lines;
  std::istringstream in(text);
  std::string line;
  while (std::getline(in, line)) {
    int number = 0;
    char unit[32] = {};
    char bell = 0;
    if (std::sscanf(line.c_str(), "assert: line %d, file %31[a-z0-9]%c", &number, unit, &bell) ==
            3 &&
        bell == '\a') {
      lines.insert(std::string(unit) + ":" + std::to_string(number));
    } else {
      *garbage += line + "\n";
    }
  }
  return lines;
}

std::string Join(const LineSet& lines) {
  std::string s;
  for (const std::string& l : lines) s += l + " ";
  return s;
}

// ---- What each step may do when one of its allocations fails -------------------

struct StepRules {
  const char* name;
  std::set<int> statuses;  // statuses the step may answer
  LineSet mayPrint;        // lines a failed allocation may cause here
  LineSet mustSee;         // lines that some failed allocation must cause here
};

class Scenario {
 public:
  virtual ~Scenario() = default;
  virtual std::vector<StepRules> Rules() const = 0;
  // Runs the steps inside the window.
  virtual void Run(Recorder& rec) = 0;
};

// Runs the scenario without and then with each allocation failing.
void SweepAllocations(Scenario& scenario, const char* name, long* allocationCount) {
  const std::vector<StepRules> rules = scenario.Rules();
  auto runOnce = [&](long failAt, Record* record) {
    nls_test::StderrCapture capture;
    Recorder rec(record, &capture);
    nls_faults::OpenWindow(failAt);
    scenario.Run(rec);
    rec.Finish();
    // Release what libc's dynamic loader keeps for the last error message.
    dlerror();
    dlerror();
  };

  // Run twice without failure: the first run warms up whatever the process
  // allocates only once; the second is the reference.
  Record warm;
  runOnce(0, &warm);
  Record base;
  runOnce(0, &base);
  const long total = base.boundary[base.steps];
  *allocationCount = total;
  ASSERT_GT(total, 0);
  ASSERT_EQ(base.steps, static_cast<int>(rules.size()));
  std::vector<LineSet> baseLines(rules.size());
  for (size_t s = 0; s < rules.size(); ++s) {
    std::string garbage;
    baseLines[s] = ParseLines(base.text[s], &garbage);
    EXPECT_EQ(garbage, "") << name << ": step " << rules[s].name << " printed";
  }
  EXPECT_EQ(nls_faults::LiveBlocks(EncodingConverter::getDataDirectory()), 0)
      << name << ": a run without failure leaks " << nls_faults::FirstLiveSize() << " bytes";

  LineSet legal;
  for (size_t s = 0; s < rules.size(); ++s) {
    legal.insert(rules[s].mayPrint.begin(), rules[s].mayPrint.end());
    legal.insert(baseLines[s].begin(), baseLines[s].end());
  }
  std::vector<LineSet> seen(rules.size());
  int failures = 0;
  for (long n = 1; n <= total && failures < 20; ++n) {
    Record run;
    runOnce(n, &run);
    std::ostringstream where;
    where << name << ", allocation " << n << " of " << total;
    if (!nls_faults::Failed()) {
      ADD_FAILURE() << where.str() << ": the scenario no longer reaches this allocation";
      ++failures;
      continue;
    }
    const long leaked = nls_faults::LiveBlocks(EncodingConverter::getDataDirectory());
    if (leaked != 0) {
      ADD_FAILURE() << where.str() << ": " << leaked << " blocks leaked (first of "
                    << nls_faults::FirstLiveSize() << " bytes)";
      ++failures;
    }
    // The step in which the allocation failed.
    int failed = 0;
    while (failed + 1 < run.steps && run.boundary[failed + 1] < n) ++failed;
    where << " (step " << rules[failed].name << ")";

    for (int s = 0; s < run.steps; ++s) {
      std::string garbage;
      const LineSet lines = ParseLines(run.text[s], &garbage);
      if (!garbage.empty()) {
        ADD_FAILURE() << where.str() << ": step " << rules[s].name << " printed " << garbage;
        ++failures;
      }
      bool ok = true;
      if (s < failed) {
        // Nothing has failed yet: the step behaves as without failure.
        ok = lines == baseLines[s] && run.statusCount[s] == base.statusCount[s] &&
             std::equal(run.status[s], run.status[s] + run.statusCount[s], base.status[s]) &&
             run.valueCount[s] == base.valueCount[s] &&
             std::equal(run.value[s], run.value[s] + run.valueCount[s], base.value[s]);
      } else {
        for (int i = 0; i < run.statusCount[s]; ++i)
          if (rules[s].statuses.count(run.status[s][i]) == 0) ok = false;
        for (const std::string& l : lines) {
          const bool allowed = s == failed ? (baseLines[s].count(l) || rules[s].mayPrint.count(l))
                                           : legal.count(l) != 0;
          if (!allowed) ok = false;
          if (s == failed && !baseLines[s].count(l)) seen[s].insert(l);
        }
      }
      if (!ok) {
        std::ostringstream statuses;
        for (int i = 0; i < run.statusCount[s]; ++i) statuses << run.status[s][i] << " ";
        ADD_FAILURE() << where.str() << ": step " << rules[s].name << " answered [ "
                      << statuses.str() << "] and printed [ " << Join(lines) << "]";
        ++failures;
      }
    }
  }
  for (size_t s = 0; s < rules.size(); ++s)
    for (const std::string& l : rules[s].mustSee)
      EXPECT_TRUE(seen[s].count(l)) << name << ": no failed allocation in step " << rules[s].name
                                    << " printed " << l << " (seen: " << Join(seen[s]) << ")";
}

// ---- Scenarios --------------------------------------------------------------

const std::set<int> kNewStatuses = {1, -1002, -1007, -1008, -1301};
const std::set<int> kConvertStatuses = {1, 2, -1002, -1009, -1014, -1304};

// Converts through a handle and drains it; records every status.
void Stream(Recorder& rec, NLS_ConverterHandle h) {
  if (h == nullptr) return;
  unsigned char out[16];
  unsigned produced = 0, total = 0;
  int st = NLS_ConvertStreamBuffer(h, nls_faults::kLatin, sizeof nls_faults::kLatin - 1, out, 10,
                                   &produced);
  rec.Status(st);
  total += produced;
  for (int round = 0; st == 2 && round < 20; ++round) {
    st = NLS_ConverterGetOverflow(h, out, sizeof out, &produced);
    rec.Status(st);
    total += produced;
  }
  rec.Value(total);
}

// The library initialised by the host, with its mutex and registry files.
class HostScenario : public Scenario {
 public:
  enum { kInit, kDirect, kTwoStage, kStream, kList, kNames, kRegister, kWhole, kEnd };

  std::vector<StepRules> Rules() const override {
    return {
        {"initialise",
         {1},
         {"reg:57",  "reg:59",     "reg:61",     "reg:63",     "reg:67",    "reg:68",  "reg:76",
          "reg:83",  "reg:87",     "reg:95",     "reg:164",    "reg:172",   "reg:186", "reg:201",
          "reg:215", "reg:224",    "reg:238",    "reg:274",    "reg:281",   "reg:333", "reg:335",
          "reg:360", "enconv:181", "enconv:221", "linker:159", "linker:175"},
         {"reg:57",  "reg:59",     "reg:61",     "reg:63",     "reg:67",    "reg:68",  "reg:76",
          "reg:83",  "reg:87",     "reg:95",     "reg:164",    "reg:172",   "reg:186", "reg:201",
          "reg:215", "reg:224",    "reg:238",    "reg:274",    "reg:281",   "reg:333", "reg:335",
          "reg:360", "enconv:181", "enconv:221", "linker:159", "linker:175"}},
        {"direct converter", kNewStatuses, {"nlsenc:147", "enconv:90"}, {"nlsenc:147"}},
        {"two-stage converter",
         kNewStatuses,
         {"nlsenc:147", "enconv:79", "enconv:81", "enconv:83"},
         {"nlsenc:147", "enconv:79", "enconv:81", "enconv:83"}},
        {"stream", kConvertStatuses, {"twostage:60"}, {"twostage:60"}},
        // "*" is a new name for the alias table the first time.
        {"list",
         {1, -1015},
         {"nlsenc:291", "enconv:553", "enconv:554", "reg:479"},
         {"nlsenc:291", "enconv:553", "enconv:554"}},
        {"names", {}, {"reg:479"}, {"reg:479"}},
        {"register",
         {1, -1002, -1007, -1008, -1301},
         // An entry point of the host's list that the loader could not keep
         // is missing when the converter is made.
         {"reg:618", "reg:626", "reg:630", "nlsenc:147", "enconv:79", "enconv:81", "enconv:83",
          "enconv:90", "linker:733", "reg:533"},
         {"reg:618", "reg:626", "reg:630"}},
        {"whole buffer",
         {1, 2, -1002, -1014},
         {"enconv:437", "enconv:79", "enconv:81", "enconv:83", "twostage:60"},
         {"enconv:437", "enconv:79"}},
        {"terminate", {1}, {}, {}},
    };
  }

  void Run(Recorder& rec) override {
    MutexImplementation mutex = nls_faults::HostMutex();
    rec.Step(kInit);
    rec.Status(NLS_EncInitialize(&mutex, nls_faults::FilesDirectory()));

    NLS_ConverterHandle direct = nullptr, twoStage = nullptr, host = nullptr;
    rec.Step(kDirect);
    rec.Status(NLS_NewEncodingConverter("UTF-8", "ISO-10646-UCS-2", &direct));
    rec.Step(kTwoStage);
    rec.Status(NLS_NewEncodingConverter("latin-one", "UTF-8", &twoStage));

    rec.Step(kStream);
    Stream(rec, twoStage);

    rec.Step(kList);
    NLS_EnumerationHandle list = nullptr;
    int st = NLS_NewEncodingConverterEnumeration("*", "ISO-10646-UCS-2", &list);
    rec.Status(st);
    if (st == 1) {
      unsigned count = 0;
      NLS_CountEncodingConverters(list, &count);
      rec.Value(count);
      NLS_DeleteEncodingConverterEnumeration(list);
    }
    st = NLS_NewEncodingConverterEnumeration("x-file-alias", "UTF-8", &list);
    rec.Status(st);
    if (st == 1) {
      unsigned count = 0;
      NLS_CountEncodingConverters(list, &count);
      rec.Value(count);
      NLS_DeleteEncodingConverterEnumeration(list);
    }

    rec.Step(kNames);
    const char* unknown = NLS_GetNormalizedEncodingName("X-NEVER-SEEN");
    rec.Value(std::strcmp(unknown, "X-NEVER-SEEN") == 0 ? 1 : unknown[0] == '\0' ? 0 : -1);
    const char* java = NLS_GetEncodingNameFromJava("JFILE");
    rec.Value(java != nullptr && std::strcmp(java, "X-FILE") == 0);

    rec.Step(kRegister);
    rec.Status(NLS_RegisterStaticLibrary(nls_faults::kHostList));
    rec.Status(NLS_NewEncodingConverter("X-HOST", "x-file-alias", &host));

    rec.Step(kWhole);
    unsigned char out[64];
    unsigned produced = 0;
    rec.Status(NLS_ConvertBuffer("latin1", "UTF-8", nls_faults::kLatin,
                                 sizeof nls_faults::kLatin - 1, out, sizeof out, &produced));
    rec.Value(produced);
    rec.Value(NLS_GetResultBufferSize(nls_faults::kLatin, 4, "latin1", "ESCAPED_UNICODE"));
    rec.Value(NLS_EncodingConverterExists("X-FILE", "UTF-8"));

    rec.Step(kEnd);
    if (direct) rec.Status(NLS_DeleteEncodingConverter(direct));
    if (twoStage) rec.Status(NLS_DeleteEncodingConverter(twoStage));
    if (host) rec.Status(NLS_DeleteEncodingConverter(host));
    rec.Status(NLS_EncTerminate());
  }
};

// The library initialised by its first call, without mutex and files.
class OnDemandScenario : public Scenario {
 public:
  enum { kFirstCall, kWhole, kEnd };

  std::vector<StepRules> Rules() const override {
    return {
        {"first call",
         kNewStatuses,
         {"enconv:168", "enconv:221", "reg:57",     "reg:59",     "reg:61",     "reg:63",
          "reg:67",     "reg:68",     "reg:76",     "reg:83",     "reg:87",     "reg:95",
          "reg:164",    "reg:172",    "linker:159", "linker:175", "nlsenc:147", "enconv:79",
          "enconv:81",  "enconv:83",  "enconv:90"},
         {"enconv:168", "enconv:221", "reg:57", "reg:95", "reg:164", "reg:172", "nlsenc:147",
          "enconv:79", "enconv:81", "enconv:83"}},
        {"whole buffer",
         {1, 2, -1002, -1014},
         {"enconv:79", "enconv:81", "enconv:83", "twostage:60"},
         {"enconv:79", "enconv:81", "enconv:83"}},
        {"terminate", {1}, {}, {}},
    };
  }

  void Run(Recorder& rec) override {
    NLS_ConverterHandle h = nullptr;
    rec.Step(kFirstCall);
    rec.Status(NLS_NewEncodingConverter("latin1", "UTF-8", &h));
    rec.Step(kWhole);
    unsigned char out[64];
    unsigned produced = 0;
    rec.Status(NLS_ConvertBuffer("UTF-8", "ISO-10646-UCS-4", nls_faults::kLatin, 4, out, sizeof out,
                                 &produced));
    rec.Value(produced);
    rec.Step(kEnd);
    if (h) rec.Status(NLS_DeleteEncodingConverter(h));
    rec.Status(NLS_EncTerminate());
  }
};

class AllocationFailure : public ::testing::Test {
 protected:
  void SetUp() override {
    // On-demand initialisation reads the directory from the environment.
    unsetenv("QV_NLS_DATADIRECTORY");
    NLS_EncTerminate();
    nls_faults::FilesDirectory();  // made once, outside every window
  }
};

TEST_F(AllocationFailure, EveryAllocationOfAHostSession) {
  HostScenario scenario;
  long count = 0;
  SweepAllocations(scenario, "host session", &count);
  std::printf("host session: %ld allocations, each failed once\n", count);
}

TEST_F(AllocationFailure, EveryAllocationOfOnDemandInitialisation) {
  OnDemandScenario scenario;
  long count = 0;
  SweepAllocations(scenario, "on-demand initialisation", &count);
  std::printf("on-demand initialisation: %ld allocations, each failed once\n", count);
}

}  // namespace

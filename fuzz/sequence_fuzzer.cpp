// Drives the exported interface with a random sequence of calls: converter
// handles created, fed, drained, reset and deleted in any order, whole-buffer
// conversions, listings, name look-ups, detection, host registrations and
// re-initialisation, with names that include aliases, patterns, unknown,
// empty, overlong and non-ASCII ones. Every call is checked against its
// buffers and its documented statuses, and calls that answer the same
// question in different ways must agree.
#include <sys/stat.h>

#include <cstdlib>
#include <string>

#include "fuzz_support.h"

using nls_fuzz::Bytes;
using nls_fuzz::ExactInput;
using nls_fuzz::GuardedOutput;

namespace {

std::string gDirectory;

int gDepth = 0;
void Lock(void*) {
  FUZZ_CHECK(gDepth == 0, "the library took the lock while holding it");
  ++gDepth;
}
void Unlock(void*) {
  FUZZ_CHECK(gDepth == 1, "the library released a lock it did not hold");
  --gDepth;
}
const MutexImplementation kMutex = {nullptr, Lock, Unlock};

// A host's own conversions, kept alive for the whole process.
const NLS_StaticConverterEntry kHostList[] = {
    {"X-HOST-LATIN", "ISO-10646-UCS-2", "HostLatinIn", NEWLATIN1TOUNICODEENCODINGCONVERTER},
    {"ISO-10646-UCS-2", "X-HOST-LATIN", "HostLatinOut", NEWUNICODETOLATIN1ENCODINGCONVERTER},
    {"UTF-8", "ISO-10646-UCS-2", "HostUtf8In", NEWUTF8TOUNICODEENCODINGCONVERTER},
    {nullptr, nullptr, nullptr, nullptr},
};
const NLS_StaticConverterEntry kEmptyHostList[] = {{"A", "B", nullptr, nullptr}};

const std::string kLong(200, 'q');
const std::string k63(63, 'r');
const std::string k64(64, 's');

const char* const kNames[] = {
    "latin1",
    "ISO_8859-1:1987",
    "UTF-8",
    "utf_8",
    "ISO-10646-UCS-2",
    "ISO-10646-UCS-4",
    "x-mac-roman",
    "ESCAPED_UNICODE",
    "UTF-7",
    "IMAP-MODIFIED-UTF-7",
    "euc-jp",
    "*",
    "*UTF",
    "",
    "X-HOST-LATIN",
    "\xC3\xA9t\xE9",
    "\xFF\xFE\x80",
    "Latin1",
    "no such name",
    "US-ASCII",
};
constexpr size_t kNameCount = sizeof(kNames) / sizeof(kNames[0]);

struct State {
  std::vector<NLS_ConverterHandle> handles;
  std::vector<unsigned> terminators;  // terminator size of each handle's output
  std::vector<NLS_EnumerationHandle> lists;
};

unsigned TerminatorOf(const char* to) {
  const std::string canonical = NLS_GetNormalizedEncodingName(to);
  if (canonical == "ISO-10646-UCS-2") return 2;
  if (canonical == "ISO-10646-UCS-4") return 4;
  return 1;
}

bool Plain(const char* name) { return name != nullptr && name[0] != '*'; }

void CheckConversion(const char* call, int status, unsigned produced, const GuardedOutput& out,
                     unsigned terminator) {
  FUZZ_CHECK(out.DamagedGuard() < 0, "%s wrote past %u bytes", call, out.size());
  FUZZ_CHECK(nls_fuzz::KnownConversionStatus(status), "%s answered %d", call, status);
  FUZZ_CHECK(produced <= out.size(), "%s produced %u into %u", call, produced, out.size());
  if (status > 0 && produced + terminator <= out.size())
    FUZZ_CHECK(out.ZeroAt(produced, terminator), "%s left out the terminator", call);
}

void DeleteAll(State* state) {
  for (NLS_ConverterHandle h : state->handles)
    FUZZ_CHECK(NLS_DeleteEncodingConverter(h) == 1, "delete refused");
  for (NLS_EnumerationHandle l : state->lists)
    FUZZ_CHECK(NLS_DeleteEncodingConverterEnumeration(l) == 1, "delete refused");
  state->handles.clear();
  state->terminators.clear();
  state->lists.clear();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  nls_fuzz::KeepReportChannel();
  static char base[] = "/tmp/nls_fuzz_sequence_XXXXXX";
  gDirectory = mkdtemp(base);
  // Initialisation on demand reads the directory from the environment.
  setenv("QV_NLS_DATADIRECTORY", gDirectory.c_str(), 1);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider control(data, size);
  State state;
  NLS_EncInitialize(control.ConsumeBool() ? &kMutex : nullptr, gDirectory.c_str());
  std::string chosen = control.ConsumeRandomLengthString(100);
  chosen = chosen.substr(0, chosen.find('\0'));

  auto name = [&]() -> const char* {
    const size_t pick = control.ConsumeIntegralInRange<size_t>(0, kNameCount + 4);
    if (pick < kNameCount) return kNames[pick];
    switch (pick - kNameCount) {
      case 0:
        return kLong.c_str();
      case 1:
        return k63.c_str();
      case 2:
        return k64.c_str();
      case 3:
        return chosen.c_str();
      default:
        return nullptr;
    }
  };
  auto text = [&]() {
    return control.ConsumeBytes<uint8_t>(control.ConsumeIntegralInRange<size_t>(0, 200));
  };
  auto outSize = [&]() { return control.ConsumeIntegralInRange<unsigned>(0, 300); };

  for (int op = 0; op < 64 && control.remaining_bytes() > 0; ++op) {
    switch (control.ConsumeIntegralInRange<int>(0, 15)) {
      case 0: {  // new converter
        const char* from = name();
        const char* to = name();
        NLS_ConverterHandle h = reinterpret_cast<NLS_ConverterHandle>(1);
        const int status = NLS_NewEncodingConverter(from, to, &h);
        FUZZ_CHECK(status == 1 || status == -1009 || status == -1301 || status == -1007 ||
                       status == -1008 || status == -1002 || status == -1010,
                   "new converter: %d", status);
        FUZZ_CHECK((status == 1) == (h != nullptr), "status %d, handle %p", status, h);
        if (from == nullptr || to == nullptr) FUZZ_CHECK(status == -1009, "null name: %d", status);
        if (Plain(from) && Plain(to))
          FUZZ_CHECK((status == 1) == (NLS_EncodingConverterExists(from, to) == 1),
                     "\"%s\" > \"%s\": created %d but exists %d", from, to, status,
                     NLS_EncodingConverterExists(from, to));
        if (status == 1) {
          state.handles.push_back(h);
          state.terminators.push_back(TerminatorOf(to));
        }
        break;
      }
      case 1: {  // delete a converter
        if (state.handles.empty()) break;
        const size_t i = control.ConsumeIntegralInRange<size_t>(0, state.handles.size() - 1);
        FUZZ_CHECK(NLS_DeleteEncodingConverter(state.handles[i]) == 1, "delete refused");
        state.handles.erase(state.handles.begin() + static_cast<long>(i));
        state.terminators.erase(state.terminators.begin() + static_cast<long>(i));
        break;
      }
      case 2:
      case 3: {  // stream a piece
        if (state.handles.empty()) break;
        const size_t i = control.ConsumeIntegralInRange<size_t>(0, state.handles.size() - 1);
        const Bytes bytes = text();
        ExactInput input(bytes);
        GuardedOutput out(outSize());
        unsigned produced = 0;
        const int status = NLS_ConvertStreamBuffer(state.handles[i], input.data(), input.size(),
                                                   out.data(), out.size(), &produced);
        CheckConversion("NLS_ConvertStreamBuffer", status, produced, out, state.terminators[i]);
        unsigned need = 0;
        FUZZ_CHECK(NLS_GetConversionOverflowSize(state.handles[i], &need) == 1, "overflow size");
        FUZZ_CHECK(need % 7 == 0 && need / 7 <= bytes.size(), "holds %u of %zu bytes", need / 7,
                   bytes.size());
        break;
      }
      case 4: {  // drain
        if (state.handles.empty()) break;
        const size_t i = control.ConsumeIntegralInRange<size_t>(0, state.handles.size() - 1);
        unsigned before = 0;
        NLS_GetConversionOverflowSize(state.handles[i], &before);
        GuardedOutput out(outSize());
        unsigned produced = 0;
        const int status =
            NLS_ConverterGetOverflow(state.handles[i], out.data(), out.size(), &produced);
        if (out.size() == 0) {
          FUZZ_CHECK(status == -1009 && produced == 0, "empty buffer: %d", status);
        } else {
          CheckConversion("NLS_ConverterGetOverflow", status, produced, out, state.terminators[i]);
        }
        unsigned after = 0;
        NLS_GetConversionOverflowSize(state.handles[i], &after);
        FUZZ_CHECK(after <= before, "draining grew the held input from %u to %u", before, after);
        break;
      }
      case 5: {  // reset and the always-empty leftover
        if (state.handles.empty()) break;
        const size_t i = control.ConsumeIntegralInRange<size_t>(0, state.handles.size() - 1);
        FUZZ_CHECK(NLS_ResetEncodingConverter(state.handles[i]) == 1, "reset refused");
        unsigned need = 1, rem = 1, copied = 1;
        NLS_GetConversionOverflowSize(state.handles[i], &need);
        FUZZ_CHECK(need == 0, "reset kept %u bytes", need / 7);
        FUZZ_CHECK(NLS_GetConversionRemSize(state.handles[i], &rem) == 1 && rem == 0, "rem size");
        FUZZ_CHECK(NLS_GetConversionRem(state.handles[i], nullptr, 0, &copied) == 1 && copied == 0,
                   "rem copied %u", copied);
        break;
      }
      case 6: {  // whole buffer
        const char* from = name();
        const char* to = name();
        const Bytes bytes = text();
        ExactInput input(bytes);
        static const uint8_t kNothing = 0;
        GuardedOutput out(outSize());
        unsigned produced = 77;
        const int status = NLS_ConvertBuffer(from, to, bytes.empty() ? &kNothing : input.data(),
                                             input.size(), out.data(), out.size(), &produced);
        if (from == nullptr || to == nullptr || out.size() == 0) {
          FUZZ_CHECK(status == -1009 && produced == 0, "bad arguments: %d", status);
        } else {
          CheckConversion("NLS_ConvertBuffer", status, produced, out, TerminatorOf(to));
          if (Plain(from) && Plain(to) && NLS_EncodingConverterExists(from, to) == 0)
            FUZZ_CHECK(status == -1014 && produced == 0, "no converter but %d", status);
        }
        break;
      }
      case 7: {  // sizes and existence agree
        const char* from = name();
        const char* to = name();
        const unsigned length = control.ConsumeIntegral<uint16_t>();
        const unsigned bytes = NLS_GetResultBufferSize(nullptr, length, from, to);
        const int exists = NLS_EncodingConverterExists(from, to);
        FUZZ_CHECK(exists == 0 || exists == 1, "exists answered %d", exists);
        if (Plain(from) && Plain(to))
          FUZZ_CHECK((bytes != 0) == (exists == 1), "\"%s\" > \"%s\": size %u, exists %d", from, to,
                     bytes, exists);
        if (bytes != 0) FUZZ_CHECK(bytes >= 2 && bytes >= length, "size %u for %u", bytes, length);
        break;
      }
      case 8: {  // a listing
        const char* from = name();
        const char* to = name();
        NLS_EnumerationHandle list = nullptr;
        FUZZ_CHECK(NLS_NewEncodingConverterEnumeration(from, to, &list) == 1 && list != nullptr,
                   "enumeration refused");
        unsigned count = 0;
        FUZZ_CHECK(NLS_CountEncodingConverters(list, &count) == 1, "count refused");
        if (Plain(from) && Plain(to))
          FUZZ_CHECK(count == static_cast<unsigned>(NLS_EncodingConverterExists(from, to)),
                     "\"%s\" > \"%s\": %u listed, exists %d", from, to, count,
                     NLS_EncodingConverterExists(from, to));
        char a[64], b[64];
        for (unsigned k = 0; k < count; ++k) {
          std::memset(a, 0x7F, sizeof a);
          std::memset(b, 0x7F, sizeof b);
          FUZZ_CHECK(NLS_GetEncodingConverterListItem(list, k, a, b) == 1, "item %u", k);
          FUZZ_CHECK(std::memchr(a, 0, 64) != nullptr && std::memchr(b, 0, 64) != nullptr,
                     "item %u is not terminated within 64 bytes", k);
          FUZZ_CHECK(NLS_EncodingConverterExists(a, b) == 1, "listed %s > %s does not exist", a, b);
        }
        FUZZ_CHECK(NLS_GetEncodingConverterListItem(list, count, a, b) == -1009, "past the end");
        state.lists.push_back(list);
        break;
      }
      case 9: {  // delete a listing
        if (state.lists.empty()) break;
        const size_t i = control.ConsumeIntegralInRange<size_t>(0, state.lists.size() - 1);
        FUZZ_CHECK(NLS_DeleteEncodingConverterEnumeration(state.lists[i]) == 1, "delete refused");
        state.lists.erase(state.lists.begin() + static_cast<long>(i));
        break;
      }
      case 10: {  // names
        const char* query = name();
        const char* normalized = NLS_GetNormalizedEncodingName(query);
        FUZZ_CHECK(normalized != nullptr, "no normalized name");
        if (query == nullptr) {
          FUZZ_CHECK(std::string(normalized) == "*", "null normalizes to %s", normalized);
        } else {
          const std::string first = normalized;
          const char* again = NLS_GetNormalizedEncodingName(first.c_str());
          FUZZ_CHECK(again != nullptr && first == again, "\"%s\" > \"%s\" > \"%s\"", query,
                     first.c_str(), again ? again : "(null)");
        }
        const char* fromJava = NLS_GetEncodingNameFromJava(query);
        const char* toJava = NLS_GetJavaEncodingName(query);
        if (query == nullptr) {
          FUZZ_CHECK(
              fromJava && toJava && std::string(fromJava) == "*" && std::string(toJava) == "*",
              "null Java name");
        } else {
          FUZZ_CHECK(fromJava == nullptr && toJava == nullptr, "Java names without javareg.txt");
        }
        break;
      }
      case 11: {  // detection
        const Bytes bytes = text();
        ExactInput input(bytes);
        _NLS_AUTO_DETECT_RESULT result = {nullptr, 0, 0, 0};
        unsigned count = 7;
        const int status =
            NLS_DetectEncodingForBuffer(input.data(), input.size(), &result, 0, &count);
        FUZZ_CHECK((status == 1 && count == 1 && result.encoding != nullptr) ||
                       (status == -1016 && count == 0),
                   "detection: %d, %u", status, count);
        status == 1 ? (void)NLS_GetNormalizedEncodingName(result.encoding) : (void)0;
        FUZZ_CHECK(NLS_DetectEncodingForUCS2(nullptr, 0, &result, 0, &count) == 1 && count == 1,
                   "UCS-2 detection");
        break;
      }
      case 12: {  // host registration
        if (control.ConsumeBool()) {
          FUZZ_CHECK(NLS_RegisterStaticLibrary(kHostList) == 1, "registration refused");
          // Into UCS-2 directly, then on to UTF-8 in two stages.
          FUZZ_CHECK(NLS_EncodingConverterExists("x-host-latin", "UTF-8") == 1,
                     "registered conversion missing");
        } else {
          FUZZ_CHECK(NLS_RegisterStaticLibrary(kEmptyHostList) == 1, "registration refused");
          FUZZ_CHECK(NLS_EncodingConverterExists("A", "B") == 0, "an empty list registered");
        }
        break;
      }
      case 13: {  // terminate and initialise again
        DeleteAll(&state);
        FUZZ_CHECK(NLS_EncTerminate() == 1, "terminate");
        FUZZ_CHECK(gDepth == 0, "terminated while locked");
        if (control.ConsumeBool()) {
          FUZZ_CHECK(NLS_EncInitialize(control.ConsumeBool() ? &kMutex : nullptr,
                                       control.ConsumeBool() ? gDirectory.c_str() : nullptr) == 1,
                     "initialise");
        }
        break;
      }
      case 14: {  // invalid arguments
        FUZZ_CHECK(NLS_DeleteEncodingConverter(nullptr) == -1009, "null delete");
        unsigned n = 5;
        FUZZ_CHECK(NLS_ConvertStreamBuffer(nullptr, nullptr, 0, nullptr, 0, &n) == -1009,
                   "null stream");
        FUZZ_CHECK(NLS_RegisterStaticLibrary(nullptr) == -1009, "null list");
        FUZZ_CHECK(NLS_CountEncodingConverters(nullptr, &n) == -1009, "null count");
        break;
      }
      default: {  // a converter for the chosen name against the pivot
        NLS_ConverterHandle h = nullptr;
        if (NLS_NewEncodingConverter(chosen.c_str(), "ISO-10646-UCS-2", &h) == 1) {
          state.handles.push_back(h);
          state.terminators.push_back(2);
        }
        break;
      }
    }
  }
  DeleteAll(&state);
  NLS_EncTerminate();
  FUZZ_CHECK(gDepth == 0, "terminated while locked");
  return 0;
}

// NLS_DetectEncodings on any bytes, in a buffer of exactly their size: the
// first input byte says how many candidates to ask for (1-16). Checks the
// status and count, that ranks never rise, that names come from the fixed
// list and languages are two-letter codes, that a byte-order mark is
// reported only where the buffer starts with it, and that asking for one
// candidate gives the first of the longer list.
#include <set>
#include <string>

#include "fuzz_support.h"

using nls_fuzz::ExactInput;

namespace {

const std::set<std::string>& Names() {
  static const std::set<std::string> names = {
      "US-ASCII",         "UTF-8",
      "CESU-8",           "UTF-16LE",
      "UTF-16BE",         "UTF-32LE",
      "UTF-32BE",         "UNICODE-1-1-UTF-7",
      "ISO-2022-JP",      "ISO-2022-JP-1",
      "ISO-2022-JP-2",    "ISO-2022-JP-3",
      "ISO-2022-JP-2004", "ISO-2022-KR",
      "ISO-2022-CN",      "ISO-2022-CN-EXT",
      "HZ-GB-2312",       "Shift_JIS",
      "windows-31j",      "Extended_UNIX_Code_Packed_Format_for_Japanese",
      "GB2312",           "GBK",
      "GB18030",          "Big5",
      "windows-950",      "Big5-HKSCS",
      "EUC-KR",           "windows-949",
      "ISO_8859-1:1987",  "ISO_8859-2:1987",
      "ISO_8859-3:1988",  "ISO_8859-4:1988",
      "ISO_8859-5:1988",  "ISO_8859-6:1987",
      "ISO_8859-7:1987",  "ISO_8859-8:1988",
      "ISO_8859-9:1989",  "ISO-8859-10",
      "ISO-8859-11",      "ISO-8859-13",
      "ISO-8859-14",      "ISO-8859-15",
      "ISO-8859-16",      "windows-1250",
      "windows-1251",     "windows-1252",
      "windows-1253",     "windows-1254",
      "windows-1255",     "windows-1256",
      "windows-1257",     "windows-1258",
      "KOI8-R",           "KOI8-U",
      "IBM437",           "IBM737",
      "IBM775",           "IBM850",
      "IBM852",           "IBM855",
      "IBM857",           "IBM860",
      "IBM861",           "IBM862",
      "IBM863",           "IBM865",
      "IBM866",           "IBM869",
      "IBM1125",          "x-mac-roman",
      "x-mac-ce",         "x-mac-croatian",
      "x-mac-romanian",   "x-mac-cyrillic",
      "x-mac-greek",      "x-mac-turkish",
      "x-mac-iceland",    "x-mac-arabic",
      "x-mac-farsi",      "TIS-620",
      "windows-874",      "KZ-1048",
      "PTCP154"};
  return names;
}

// The byte-order mark a name and length promise.
bool MarkMatches(const std::string& name, unsigned length, const uint8_t* b, unsigned n) {
  static const struct {
    const char* name;
    unsigned length;
    uint8_t bytes[4];
  } kMarks[] = {{"UTF-8", 3, {0xEF, 0xBB, 0xBF}},
                {"UTF-16LE", 2, {0xFF, 0xFE}},
                {"UTF-16BE", 2, {0xFE, 0xFF}},
                {"UTF-32LE", 4, {0xFF, 0xFE, 0, 0}},
                {"UTF-32BE", 4, {0, 0, 0xFE, 0xFF}}};
  for (const auto& m : kMarks) {
    if (name == m.name && length == m.length) {
      return n >= length && std::memcmp(b, m.bytes, length) == 0;
    }
  }
  return false;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  nls_fuzz::KeepReportChannel();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const unsigned max = 1 + data[0] % 16;
  const ExactInput input(data + 1, size - 1);
  static const uint8_t kNothing = 0;
  const uint8_t* buf = input.size() ? input.data() : &kNothing;

  NLS_DetectCandidate out[17];
  std::memset(out, 0xA5, sizeof out);
  unsigned count = 12345;
  const int st = NLS_DetectEncodings(buf, input.size(), out, max, &count);
  FUZZ_CHECK(st == 1 || st == -1016, "status %d", st);
  FUZZ_CHECK(count <= max, "count %u of at most %u", count, max);
  FUZZ_CHECK((st == 1) == (count > 0), "status %d with count %u", st, count);
  FUZZ_CHECK(input.size() > 0 || st == -1016, "empty buffer gave status %d", st);
  // Slots past the count are not written.
  for (unsigned i = count; i < 17; ++i) {
    FUZZ_CHECK(reinterpret_cast<const uint8_t*>(&out[i])[0] == 0xA5, "slot %u written", i);
  }
  for (unsigned i = 0; i < count; ++i) {
    const NLS_DetectCandidate& c = out[i];
    FUZZ_CHECK(c.encoding != nullptr && Names().count(c.encoding), "name %s at %u",
               c.encoding ? c.encoding : "(null)", i);
    FUZZ_CHECK(c.confidence <= 100, "confidence %u", c.confidence);
    FUZZ_CHECK(i == 0 || c.confidence <= out[i - 1].confidence, "rank %u rises: %u after %u", i,
               c.confidence, out[i - 1].confidence);
    FUZZ_CHECK(
        !c.language || (std::strlen(c.language) == 2 && c.language[0] >= 'a' &&
                        c.language[0] <= 'z' && c.language[1] >= 'a' && c.language[1] <= 'z'),
        "language %s", c.language);
    FUZZ_CHECK(c.bomLength == 0 || MarkMatches(c.encoding, c.bomLength, buf, input.size()),
               "%s with a %u-byte mark", c.encoding, c.bomLength);
    FUZZ_CHECK(i > 0 || (c.flags & NLS_DETECT_SAME_TEXT) == 0, "first candidate flagged");
    for (unsigned j = 0; j < i; ++j) {
      FUZZ_CHECK(std::strcmp(c.encoding, out[j].encoding) != 0, "%s twice", c.encoding);
    }
  }
  if (st == 1) {
    NLS_DetectCandidate one;
    unsigned n = 0;
    FUZZ_CHECK(NLS_DetectEncodings(buf, input.size(), &one, 1, &n) == 1 && n == 1, "max 1");
    FUZZ_CHECK(
        std::strcmp(one.encoding, out[0].encoding) == 0 && one.confidence == out[0].confidence,
        "best %s %u, alone %s %u", out[0].encoding, out[0].confidence, one.encoding,
        one.confidence);
  }
  return 0;
}

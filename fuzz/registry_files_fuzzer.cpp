// Writes random encreg.txt, aliasreg.txt and javareg.txt files (or leaves
// some out, or puts a directory in their place) into a temporary data
// directory, initialises the library from it with a host mutex that must
// never be taken twice, and asks for the names, listings and converters the
// files declare. Where the files are plain (no NUL byte, no token longer than
// a field, no one-byte first field, no record cut short), every answer about
// names is compared with a model of the record rules kept here.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <map>
#include <set>
#include <string>

#include "fuzz_support.h"
#include "nlscnv/registry/encoding_registry.h"

using nls_fuzz::Bytes;

namespace {

std::string gConv;  // <base>/conv30/

// ---- A host mutex that must never be taken recursively -----------------------

int gDepth = 0;
long gLocks = 0;
void Lock(void*) {
  FUZZ_CHECK(gDepth == 0, "the library took the lock while holding it");
  ++gDepth;
  ++gLocks;
}
void Unlock(void*) {
  FUZZ_CHECK(gDepth == 1, "the library released a lock it did not hold");
  --gDepth;
}

// ---- Model of the files -----------------------------------------------------

std::string Lower(const std::string& s) {
  std::string out = s;
  for (char& c : out)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return out;
}

bool IsSpace(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

struct Parsed {
  std::vector<std::vector<std::string>> records;
  bool plain = true;  // the model applies
};

Parsed Parse(const std::string& text, size_t fields) {
  Parsed parsed;
  size_t i = 0;
  const size_t n = text.size();
  if (text.find('\0') != std::string::npos) parsed.plain = false;
  for (;;) {
    while (i < n && IsSpace(text[i])) ++i;
    if (i >= n) break;
    if (text[i] == '/') {
      while (i < n && text[i] != '\n') ++i;
      continue;
    }
    std::vector<std::string> record;
    while (record.size() < fields) {
      while (i < n && IsSpace(text[i])) ++i;
      if (i >= n) break;
      const size_t start = i;
      while (i < n && !IsSpace(text[i])) ++i;
      record.push_back(text.substr(start, i - start));
    }
    if (record.size() < fields) {
      parsed.plain = false;  // a record cut short by the end of the file
      break;
    }
    for (const std::string& token : record)
      if (token.size() > 63) parsed.plain = false;
    if (record[0].size() == 1) parsed.plain = false;
    parsed.records.push_back(record);
  }
  return parsed;
}

// Lookup tables as the registry keeps them: case-blind keys, newest wins.
struct Model {
  std::map<std::string, std::string> aliases;  // lower-case alias -> normalized
  std::map<std::string, std::string> javaToName;
  std::map<std::string, std::string> nameToJava;
  size_t encodings = 0;

  std::string Normalize(const std::string& name) {
    auto it = aliases.find(Lower(name));
    if (it != aliases.end()) return it->second;
    aliases[Lower(name)] = name;  // remembered with its first spelling
    return name;
  }
};

Model BuiltinModel() {
  Model model;
  // The built-in lists as the registry holds them: each conversion makes both
  // names canonical, then the aliases.
  for (uint32_t i = 0; i < TEncodingRegistry::fStaticEntryListLength; ++i) {
    const NLS_StaticConverterEntry& row = TEncodingRegistry::fStaticEntryList[i];
    model.aliases[Lower(row.from)] = row.from;
    model.aliases[Lower(row.to)] = row.to;
  }
  for (uint32_t i = 0; i < TEncodingRegistry::fStaticAliasListLength; ++i)
    model.aliases[Lower(TEncodingRegistry::fStaticAliasList[i][0])] =
        TEncodingRegistry::fStaticAliasList[i][1];
  model.encodings = static_cast<int>(TEncodingRegistry::fStaticEntryListLength);
  return model;
}

// ---- Files ----------------------------------------------------------------

enum Kind { kMissing, kFile, kDirectory };

void Place(const char* name, Kind kind, const std::string& content) {
  const std::string path = gConv + name;
  std::remove(path.c_str());
  rmdir(path.c_str());
  if (kind == kFile) {
    FILE* f = std::fopen(path.c_str(), "wb");
    FUZZ_CHECK(f != nullptr, "cannot write %s", path.c_str());
    std::fwrite(content.data(), 1, content.size(), f);
    std::fclose(f);
  } else if (kind == kDirectory) {
    mkdir(path.c_str(), 0700);
  }
}

void CheckName(const char* what, const std::string& query, const char* got,
               const std::string& want) {
  FUZZ_CHECK(got != nullptr && want == got, "%s(\"%s\") is \"%s\", the files say \"%s\"", what,
             query.c_str(), got ? got : "(null)", want.c_str());
}

void CheckJava(const char* what, const std::string& query, const char* got,
               const std::map<std::string, std::string>& table) {
  auto it = table.find(Lower(query));
  if (it == table.end()) {
    FUZZ_CHECK(got == nullptr, "%s(\"%s\") is \"%s\", the files have none", what, query.c_str(),
               got);
  } else {
    CheckName(what, query, got, it->second);
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  nls_fuzz::KeepReportChannel();
  static char base[] = "/tmp/nls_fuzz_registry_XXXXXX";
  const std::string dir = mkdtemp(base);
  gConv = dir + "/conv30/";
  mkdir(gConv.c_str(), 0700);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider control(data, size);
  const std::string files[3] = {control.ConsumeRandomLengthString(4096),
                                control.ConsumeRandomLengthString(4096),
                                control.ConsumeRandomLengthString(4096)};
  const char* const names[3] = {"encreg.txt", "aliasreg.txt", "javareg.txt"};
  Kind kinds[3];
  for (int i = 0; i < 3; ++i) {
    // Mostly present; the last bytes of the input can take files away.
    const int pick = control.ConsumeIntegralInRange<int>(0, 15);
    kinds[i] = pick == 14 ? kMissing : pick == 15 ? kDirectory : kFile;
    Place(names[i], kinds[i], files[i]);
  }

  // What the model expects: files are read in order until one is missing.
  Model model = BuiltinModel();
  bool plain = true;
  std::vector<std::string> queries;
  const size_t fieldCounts[3] = {5, 2, 2};
  for (int i = 0; i < 3; ++i) {
    if (kinds[i] == kMissing) break;
    if (kinds[i] == kDirectory) continue;  // opens, but reads as empty
    Parsed parsed = Parse(files[i], fieldCounts[i]);
    plain = plain && parsed.plain;
    for (const auto& r : parsed.records) {
      for (const std::string& token : r) queries.push_back(token);
      if (i == 0) {
        model.aliases[Lower(r[0])] = r[0];
        ++model.encodings;
      } else if (i == 1) {
        model.aliases[Lower(r[0])] = r[1];
      } else {
        model.javaToName[Lower(r[0])] = r[1];
        model.nameToJava[Lower(r[1])] = r[0];
      }
    }
  }
  // A directory in place of a file is opened and reads as empty, so the
  // files after it are read as well.
  queries.push_back("latin1");
  queries.push_back("UTF-8");
  // One name of the input's choosing; the library sees it up to a NUL, and a
  // name too long for a field is asked for but not modelled.
  std::string extra = control.ConsumeRandomLengthString(80);
  extra = extra.substr(0, extra.find('\0'));

  MutexImplementation mutex = {nullptr, Lock, Unlock};
  gLocks = 0;
  NLS_EncInitialize(&mutex, gConv.substr(0, gConv.size() - 7).c_str());
  FUZZ_CHECK(gDepth == 0 && gLocks == 2, "initialisation locked %ld times", gLocks);

  // Names.
  for (const std::string& query : queries) {
    const char* normalized = NLS_GetNormalizedEncodingName(query.c_str());
    const std::string want = model.Normalize(query);
    if (plain) CheckName("NLS_GetNormalizedEncodingName", query, normalized, want);
    FUZZ_CHECK(normalized != nullptr, "no normalized name for \"%s\"", query.c_str());
    const char* fromJava = NLS_GetEncodingNameFromJava(query.c_str());
    const char* toJava = NLS_GetJavaEncodingName(query.c_str());
    if (plain) {
      CheckJava("NLS_GetEncodingNameFromJava", query, fromJava, model.javaToName);
      CheckJava("NLS_GetJavaEncodingName", query, toJava, model.nameToJava);
    }
  }

  const char* const normalizedExtra = NLS_GetNormalizedEncodingName(extra.c_str());
  FUZZ_CHECK(normalizedExtra != nullptr, "no normalized name for \"%s\"", extra.c_str());
  if (plain && extra.size() < 64)
    CheckName("NLS_GetNormalizedEncodingName", extra, normalizedExtra, model.Normalize(extra));

  // Listing everything counts every conversion entry, duplicates included.
  NLS_EnumerationHandle list = nullptr;
  FUZZ_CHECK(NLS_NewEncodingConverterEnumeration("*", "*", &list) == 1 && list != nullptr,
             "no enumeration");
  unsigned count = 0;
  FUZZ_CHECK(NLS_CountEncodingConverters(list, &count) == 1, "count refused");
  if (plain)
    FUZZ_CHECK(count == model.encodings, "%u conversions listed, the files make %zu", count,
               model.encodings);
  char from[64], to[64];
  for (unsigned i = 0; i < count; ++i) {
    FUZZ_CHECK(NLS_GetEncodingConverterListItem(list, i, from, to) == 1, "item %u refused", i);
    FUZZ_CHECK(std::strlen(from) < 64 && std::strlen(to) < 64, "item %u too long", i);
  }
  FUZZ_CHECK(NLS_GetEncodingConverterListItem(list, count, from, to) == -1009, "item past end");
  NLS_DeleteEncodingConverterEnumeration(list);

  // Converters for the declared pairs (some through the built-in factories,
  // some naming libraries that are not there).
  const Parsed encodings = kinds[0] == kFile ? Parse(files[0], 5) : Parsed();
  size_t tried = 0;
  for (const auto& r : encodings.records) {
    if (++tried > 16) break;
    NLS_ConverterHandle handle = reinterpret_cast<NLS_ConverterHandle>(1);
    const int status = NLS_NewEncodingConverter(r[0].c_str(), r[1].c_str(), &handle);
    FUZZ_CHECK(
        status == 1 || status == -1301 || status == -1007 || status == -1008 || status == -1010,
        "creating %s > %s gave %d", r[0].c_str(), r[1].c_str(), status);
    FUZZ_CHECK((status == 1) == (handle != nullptr), "status %d with handle %p", status, handle);
    if (status == 1) {
      static const uint8_t text[] = "A\xC3\xA9\x00\x41\x00+AGE-";
      uint8_t out[64 + nls_fuzz::GuardedOutput::kGuard];
      std::memset(out, 0xA5, sizeof out);
      unsigned produced = 0;
      const int st = NLS_ConvertStreamBuffer(handle, text, sizeof text - 1, out, 64, &produced);
      FUZZ_CHECK(nls_fuzz::KnownConversionStatus(st) && produced <= 64, "converting gave %d, %u",
                 st, produced);
      for (size_t i = 64; i < sizeof out; ++i) FUZZ_CHECK(out[i] == 0xA5, "wrote past 64 bytes");
      NLS_DeleteEncodingConverter(handle);
    }
    (void)NLS_EncodingConverterExists(r[0].c_str(), r[1].c_str());
  }

  NLS_EncTerminate();
  FUZZ_CHECK(gDepth == 0, "terminated while locked");
  return 0;
}

#include "strict/strict_harness.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iomanip>
#include <sstream>

#include "converters/oracle_records.h"
#include "nlscnv/support/simd.h"

namespace nls_test {

Engine Ours() {
  return {"nlscnv",
          [](const char* to, const char* from) -> void* { return NLS_IconvOpen(to, from); },
          [](void* cd, char** in, size_t* inLeft, char** out, size_t* outLeft) {
            return NLS_Iconv(static_cast<NLS_Iconv_t>(cd), in, inLeft, out, outLeft);
          },
          [](void* cd) { NLS_IconvClose(static_cast<NLS_Iconv_t>(cd)); }};
}

Engine Glibc() {
  return {"glibc",
          [](const char* to, const char* from) -> void* {
            return reinterpret_cast<void*>(iconv_open(to, from));
          },
          [](void* cd, char** in, size_t* inLeft, char** out, size_t* outLeft) {
            return iconv(reinterpret_cast<iconv_t>(cd), in, inLeft, out, outLeft);
          },
          [](void* cd) { iconv_close(reinterpret_cast<iconv_t>(cd)); }};
}

Outcome Convert(const Engine& engine, const char* to, const char* from, const Bytes& input,
                const std::vector<size_t>& pieces, size_t chunk) {
  Outcome o;
  void* cd = engine.open(to, from);
  if (cd == reinterpret_cast<void*>(-1)) {
    o.opened = false;
    return o;
  }
  if (chunk == 0) chunk = 4 * input.size() + 64;
  std::vector<char> buffer(chunk);
  Bytes pending;  // input offered but not consumed (a cut character)
  size_t offered = 0, piece = 0;
  auto drain = [&](char** in, size_t* inLeft) -> size_t {
    for (;;) {
      char* out = buffer.data();
      size_t outLeft = buffer.size();
      errno = 0;
      const size_t r = engine.convert(cd, in, inLeft, &out, &outLeft);
      const int error = errno;
      o.output.insert(o.output.end(), buffer.data(), out);
      if (r != static_cast<size_t>(-1)) {
        o.irreversible += r;
        return 0;
      }
      if (error != E2BIG) return static_cast<size_t>(error);
      if (out == buffer.data()) buffer.resize(buffer.size() * 2);  // not one character fits
    }
  };
  while (offered < input.size() || !pending.empty()) {
    size_t n = input.size() - offered;
    if (!pieces.empty()) n = std::min(n, pieces[piece++ % pieces.size()]);
    pending.insert(pending.end(), input.begin() + static_cast<long>(offered),
                   input.begin() + static_cast<long>(offered + n));
    offered += n;
    char* in = reinterpret_cast<char*>(pending.data());
    size_t inLeft = pending.size();
    const size_t error = drain(&in, &inLeft);
    const size_t consumed = pending.size() - inLeft;
    pending.erase(pending.begin(), pending.begin() + static_cast<long>(consumed));
    if (error == EILSEQ || (error == EINVAL && offered == input.size())) {
      o.error = static_cast<int>(error);
      o.stop = offered - pending.size();
      engine.close(cd);
      return o;
    }
    if (error != 0 && error != EINVAL) {
      o.error = static_cast<int>(error);
      break;
    }
    if (offered == input.size() && inLeft == 0) break;
  }
  o.stop = input.size();
  const size_t end = drain(nullptr, nullptr);
  if (end != 0) o.error = static_cast<int>(end);
  engine.close(cd);
  return o;
}

std::string Describe(const Outcome& o) {
  std::ostringstream s;
  if (!o.opened) return "(not opened)";
  s << o.output.size() << " bytes, error " << o.error << ", stop " << o.stop << ", irreversible "
    << o.irreversible;
  return s.str();
}

std::string Hex(const Bytes& bytes) {
  std::ostringstream s;
  s << std::hex << std::setfill('0');
  for (size_t i = 0; i < bytes.size(); ++i) s << (i ? " " : "") << std::setw(2) << int{bytes[i]};
  return s.str();
}

namespace {

std::vector<std::string> Split(const std::string& line) {
  std::vector<std::string> fields;
  std::stringstream in(line);
  std::string f;
  while (std::getline(in, f, '\t')) fields.push_back(f);
  return fields;
}

std::vector<EncodingCase> Load() {
  std::vector<EncodingCase> cases;
  std::ifstream list(OraclePath("strict/encodings.txt"));
  std::string line;
  while (std::getline(list, line)) {
    const std::vector<std::string> f = Split(line);
    if (f.size() == 5 && f[0] == "differs") {
      for (EncodingCase& c : cases) {
        if (c.name != f[1]) continue;
        if (f[3] == "char") c.differingChars[f[2]].insert(std::stoul(f[4], nullptr, 16));
        if (f[3] == "ends") c.endsDiffer.insert(f[2]);
        if (f[3] == "bytes") {
          Bytes b;
          for (size_t i = 0; i + 1 < f[4].size(); i += 2)
            b.push_back(static_cast<unsigned char>(std::stoul(f[4].substr(i, 2), nullptr, 16)));
          c.differingBytes[f[2]].push_back(b);
        }
      }
      continue;
    }
    if (f.size() != 5) continue;
    EncodingCase c;
    auto field = [](const std::string& v) { return v == "-" ? std::string() : v; };
    c.name = f[0];
    c.python = field(f[1]);
    c.glibc = field(f[2]);
    c.icu = field(f[3]);
    c.stateful = f[4].find("stateful") != std::string::npos;
    c.bom = f[4].find("bom") != std::string::npos;
    c.pythonBytesDiffer = f[4].find("python-bytes-differ") != std::string::npos;
    c.glibcBytesDiffer = f[4].find("glibc-bytes-differ") != std::string::npos;
    c.file = "strict/" + std::to_string(cases.size()) + ".bin";
    cases.push_back(std::move(c));
  }
  return cases;
}

}  // namespace

const std::vector<EncodingCase>& EncodingCases() {
  static const std::vector<EncodingCase> cases = Load();
  return cases;
}

std::vector<std::string> EncodingNames() {
  std::vector<std::string> names;
  for (const EncodingCase& c : EncodingCases()) names.push_back(c.name);
  return names;
}

static void ReadData(EncodingCase* c) {
  for (const auto& record : LoadRecords(c->file, 2)) {
    const std::string tag(record[0].begin(), record[0].end());
    if (tag == "bad") {
      EncodingCase::Bad bad;
      uint32_t v[3];
      std::memcpy(v, record[1].data(), sizeof v);
      bad.start = v[0];
      bad.end = v[1];
      bad.incomplete = v[2] != 0;
      bad.input.assign(record[1].begin() + sizeof v, record[1].end());
      c->bad.push_back(bad);
    } else if (tag == "badprefix") {
      c->bad.back().prefix = record[1];
    } else {
      c->data[tag] = record[1];
    }
  }
}

const EncodingCase& CaseOf(const std::string& name) {
  static std::map<std::string, EncodingCase> read;
  auto it = read.find(name);
  if (it != read.end()) return it->second;
  for (const EncodingCase& c : EncodingCases()) {
    if (c.name != name) continue;
    EncodingCase& full = read[name] = c;
    ReadData(&full);
    return full;
  }
  static const EncodingCase none;
  return none;
}

std::vector<uint32_t> CodePoints(const Bytes& utf16) {
  std::vector<uint32_t> out;
  for (size_t i = 0; i + 1 < utf16.size(); i += 2) {
    uint32_t u = utf16[i] | utf16[i + 1] << 8;
    if (u >= 0xD800 && u <= 0xDBFF && i + 3 < utf16.size()) {
      const uint32_t low = utf16[i + 2] | utf16[i + 3] << 8;
      u = 0x10000 + ((u - 0xD800) << 10) + (low - 0xDC00);
      i += 2;
    }
    out.push_back(u);
  }
  return out;
}

void AppendUtf16(Bytes* utf16, uint32_t cp) {
  auto unit = [utf16](uint32_t u) {
    utf16->insert(utf16->end(),
                  {static_cast<unsigned char>(u), static_cast<unsigned char>(u >> 8)});
  };
  if (cp < 0x10000) {
    unit(cp);
  } else {
    unit(0xD800 + ((cp - 0x10000) >> 10));
    unit(0xDC00 + ((cp - 0x10000) & 0x3FF));
  }
}

Bytes WithoutChars(const Bytes& utf16, const std::set<uint32_t>& drop) {
  Bytes out;
  for (size_t i = 0; i + 1 < utf16.size(); i += 2) {
    const uint32_t u = utf16[i] | utf16[i + 1] << 8;
    size_t length = 2;
    uint32_t cp = u;
    if (u >= 0xD800 && u <= 0xDBFF && i + 3 < utf16.size()) {
      cp = 0x10000 + ((u - 0xD800) << 10) + ((utf16[i + 2] | utf16[i + 3] << 8) - 0xDC00);
      length = 4;
    }
    if (drop.count(cp) == 0)
      out.insert(out.end(), utf16.begin() + static_cast<long>(i),
                 utf16.begin() + static_cast<long>(i + length));
    i += length - 2;
  }
  return out;
}

void AtEveryVectorLevel(const std::function<void()>& check) {
  const int saved = nls::simd::Level();
  for (int level = nls::simd::kScalar; level <= nls::simd::kHighest; ++level) {
    if (nls::simd::SetLevel(level) != level) continue;
    SCOPED_TRACE("vector level " + std::to_string(level));
    check();
  }
  nls::simd::SetLevel(saved);
}

}  // namespace nls_test

#include "nlscnv/iconv/codec_lookup.h"

#include <strings.h>

#include <cstring>
#include <map>

#include "nlscnv/builtin/builtin_codecs.h"
#include "nlscnv/codecs/codecs.h"
#include "nlscnv/registry/dll_linker.h"
#include "nlscnv/registry/encoding_registry.h"

namespace nls::iconv {
namespace {

// The names of US-ASCII, which the strict interface reads as 7-bit ASCII
// (the registry maps them to ISO-8859-1 for the legacy calls).
const char* const kAsciiNames[] = {
    "US-ASCII", "ASCII",  "ANSI_X3.4-1968", "ANSI_X3.4-1986", "ISO_646.IRV:1991", "ISO646-US",
    "US",       "IBM367", "CP367",          "csASCII",        "iso-ir-6",         "646",
};

bool IsAsciiName(const char* name) {
  for (const char* ascii : kAsciiNames)
    if (strcasecmp(name, ascii) == 0) return true;
  return false;
}

const NLS_Codec* FindInList(const NLS_Codec* list, const char* name) {
  for (; list != nullptr && list->name != nullptr; ++list)
    if (strcasecmp(list->name, name) == 0) return list;
  return nullptr;
}

// The codec of a canonical name: the pivot, a built-in one, or the one the
// encoding's converter library exports.
const NLS_Codec* CodecOf(TEncodingRegistry* registry, const char* canonical) {
  if (strcasecmp(canonical, NLS_PIVOT_ENCODING) == 0) return &codecs::kPivotCodec;
  if (registry->fEncodings == nullptr) return nullptr;
  auto* entry =
      static_cast<TEncodingEntry*>(registry->fEncodings->lookup(canonical, NLS_PIVOT_ENCODING));
  if (entry == nullptr) return nullptr;
  if (std::strcmp(entry->fLibrary, kNLSStaticLibraryName) == 0)
    return FindInList(builtin::Codecs(), canonical);
  if (registry->fLinker == nullptr) return nullptr;
  void* function = registry->fLinker->FindCodecList(entry->fLibrary);
  if (function == nullptr) return nullptr;
  return FindInList(reinterpret_cast<NLS_CodecListFunction>(function)(), canonical);
}

}  // namespace

bool FindCodec(TEncodingRegistry* registry, const char* name, bool suffixes, CodecName* out) {
  if (name == nullptr || registry == nullptr) return false;
  // The name, then "//"-separated suffixes (empty ones are allowed, as iconv
  // does).
  std::string text(name);
  std::string base = text.substr(0, text.find("//"));
  size_t at = text.find("//");
  *out = CodecName{};
  while (at != std::string::npos) {
    const size_t next = text.find("//", at + 2);
    const std::string suffix =
        text.substr(at + 2, next == std::string::npos ? next : next - at - 2);
    if (strcasecmp(suffix.c_str(), "IGNORE") == 0 && suffixes)
      out->ignore = true;
    else if (strcasecmp(suffix.c_str(), "TRANSLIT") == 0 && suffixes)
      out->translit = true;
    else if (!suffix.empty())
      return false;
    at = next;
  }
  if (IsAsciiName(base.c_str())) {
    out->codec = &codecs::kAsciiCodec;
    return true;
  }
  // Only known names: no lookup here remembers an unknown one.
  TAliasEntry* alias = registry->FindAliasItem(base.c_str());
  const char* canonical = alias != nullptr ? alias->fNormalized : base.c_str();
  out->codec = CodecOf(registry, canonical);
  return out->codec != nullptr;
}

void ListCodecs(TEncodingRegistry* registry,
                const std::function<bool(const std::vector<std::string>&)>& visit) {
  if (registry == nullptr || registry->fEncodings == nullptr || registry->fAliases == nullptr)
    return;
  // Canonical names with a codec, in the case-blind order of their names.
  struct Blind {
    bool operator()(const std::string& a, const std::string& b) const {
      return strcasecmp(a.c_str(), b.c_str()) < 0;
    }
  };
  std::map<std::string, std::vector<std::string>, Blind> names;
  names[NLS_PIVOT_ENCODING];
  TRegistryEnumeration conversions(registry->fEncodings);
  while (auto* entry = static_cast<TEncodingEntry*>(conversions.next())) {
    if (strcasecmp(entry->fDestination, NLS_PIVOT_ENCODING) != 0) continue;
    if (names.count(entry->fSource) == 0 && CodecOf(registry, entry->fSource) != nullptr)
      names[entry->fSource];
  }
  // Aliases that lead to them (the strict ASCII names go to US-ASCII).
  TRegistryEnumeration aliases(registry->fAliases);
  while (auto* alias = static_cast<TAliasEntry*>(aliases.next())) {
    if (IsAsciiName(alias->fAlias) || strcasecmp(alias->fAlias, alias->fNormalized) == 0) continue;
    // Only the newest record of an alias counts.
    if (registry->FindAliasItem(alias->fAlias) != alias) continue;
    auto it = names.find(alias->fNormalized);
    if (it == names.end()) continue;
    bool known = false;
    for (const std::string& a : it->second)
      known = known || strcasecmp(a.c_str(), alias->fAlias) == 0;
    if (!known) it->second.push_back(alias->fAlias);
  }
  auto& ascii = names[codecs::kAsciiCodec.name];
  for (const char* a : kAsciiNames)
    if (strcasecmp(a, codecs::kAsciiCodec.name) != 0) ascii.push_back(a);
  for (auto& [canonical, list] : names) {
    std::vector<std::string> row{canonical};
    row.insert(row.end(), list.begin(), list.end());
    if (visit(row)) return;
  }
}

}  // namespace nls::iconv

#include "names.h"

#include <errno.h>
#include <strings.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <utility>

#include "nlscnv.h"
#include "transcoder.h"

namespace nlsconv {

namespace {

std::vector<std::vector<std::string>> StrictEncodings() {
  std::vector<std::vector<std::string>> all;
  NLS_IconvList(
      [](unsigned count, const char* const* names, void* context) {
        auto* list = static_cast<std::vector<std::vector<std::string>>*>(context);
        list->emplace_back(names, names + count);
        return 0;
      },
      &all);
  return all;
}

// Case-blind edit distance (insertions, deletions, substitutions).
size_t Distance(const std::string& a, const std::string& b) {
  std::vector<size_t> row(b.size() + 1);
  for (size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (size_t i = 1; i <= a.size(); ++i) {
    size_t diagonal = row[0];
    row[0] = i;
    for (size_t j = 1; j <= b.size(); ++j) {
      const size_t above = row[j];
      const bool same = std::tolower(static_cast<unsigned char>(a[i - 1])) ==
                        std::tolower(static_cast<unsigned char>(b[j - 1]));
      row[j] = std::min({above + 1, row[j - 1] + 1, diagonal + (same ? 0 : 1)});
      diagonal = above;
    }
  }
  return row[b.size()];
}

// The name without the separators that spellings of one name differ in.
std::string Bare(const std::string& name) {
  std::string bare;
  for (char c : name)
    if (std::strchr("-_ .:", c) == nullptr) bare += c;
  return bare;
}

bool Flush() {
  if (fflush(stdout) == 0) return true;
  fprintf(stderr, "nlsconv: standard output: %s\n", strerror(errno));
  return false;
}

}  // namespace

Target ParseTarget(const std::string& text) {
  Target target;
  size_t at = text.find("//");
  target.name = text.substr(0, at);
  while (at != std::string::npos) {
    const size_t next = text.find("//", at + 2);
    const std::string suffix =
        text.substr(at + 2, next == std::string::npos ? next : next - at - 2);
    if (strcasecmp(suffix.c_str(), "IGNORE") == 0) {
      target.ignore = true;
    } else if (strcasecmp(suffix.c_str(), "TRANSLIT") == 0) {
      target.translit = true;
    } else if (!suffix.empty() && target.unknownSuffix.empty()) {
      target.unknownSuffix = "//" + suffix;
    }
    at = next;
  }
  return target;
}

int ListEncodings() {
  for (const auto& names : StrictEncodings()) {
    std::string line;
    for (const std::string& name : names) line += (line.empty() ? "" : " ") + name;
    printf("%s\n", line.c_str());
  }
  return Flush() ? 0 : 1;
}

int ListPairs() {
  NLS_EnumerationHandle list = nullptr;
  if (NLS_NewEncodingConverterEnumeration("*", "*", &list) != 1 || list == nullptr) {
    fprintf(stderr, "nlsconv: cannot list the conversions\n");
    return 1;
  }
  unsigned count = 0;
  NLS_CountEncodingConverters(list, &count);
  std::vector<std::pair<std::string, std::string>> pairs;
  for (unsigned i = 0; i < count; ++i) {
    char from[64], to[64];
    if (NLS_GetEncodingConverterListItem(list, i, from, to) == 1) pairs.emplace_back(from, to);
  }
  NLS_DeleteEncodingConverterEnumeration(list);
  std::sort(pairs.begin(), pairs.end(), [](const auto& a, const auto& b) {
    const int first = strcasecmp(a.first.c_str(), b.first.c_str());
    return first != 0 ? first < 0 : strcasecmp(a.second.c_str(), b.second.c_str()) < 0;
  });
  pairs.erase(std::unique(pairs.begin(), pairs.end()), pairs.end());
  for (const auto& pair : pairs) printf("%s -> %s\n", pair.first.c_str(), pair.second.c_str());
  return Flush() ? 0 : 1;
}

std::vector<std::string> ClosestNames(const std::string& name,
                                      const std::vector<std::vector<std::string>>& candidates,
                                      size_t most) {
  // Each encoding by the closest of its names; close means at most a third
  // of the name's letters (at least one) differ, ignoring separators.
  const size_t limit = std::max<size_t>(1, Bare(name).size() / 3);
  std::vector<std::pair<size_t, std::string>> ranked;
  for (const auto& names : candidates) {
    std::pair<size_t, std::string> best(limit + 1, "");
    for (const std::string& candidate : names) {
      const size_t d = std::min(Distance(name, candidate), Distance(Bare(name), Bare(candidate)));
      if (d < best.first) best = {d, candidate};
    }
    if (best.first <= limit) ranked.push_back(best);
  }
  std::stable_sort(ranked.begin(), ranked.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<std::string> closest;
  for (size_t i = 0; i < ranked.size() && i < most; ++i) closest.push_back(ranked[i].second);
  return closest;
}

void ExplainUnusable(const std::string& name) {
  // The legacy calls know every registered encoding, strict or not.
  if (NLS_EncodingConverterExists(name.c_str(), kPivot) == 1) {
    const char* canonical = NLS_GetNormalizedEncodingName(name.c_str());
    fprintf(stderr, "nlsconv: encoding '%s'%s%s%s has no strict converter in this installation\n",
            name.c_str(), strcasecmp(canonical, name.c_str()) != 0 ? " (" : "",
            strcasecmp(canonical, name.c_str()) != 0 ? canonical : "",
            strcasecmp(canonical, name.c_str()) != 0 ? ")" : "");
    return;
  }
  fprintf(stderr, "nlsconv: unknown encoding '%s'\n", name.c_str());
  const std::vector<std::string> closest = ClosestNames(name, StrictEncodings(), 3);
  if (closest.empty()) {
    fprintf(stderr, "nlsconv: 'nlsconv -l' lists the encodings\n");
    return;
  }
  std::string list;
  for (size_t i = 0; i < closest.size(); ++i) {
    list += i == 0 ? "" : i + 1 == closest.size() ? " or " : ", ";
    list += "'" + closest[i] + "'";
  }
  fprintf(stderr, "nlsconv: did you mean %s? ('nlsconv -l' lists the encodings)\n", list.c_str());
}

}  // namespace nlsconv

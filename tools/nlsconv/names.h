// Encoding names for nlsconv: the -l and --list-pairs listings, the
// suffixes of -t, and the explanation of a name that cannot be used.
#ifndef NLSCONV_NAMES_H
#define NLSCONV_NAMES_H

#include <string>
#include <vector>

namespace nlsconv {

// A -t argument: NAME followed by "//IGNORE" and "//TRANSLIT" in any order.
struct Target {
  std::string name;
  bool ignore = false;
  bool translit = false;
  std::string unknownSuffix;  // the first suffix that is neither, with its "//"
};
Target ParseTarget(const std::string& text);

// Prints every encoding of the strict interface, one per line, its
// canonical name followed by its aliases. Returns the exit status.
int ListEncodings();
// Prints the conversions that the registry records, "FROM -> TO" per line.
int ListPairs();

// Prints why `name` cannot be opened: an encoding the registry knows but
// that has no strict converter, or an unknown name with the closest known
// names.
void ExplainUnusable(const std::string& name);

// The names of `candidates` (canonical name and aliases per encoding) that
// are closest to `name`, at most `most`, the closest first.
std::vector<std::string> ClosestNames(const std::string& name,
                                      const std::vector<std::vector<std::string>>& candidates,
                                      size_t most);

}  // namespace nlsconv

#endif  // NLSCONV_NAMES_H

// Drives an iconv-style engine (this library's NLS_Iconv or glibc's iconv)
// over an input cut into pieces and an output offered in chunks, the way a
// streaming host does, and records what came of it: the bytes, the end
// (done, EILSEQ, EINVAL at the end) and where it stopped. Also the list of
// encodings the differential tests cover, with their reference data.
#ifndef NLSCNV_TESTS_STRICT_STRICT_HARNESS_H
#define NLSCNV_TESTS_STRICT_STRICT_HARNESS_H

#include <iconv.h>

#include <cerrno>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "nlscnv.h"
#include "support/test_support.h"

namespace nls_test {

struct Engine {
  const char* name;
  void* (*open)(const char* to, const char* from);
  size_t (*convert)(void* cd, char** in, size_t* inLeft, char** out, size_t* outLeft);
  void (*close)(void* cd);
};

Engine Ours();
Engine Glibc();

struct Outcome {
  Bytes output;
  int error = 0;    // 0, EILSEQ, or EINVAL (input ended inside a character)
  size_t stop = 0;  // input bytes consumed when it ended
  size_t irreversible = 0;
  bool opened = true;
  bool operator==(const Outcome& o) const {
    return output == o.output && error == o.error && stop == o.stop &&
           irreversible == o.irreversible && opened == o.opened;
  }
};

// Converts `input` in pieces of the given sizes (cycled; empty: whole) with
// an output buffer of `chunk` bytes (0: large), then ends the text.
Outcome Convert(const Engine& engine, const char* to, const char* from, const Bytes& input,
                const std::vector<size_t>& pieces = {}, size_t chunk = 0);

std::string Describe(const Outcome& o);

// "61 62 e6": the bytes, for failure messages.
std::string Hex(const Bytes& bytes);

// One encoding of the oracle rows, with its reference data.
struct EncodingCase {
  std::string name, python, glibc, icu;
  bool stateful = false, bom = false, pythonBytesDiffer = false, glibcBytesDiffer = false;
  // peer -> characters and byte sequences that differ by a documented choice
  std::map<std::string, std::set<uint32_t>> differingChars;
  std::map<std::string, std::vector<Bytes>> differingBytes;
  std::set<std::string> endsDiffer;   // peers that call a hopeless cut sequence cut
  std::map<std::string, Bytes> data;  // text, bytes, bytestext, valid, validtext
  struct Bad {
    Bytes input;
    size_t start, end;
    bool incomplete;
    Bytes prefix;
  };
  std::vector<Bad> bad;
  std::string file;  // where the reference data is (read by CaseOf)
};

// The encodings and their differences (without reference data).
const std::vector<EncodingCase>& EncodingCases();
std::vector<std::string> EncodingNames();
// One encoding with its reference data, read on first use: a test process
// reads only the data of the encodings it tests.
const EncodingCase& CaseOf(const std::string& name);

// UTF-16LE text with the characters of `drop` removed.
Bytes WithoutChars(const Bytes& utf16, const std::set<uint32_t>& drop);
// Code points of UTF-16LE text.
std::vector<uint32_t> CodePoints(const Bytes& utf16);
// Appends a code point to UTF-16LE text (a surrogate pair above U+FFFF).
void AppendUtf16(Bytes* utf16, uint32_t cp);

// Runs `check` at every instruction-set level the build and the processor
// offer (the vector paths of the library and of the converter libraries
// follow it), naming the level in failures; restores the level in force.
void AtEveryVectorLevel(const std::function<void()>& check);

}  // namespace nls_test

#endif  // NLSCNV_TESTS_STRICT_STRICT_HARNESS_H

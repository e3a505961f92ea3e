// nlsconv: converts text between character encodings with the nlscnv
// library. It uses the exported NLS_ interface only, like any other host.
//
//     nlsconv -f FROM [-t TO] [-o OUTPUT] [FILE...]
//     nlsconv -l
//     nlsconv --detect [FILE...]
//
// The input is read in chunks and converted piece by piece in a fixed amount
// of memory. A piece ends only where the source decoder and the destination
// encoder are both at rest (see Pipeline::LastCut), and whatever a converter
// leaves unconsumed at the end of a piece goes on with the next one, so the
// output does not depend on how the input was cut.
#include <errno.h>
#include <getopt.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "byte_buffer.h"
#include "nlscnv.h"
#include "output.h"
#include "pipeline.h"
#include "progress.h"

namespace nlsconv {
const char* DefaultDataDirectory();
}

namespace {

using nlsconv::ByteBuffer;
using nlsconv::Pipeline;

constexpr size_t kDefaultChunk = 64 * 1024;
constexpr size_t kMaxChunk = 64u << 20;
// The longest stretch of input held while looking for a place to cut it.
constexpr size_t kLongestPiece = 1u << 20;
// Detection looks at the start of each input.
constexpr size_t kDetectSample = 64 * 1024;
constexpr char kFallbackEncoding[] = "ISO_8859-1:1987";

enum ExitStatus { kSuccess = 0, kFailure = 1, kUsage = 2 };

struct Options {
  std::string from;
  std::string to = "UTF-8";
  std::string output;
  const char* dataDirectory = nullptr;
  bool list = false;
  bool detect = false;
  bool progress = false;
  size_t chunk = kDefaultChunk;  // hidden --chunk-size, for tests
  std::vector<std::string> inputs;
};

void PrintUsage(FILE* to) {
  fprintf(to,
          "Usage: nlsconv -f FROM [-t TO] [-o OUTPUT] [FILE...]\n"
          "       nlsconv -l\n"
          "       nlsconv --detect [FILE...]\n"
          "Convert text between character encodings.\n"
          "\n"
          "  -f, --from-code=NAME  encoding of the input; \"auto\" detects it for each FILE\n"
          "  -t, --to-code=NAME    encoding of the output (default UTF-8)\n"
          "  -o, --output=FILE     write to FILE instead of standard output; an existing\n"
          "                        FILE is replaced only when the conversion succeeds\n"
          "  -l, --list            list the encodings and the conversions between them\n"
          "      --detect          print the detected encoding of each FILE\n"
          "      --data-dir=DIR    read registry files and converter libraries from\n"
          "                        DIR/conv30 (default: $QV_NLS_DATADIRECTORY, else\n"
          "                        %s)\n"
          "      --progress        show the progress on standard error\n"
          "  -h, --help            show this help and exit\n"
          "  -V, --version         show the version and exit\n"
          "\n"
          "With no FILE, or when FILE is -, read standard input. Encoding names and\n"
          "aliases are compared without regard to case.\n"
          "Exit status: 0 success, 1 conversion or input/output failure, 2 usage error.\n",
          nlsconv::DefaultDataDirectory());
}

int UsageError(const char* message, const char* argument) {
  if (message != nullptr) fprintf(stderr, "nlsconv: %s%s\n", message, argument);
  fprintf(stderr, "Try 'nlsconv --help' for more information.\n");
  return kUsage;
}

// Returns -1 to go on, or the exit status.
int ParseOptions(int argc, char** argv, Options* options) {
  enum { kDetect = 256, kDataDir, kProgress, kChunkSize };
  static const struct option kLong[] = {
      {"from-code", required_argument, nullptr, 'f'},
      {"to-code", required_argument, nullptr, 't'},
      {"output", required_argument, nullptr, 'o'},
      {"list", no_argument, nullptr, 'l'},
      {"detect", no_argument, nullptr, kDetect},
      {"data-dir", required_argument, nullptr, kDataDir},
      {"progress", no_argument, nullptr, kProgress},
      {"chunk-size", required_argument, nullptr, kChunkSize},
      {"help", no_argument, nullptr, 'h'},
      {"version", no_argument, nullptr, 'V'},
      {nullptr, 0, nullptr, 0},
  };
  opterr = 0;
  int c;
  while ((c = getopt_long(argc, argv, ":f:t:o:lhV", kLong, nullptr)) != -1) {
    switch (c) {
      case 'f':
        options->from = optarg;
        break;
      case 't':
        options->to = optarg;
        break;
      case 'o':
        options->output = optarg;
        if (options->output.empty()) return UsageError("empty output file name", "");
        break;
      case 'l':
        options->list = true;
        break;
      case kDetect:
        options->detect = true;
        break;
      case kDataDir:
        options->dataDirectory = optarg;
        break;
      case kProgress:
        options->progress = true;
        break;
      case kChunkSize: {
        char* end = nullptr;
        errno = 0;
        const unsigned long long n = strtoull(optarg, &end, 10);
        if (errno != 0 || end == optarg || *end != '\0' || n == 0 || n > kMaxChunk) {
          return UsageError("invalid chunk size: ", optarg);
        }
        options->chunk = static_cast<size_t>(n);
        break;
      }
      case 'h':
        PrintUsage(stdout);
        return fflush(stdout) == 0 ? kSuccess : kFailure;
      case 'V':
        printf("nlsconv (nlscnv) %s\n", NLSCONV_VERSION);
        return fflush(stdout) == 0 ? kSuccess : kFailure;
      case ':':
        return UsageError("option requires an argument: ", argv[optind - 1]);
      default:
        return UsageError("unknown option: ", argv[optind - 1]);
    }
  }
  for (int i = optind; i < argc; ++i) options->inputs.push_back(argv[i]);
  if (options->list && options->detect) return UsageError("-l and --detect exclude each other", "");
  if (!options->list && !options->detect && options->from.empty()) {
    return UsageError("no source encoding: give -f FROM (or -f auto)", "");
  }
  if (options->inputs.empty()) options->inputs.push_back("-");
  return -1;
}

// ---- Input -------------------------------------------------------------

class Input {
 public:
  ~Input() {
    if (file_ != nullptr && file_ != stdin) fclose(file_);
  }
  bool Open(const std::string& path) {
    if (path == "-") {
      name_ = "standard input";
      file_ = stdin;
      return true;
    }
    name_ = path;
    file_ = fopen(path.c_str(), "rb");
    if (file_ == nullptr) {
      fprintf(stderr, "nlsconv: %s: %s\n", path.c_str(), strerror(errno));
      return false;
    }
    return true;
  }
  // Reads up to n bytes into `to`; sets *end at the end of the input.
  bool Read(unsigned char* to, size_t n, size_t* got, bool* end) {
    errno = 0;
    *got = fread(to, 1, n, file_);
    if (*got == n) return true;
    if (ferror(file_)) {
      fprintf(stderr, "nlsconv: %s: %s\n", name_.c_str(), strerror(errno != 0 ? errno : EIO));
      return false;
    }
    *end = true;
    return true;
  }
  const char* name() const { return name_.c_str(); }

 private:
  FILE* file_ = nullptr;
  std::string name_;
};

// Size of all inputs when every one is a regular file, else 0 (unknown).
uint64_t TotalSize(const std::vector<std::string>& inputs) {
  uint64_t total = 0;
  for (const std::string& path : inputs) {
    struct stat info;
    const int rc = path == "-" ? fstat(STDIN_FILENO, &info) : stat(path.c_str(), &info);
    if (rc != 0 || !S_ISREG(info.st_mode)) return 0;
    total += static_cast<uint64_t>(info.st_size);
  }
  return total;
}

// ---- Detection ---------------------------------------------------------

// Detects the encoding of the start of an input. When the input goes on
// beyond the sample, the sample ends after its last line feed so that no
// character is cut. Returns the name, or null when none was recognised.
const char* Detect(const unsigned char* data, size_t length, bool complete,
                   unsigned int* confidence) {
  size_t n = std::min(length, kDetectSample);
  if (!complete || length > kDetectSample) {
    size_t line = n;
    while (line > 0 && data[line - 1] != '\n') --line;
    if (line != 0) n = line;
  }
  if (n == 0) return nullptr;
  _NLS_AUTO_DETECT_RESULT result = {};
  unsigned int count = 0;
  if (NLS_DetectEncodingForBuffer(data, static_cast<unsigned int>(n), &result, 0, &count) != 1 ||
      count == 0 || result.encoding == nullptr) {
    return nullptr;
  }
  *confidence = result.confidence;
  return result.encoding;
}

// Fills `buffer` with the start of the input: the detection sample.
bool ReadSample(Input& in, ByteBuffer& buffer, size_t chunk, bool* end) {
  while (!*end && buffer.size() < kDetectSample) {
    const size_t want = std::min(chunk, kDetectSample - buffer.size());
    if (!buffer.Reserve(want)) {
      fprintf(stderr, "nlsconv: out of memory\n");
      return false;
    }
    size_t got = 0;
    if (!in.Read(buffer.end(), want, &got, end)) return false;
    buffer.Grow(got);
  }
  return true;
}

int DetectFiles(const Options& options) {
  int status = kSuccess;
  ByteBuffer sample;
  for (const std::string& path : options.inputs) {
    Input in;
    bool end = false;
    sample.Clear();
    if (!in.Open(path) || !ReadSample(in, sample, kDetectSample, &end)) {
      status = kFailure;
      continue;
    }
    unsigned int confidence = 0;
    const char* name = Detect(sample.data(), sample.size(), end, &confidence);
    if (name != nullptr) {
      printf("%s: %s (confidence %u)\n", in.name(), name, confidence);
    } else {
      printf("%s: no encoding recognised\n", in.name());
    }
  }
  if (fflush(stdout) != 0) {
    fprintf(stderr, "nlsconv: standard output: %s\n", strerror(errno));
    status = kFailure;
  }
  return status;
}

// ---- Listing -----------------------------------------------------------

struct CaseLess {
  bool operator()(const std::string& a, const std::string& b) const {
    return strcasecmp(a.c_str(), b.c_str()) < 0;
  }
};

int List() {
  NLS_EnumerationHandle list = nullptr;
  if (NLS_NewEncodingConverterEnumeration("*", "*", &list) != 1 || list == nullptr) {
    fprintf(stderr, "nlsconv: cannot list the conversions\n");
    return kFailure;
  }
  unsigned int count = 0;
  NLS_CountEncodingConverters(list, &count);
  std::set<std::pair<std::string, std::string>, std::less<>> direct;
  std::set<std::string, CaseLess> names, decoders, encoders;
  for (unsigned int i = 0; i < count; ++i) {
    char from[64], to[64];
    if (NLS_GetEncodingConverterListItem(list, i, from, to) != 1) continue;
    direct.emplace(from, to);
    names.insert(from);
    names.insert(to);
    if (strcasecmp(to, nlsconv::kPivot) == 0) decoders.insert(from);
    if (strcasecmp(from, nlsconv::kPivot) == 0) encoders.insert(to);
  }
  NLS_DeleteEncodingConverterEnumeration(list);

  auto isDirect = [&direct](const std::string& from, const std::string& to) {
    for (const auto& pair : direct) {
      if (strcasecmp(pair.first.c_str(), from.c_str()) == 0 &&
          strcasecmp(pair.second.c_str(), to.c_str()) == 0) {
        return true;
      }
    }
    return false;
  };
  std::vector<std::pair<std::string, std::string>> sorted(direct.begin(), direct.end());
  std::sort(sorted.begin(), sorted.end(), [](const auto& a, const auto& b) {
    const int first = strcasecmp(a.first.c_str(), b.first.c_str());
    return first != 0 ? first < 0 : strcasecmp(a.second.c_str(), b.second.c_str()) < 0;
  });

  printf("Encodings:\n");
  for (const std::string& name : names) printf("  %s\n", name.c_str());
  printf("Direct conversions:\n");
  for (const auto& pair : sorted) printf("  %s -> %s\n", pair.first.c_str(), pair.second.c_str());
  printf("Conversions through %s:\n", nlsconv::kPivot);
  for (const std::string& from : decoders) {
    for (const std::string& to : encoders) {
      if (strcasecmp(from.c_str(), to.c_str()) == 0 || isDirect(from, to)) continue;
      printf("  %s -> %s\n", from.c_str(), to.c_str());
    }
  }
  if (fflush(stdout) != 0) {
    fprintf(stderr, "nlsconv: standard output: %s\n", strerror(errno));
    return kFailure;
  }
  return kSuccess;
}

// ---- Conversion --------------------------------------------------------

class Converter {
 public:
  explicit Converter(const Options& options) : options_(options) {}

  // Creates (or reuses) the pipeline for a pair of canonical names.
  bool UsePipeline(const std::string& from, const std::string& to) {
    if (pipeline_ != nullptr && pipeline_->from() == from && pipeline_->to() == to) {
      pipeline_->Reset();
      return true;
    }
    pipeline_.reset(new Pipeline());
    const int status =
        from[0] == '*' || to[0] == '*' ? -1301 : pipeline_->Open(from.c_str(), to.c_str());
    if (status != 1) {
      pipeline_.reset();
      fprintf(stderr, "nlsconv: cannot convert from %s to %s\n", from.c_str(), to.c_str());
      if (status != -1301) {
        fprintf(stderr, "nlsconv: the converter could not be created (status %d)\n", status);
      }
      return false;
    }
    return true;
  }

  int Run(const std::string& from, const std::string& to) {
    auto_ = strcasecmp(from.c_str(), "auto") == 0;
    to_ = to;
    if (!auto_ && !UsePipeline(from, to)) return kFailure;
    nlsconv::InstallInterruptCleanup();
    if (!output_.Open(options_.output)) return kFailure;
    progress_.Start(options_.progress, TotalSize(options_.inputs));
    bool ok = true;
    for (const std::string& path : options_.inputs) {
      if (!(ok = ConvertInput(path))) break;
    }
    progress_.Finish();
    if (!ok) {
      output_.Abandon();
      return kFailure;
    }
    return output_.Commit() ? kSuccess : kFailure;
  }

 private:
  bool ConvertInput(const std::string& path);
  bool ConvertPiece(const char* name, size_t length, uint64_t offset, bool last, size_t* consumed);

  const Options& options_;
  bool auto_ = false;
  std::string to_;
  std::unique_ptr<Pipeline> pipeline_;
  nlsconv::Output output_;
  nlsconv::Progress progress_;
  ByteBuffer pending_;    // input read but not converted yet
  ByteBuffer converted_;  // output of one piece
};

bool Converter::ConvertInput(const std::string& path) {
  Input in;
  if (!in.Open(path)) return false;
  pending_.Clear();
  bool end = false;
  if (auto_) {
    if (!ReadSample(in, pending_, options_.chunk, &end)) return false;
    progress_.Advance(pending_.size());
    unsigned int confidence = 0;
    const char* detected = Detect(pending_.data(), pending_.size(), end, &confidence);
    if (detected != nullptr) {
      fprintf(stderr, "nlsconv: %s: detected %s (confidence %u)\n", in.name(), detected,
              confidence);
    } else {
      detected = kFallbackEncoding;
      fprintf(stderr, "nlsconv: %s: no encoding recognised, converting from %s\n", in.name(),
              detected);
    }
    if (!UsePipeline(detected, to_)) return false;
  } else {
    pipeline_->Reset();
  }

  Pipeline& pipeline = *pipeline_;
  const size_t unit = pipeline.unit();
  const size_t longest = std::max(kLongestPiece, options_.chunk);
  uint64_t offset = 0;  // of pending_[0] in the input
  size_t scanned = 0;   // pending_[0, scanned) holds no cut point beyond `cut`
  size_t cut = 0;
  for (;;) {
    const size_t aligned = pending_.size() - pending_.size() % unit;
    if (aligned > scanned) {
      const size_t found = pipeline.LastCut(pending_.data(), scanned, aligned);
      if (found != 0) cut = found;
      scanned = aligned;
    }
    if (end) break;
    size_t piece = cut;
    const bool forced = piece == 0 && pending_.size() >= longest;
    if (forced) piece = pipeline.FallbackCut(pending_.data(), pending_.size(), false);
    if (piece != 0) {
      size_t consumed = 0;
      if (!ConvertPiece(in.name(), piece, offset, false, &consumed)) return false;
      if (consumed == 0 && forced) {
        // Nothing of the piece converts on its own: offer all that is held.
        piece = pipeline.FallbackCut(pending_.data(), pending_.size(), true);
        if (!ConvertPiece(in.name(), piece, offset, false, &consumed)) return false;
        if (consumed == 0) {
          fprintf(stderr, "nlsconv: %s: cannot convert the input from byte offset %llu on\n",
                  in.name(), static_cast<unsigned long long>(offset));
          return false;
        }
      }
      // Input the converter could not take yet stays in front of the rest;
      // it is never a cut point again.
      pending_.DropFront(consumed);
      offset += consumed;
      scanned = pending_.size() - pending_.size() % unit;
      cut = 0;
    }
    if (!pending_.Reserve(options_.chunk)) {
      fprintf(stderr, "nlsconv: out of memory\n");
      return false;
    }
    size_t got = 0;
    if (!in.Read(pending_.end(), options_.chunk, &got, &end)) return false;
    pending_.Grow(got);
    progress_.Advance(got);
  }
  if (pending_.size() == 0) return true;
  size_t consumed = 0;
  return ConvertPiece(in.name(), pending_.size(), offset, true, &consumed);
}

bool Converter::ConvertPiece(const char* name, size_t length, uint64_t offset, bool last,
                             size_t* consumed) {
  Pipeline& pipeline = *pipeline_;
  const unsigned char* data = pending_.data();
  converted_.Clear();
  const nlsconv::PieceResult result = pipeline.Convert(data, length, converted_);
  const unsigned long long at = offset;
  if (result.secondStage) {
    fprintf(stderr, "nlsconv: %s: conversion to %s failed in bytes %llu-%llu (status %d)\n", name,
            pipeline.to().c_str(), at, at + length - 1, result.status);
    return false;
  }
  if (result.status < 0 && result.status != -1304) {
    if (result.status == -1302) {
      size_t begin = 0, end = length;
      pipeline.LocateMalformed(data, length, &begin, &end);
      fprintf(stderr, "nlsconv: %s: malformed %s input in bytes %llu-%llu (status -1302)\n", name,
              pipeline.from().c_str(), at + begin, at + end - 1);
    } else {
      fprintf(stderr, "nlsconv: %s: conversion failed in bytes %llu-%llu (status %d)\n", name, at,
              at + length - 1, result.status);
    }
    return false;
  }
  if (!output_.Write(converted_.data(), converted_.size())) return false;
  *consumed = result.consumed;
  if (last && result.consumed < length) {
    const unsigned long long stop = at + result.consumed;
    if (result.status == -1304 || length - result.consumed < pipeline.unit()) {
      fprintf(stderr, "nlsconv: %s: input ends inside a character at byte offset %llu\n", name,
              stop);
    } else {
      fprintf(stderr, "nlsconv: %s: cannot convert the input from byte offset %llu on\n", name,
              stop);
    }
    return false;
  }
  return true;
}

// A data directory without registry files gives only the built-in
// encodings: say so now, not "cannot convert" later. False when it has none
// or they were refused.
bool RegistryFilesFound() {
  NLS_RegistryInfo info = {};
  info.size = sizeof info;
  if (NLS_GetRegistryInfo(&info) != 1) return true;
  if (info.files[0].state == NLS_REGISTRY_FILE_MISSING) {
    fprintf(stderr, "nlsconv: no registry files in %s\n", info.dataDirectory);
    return false;
  }
  if (info.files[0].state == NLS_REGISTRY_FILE_REFUSED) {
    fprintf(stderr, "nlsconv: registry files in %s %s\n", info.dataDirectory,
            info.files[0].refusal);
    return false;
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  const int parsed = ParseOptions(argc, argv, &options);
  if (parsed >= 0) return parsed;

  // The data directory: --data-dir, else the library's environment
  // variable, else the installed one (never the current directory).
  const char* directory = options.dataDirectory;
  if (directory == nullptr) {
    const char* variable = secure_getenv("QV_NLS_DATADIRECTORY");
    directory =
        variable != nullptr && *variable != '\0' ? variable : nlsconv::DefaultDataDirectory();
  }
  NLS_EncInitialize(nullptr, directory);
  if (!RegistryFilesFound()) {
    NLS_EncTerminate();
    return kFailure;
  }

  int status;
  if (options.list) {
    status = List();
  } else if (options.detect) {
    status = DetectFiles(options);
  } else {
    const std::string from = strcasecmp(options.from.c_str(), "auto") == 0
                                 ? options.from
                                 : NLS_GetNormalizedEncodingName(options.from.c_str());
    const std::string to = NLS_GetNormalizedEncodingName(options.to.c_str());
    Converter converter(options);
    status = converter.Run(from, to);
  }
  NLS_EncTerminate();
  return status;
}

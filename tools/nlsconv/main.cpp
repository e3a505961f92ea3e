// nlsconv: converts text between character encodings with the nlscnv
// library, through its strict interface (NLS_Iconv), like any other host.
//
//     nlsconv -f FROM [-t TO] [-o OUTPUT] [FILE...]
//     nlsconv -l | --list-pairs
//     nlsconv --detect [-v] [FILE...]
//
// Each input is read in blocks; what the last block cuts in the middle of a
// character the library leaves unconsumed and it goes on with the next
// block, so the output is that of one conversion of the whole input.
// Invalid input and characters the target cannot represent stop the
// conversion with their place, unless -c, --replace or a suffix of -t says
// otherwise.
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
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "byte_buffer.h"
#include "detect.h"
#include "names.h"
#include "nlscnv.h"
#include "output.h"
#include "parallel.h"
#include "progress.h"
#include "transcoder.h"

namespace nlsconv {
const char* DefaultDataDirectory();
}

namespace {

using namespace nlsconv;

constexpr size_t kDefaultBlock = 64 * 1024;
constexpr size_t kMaxBlock = 64u << 20;
// Without -j, files larger than this are converted on every core.
constexpr uint64_t kParallelFrom = 8u << 20;

enum ExitStatus { kSuccess = 0, kFailure = 1, kUsage = 2 };

struct Options {
  std::string from, to = "UTF-8", output, fallback;
  const char* dataDirectory = nullptr;
  bool list = false, listPairs = false, detect = false, verbose = false, progress = false;
  bool omit = false, replace = false, addSignature = false, removeSignature = false;
  unsigned jobs = 0;                  // 0: chosen per input
  size_t block = kDefaultBlock;       // hidden --chunk-size, for tests
  size_t pieceSize = kPieceInput;     // hidden --piece-size, for tests
  size_t detectLimit = kDetectLimit;  // hidden --detect-limit, for tests
  std::vector<std::string> inputs;
};

void PrintUsage(FILE* to) {
  fprintf(to,
          "Usage: nlsconv -f FROM [-t TO] [-o OUTPUT] [FILE...]\n"
          "       nlsconv -l | --list-pairs\n"
          "       nlsconv --detect [-v] [FILE...]\n"
          "Convert text between character encodings. Invalid input and characters that\n"
          "TO cannot represent stop the conversion (exit status 1) unless -c, --replace\n"
          "or a suffix of TO says otherwise.\n"
          "\n"
          "  -f, --from-code=NAME     encoding of the input; \"auto\" detects it per FILE\n"
          "  -t, --to-code=NAME       encoding of the output (default UTF-8); NAME may end\n"
          "                           in //IGNORE (as -c) and //TRANSLIT (approximate what\n"
          "                           TO cannot represent)\n"
          "  -c                       omit invalid input and unrepresentable characters\n"
          "      --replace            replace them: U+FFFD (or ?) for invalid input, ? for\n"
          "                           characters TO cannot represent\n"
          "  -o, --output=FILE        write to FILE; an existing FILE is replaced only when\n"
          "                           the whole conversion succeeds\n"
          "      --add-signature      start the output with a byte-order mark (Unicode TO)\n"
          "      --remove-signature   drop a byte-order mark (U+FEFF) that starts an input\n"
          "      --auto-fallback=NAME with -f auto: convert from NAME when the detection\n"
          "                           is unclear (else such an input is refused)\n"
          "  -j, --jobs=N             convert a regular file on N threads (default: every\n"
          "                           core for files over 8 MiB, when the pair allows it)\n"
          "  -l, --list               list the encodings, each with its aliases\n"
          "      --list-pairs         list the conversions the registry records\n"
          "      --detect             print the detected encoding of each FILE\n"
          "  -v, --verbose            with --detect: the other candidates too\n"
          "      --data-dir=DIR       read registry files and converter libraries from\n"
          "                           DIR/conv30 (default: $QV_NLS_DATADIRECTORY, else\n"
          "                           %s)\n"
          "      --progress           show the progress on standard error\n"
          "  -h, --help               show this help and exit\n"
          "  -V, --version            show the version and exit\n"
          "\n"
          "With no FILE, or when FILE is -, read standard input. Encoding names and\n"
          "aliases are compared without regard to case.\n"
          "Exit status: 0 success, 1 conversion or input/output failure, 2 usage error.\n",
          DefaultDataDirectory());
}

int UsageError(const char* message, const char* argument) {
  if (message != nullptr) fprintf(stderr, "nlsconv: %s%s\n", message, argument);
  fprintf(stderr, "Try 'nlsconv --help' for more information.\n");
  return kUsage;
}

bool ParseSize(const char* text, size_t least, size_t most, size_t* value) {
  char* end = nullptr;
  errno = 0;
  const unsigned long long n = strtoull(text, &end, 10);
  if (errno != 0 || end == text || *end != '\0' || n < least || n > most) return false;
  *value = static_cast<size_t>(n);
  return true;
}

// Returns -1 to go on, or the exit status.
int ParseOptions(int argc, char** argv, Options* options) {
  enum {
    kDetect = 256,
    kDataDir,
    kProgress,
    kChunkSize,
    kPieceSize,
    kReplace,
    kAddSignature,
    kRemoveSignature,
    kFallback,
    kListPairs,
    kDetectLimitOption
  };
  static const struct option kLong[] = {
      {"from-code", required_argument, nullptr, 'f'},
      {"to-code", required_argument, nullptr, 't'},
      {"output", required_argument, nullptr, 'o'},
      {"list", no_argument, nullptr, 'l'},
      {"list-pairs", no_argument, nullptr, kListPairs},
      {"detect", no_argument, nullptr, kDetect},
      {"verbose", no_argument, nullptr, 'v'},
      {"replace", no_argument, nullptr, kReplace},
      {"add-signature", no_argument, nullptr, kAddSignature},
      {"remove-signature", no_argument, nullptr, kRemoveSignature},
      {"auto-fallback", required_argument, nullptr, kFallback},
      {"jobs", required_argument, nullptr, 'j'},
      {"data-dir", required_argument, nullptr, kDataDir},
      {"progress", no_argument, nullptr, kProgress},
      {"chunk-size", required_argument, nullptr, kChunkSize},
      {"piece-size", required_argument, nullptr, kPieceSize},
      {"detect-limit", required_argument, nullptr, kDetectLimitOption},
      {"help", no_argument, nullptr, 'h'},
      {"version", no_argument, nullptr, 'V'},
      {nullptr, 0, nullptr, 0},
  };
  opterr = 0;
  int c;
  size_t n;
  while ((c = getopt_long(argc, argv, ":f:t:o:lcvj:hV", kLong, nullptr)) != -1) {
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
      case kListPairs:
        options->listPairs = true;
        break;
      case kDetect:
        options->detect = true;
        break;
      case 'v':
        options->verbose = true;
        break;
      case 'c':
        options->omit = true;
        break;
      case kReplace:
        options->replace = true;
        break;
      case kAddSignature:
        options->addSignature = true;
        break;
      case kRemoveSignature:
        options->removeSignature = true;
        break;
      case kFallback:
        options->fallback = optarg;
        break;
      case 'j':
        if (!ParseSize(optarg, 1, 1024, &n)) return UsageError("invalid number of jobs: ", optarg);
        options->jobs = static_cast<unsigned>(n);
        break;
      case kDataDir:
        options->dataDirectory = optarg;
        break;
      case kProgress:
        options->progress = true;
        break;
      case kChunkSize:
        if (!ParseSize(optarg, 1, kMaxBlock, &options->block))
          return UsageError("invalid chunk size: ", optarg);
        break;
      case kPieceSize:
        if (!ParseSize(optarg, 1, kMaxBlock, &options->pieceSize))
          return UsageError("invalid piece size: ", optarg);
        break;
      case kDetectLimitOption:
        if (!ParseSize(optarg, 1, kDetectLimit, &options->detectLimit))
          return UsageError("invalid detection limit: ", optarg);
        break;
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
  if (options->list + options->listPairs + options->detect > 1)
    return UsageError("-l, --list-pairs and --detect exclude each other", "");
  const bool converting = !options->list && !options->listPairs && !options->detect;
  if (converting && options->from.empty())
    return UsageError("no source encoding: give -f FROM (or -f auto)", "");
  if (options->omit && options->replace)
    return UsageError("-c and --replace exclude each other", "");
  if (!options->fallback.empty() && strcasecmp(options->from.c_str(), "auto") != 0)
    return UsageError("--auto-fallback needs -f auto", "");
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
    } else {
      name_ = path;
      file_ = fopen(path.c_str(), "rb");
    }
    struct stat info;
    if (file_ == nullptr || fstat(fileno(file_), &info) != 0) {
      fprintf(stderr, "nlsconv: %s: %s\n", name_.c_str(), strerror(errno));
      return false;
    }
    if (S_ISDIR(info.st_mode)) {
      fprintf(stderr, "nlsconv: %s: %s\n", name_.c_str(), strerror(EISDIR));
      return false;
    }
    // Only named files are read at offsets of their own (-j).
    regular_ = S_ISREG(info.st_mode) && file_ != stdin;
    size_ = static_cast<uint64_t>(info.st_size);
    return true;
  }
  // Appends up to n bytes to `buffer`; sets *end at the end of the input.
  bool Read(ByteBuffer& buffer, size_t n, size_t* got, bool* end) {
    *got = 0;
    if (!buffer.Reserve(n)) {
      fprintf(stderr, "nlsconv: out of memory\n");
      return false;
    }
    errno = 0;
    *got = fread(buffer.end(), 1, n, file_);
    buffer.Grow(*got);
    if (*got == n) return true;
    if (ferror(file_)) {
      fprintf(stderr, "nlsconv: %s: %s\n", name_.c_str(), strerror(errno != 0 ? errno : EIO));
      return false;
    }
    *end = true;
    return true;
  }
  const char* name() const { return name_.c_str(); }
  int fd() const { return fileno(file_); }
  bool regular() const { return regular_; }
  uint64_t size() const { return size_; }

 private:
  FILE* file_ = nullptr;
  std::string name_;
  bool regular_ = false;
  uint64_t size_ = 0;
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

// The start of an input, for detection.
bool ReadSample(Input& in, ByteBuffer& sample, size_t limit, size_t block, bool* end) {
  while (!*end && sample.size() < limit) {
    size_t got = 0;
    if (!in.Read(sample, std::min(block, limit - sample.size()), &got, end)) return false;
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
    if (!in.Open(path) || !ReadSample(in, sample, options.detectLimit, kMaxBlock, &end)) {
      status = kFailure;
      continue;
    }
    const auto candidates = Detect(sample.data(), sample.size());
    if (candidates.empty()) {
      printf("%s: no encoding recognised\n", in.name());
      continue;
    }
    printf("%s: %s\n", in.name(), Describe(candidates[0], sample.data()).c_str());
    for (size_t i = 1; options.verbose && i < candidates.size(); ++i)
      printf("  %s\n", Describe(candidates[i], sample.data()).c_str());
  }
  if (fflush(stdout) != 0) {
    fprintf(stderr, "nlsconv: standard output: %s\n", strerror(errno));
    status = kFailure;
  }
  return status;
}

// ---- Conversion --------------------------------------------------------

// The output of a serial conversion, gathered into large writes.
class BufferedOutput : public Sink {
 public:
  explicit BufferedOutput(Output* output) : output_(output) { buffer_.Reserve(kSize); }
  unsigned char* Room(size_t least, size_t* size) override {
    if (kSize - buffer_.size() < least && !Flush()) return nullptr;
    *size = kSize - buffer_.size();
    return buffer_.end();
  }
  bool Commit(size_t n) override {
    buffer_.Grow(n);
    return true;
  }
  bool Flush() {
    const bool ok = output_->Write(buffer_.data(), buffer_.size());
    buffer_.Clear();
    return ok;
  }

 private:
  static constexpr size_t kSize = 256 * 1024;
  Output* output_;
  ByteBuffer buffer_;
};

// A code point as UTF-8 for a message, or empty for one that does not show.
std::string Shown(uint32_t cp) {
  if (cp < 0x20 || (cp >= 0x7F && cp < 0xA0) || (cp >= 0xD800 && cp < 0xE000) || cp > 0x10FFFF ||
      (cp >= 0x200B && cp <= 0x200F) || (cp >= 0x2028 && cp <= 0x202E) ||
      (cp >= 0x2060 && cp <= 0x206F) || cp == 0xFEFF) {
    return "";
  }
  std::string s;
  if (cp < 0x80) {
    s += static_cast<char>(cp);
  } else if (cp < 0x800) {
    s += static_cast<char>(0xC0 | cp >> 6);
    s += static_cast<char>(0x80 | (cp & 0x3F));
  } else if (cp < 0x10000) {
    s += static_cast<char>(0xE0 | cp >> 12);
    s += static_cast<char>(0x80 | (cp >> 6 & 0x3F));
    s += static_cast<char>(0x80 | (cp & 0x3F));
  } else {
    s += static_cast<char>(0xF0 | cp >> 18);
    s += static_cast<char>(0x80 | (cp >> 12 & 0x3F));
    s += static_cast<char>(0x80 | (cp >> 6 & 0x3F));
    s += static_cast<char>(0x80 | (cp & 0x3F));
  }
  return " (" + s + ")";
}

class Converter {
 public:
  explicit Converter(const Options& options)
      : options_(options), addSignature_(options.addSignature) {}
  int Run();

 private:
  bool ConvertInput(const std::string& path, bool first);
  bool Choose(Input& in, const ByteBuffer& sample, std::string* from, uint64_t* start);
  bool Prepare(const std::string& from, Input& in);
  unsigned Threads(const Input& in, uint64_t start) const;
  bool Convert(Input& in, ByteBuffer& pending, bool end, uint64_t start, bool first);
  bool ConvertParallel(Input& in, uint64_t start, unsigned threads, bool first);
  void Report(const Failure& failure, const char* file) const;
  void ReportTally() const;

  const Options& options_;
  bool addSignature_;  // --add-signature, unless the target writes its own mark
  Target target_;
  Policy policy_ = Policy::kStop;
  std::string detectedNote_;  // appended to failures of a detected source
  std::vector<std::unique_ptr<Transcoder>> transcoders_;  // [0] serial, all for -j
  Output output_;
  Progress progress_;
  Tally tally_;
};

// The names of the target and of the source when given: known, with a
// strict converter, suffixes understood, a signature where asked for.
int Converter::Run() {
  target_ = ParseTarget(options_.to);
  if (!target_.unknownSuffix.empty()) {
    fprintf(stderr, "nlsconv: unknown suffix '%s' in '%s' (known: //IGNORE, //TRANSLIT)\n",
            target_.unknownSuffix.c_str(), options_.to.c_str());
    return kFailure;
  }
  if (target_.ignore && options_.replace)
    return UsageError("//IGNORE and --replace exclude each other", "");
  policy_ = options_.omit || target_.ignore ? Policy::kOmit
            : options_.replace              ? Policy::kReplace
                                            : Policy::kStop;
  transcoders_.emplace_back(new Transcoder());
  const bool automatic = strcasecmp(options_.from.c_str(), "auto") == 0;
  Transcoder& first = *transcoders_[0];
  if (!first.Open(automatic ? "UTF-8" : options_.from, target_.name, target_.translit, policy_)) {
    NLS_Iconv_t probe = NLS_IconvOpen(kPivot, automatic ? "UTF-8" : options_.from.c_str());
    const bool sourceBad = probe == reinterpret_cast<NLS_Iconv_t>(-1);
    if (!sourceBad) NLS_IconvClose(probe);
    ExplainUnusable(sourceBad ? options_.from : target_.name);
    return kFailure;
  }
  if (!options_.fallback.empty()) {
    NLS_Iconv_t probe = NLS_IconvOpen(kPivot, options_.fallback.c_str());
    if (probe == reinterpret_cast<NLS_Iconv_t>(-1)) {
      ExplainUnusable(options_.fallback);
      return kFailure;
    }
    NLS_IconvClose(probe);
  }
  if (options_.addSignature) {
    static const char* const kUnicode[] = {
        "UTF-8",   "UTF-16BE",        "UTF-16LE",        "UTF-32BE", "UTF-32LE", "UCS-2BE",
        "UCS-2LE", "ISO-10646-UCS-2", "ISO-10646-UCS-4", "CESU-8",   "UTF-16",   "UTF-32"};
    const char* canonical = first.targetCanonical();
    if (std::none_of(std::begin(kUnicode), std::end(kUnicode),
                     [&](const char* name) { return strcasecmp(name, canonical) == 0; })) {
      fprintf(stderr, "nlsconv: --add-signature: %s is not a Unicode encoding form\n",
              target_.name.c_str());
      return kFailure;
    }
    // UTF-16 and UTF-32 write their byte-order mark themselves.
    if (strcasecmp(canonical, "UTF-16") == 0 || strcasecmp(canonical, "UTF-32") == 0)
      addSignature_ = false;
  }
  InstallInterruptCleanup();
  if (!output_.Open(options_.output)) return kFailure;
  progress_.Start(options_.progress, TotalSize(options_.inputs));
  bool ok = true;
  for (size_t i = 0; ok && i < options_.inputs.size(); ++i)
    ok = ConvertInput(options_.inputs[i], i == 0);
  progress_.Finish();
  if (!ok) {
    output_.Abandon();
    return kFailure;
  }
  if (!output_.Commit()) return kFailure;
  ReportTally();
  return kSuccess;
}

bool Converter::ConvertInput(const std::string& path, bool first) {
  Input in;
  if (!in.Open(path)) return false;
  ByteBuffer pending;
  bool end = false;
  uint64_t start = 0;
  std::string from = options_.from;
  detectedNote_.clear();
  if (strcasecmp(from.c_str(), "auto") == 0) {
    if (!ReadSample(in, pending, options_.detectLimit, options_.block, &end) ||
        !Choose(in, pending, &from, &start))
      return false;
  }
  if (!Prepare(from, in)) return false;
  const unsigned threads = Threads(in, start);
  if (threads > 1) return ConvertParallel(in, start, threads, first);
  progress_.Advance(pending.size());
  pending.DropFront(static_cast<size_t>(start));
  return Convert(in, pending, end, start, first);
}

// -f auto: the source encoding of an input from the detection sample.
bool Converter::Choose(Input& in, const ByteBuffer& sample, std::string* from, uint64_t* start) {
  if (sample.size() == 0) {  // nothing to convert: any source will do
    *from = "UTF-8";
    return true;
  }
  const auto candidates = Detect(sample.data(), sample.size());
  if (!Clear(candidates)) {
    std::string list;
    for (size_t i = 0; i < candidates.size() && i < 4; ++i)
      list += (i == 0 ? "" : ", ") + Describe(candidates[i], sample.data());
    if (options_.fallback.empty()) {
      fprintf(stderr, "nlsconv: %s: %s%s; give -f NAME, or --auto-fallback=NAME for such inputs\n",
              in.name(),
              candidates.empty() ? "no encoding recognised" : "unclear encoding: ", list.c_str());
      return false;
    }
    fprintf(stderr, "nlsconv: %s: %s%s; converting from %s\n", in.name(),
            candidates.empty() ? "no encoding recognised" : "unclear encoding: ", list.c_str(),
            options_.fallback.c_str());
    *from = options_.fallback;
    return true;
  }
  const NLS_DetectCandidate& best = candidates[0];
  *from = best.encoding;
  *start = best.bomLength;
  // ASCII text is read as UTF-8, which also takes what may follow beyond
  // the sample.
  if (strcasecmp(best.encoding, "US-ASCII") == 0) *from = "UTF-8";
  fprintf(stderr, "nlsconv: %s: detected %s%s\n", in.name(), Describe(best, sample.data()).c_str(),
          *from != best.encoding ? (", converting as " + *from).c_str() : "");
  const size_t limit = options_.detectLimit;
  if (sample.size() >= limit) {
    detectedNote_ = "; " + *from + " was detected in the first " +
                    (limit % (1u << 20) == 0 ? std::to_string(limit >> 20) + " MiB"
                                             : std::to_string(limit) + " bytes");
  } else {
    detectedNote_ = "; " + *from + " was detected";
  }
  return true;
}

// Opens the transcoders for a source encoding (the first always; one per
// thread for -j, lazily).
bool Converter::Prepare(const std::string& from, Input& in) {
  for (auto& transcoder : transcoders_) {
    if (transcoder->from() == from) continue;
    if (!transcoder->Open(from, target_.name, target_.translit, policy_)) {
      fprintf(stderr, "nlsconv: %s: %s has no strict converter in this installation\n", in.name(),
              from.c_str());
      return false;
    }
  }
  return true;
}

unsigned Converter::Threads(const Input& in, uint64_t start) const {
  const unsigned properties = transcoders_[0]->properties();
  if (!in.regular() || (properties & NLS_ICONV_SOURCE_RESYNCS_AT_LINE_FEED) == 0 ||
      (properties & NLS_ICONV_TARGET_STATEFUL) != 0 || in.size() <= start ||
      in.size() - start <= options_.pieceSize) {
    return 1;
  }
  if (options_.jobs != 0) return options_.jobs;
  return in.size() > kParallelFrom ? std::max(1u, std::thread::hardware_concurrency()) : 1;
}

bool Converter::Convert(Input& in, ByteBuffer& pending, bool end, uint64_t start, bool first) {
  BufferedOutput sink(&output_);
  Transcoder& t = *transcoders_[0];
  bool ok = t.Begin(&sink, start, first && addSignature_, options_.removeSignature);
  while (ok) {
    size_t got = 0;
    if (!end && !in.Read(pending, options_.block, &got, &end)) {
      sink.Flush();
      return false;
    }
    progress_.Advance(got);
    size_t used = 0;
    ok = t.Convert(pending.data(), pending.size(), end, &used);
    pending.DropFront(used);
    if (end) break;
  }
  ok = ok && t.End();
  const bool written = sink.Flush();
  tally_.Add(t.tally());
  if (!ok) Report(t.failure(), in.name());
  return ok && written;
}

bool Converter::ConvertParallel(Input& in, uint64_t start, unsigned threads, bool first) {
  const std::string from = transcoders_[0]->from();
  while (transcoders_.size() < threads) {
    transcoders_.emplace_back(new Transcoder());
    if (!transcoders_.back()->Open(from, target_.name, target_.translit, policy_)) {
      fprintf(stderr, "nlsconv: cannot open %u converters\n", threads);
      return false;
    }
  }
  ParallelJob job;
  job.fd = in.fd();
  job.begin = start;
  job.size = in.size();
  job.blockSize = options_.block;
  job.pieceSize = options_.pieceSize;
  job.addSignature = first && addSignature_;
  job.removeSignature = options_.removeSignature;
  for (unsigned i = 0; i < threads; ++i) job.transcoders.push_back(transcoders_[i].get());
  Failure failure;
  if (!ConvertInParallel(job, &output_, &progress_, &failure, &tally_)) {
    Report(failure, in.name());
    return false;
  }
  return true;
}

// The message of a failure; encodings by the names the user gave (or that
// detection gave).
void Converter::Report(const Failure& f, const char* file) const {
  const unsigned long long offset = f.offset, line = f.line, column = f.column;
  const char* from = transcoders_[0]->from().c_str();
  const char* note = detectedNote_.c_str();
  switch (f.kind) {
    case Failure::kInvalid: {
      std::string bytes;
      char hex[4];
      for (unsigned i = 0; i < f.byteCount; ++i) {
        snprintf(hex, sizeof hex, " %02x", f.bytes[i]);
        bytes += hex;
      }
      fprintf(stderr,
              "nlsconv: %s: invalid %s sequence%s at byte offset %llu (line %llu, column %llu)%s\n",
              file, from, bytes.c_str(), offset, line, column, note);
      break;
    }
    case Failure::kUnmappable:
      fprintf(stderr,
              "nlsconv: %s: cannot convert U+%04X%s at byte offset %llu (line %llu, column %llu) "
              "to %s%s\n",
              file, static_cast<unsigned>(f.codePoint), Shown(f.codePoint).c_str(), offset, line,
              column, target_.name.c_str(), note);
      break;
    case Failure::kIncomplete:
      fprintf(stderr,
              "nlsconv: %s: incomplete character at the end of the input (byte offset %llu)%s\n",
              file, offset, note);
      break;
    case Failure::kRead:
      fprintf(stderr, "nlsconv: %s: %s\n", file, strerror(f.error));
      break;
    case Failure::kWrite:  // reported by the output
    case Failure::kNone:
      break;
  }
}

// One line for everything omitted, replaced or approximated.
void Converter::ReportTally() const {
  const uint64_t lost = tally_.invalid + tally_.unmappable;
  if (lost == 0 && tally_.approximated == 0) return;
  auto count = [](uint64_t n, const char* what) {
    return std::to_string(n) + " " + what + (n == 1 ? "" : "s");
  };
  std::string line;
  if (tally_.approximated != 0) line = count(tally_.approximated, "character") + " approximated";
  if (lost != 0) {
    line += line.empty() ? count(lost, "character") : ", " + std::to_string(lost);
    line += policy_ == Policy::kReplace ? " replaced (" : " omitted (";
    if (tally_.invalid != 0) line += count(tally_.invalid, "invalid input sequence");
    if (tally_.invalid != 0 && tally_.unmappable != 0) line += ", ";
    if (tally_.unmappable != 0)
      line += std::to_string(tally_.unmappable) + " not representable in " + target_.name;
    line += ")";
  }
  fprintf(stderr, "nlsconv: %s\n", line.c_str());
}

// A data directory without registry files gives only the built-in
// encodings: say so now, not "cannot convert" later. False when it has none
// or they were refused.
bool RegistryFilesFound() {
  NLS_RegistryInfo info = {};
  info.size = sizeof info;
  if (NLS_GetRegistryInfo(&info) != 1) return true;
  // A refused file is reported even when another file was read: a registry
  // with a planted or tampered part is not one to convert with.
  bool anyRead = false;
  for (const NLS_RegistryFileInfo& file : info.files) {
    if (file.state == NLS_REGISTRY_FILE_REFUSED) {
      fprintf(stderr, "nlsconv: registry files in %s %s\n", info.dataDirectory, file.refusal);
      return false;
    }
    if (file.state == NLS_REGISTRY_FILE_FOUND) anyRead = true;
  }
  if (!anyRead) {
    fprintf(stderr, "nlsconv: no registry files in %s\n", info.dataDirectory);
    return false;
  }
  return true;
}

// The library's lock, for the threads of -j.
std::mutex gLibraryMutex;
void LockLibrary(void*) { gLibraryMutex.lock(); }
void UnlockLibrary(void*) { gLibraryMutex.unlock(); }

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
    directory = variable != nullptr && *variable != '\0' ? variable : DefaultDataDirectory();
  }
  const MutexImplementation mutex = {nullptr, LockLibrary, UnlockLibrary};
  NLS_EncInitialize(&mutex, directory);
  if (!RegistryFilesFound()) {
    NLS_EncTerminate();
    return kFailure;
  }

  int status;
  if (options.list) {
    status = ListEncodings();
  } else if (options.listPairs) {
    status = ListPairs();
  } else if (options.detect) {
    status = DetectFiles(options);
  } else {
    Converter converter(options);
    status = converter.Run();
  }
  NLS_EncTerminate();
  return status;
}

// Converts the same buffers through nlscnv, ICU, glibc iconv and memcpy in one
// process and prints a table of throughput (MB/s of input) with the ratios
// nlscnv/ICU and nlscnv/iconv, the per-call cost of converting 32-byte
// strings, and the heap that an open converter handle takes.
//
//   side_by_side [--corpora DIR] [--data DIR] [--reps N] [--min-time SECONDS]
//                [--filter TEXT] [--quick]
//
// Each figure is the median of --reps repetitions (default 5); the
// implementations take turns within every repetition so that a slow moment
// of the machine does not favour one of them. Times are the thread's CPU time. The "same" column
// says whether nlscnv and ICU produced the same bytes for the case.
#include <iconv.h>
#include <malloc.h>
#include <unicode/ucnv.h>
#include <unicode/ucnv_err.h>

#include <time.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "bench_cases.h"
#include "nlscnv.h"

using nls_bench::Bytes;
using nls_bench::Case;
using nls_bench::Encoding;

namespace {

struct Options {
  std::string corpora = NLS_BENCH_CORPUS_DIR;
  std::string data = NLS_BENCH_DATA_DIR;  // the build tree's, with the converter libraries
  int reps = 5;
  double minTime = 0.04;
  std::string filter;
};

// Thread CPU time: the machine may be shared, and time spent descheduled
// would otherwise count against whichever implementation was running.
double Now() {
  timespec ts;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
  return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}

// One implementation of a case: a callable that converts the whole input once
// (in one call or piece by piece) and returns the bytes it produced.
struct Runner {
  Runner(std::string n, std::function<size_t()> r) : name(std::move(n)), run(std::move(r)) {}
  std::string name;
  std::function<size_t()> run;
  long iterations = 0;
  std::vector<double> seconds;  // per conversion, one entry per repetition
};

double Median(std::vector<double> v) {
  if (v.empty()) return 0;
  std::sort(v.begin(), v.end());
  size_t n = v.size();
  return n % 2 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
}

// Finds an iteration count that runs for about minTime.
void Calibrate(Runner* r, double minTime) {
  r->run();  // warm caches and first-touch pages
  long n = 1;
  for (;;) {
    const double t0 = Now();
    for (long i = 0; i < n; ++i) r->run();
    const double s = Now() - t0;
    if (s >= minTime / 4 || n > (1L << 30)) {
      r->iterations = std::max(1L, static_cast<long>(n * (minTime / std::max(s, 1e-9))));
      return;
    }
    n *= 2;
  }
}

void Measure(std::vector<Runner>* runners, const Options& o) {
  for (Runner& r : *runners) Calibrate(&r, o.minTime);
  for (int rep = 0; rep < o.reps; ++rep) {
    for (Runner& r : *runners) {
      const double t0 = Now();
      for (long i = 0; i < r.iterations; ++i) r.run();
      const double s = Now() - t0;
      r.seconds.push_back(s / static_cast<double>(r.iterations));
    }
  }
}

// ---- nlscnv -----------------------------------------------------------------

struct NlsStream {
  NLS_ConverterHandle handle = nullptr;
  int lastStatus = 1;
};

// ---- ICU --------------------------------------------------------------------

UConverter* OpenIcu(const Encoding* e) {
  if (e->icu == nullptr) return nullptr;  // ICU lacks the encoding
  UErrorCode err = U_ZERO_ERROR;
  UConverter* c = ucnv_open(e->icu, &err);
  if (U_FAILURE(err)) return nullptr;
  if (e->special == nls_bench::IcuSpecial::kEscapedUnicode) {
    ucnv_setFromUCallBack(c, UCNV_FROM_U_CALLBACK_ESCAPE, UCNV_ESCAPE_JAVA, nullptr, nullptr, &err);
  }
  return c;
}

std::string Fixed(double v, int decimals) {
  char buf[64];
  std::snprintf(buf, sizeof buf, "%.*f", decimals, v);
  return buf;
}

std::string Ratio(double a, double b) { return b > 0 && a > 0 ? Fixed(a / b, 2) : "-"; }

struct Row {
  std::string name, mode, same;
  size_t bytes;
  double nls, icu, iconv, copy;  // MB/s, 0 when not measured
};

void PrintRows(const std::vector<Row>& rows) {
  std::printf(
      "| case | mode | input KiB | nlscnv MB/s | ICU MB/s | iconv MB/s | memcpy MB/s | nlscnv/ICU "
      "| nlscnv/iconv | nlscnv/memcpy | same as ICU |\n");
  std::printf("|---|---|---:|---:|---:|---:|---:|---:|---:|---:|:---:|\n");
  for (const Row& r : rows) {
    auto mbs = [](double v) { return v > 0 ? Fixed(v, 0) : std::string("-"); };
    std::printf("| %s | %s | %zu | %s | %s | %s | %s | %s | %s | %s | %s |\n", r.name.c_str(),
                r.mode.c_str(), r.bytes / 1024, mbs(r.nls).c_str(), mbs(r.icu).c_str(),
                mbs(r.iconv).c_str(), mbs(r.copy).c_str(), Ratio(r.nls, r.icu).c_str(),
                Ratio(r.nls, r.iconv).c_str(), Ratio(r.nls, r.copy).c_str(), r.same.c_str());
  }
}

// Converts `in` with nlscnv into a fresh buffer (for the "same" column).
Bytes NlsWhole(const Case& c, const Bytes& in, int* status) {
  unsigned size =
      NLS_GetResultBufferSize(in.data(), static_cast<unsigned>(in.size()), c.from->nls, c.to->nls);
  Bytes out(size + 16);
  unsigned produced = 0;
  *status = NLS_ConvertBuffer(c.from->nls, c.to->nls, in.data(), static_cast<unsigned>(in.size()),
                              out.data(), static_cast<unsigned>(out.size()), &produced);
  out.resize(produced);
  return out;
}

Bytes IcuWhole(const Case& c, const Bytes& in) {
  if (c.from->icu == nullptr || c.to->icu == nullptr) return Bytes();
  UErrorCode err = U_ZERO_ERROR;
  Bytes out(in.size() * 8 + 64);
  int32_t n = 0;
  if (c.ToUcs2()) {
    if (c.from->special == nls_bench::IcuSpecial::kEscapedUnicode) {
      return Bytes();  // ICU has no decoder for escaped text
    } else {
      UConverter* cnv = OpenIcu(c.from);
      n = 2 * ucnv_toUChars(
                  cnv, reinterpret_cast<UChar*>(out.data()), static_cast<int32_t>(out.size() / 2),
                  reinterpret_cast<const char*>(in.data()), static_cast<int32_t>(in.size()), &err);
      ucnv_close(cnv);
    }
  } else if (c.FromUcs2()) {
    UConverter* cnv = OpenIcu(c.to);
    n = ucnv_fromUChars(cnv, reinterpret_cast<char*>(out.data()), static_cast<int32_t>(out.size()),
                        reinterpret_cast<const UChar*>(in.data()),
                        static_cast<int32_t>(in.size() / 2), &err);
    ucnv_close(cnv);
  } else {
    n = ucnv_convert(c.to->icu, c.from->icu, reinterpret_cast<char*>(out.data()),
                     static_cast<int32_t>(out.size()), reinterpret_cast<const char*>(in.data()),
                     static_cast<int32_t>(in.size()), &err);
  }
  out.resize(U_FAILURE(err) ? 0 : static_cast<size_t>(n));
  return out;
}

// Converts `in` through an iconv-like call in blocks of `block` bytes cut
// wherever they fall: the bytes of a character cut at the end of a block
// stay and go with the next block, as a host that reads fixed-size blocks
// keeps them. Ends with the call that returns the target to its initial
// state. Returns the bytes produced.
template <class Call>
size_t IconvCut(const Bytes& in, size_t block, unsigned char* dst, size_t outCap, Call&& call) {
  call(nullptr, nullptr, nullptr, nullptr);
  size_t pos = 0, total = 0;
  for (size_t end = 0; end < in.size();) {
    end = std::min(in.size(), end + block);
    char* s = reinterpret_cast<char*>(const_cast<unsigned char*>(in.data())) + pos;
    size_t sl = end - pos;
    char* t = reinterpret_cast<char*>(dst);
    size_t tl = outCap;
    call(&s, &sl, &t, &tl);
    pos = end - sl;
    total += outCap - tl;
  }
  char* t = reinterpret_cast<char*>(dst);
  size_t tl = outCap;
  call(nullptr, nullptr, &t, &tl);
  return total + (outCap - tl);
}

auto IconvCall(iconv_t cd) {
  return [cd](char** s, size_t* sl, char** t, size_t* tl) { return iconv(cd, s, sl, t, tl); };
}

// ICU with converters opened for this one conversion.
size_t IcuFresh(const Case& c, const Bytes& in, unsigned char* dst, size_t outCap) {
  UErrorCode err = U_ZERO_ERROR;
  const int32_t cap = static_cast<int32_t>(outCap);
  const char* src = reinterpret_cast<const char*>(in.data());
  const int32_t len = static_cast<int32_t>(in.size());
  if (c.ToUcs2() || c.FromUcs2()) {
    UConverter* cnv = OpenIcu(c.ToUcs2() ? c.from : c.to);
    if (cnv == nullptr) return 0;
    const size_t n = c.ToUcs2()
                         ? 2 * static_cast<size_t>(ucnv_toUChars(cnv, reinterpret_cast<UChar*>(dst),
                                                                 cap / 2, src, len, &err))
                         : static_cast<size_t>(
                               ucnv_fromUChars(cnv, reinterpret_cast<char*>(dst), cap,
                                               reinterpret_cast<const UChar*>(src), len / 2, &err));
    ucnv_close(cnv);
    return n;
  }
  return static_cast<size_t>(
      ucnv_convert(c.to->icu, c.from->icu, reinterpret_cast<char*>(dst), cap, src, len, &err));
}

// ICU on blocks cut wherever they fall. A missing converter stands for
// UCS-2 (UTF-16LE): the other side's converter alone does the work.
size_t IcuCut(UConverter* from, UConverter* to, const Bytes& in, size_t block, unsigned char* dst,
              size_t outCap, std::vector<UChar>* pivot) {
  size_t total = 0;
  if (from != nullptr) ucnv_resetToUnicode(from);
  if (to != nullptr) ucnv_resetFromUnicode(to);
  UChar* pivotSource = pivot->data();
  UChar* pivotTarget = pivot->data();
  for (size_t at = 0; at < in.size(); at += block) {
    const size_t len = std::min(block, in.size() - at);
    const bool last = at + len == in.size();
    UErrorCode err = U_ZERO_ERROR;
    const char* s = reinterpret_cast<const char*>(in.data() + at);
    if (to == nullptr) {
      UChar* t = reinterpret_cast<UChar*>(dst);
      ucnv_toUnicode(from, &t, t + outCap / 2, &s, s + len, nullptr, last, &err);
      total += 2 * static_cast<size_t>(t - reinterpret_cast<UChar*>(dst));
    } else if (from == nullptr) {
      char* t = reinterpret_cast<char*>(dst);
      const UChar* u = reinterpret_cast<const UChar*>(s);
      ucnv_fromUnicode(to, &t, t + outCap, &u, u + len / 2, nullptr, last, &err);
      total += static_cast<size_t>(t - reinterpret_cast<char*>(dst));
    } else {
      char* t = reinterpret_cast<char*>(dst);
      ucnv_convertEx(to, from, &t, t + outCap, &s, s + len, pivot->data(), &pivotSource,
                     &pivotTarget, pivot->data() + pivot->size(), at == 0, last, &err);
      total += static_cast<size_t>(t - reinterpret_cast<char*>(dst));
    }
  }
  return total;
}

// Throughput rows of one case: whole buffer, 64 KiB pieces through the
// calls, fresh handles, and the strict interface on blocks cut anywhere.
void RunCase(const Case& c, const Options& o, std::vector<Row>* rows) {
  Bytes in;
  if (!nls_bench::ReadFile(c.File(o.corpora), &in)) {
    std::fprintf(stderr, "skipped %s: no corpus file %s\n", c.Name().c_str(),
                 c.File(o.corpora).c_str());
    return;
  }
  const unsigned inLen = static_cast<unsigned>(in.size());
  const auto pieces = nls_bench::Pieces(in, c.from->unit, 64 * 1024);

  int nlsStatus = 0;
  const Bytes nlsOut = NlsWhole(c, in, &nlsStatus);
  const Bytes icuOut = IcuWhole(c, in);
  std::string same = nlsStatus != 1     ? "status " + std::to_string(nlsStatus)
                     : icuOut.empty()   ? "-"
                     : nlsOut == icuOut ? "yes"
                                        : "no";

  unsigned outCap = NLS_GetResultBufferSize(in.data(), inLen, c.from->nls, c.to->nls);
  outCap = std::max<unsigned>(outCap, inLen * 8 + 64);
  Bytes out(outCap);
  unsigned char* dst = out.data();

  NLS_ConverterHandle handle = nullptr;
  NLS_NewEncodingConverter(c.from->nls, c.to->nls, &handle);
  UConverter* icuFrom = c.FromUcs2() ? nullptr : OpenIcu(c.from);
  UConverter* icuTo = c.ToUcs2() ? nullptr : OpenIcu(c.to);
  const bool escaped = c.from->special == nls_bench::IcuSpecial::kEscapedUnicode;
  iconv_t cd = (iconv_t)-1;
  if (c.from->iconv != nullptr && c.to->iconv != nullptr)
    cd = iconv_open(c.to->iconv, c.from->iconv);
  std::vector<UChar> pivot(1024);

  auto report = [&](const char* mode, std::vector<Runner>* runners) {
    Measure(runners, o);
    Row row{c.Name(), mode, same, in.size(), 0, 0, 0, 0};
    for (const Runner& r : *runners) {
      const double mbs = static_cast<double>(in.size()) / Median(r.seconds) / 1e6;
      if (r.name == "nlscnv" && nlsStatus == 1) row.nls = mbs;  // a failed conversion is no figure
      if (r.name == "ICU") row.icu = mbs;
      if (r.name == "iconv") row.iconv = mbs;
      if (r.name == "memcpy") row.copy = mbs;
    }
    rows->push_back(row);
    std::fprintf(stderr, "  %-28s %-10s nlscnv %8.0f  ICU %8.0f  iconv %8.0f  memcpy %8.0f MB/s\n",
                 row.name.c_str(), row.mode.c_str(), row.nls, row.icu, row.iconv, row.copy);
  };

  for (int streaming = 0; streaming < 2; ++streaming) {
    const std::vector<std::pair<size_t, size_t>> whole{{0, in.size()}};
    const auto& parts = streaming ? pieces : whole;
    std::vector<Runner> runners;

    runners.emplace_back("nlscnv", [&]() -> size_t {
      size_t total = 0;
      for (const auto& p : parts) {
        unsigned produced = 0;
        NLS_ConvertStreamBuffer(handle, in.data() + p.first, static_cast<unsigned>(p.second), dst,
                                outCap, &produced);
        total += produced;
      }
      return total;
    });

    // ICU: ucnv_toUChars / ucnv_fromUChars / ucnv_convert on the whole buffer,
    // ucnv_toUnicode / ucnv_fromUnicode / ucnv_convertEx on pieces.
    std::function<size_t()> icu;
    if (escaped) {
      // ICU has no decoder for escaped text.
    } else if (c.ToUcs2() && icuFrom != nullptr) {
      if (!streaming) {
        icu = [&]() -> size_t {
          UErrorCode err = U_ZERO_ERROR;
          return 2 * static_cast<size_t>(ucnv_toUChars(icuFrom, reinterpret_cast<UChar*>(dst),
                                                       static_cast<int32_t>(outCap / 2),
                                                       reinterpret_cast<const char*>(in.data()),
                                                       static_cast<int32_t>(inLen), &err));
        };
      } else {
        icu = [&]() -> size_t {
          ucnv_resetToUnicode(icuFrom);
          size_t total = 0;
          for (size_t k = 0; k < parts.size(); ++k) {
            UErrorCode err = U_ZERO_ERROR;
            UChar* t = reinterpret_cast<UChar*>(dst);
            const char* s = reinterpret_cast<const char*>(in.data() + parts[k].first);
            ucnv_toUnicode(icuFrom, &t, t + outCap / 2, &s, s + parts[k].second, nullptr,
                           k + 1 == parts.size(), &err);
            total += 2 * static_cast<size_t>(t - reinterpret_cast<UChar*>(dst));
          }
          return total;
        };
      }
    } else if (c.FromUcs2() && icuTo != nullptr) {
      if (!streaming) {
        icu = [&]() -> size_t {
          UErrorCode err = U_ZERO_ERROR;
          return static_cast<size_t>(ucnv_fromUChars(
              icuTo, reinterpret_cast<char*>(dst), static_cast<int32_t>(outCap),
              reinterpret_cast<const UChar*>(in.data()), static_cast<int32_t>(inLen / 2), &err));
        };
      } else {
        icu = [&]() -> size_t {
          ucnv_resetFromUnicode(icuTo);
          size_t total = 0;
          for (size_t k = 0; k < parts.size(); ++k) {
            UErrorCode err = U_ZERO_ERROR;
            char* t = reinterpret_cast<char*>(dst);
            const UChar* s = reinterpret_cast<const UChar*>(in.data() + parts[k].first);
            ucnv_fromUnicode(icuTo, &t, t + outCap, &s, s + parts[k].second / 2, nullptr,
                             k + 1 == parts.size(), &err);
            total += static_cast<size_t>(t - reinterpret_cast<char*>(dst));
          }
          return total;
        };
      }
    } else if (icuFrom != nullptr && icuTo != nullptr) {
      if (!streaming) {
        icu = [&]() -> size_t {
          UErrorCode err = U_ZERO_ERROR;
          return static_cast<size_t>(ucnv_convert(
              c.to->icu, c.from->icu, reinterpret_cast<char*>(dst), static_cast<int32_t>(outCap),
              reinterpret_cast<const char*>(in.data()), static_cast<int32_t>(inLen), &err));
        };
      } else {
        icu = [&]() -> size_t {
          size_t total = 0;
          UChar* pivotSource = pivot.data();
          UChar* pivotTarget = pivot.data();
          for (size_t k = 0; k < parts.size(); ++k) {
            UErrorCode err = U_ZERO_ERROR;
            char* t = reinterpret_cast<char*>(dst);
            const char* s = reinterpret_cast<const char*>(in.data() + parts[k].first);
            ucnv_convertEx(icuTo, icuFrom, &t, t + outCap, &s, s + parts[k].second, pivot.data(),
                           &pivotSource, &pivotTarget, pivot.data() + pivot.size(), k == 0,
                           k + 1 == parts.size(), &err);
            total += static_cast<size_t>(t - reinterpret_cast<char*>(dst));
          }
          return total;
        };
      }
    }
    if (icu) runners.emplace_back("ICU", icu);

    if (cd != (iconv_t)-1) {
      runners.emplace_back("iconv", [&]() -> size_t {
        iconv(cd, nullptr, nullptr, nullptr, nullptr);
        size_t total = 0;
        for (const auto& p : parts) {
          char* s = reinterpret_cast<char*>(in.data() + p.first);
          size_t sl = p.second;
          char* t = reinterpret_cast<char*>(dst);
          size_t tl = outCap;
          iconv(cd, &s, &sl, &t, &tl);
          total += outCap - tl;
        }
        return total;
      });
    }
    runners.emplace_back("memcpy", [&]() -> size_t {
      for (const auto& p : parts) std::memcpy(dst, in.data() + p.first, p.second);
      return in.size();
    });

    report(streaming ? "64 KiB" : "whole", &runners);
  }

  // What a host does that makes a handle per buffer: the names looked up,
  // the output sized as the header recommends, the converter made, used and
  // released, for every conversion.
  {
    std::vector<Runner> runners;
    runners.emplace_back("nlscnv", [&]() -> size_t {
      const unsigned size = NLS_GetResultBufferSize(in.data(), inLen, c.from->nls, c.to->nls);
      unsigned produced = 0;
      NLS_ConvertBuffer(c.from->nls, c.to->nls, in.data(), inLen, dst, std::min(size, outCap),
                        &produced);
      return produced;
    });
    if (!escaped && c.from->icu != nullptr && c.to->icu != nullptr)
      runners.emplace_back("ICU", [&]() -> size_t { return IcuFresh(c, in, dst, outCap); });
    if (cd != (iconv_t)-1)
      runners.emplace_back("iconv", [&]() -> size_t {
        iconv_t fresh = iconv_open(c.to->iconv, c.from->iconv);
        const size_t n = IconvCut(in, in.size(), dst, outCap, IconvCall(fresh));
        iconv_close(fresh);
        return n;
      });
    report("fresh", &runners);
  }

  // The strict interface on blocks of 64 KiB cut wherever they fall (the
  // bytes of a character cut at the end of a block go with the next one),
  // against iconv(3) and ucnv_convertEx, each with one descriptor.
  {
    std::vector<Runner> runners;
    NLS_Iconv_t strict = NLS_IconvOpen(c.to->nls, c.from->nls);
    constexpr size_t kBlock = 64 * 1024;
    if (strict != reinterpret_cast<NLS_Iconv_t>(-1))
      runners.emplace_back("nlscnv", [&]() -> size_t {
        return IconvCut(in, kBlock, dst, outCap, [&](char** s, size_t* sl, char** t, size_t* tl) {
          return NLS_Iconv(strict, s, sl, t, tl);
        });
      });
    if (!escaped && (icuFrom != nullptr || c.FromUcs2()) && (icuTo != nullptr || c.ToUcs2()))
      runners.emplace_back("ICU", [&]() -> size_t {
        return IcuCut(icuFrom, icuTo, in, kBlock, dst, outCap, &pivot);
      });
    if (cd != (iconv_t)-1)
      runners.emplace_back(
          "iconv", [&]() -> size_t { return IconvCut(in, kBlock, dst, outCap, IconvCall(cd)); });
    report("cut 64 KiB", &runners);
    if (strict != reinterpret_cast<NLS_Iconv_t>(-1)) NLS_IconvClose(strict);
  }

  if (cd != (iconv_t)-1) iconv_close(cd);
  if (icuFrom != nullptr) ucnv_close(icuFrom);
  if (icuTo != nullptr) ucnv_close(icuTo);
  if (handle != nullptr) NLS_DeleteEncodingConverter(handle);
}

// ---- Small strings ----------------------------------------------------------

struct SmallCase {
  const char* label;
  const Case c;
};

void RunSmall(const Options& o) {
  const SmallCase cases[] = {
      {"UTF-8 -> UCS-2, English", {"english", &nls_bench::kUtf8, &nls_bench::kUcs2}},
      {"UTF-8 -> UCS-2, Japanese", {"japanese", &nls_bench::kUtf8, &nls_bench::kUcs2}},
      {"UCS-2 -> UTF-8, French", {"french", &nls_bench::kUcs2, &nls_bench::kUtf8}},
      {"Latin-1 -> UCS-2, French", {"french", &nls_bench::kLatin1, &nls_bench::kUcs2}},
      {"Latin-1 -> UTF-8, French (two stages)", {"french", &nls_bench::kLatin1, &nls_bench::kUtf8}},
      {"UTF-8 -> Latin-1, French (two stages)", {"french", &nls_bench::kUtf8, &nls_bench::kLatin1}},
  };
  std::printf(
      "\n| 32-byte string | NLS_ConvertBuffer ns/call | ucnv_convert ns/call | iconv "
      "open+iconv+close "
      "ns/call | nlscnv/ICU speed | nlscnv/iconv speed |\n");
  std::printf("|---|---:|---:|---:|---:|---:|\n");
  for (const SmallCase& sc : cases) {
    const Case& c = sc.c;
    if (!NLS_EncodingConverterExists(c.from->nls, c.to->nls)) continue;
    if (!o.filter.empty() && std::string(sc.label).find(o.filter) == std::string::npos &&
        c.Name().find(o.filter) == std::string::npos)
      continue;
    Bytes corpus;
    if (!nls_bench::ReadFile(c.File(o.corpora), &corpus)) continue;
    // 32 bytes that end on a character boundary (whole UTF-8 sequences).
    size_t len = 32;
    if (c.from == &nls_bench::kUtf8)
      while (len > 0 && (corpus[len] & 0xC0) == 0x80) --len;
    Bytes in(corpus.begin(), corpus.begin() + static_cast<long>(len));
    Bytes out(512);
    std::vector<Runner> runners;
    runners.emplace_back("nlscnv", [&]() -> size_t {
      unsigned produced = 0;
      NLS_ConvertBuffer(c.from->nls, c.to->nls, in.data(), static_cast<unsigned>(in.size()),
                        out.data(), static_cast<unsigned>(out.size()), &produced);
      return produced;
    });
    runners.emplace_back("ICU", [&]() -> size_t {
      UErrorCode err = U_ZERO_ERROR;
      return static_cast<size_t>(
          ucnv_convert(c.to->icu, c.from->icu, reinterpret_cast<char*>(out.data()),
                       static_cast<int32_t>(out.size()), reinterpret_cast<const char*>(in.data()),
                       static_cast<int32_t>(in.size()), &err));
    });
    runners.emplace_back("iconv", [&]() -> size_t {
      iconv_t cd = iconv_open(c.to->iconv, c.from->iconv);
      char* s = reinterpret_cast<char*>(in.data());
      size_t sl = in.size();
      char* t = reinterpret_cast<char*>(out.data());
      size_t tl = out.size();
      iconv(cd, &s, &sl, &t, &tl);
      iconv_close(cd);
      return out.size() - tl;
    });
    Measure(&runners, o);
    const double nls = Median(runners[0].seconds) * 1e9;
    const double icu = Median(runners[1].seconds) * 1e9;
    const double ic = Median(runners[2].seconds) * 1e9;
    std::printf("| %s (%zu bytes) | %.0f | %.0f | %.0f | %s | %s |\n", sc.label, in.size(), nls,
                icu, ic, Ratio(icu, nls).c_str(), Ratio(ic, nls).c_str());
    std::fflush(stdout);
  }
}

// ---- Heap per handle ----------------------------------------------------------

void RunHeap() {
  struct Pair {
    const char* from;
    const char* to;
  };
  const Pair pairs[] = {
      {"UTF-8", "ISO-10646-UCS-2"},
      {"ISO-10646-UCS-2", "UTF-8"},
      {"ISO-8859-1", "ISO-10646-UCS-2"},
      {"ISO-10646-UCS-2", "ISO-8859-1"},
      {"x-mac-roman", "ISO-10646-UCS-2"},
      {"ISO-10646-UCS-2", "x-mac-roman"},
      {"ISO-10646-UCS-4", "ISO-10646-UCS-2"},
      {"ISO-10646-UCS-2", "UNICODE-1-1-UTF-7"},
      {"IMAP-MODIFIED-UTF-7", "ISO-10646-UCS-2"},
      {"ISO-10646-UCS-2", "ESCAPED_UNICODE"},
      {"ISO-8859-1", "UTF-8"},
  };
  std::printf("\n| handle | heap bytes per open handle (malloc'd, headers included) |\n");
  std::printf("|---|---:|\n");
  constexpr int kHandles = 1000;
  std::vector<NLS_ConverterHandle> handles(kHandles);
  for (const Pair& p : pairs) {
    if (!NLS_EncodingConverterExists(p.from, p.to)) continue;
    NLS_ConverterHandle warm = nullptr;  // first creation may fill caches
    NLS_NewEncodingConverter(p.from, p.to, &warm);
    const size_t before = mallinfo2().uordblks;
    for (auto& h : handles) NLS_NewEncodingConverter(p.from, p.to, &h);
    const size_t after = mallinfo2().uordblks;
    for (auto& h : handles) NLS_DeleteEncodingConverter(h);
    NLS_DeleteEncodingConverter(warm);
    std::printf("| %s -> %s%s | %zu |\n", p.from, p.to,
                std::strcmp(p.to, "UTF-8") == 0 && std::strcmp(p.from, "ISO-8859-1") == 0
                    ? " (two stages)"
                    : "",
                (after - before) / kHandles);
  }
}

}  // namespace

int main(int argc, char** argv) {
  Options o;
  for (int i = 1; i < argc; ++i) {
    std::string a = argv[i];
    auto value = [&]() -> std::string { return i + 1 < argc ? argv[++i] : ""; };
    if (a == "--corpora") {
      o.corpora = value();
    } else if (a == "--data") {
      o.data = value();
    } else if (a == "--reps") {
      o.reps = std::max(1, std::atoi(value().c_str()));
    } else if (a == "--min-time") {
      o.minTime = std::atof(value().c_str());
    } else if (a == "--filter") {
      o.filter = value();
    } else if (a == "--quick") {
      o.reps = 1;
      o.minTime = 0.0005;
    } else {
      std::fprintf(stderr,
                   "usage: %s [--corpora DIR] [--data DIR] [--reps N] [--min-time S] "
                   "[--filter TEXT] [--quick]\n",
                   argv[0]);
      return 2;
    }
  }
  NLS_EncInitialize(nullptr, o.data.c_str());

  std::vector<Row> rows;
  int ran = 0;
  for (const Case& c : nls_bench::AllCases()) {
    if (!o.filter.empty() && c.Name().find(o.filter) == std::string::npos) continue;
    if (!NLS_EncodingConverterExists(c.from->nls, c.to->nls)) {
      std::fprintf(stderr, "skipped %s: no such conversion in this build\n", c.Name().c_str());
      continue;
    }
    RunCase(c, o, &rows);
    ++ran;
  }
  std::printf(
      "Throughput in MB/s of input (median of %d repetitions); ratios > 1: nlscnv faster.\n\n",
      o.reps);
  PrintRows(rows);
  std::fflush(stdout);
  RunSmall(o);
  RunHeap();
  NLS_EncTerminate();
  return ran > 0 ? 0 : 1;
}

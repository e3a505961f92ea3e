// Google Benchmark micro-benchmarks of every conversion direction: whole
// buffers and 64 KiB pieces through a handle, 32-byte strings through
// NLS_ConvertBuffer, and the creation of handles. The corpus directory comes
// from --corpora=DIR (default: the one the build generated).
#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "bench_cases.h"
#include "nlscnv.h"

using nls_bench::Bytes;
using nls_bench::Case;

namespace {

struct Loaded {
  Case c;
  Bytes in;
  std::vector<std::pair<size_t, size_t>> pieces;
  Bytes out;
};

void Stream(benchmark::State& state, const Loaded* l, bool pieces) {
  NLS_ConverterHandle h = nullptr;
  if (NLS_NewEncodingConverter(l->c.from->nls, l->c.to->nls, &h) != 1) {
    state.SkipWithError("no converter");
    return;
  }
  const std::vector<std::pair<size_t, size_t>> whole{{0, l->in.size()}};
  const auto& parts = pieces ? l->pieces : whole;
  Bytes out(l->out.size());
  int status = 1;
  for (auto _ : state) {
    for (const auto& p : parts) {
      unsigned produced = 0;
      status = NLS_ConvertStreamBuffer(h, l->in.data() + p.first, static_cast<unsigned>(p.second),
                                       out.data(), static_cast<unsigned>(out.size()), &produced);
      benchmark::DoNotOptimize(produced);
    }
  }
  if (status != 1 && status != -1302) state.SkipWithError("conversion failed");
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(l->in.size()));
  NLS_DeleteEncodingConverter(h);
}

void Small(benchmark::State& state, const Loaded* l) {
  size_t len = 32;
  if (l->c.from == &nls_bench::kUtf8)
    while (len > 0 && (l->in[len] & 0xC0) == 0x80) --len;
  unsigned char out[512];
  for (auto _ : state) {
    unsigned produced = 0;
    int st = NLS_ConvertBuffer(l->c.from->nls, l->c.to->nls, l->in.data(),
                               static_cast<unsigned>(len), out, sizeof out, &produced);
    benchmark::DoNotOptimize(st);
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}

void Create(benchmark::State& state, const char* from, const char* to) {
  for (auto _ : state) {
    NLS_ConverterHandle h = nullptr;
    NLS_NewEncodingConverter(from, to, &h);
    benchmark::DoNotOptimize(h);
    NLS_DeleteEncodingConverter(h);
  }
}

}  // namespace

int main(int argc, char** argv) {
  std::string corpora = NLS_BENCH_CORPUS_DIR;
  std::vector<char*> args;
  for (int i = 0; i < argc; ++i) {
    if (std::strncmp(argv[i], "--corpora=", 10) == 0) {
      corpora = argv[i] + 10;
    } else {
      args.push_back(argv[i]);
    }
  }
  int count = static_cast<int>(args.size());
  benchmark::Initialize(&count, args.data());
  NLS_EncInitialize(nullptr, NLS_BENCH_DATA_DIR);

  std::vector<std::unique_ptr<Loaded>> loaded;
  for (const Case& c : nls_bench::AllCases()) {
    if (!NLS_EncodingConverterExists(c.from->nls, c.to->nls)) continue;
    auto l = std::make_unique<Loaded>();
    l->c = c;
    if (!nls_bench::ReadFile(c.File(corpora), &l->in) || l->in.size() < 64) continue;
    l->pieces = nls_bench::Pieces(l->in, c.from->unit, 64 * 1024);
    unsigned size = NLS_GetResultBufferSize(l->in.data(), static_cast<unsigned>(l->in.size()),
                                            c.from->nls, c.to->nls);
    l->out.resize(size);
    const Loaded* p = l.get();
    benchmark::RegisterBenchmark(("Whole/" + c.Name()).c_str(),
                                 [p](benchmark::State& s) { Stream(s, p, false); });
    benchmark::RegisterBenchmark(("Stream64K/" + c.Name()).c_str(),
                                 [p](benchmark::State& s) { Stream(s, p, true); });
    benchmark::RegisterBenchmark(("Small32/" + c.Name()).c_str(),
                                 [p](benchmark::State& s) { Small(s, p); });
    loaded.push_back(std::move(l));
  }
  benchmark::RegisterBenchmark("Create/UTF-8->UCS-2",
                               [](benchmark::State& s) { Create(s, "UTF-8", "ISO-10646-UCS-2"); });
  benchmark::RegisterBenchmark("Create/latin1->UTF-8 (two stages)",
                               [](benchmark::State& s) { Create(s, "latin1", "UTF-8"); });
  if (loaded.empty()) {
    std::fprintf(stderr, "no corpus found in %s\n", corpora.c_str());
    return 1;
  }
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  NLS_EncTerminate();
  return 0;
}

// Runs NLS_DetectEncodings and libuchardet on the same samples for
// detect_eval.py, and times both on whole files.
//
//   nls_detect_eval_runner answers SAMPLES   one line per sample: our name,
//                                            confidence, language, BOM
//                                            length, then uchardet's name
//   nls_detect_eval_runner speed FILE...     microseconds per detection of
//                                            each file, median of many calls
//
// SAMPLES holds records "label<TAB>length\n" followed by the sample's bytes
// and "\n".
#include <uchardet.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "nlscnv.h"

namespace {

std::vector<unsigned char> ReadFile(const char* path) {
  std::ifstream in(path, std::ios::binary);
  return std::vector<unsigned char>(std::istreambuf_iterator<char>(in), {});
}

std::string Uchardet(uchardet_t u, const std::vector<unsigned char>& bytes) {
  uchardet_reset(u);
  uchardet_handle_data(u, reinterpret_cast<const char*>(bytes.data()), bytes.size());
  uchardet_data_end(u);
  const char* name = uchardet_get_charset(u);
  return name && *name ? name : "-";
}

int Answers(const char* path) {
  const std::vector<unsigned char> data = ReadFile(path);
  uchardet_t u = uchardet_new();
  size_t pos = 0;
  while (pos < data.size()) {
    const unsigned char* tab =
        static_cast<const unsigned char*>(std::memchr(data.data() + pos, '\t', data.size() - pos));
    if (!tab) break;
    const size_t lenStart = static_cast<size_t>(tab - data.data()) + 1;
    const unsigned char* nl = static_cast<const unsigned char*>(
        std::memchr(data.data() + lenStart, '\n', data.size() - lenStart));
    if (!nl) break;
    const size_t length =
        std::stoul(std::string(data.begin() + lenStart, data.begin() + (nl - data.data())));
    const size_t start = static_cast<size_t>(nl - data.data()) + 1;
    if (start + length > data.size()) break;
    const std::vector<unsigned char> sample(data.begin() + start, data.begin() + start + length);
    pos = start + length + 1;

    NLS_DetectCandidate c[4];
    unsigned n = 0;
    const int st =
        NLS_DetectEncodings(sample.data(), static_cast<unsigned>(sample.size()), c, 4, &n);
    if (st == 1) {
      std::printf("%s\t%u\t%s\t%u\t", c[0].encoding, c[0].confidence,
                  c[0].language ? c[0].language : "-", c[0].bomLength);
    } else {
      std::printf("-\t0\t-\t0\t");
    }
    std::printf("%s\n", Uchardet(u, sample).c_str());
  }
  uchardet_delete(u);
  return 0;
}

double MedianMicros(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v[v.size() / 2];
}

int Speed(int argc, char** argv) {
  uchardet_t u = uchardet_new();
  std::printf("%-28s %8s %-16s %10s %-16s %10s\n", "file", "bytes", "NLS_DetectEncodings", "us",
              "uchardet", "us");
  for (int i = 0; i < argc; ++i) {
    const std::vector<unsigned char> bytes = ReadFile(argv[i]);
    std::vector<double> ours, theirs;
    NLS_DetectCandidate c[8];
    unsigned n = 0;
    std::string ourName = "-", theirName;
    for (int rep = 0; rep < 41; ++rep) {
      auto t0 = std::chrono::steady_clock::now();
      const int st =
          NLS_DetectEncodings(bytes.data(), static_cast<unsigned>(bytes.size()), c, 8, &n);
      auto t1 = std::chrono::steady_clock::now();
      theirName = Uchardet(u, bytes);
      auto t2 = std::chrono::steady_clock::now();
      if (st == 1) ourName = c[0].encoding;
      ours.push_back(std::chrono::duration<double, std::micro>(t1 - t0).count());
      theirs.push_back(std::chrono::duration<double, std::micro>(t2 - t1).count());
    }
    const char* base = std::strrchr(argv[i], '/');
    std::printf("%-28s %8zu %-16s %10.1f %-16s %10.1f\n", base ? base + 1 : argv[i], bytes.size(),
                ourName.c_str(), MedianMicros(ours), theirName.c_str(), MedianMicros(theirs));
  }
  uchardet_delete(u);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc >= 3 && std::strcmp(argv[1], "answers") == 0) return Answers(argv[2]);
  if (argc >= 3 && std::strcmp(argv[1], "speed") == 0) return Speed(argc - 2, argv + 2);
  std::fprintf(stderr, "usage: %s answers SAMPLES | speed FILE...\n", argv[0]);
  return 2;
}

#include "progress.h"

#include <time.h>
#include <unistd.h>

#include <cstdio>

namespace nlsconv {

namespace {

double Now() {
  struct timespec t;
  clock_gettime(CLOCK_MONOTONIC, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

// "512 B", "9.8 KiB", "1.0 GiB".
void Human(double bytes, char* text, size_t size) {
  static const char* const kUnits[] = {"B", "KiB", "MiB", "GiB", "TiB"};
  int unit = 0;
  while (bytes >= 1024 && unit < 4) {
    bytes /= 1024;
    ++unit;
  }
  if (unit == 0) {
    snprintf(text, size, "%.0f B", bytes);
  } else {
    snprintf(text, size, "%.1f %s", bytes, kUnits[unit]);
  }
}

}  // namespace

void Progress::Start(bool enabled, uint64_t total) {
  enabled_ = enabled;
  terminal_ = isatty(STDERR_FILENO) == 1;
  total_ = total;
  done_ = 0;
  started_ = shown_ = Now();
}

void Progress::Advance(uint64_t bytes) {
  done_ += bytes;
  if (!enabled_) return;
  const double now = Now();
  if (now - shown_ >= (terminal_ ? 0.25 : 1.0)) {
    shown_ = now;
    Show(false);
  }
}

void Progress::Finish() {
  if (enabled_) Show(true);
}

void Progress::Show(bool final) {
  char done[32], total[32], rate[32];
  double elapsed = Now() - started_;
  if (elapsed < 1e-6) elapsed = 1e-6;
  Human(static_cast<double>(done_), done, sizeof done);
  Human(static_cast<double>(done_) / elapsed, rate, sizeof rate);
  char line[160];
  if (total_ != 0) {
    Human(static_cast<double>(total_), total, sizeof total);
    const unsigned percent = static_cast<unsigned>(done_ * 100 / total_);
    snprintf(line, sizeof line, "nlsconv: %s of %s (%u%%), %s/s", done, total, percent, rate);
  } else {
    snprintf(line, sizeof line, "nlsconv: %s, %s/s", done, rate);
  }
  if (terminal_) {
    fprintf(stderr, "\r%-60s%s", line, final ? "\n" : "");
  } else {
    fprintf(stderr, "%s\n", line);
  }
  fflush(stderr);
}

}  // namespace nlsconv

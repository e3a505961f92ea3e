// The --progress line: bytes read of the total and the throughput, on
// standard error, redrawn in place on a terminal and at most once a second
// as separate lines elsewhere.
#ifndef NLSCONV_PROGRESS_H
#define NLSCONV_PROGRESS_H

#include <cstdint>

namespace nlsconv {

class Progress {
 public:
  // total 0: the size of the input is not known (a pipe).
  void Start(bool enabled, uint64_t total);
  void Advance(uint64_t bytes);
  // Prints the final line.
  void Finish();

 private:
  void Show(bool final);

  bool enabled_ = false;
  bool terminal_ = false;
  uint64_t total_ = 0;
  uint64_t done_ = 0;
  double started_ = 0;
  double shown_ = 0;
};

}  // namespace nlsconv

#endif  // NLSCONV_PROGRESS_H

// nlsconv -j: a regular file converted in pieces on several threads.
//
// The input [begin, size) is divided at nominal boundaries every pieceSize
// bytes; a piece ends after the first line feed at or after its boundary, so
// that each piece but the first starts where the source decoder is at rest
// (the pair must have NLS_ICONV_SOURCE_RESYNCS_AT_LINE_FEED and not
// NLS_ICONV_TARGET_STATEFUL). Each thread converts one piece at a time
// through its own transcoder into its own buffer; the calling thread writes
// the buffers in order, so the output is exactly that of one thread. Pieces
// are small (1 MiB of input) so that a piece's output is still in the cache
// when it is written. At most four pieces per thread are held at once
// (converting, or waiting to be written), each buffer at most kPieceOutput
// bytes (a thread whose buffer is full waits until it has been written): at
// most 32 MiB of output per thread.
#ifndef NLSCONV_PARALLEL_H
#define NLSCONV_PARALLEL_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "output.h"
#include "progress.h"
#include "transcoder.h"

namespace nlsconv {

inline constexpr size_t kPieceInput = 1u << 20;
inline constexpr size_t kPieceOutput = 8u << 20;

struct ParallelJob {
  int fd = -1;
  uint64_t begin = 0;  // first byte to convert (after a byte-order mark)
  uint64_t size = 0;   // of the file
  size_t blockSize = 64 * 1024;
  size_t pieceSize = kPieceInput;
  bool addSignature = false;
  bool removeSignature = false;
  std::vector<Transcoder*> transcoders;  // one per thread, opened
};

// Converts the job into `output`. On a failure *failure describes the first
// one in the order of the input (its line counted from `begin`); a failed
// write has been reported already. *tally receives the sum of the pieces'.
bool ConvertInParallel(const ParallelJob& job, Output* output, Progress* progress, Failure* failure,
                       Tally* tally);

}  // namespace nlsconv

#endif  // NLSCONV_PARALLEL_H

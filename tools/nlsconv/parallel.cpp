#include "parallel.h"

#include <errno.h>
#include <unistd.h>

#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

namespace nlsconv {

namespace {

constexpr uint64_t kNone = ~uint64_t{0};
// Pieces held per thread: converting, or converted and waiting to be written.
constexpr uint64_t kWindow = 4;

struct Piece {
  std::unique_ptr<ByteBuffer> out;
  bool full = false;  // out reached kPieceOutput: its thread waits until it is written
  bool done = false;
  uint64_t begin = 0, end = 0;
  uint64_t lines = 0;
  Tally tally;
  Failure failure;
};

class Pieces {
 public:
  Pieces(const ParallelJob& job) : job_(job) {
    count_ = (job.size - job.begin + job.pieceSize - 1) / job.pieceSize;
  }
  bool Run(Output* output, Progress* progress, Failure* failure, Tally* tally);

 private:
  class PieceSink;
  uint64_t Boundary(uint64_t k) const {
    return std::min(job_.size, job_.begin + k * static_cast<uint64_t>(job_.pieceSize));
  }
  void Work(Transcoder* transcoder);
  void Convert(uint64_t k, Piece* piece, Transcoder* transcoder, ByteBuffer* pending);
  bool ReadAt(unsigned char* to, size_t n, uint64_t at, size_t* got, Failure* failure) const;
  uint64_t LineStart(uint64_t from, uint64_t limit, Failure* failure) const;

  const ParallelJob& job_;
  uint64_t count_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::map<uint64_t, std::unique_ptr<Piece>> pieces_;
  std::vector<std::unique_ptr<ByteBuffer>> spare_;  // buffers of written pieces
  uint64_t next_ = 0;                               // the next piece to start
  uint64_t written_ = 0;                            // pieces written
  bool abort_ = false;
};

// A piece's output buffer; when it is full, the thread hands it to the
// writer and waits until it has been written.
class Pieces::PieceSink : public Sink {
 public:
  PieceSink(Pieces* pieces, Piece* piece) : pieces_(pieces), piece_(piece) {}
  unsigned char* Room(size_t least, size_t* size) override {
    ByteBuffer& out = *piece_->out;
    if (out.size() + least > kPieceOutput) {
      std::unique_lock<std::mutex> lock(pieces_->mutex_);
      piece_->full = true;
      pieces_->changed_.notify_all();
      pieces_->changed_.wait(lock, [this] { return !piece_->full || pieces_->abort_; });
      if (pieces_->abort_) return nullptr;
    }
    // All of it at once: no copying as it grows, and pages become resident
    // only as they are written.
    if (!out.Reserve(kPieceOutput - out.size())) return nullptr;
    *size = kPieceOutput - out.size();
    return out.end();
  }
  bool Commit(size_t n) override {
    piece_->out->Grow(n);
    return true;
  }

 private:
  Pieces* pieces_;
  Piece* piece_;
};

bool Pieces::ReadAt(unsigned char* to, size_t n, uint64_t at, size_t* got, Failure* failure) const {
  *got = 0;
  while (*got < n) {
    const ssize_t r = pread(job_.fd, to + *got, n - *got, static_cast<off_t>(at + *got));
    if (r < 0 && errno == EINTR) continue;
    if (r < 0) {
      failure->kind = Failure::kRead;
      failure->error = errno;
      return false;
    }
    if (r == 0) break;
    *got += static_cast<size_t>(r);
  }
  return true;
}

// The offset after the first line feed in [from, limit), or kNone.
uint64_t Pieces::LineStart(uint64_t from, uint64_t limit, Failure* failure) const {
  unsigned char block[16384];
  while (from < limit) {
    size_t got = 0;
    if (!ReadAt(block, std::min<uint64_t>(sizeof block, limit - from), from, &got, failure))
      return kNone;
    if (got == 0) break;
    const void* feed = std::memchr(block, '\n', got);
    if (feed != nullptr) return from + (static_cast<const unsigned char*>(feed) - block) + 1;
    from += got;
  }
  return kNone;
}

void Pieces::Convert(uint64_t k, Piece* piece, Transcoder* transcoder, ByteBuffer* pending) {
  const uint64_t limit = Boundary(k + 1);
  uint64_t at = k == 0 ? job_.begin : LineStart(Boundary(k), limit, &piece->failure);
  piece->begin = piece->end = at;
  if (at == kNone) {  // no line feed: the piece before runs on into this one
    piece->begin = piece->end = 0;
    return;
  }
  PieceSink sink(this, piece);
  pending->Clear();
  const bool first = k == 0;
  if (!transcoder->Begin(&sink, at, first && job_.addSignature, first && job_.removeSignature)) {
    piece->failure = transcoder->failure();
    return;
  }
  bool end = false;
  while (!end) {
    if (!pending->Reserve(job_.blockSize)) {
      piece->failure.kind = Failure::kRead;
      piece->failure.error = ENOMEM;
      return;
    }
    size_t got = 0;
    const size_t want = static_cast<size_t>(std::min<uint64_t>(job_.blockSize, job_.size - at));
    if (!ReadAt(pending->end(), want, at, &got, &piece->failure)) return;
    // The piece ends after the first line feed at or after its boundary.
    if (at + got > limit) {
      const size_t from = at >= limit ? 0 : static_cast<size_t>(limit - at);
      const void* feed = std::memchr(pending->end() + from, '\n', got - from);
      if (feed != nullptr) {
        got = static_cast<size_t>(static_cast<const unsigned char*>(feed) - pending->end()) + 1;
        end = true;
      }
    }
    pending->Grow(got);
    at += got;
    end = end || got < want || at >= job_.size;
    size_t used = 0;
    if (!transcoder->Convert(pending->data(), pending->size(), end, &used)) {
      piece->failure = transcoder->failure();
      return;
    }
    pending->DropFront(used);
  }
  if (!transcoder->End()) {
    piece->failure = transcoder->failure();
    return;
  }
  piece->end = at;
  piece->lines = transcoder->lines();
  piece->tally = transcoder->tally();
}

void Pieces::Work(Transcoder* transcoder) {
  ByteBuffer pending;
  for (;;) {
    Piece* piece;
    uint64_t k;
    {
      std::unique_lock<std::mutex> lock(mutex_);
      const uint64_t window = kWindow * job_.transcoders.size();
      changed_.wait(lock, [&] { return abort_ || next_ >= count_ || next_ < written_ + window; });
      if (abort_ || next_ >= count_) return;
      k = next_++;
      auto made = std::make_unique<Piece>();
      if (!spare_.empty()) {
        made->out = std::move(spare_.back());
        spare_.pop_back();
        made->out->Clear();
      } else {
        made->out = std::make_unique<ByteBuffer>();
      }
      piece = made.get();
      pieces_[k] = std::move(made);
    }
    Convert(k, piece, transcoder, &pending);
    std::lock_guard<std::mutex> lock(mutex_);
    piece->done = true;
    changed_.notify_all();
  }
}

bool Pieces::Run(Output* output, Progress* progress, Failure* failure, Tally* tally) {
  std::vector<std::thread> threads;
  for (Transcoder* transcoder : job_.transcoders)
    threads.emplace_back([this, transcoder] { Work(transcoder); });
  bool ok = true;
  uint64_t lines = 0;
  for (uint64_t k = 0; k < count_ && ok;) {
    Piece* piece;
    {
      std::unique_lock<std::mutex> lock(mutex_);
      changed_.wait(lock, [&] {
        auto it = pieces_.find(k);
        return it != pieces_.end() && (it->second->full || it->second->done);
      });
      piece = pieces_[k].get();
    }
    // The piece's thread does not touch a full or finished buffer.
    ok = output->Write(piece->out->data(), piece->out->size());
    std::lock_guard<std::mutex> lock(mutex_);
    if (ok && !piece->done) {
      piece->out->Clear();
      piece->full = false;
    } else if (ok) {
      if (piece->failure.kind != Failure::kNone) {
        *failure = piece->failure;
        failure->line += lines;
        ok = false;
      }
      lines += piece->lines;
      tally->Add(piece->tally);
      progress->Advance(piece->end - piece->begin);
      spare_.push_back(std::move(piece->out));
      pieces_.erase(k);
      written_ = ++k;
    }
    if (!ok) abort_ = true;
    changed_.notify_all();
  }
  for (std::thread& thread : threads) thread.join();
  return ok;
}

}  // namespace

bool ConvertInParallel(const ParallelJob& job, Output* output, Progress* progress, Failure* failure,
                       Tally* tally) {
  Pieces pieces(job);
  return pieces.Run(output, progress, failure, tally);
}

}  // namespace nlsconv

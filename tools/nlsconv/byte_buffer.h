// A growable byte buffer for the converter's working set. Memory comes from
// malloc and is never cleared, so only the pages that conversions actually
// write become resident.
#ifndef NLSCONV_BYTE_BUFFER_H
#define NLSCONV_BYTE_BUFFER_H

#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace nlsconv {

class ByteBuffer {
 public:
  ByteBuffer() = default;
  ~ByteBuffer() { std::free(data_); }
  ByteBuffer(const ByteBuffer&) = delete;
  ByteBuffer& operator=(const ByteBuffer&) = delete;

  unsigned char* data() { return data_; }
  const unsigned char* data() const { return data_; }
  size_t size() const { return size_; }
  size_t capacity() const { return capacity_; }
  unsigned char* end() { return data_ + size_; }

  // Makes room for `extra` more bytes after the current contents.
  bool Reserve(size_t extra) {
    if (capacity_ - size_ >= extra) return true;
    size_t wanted = size_ + extra;
    if (wanted < size_) return false;
    size_t grown = capacity_ + capacity_ / 2;
    if (grown < wanted) grown = wanted;
    void* p = std::realloc(data_, grown);
    if (p == nullptr) return false;
    data_ = static_cast<unsigned char*>(p);
    capacity_ = grown;
    return true;
  }
  // Counts `n` bytes written at end() as contents.
  void Grow(size_t n) { size_ += n; }
  void Clear() { size_ = 0; }
  // Drops the first `n` bytes and moves the rest to the front.
  void DropFront(size_t n) {
    if (n >= size_) {
      size_ = 0;
      return;
    }
    std::memmove(data_, data_ + n, size_ - n);
    size_ -= n;
  }

 private:
  unsigned char* data_ = nullptr;
  size_t size_ = 0;
  size_t capacity_ = 0;
};

}  // namespace nlsconv

#endif  // NLSCONV_BYTE_BUFFER_H

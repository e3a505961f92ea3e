#include "nlscnv/framework/two_stage_converter.h"

#include <cstring>
#include <memory>
#include <new>

#include "nlscnv/support/diagnostics.h"

namespace {

// The intermediate buffer of the last two-stage conversion that finished on
// this thread with nothing held, kept for the next one: a host that makes a
// fresh converter for every buffer converts through memory that is already
// mapped and in the cache. Buffers above kKeptLimit are not kept.
constexpr uint32_t kKeptLimit = 64u << 20;
struct KeptBuffer {
  std::unique_ptr<unsigned char[]> data;
  uint32_t capacity = 0;
};
thread_local KeptBuffer tKept;

}  // namespace

TTwoStageConverter::TTwoStageConverter(const char* from, const char* to, TEncodingConverter* first,
                                       TEncodingConverter* second)
    : TEncodingConverter(from, to, nullptr, nullptr, nullptr, 0, 2, nullptr, 0, 0),
      fIntermediate(nullptr),
      fIntermediateLength(0),
      fSecondStage(second),
      fFirstStage(first),
      fIntermediateCapacity(0) {}

TTwoStageConverter::~TTwoStageConverter() {
  if (fFirstStage != nullptr) fFirstStage->ReleaseEncodingConverter();
  if (fSecondStage != nullptr) fSecondStage->ReleaseEncodingConverter();
  ReleaseIntermediate();
}

void TTwoStageConverter::Reset() {
  ReleaseIntermediate();
  fIntermediateLength = 0;
}

void TTwoStageConverter::ReleaseThreadReserve() {
  tKept.data.reset();
  tKept.capacity = 0;
}

void TTwoStageConverter::ReleaseIntermediate() {
  if (fIntermediate != nullptr && fIntermediate != fLent) {
    if (fIntermediateCapacity <= kKeptLimit && fIntermediateCapacity > tKept.capacity) {
      tKept.data.reset(fIntermediate);
      tKept.capacity = fIntermediateCapacity;
    } else {
      delete[] fIntermediate;
    }
  }
  fIntermediate = nullptr;
  fIntermediateCapacity = 0;
}

void TTwoStageConverter::TargetBufferSize(const unsigned char* src, unsigned int srcLen,
                                          unsigned int* size) {
  unsigned int middle = 0;
  fFirstStage->TargetBufferSize(src, srcLen, &middle);
  fSecondStage->TargetBufferSize(src, middle, size);
}

bool TTwoStageConverter::EnsureCapacity(uint64_t size) {
  if (size <= fIntermediateCapacity) return true;
  if (size > UINT32_MAX) return false;
  if (fIntermediate == nullptr && size <= fLentCapacity) {
    fIntermediate = fLent;
    fIntermediateCapacity = fLentCapacity;
    return true;
  }
  unsigned char* grown;
  uint32_t capacity = static_cast<uint32_t>(size);
  if (tKept.capacity >= size) {
    grown = tKept.data.release();
    capacity = tKept.capacity;
    tKept.capacity = 0;
  } else {
    grown = new (std::nothrow) unsigned char[size];
  }
  if (grown == nullptr) return false;
  if (fIntermediateLength > 0) std::memcpy(grown, fIntermediate, fIntermediateLength);
  if (fIntermediate != fLent) delete[] fIntermediate;
  fIntermediate = grown;
  fIntermediateCapacity = capacity;
  return true;
}

void TTwoStageConverter::DropHeld(unsigned int count) {
  if (count >= fIntermediateLength) {
    fIntermediateLength = 0;
    return;
  }
  std::memmove(fIntermediate, fIntermediate + count, fIntermediateLength - count);
  fIntermediateLength -= count;
}

int TTwoStageConverter::Convert(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
                                const unsigned char* src, unsigned int srcLen,
                                unsigned int* srcUsed) {
  *srcUsed = 0;
  *dstLen = 0;

  // Text held from the previous call goes out first.
  unsigned int out = 0;
  if (fIntermediateLength > 0) {
    unsigned int taken = 0;
    int held =
        fSecondStage->Convert(dst, &out, dstSize, fIntermediate, fIntermediateLength, &taken);
    DropHeld(held == 1 ? fIntermediateLength : taken);
    *dstLen = out;
    if (fIntermediateLength > 0) return 2;
    if (srcLen == 0) return 1;
    if (out >= dstSize) return 2;  // no room left for new text
  }

  // The intermediate buffer holds everything the first stage can make of the
  // input (its own estimate), so the first stage stops early only on
  // incomplete input; its size never depends on the output's.
  unsigned int firstSize = 0;
  fFirstStage->TargetBufferSize(src, srcLen, &firstSize);
  const uint64_t capacity = firstSize;
  if (!EnsureCapacity(capacity)) {
    nls::AssertLine(nls::site::kIntermediateNoMemory);
    return NLS_E_NO_MEMORY;
  }

  fIntermediateLength = 0;
  if (srcLen > 0) {
    int first = fFirstStage->Convert(fIntermediate, &fIntermediateLength,
                                     static_cast<unsigned int>(capacity), src, srcLen, srcUsed);
    if (first != 1) nls::AssertLine(nls::site::kFirstStageIncomplete);
  }

  unsigned int produced = 0;
  unsigned int consumed = 0;
  int second = fSecondStage->Convert(dst + out, &produced, dstSize - out, fIntermediate,
                                     fIntermediateLength, &consumed);
  *dstLen = out + produced;
  if (second == 1) {
    fIntermediateLength = 0;
  } else {
    DropHeld(consumed);
  }
  // Nothing held: the buffer goes back for the next conversion.
  if (fIntermediateLength == 0) ReleaseIntermediate();
  return fIntermediateLength > 0 ? 2 : 1;
}

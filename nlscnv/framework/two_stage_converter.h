// Two converters joined in UCS-2: source -> UCS-2 -> destination.
#ifndef NLSCNV_FRAMEWORK_TWO_STAGE_CONVERTER_H
#define NLSCNV_FRAMEWORK_TWO_STAGE_CONVERTER_H

#include <cstdint>

#include "nlscnv/converter.h"

class TTwoStageConverter : public TEncodingConverter {
 public:
  // Takes ownership of both stages.
  TTwoStageConverter(const char* from, const char* to, TEncodingConverter* first,
                     TEncodingConverter* second);
  void Reset() override;
  ~TTwoStageConverter() override;
  void TargetBufferSize(const unsigned char* src, unsigned int srcLen, unsigned int* size) override;
  // The first stage converts into the intermediate buffer, the second from
  // there into dst. UCS-2 text that the second stage could not take (dst
  // full) stays in the object and is delivered first by the next call, before
  // any new input is read; while it does not all fit, no new input is taken.
  // Result 1 when nothing is held afterwards, 2 when text is held; negative
  // results of the stages are not passed on.
  int Convert(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
              const unsigned char* src, unsigned int srcLen, unsigned int* srcUsed) override;

  // Frees the intermediate buffer that this thread keeps for its next
  // two-stage conversion (termination leaves no memory behind).
  static void ReleaseThreadReserve();

  // Bytes of UCS-2 text held for the next call.
  unsigned int heldLength() const { return fIntermediateLength; }

  // Lends a buffer for the intermediate text, used instead of a heap buffer
  // while it is large enough. The caller keeps it alive for as long as the
  // converter lives (a converter for one call, on the caller's stack).
  void lendIntermediate(unsigned char* buffer, uint32_t capacity) {
    fLent = buffer;
    fLentCapacity = capacity;
  }

 private:
  // Makes room for `size` bytes of intermediate text (held text is kept).
  bool EnsureCapacity(uint64_t size);
  // Removes the first `count` bytes of the held text.
  void DropHeld(unsigned int count);
  // Gives the intermediate buffer up (to this thread's reserve, when it is
  // the larger one).
  void ReleaseIntermediate();

  unsigned char* fIntermediate;
  uint32_t fIntermediateLength;
  TEncodingConverter* fSecondStage;
  TEncodingConverter* fFirstStage;
  uint32_t fIntermediateCapacity;  // reused from call to call
  unsigned char* fLent = nullptr;  // the lent buffer (not owned), or null
  uint32_t fLentCapacity = 0;
};

#endif  // NLSCNV_FRAMEWORK_TWO_STAGE_CONVERTER_H

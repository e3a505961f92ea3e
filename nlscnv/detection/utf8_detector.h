// TUTF8Detector: the detector object that tests buffers for UTF-8. It holds no
// state, so one object may test any number of buffers, and it adds to the
// caller's record instead of preparing it, so that several buffers can be
// tested into one record.
#ifndef NLSCNV_DETECTION_UTF8_DETECTOR_H
#define NLSCNV_DETECTION_UTF8_DETECTOR_H

#include "nlscnv/converter.h"

class TUTF8Detector : public TAutoDetector {
 public:
  TUTF8Detector();
  ~TUTF8Detector() override;
  // Destroys the detector (allocated with new by its factory).
  void ReleaseEncodingDetector() override;
  // Writes "UTF_8" and its NUL (6 bytes), an alias that normalises to "UTF-8".
  void DetectorEncoding(char* name) override;
  // Adds the complete multi-byte sequences to result->confidence and 1 to
  // result->error when the buffer is not UTF-8 (an invalid byte, or a sequence
  // cut by the end of the buffer). Leaves the encoding field alone. Returns 1.
  int DetectBufferEncoding(const char* buffer, unsigned int length,
                           _NLS_AUTO_DETECT_RESULT* result) override;
};

#endif  // NLSCNV_DETECTION_UTF8_DETECTOR_H

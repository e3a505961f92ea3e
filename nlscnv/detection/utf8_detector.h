// UTF-8 detector object.
#ifndef NLSCNV_DETECTION_UTF8_DETECTOR_H
#define NLSCNV_DETECTION_UTF8_DETECTOR_H

#include "nlscnv/converter.h"

class NLS_EXPORT TUTF8Detector : public TAutoDetector {
 public:
  TUTF8Detector();
  ~TUTF8Detector() override;
  void ReleaseEncodingDetector() override;
  void DetectorEncoding(char* name) override;
  int DetectBufferEncoding(const char* buffer, unsigned int length,
                           _NLS_AUTO_DETECT_RESULT* result) override;
};

#endif  // NLSCNV_DETECTION_UTF8_DETECTOR_H

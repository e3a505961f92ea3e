// PLACEHOLDER until the detector lands.
#include "nlscnv/detection/utf8_detector.h"

TUTF8Detector::TUTF8Detector() = default;
TUTF8Detector::~TUTF8Detector() = default;
void TUTF8Detector::ReleaseEncodingDetector() { delete this; }
void TUTF8Detector::DetectorEncoding(char* name) { name[0] = 0; }
int TUTF8Detector::DetectBufferEncoding(const char*, unsigned int, _NLS_AUTO_DETECT_RESULT*) {
  return 1;
}

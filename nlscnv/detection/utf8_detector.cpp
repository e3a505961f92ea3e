// UTF-8 detector object.
#include "nlscnv/detection/utf8_detector.h"

#include <cstring>

#include "nlscnv/detection/utf8_scan.h"

namespace {
constexpr char kDetectorEncoding[] = "UTF_8";
}

TUTF8Detector::TUTF8Detector() = default;

TUTF8Detector::~TUTF8Detector() = default;

void TUTF8Detector::ReleaseEncodingDetector() { delete this; }

void TUTF8Detector::DetectorEncoding(char* name) {
  std::memcpy(name, kDetectorEncoding, sizeof kDetectorEncoding);
}

int TUTF8Detector::DetectBufferEncoding(const char* buffer, unsigned int length,
                                        _NLS_AUTO_DETECT_RESULT* result) {
  const nls::detect::Utf8ScanResult scan =
      nls::detect::ScanUtf8(reinterpret_cast<const unsigned char*>(buffer), length);
  result->confidence += scan.sequences;
  if (scan.invalid || scan.cut) result->error += 1;
  return 1;
}

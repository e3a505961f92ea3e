#include "detect.h"

#include <cstdio>

namespace nlsconv {

std::vector<NLS_DetectCandidate> Detect(const unsigned char* data, size_t len) {
  std::vector<NLS_DetectCandidate> candidates(8);
  unsigned count = 0;
  if (len == 0 || NLS_DetectEncodings(data, static_cast<unsigned>(len), candidates.data(),
                                      static_cast<unsigned>(candidates.size()), &count) != 1) {
    count = 0;
  }
  candidates.resize(count);
  return candidates;
}

std::string Describe(const NLS_DetectCandidate& candidate, const unsigned char* data) {
  std::string text = candidate.encoding;
  char part[64];
  if (candidate.bomLength != 0) {
    text += " (byte-order mark";
    for (unsigned i = 0; i < candidate.bomLength; ++i) {
      snprintf(part, sizeof part, " %02x", data[i]);
      text += part;
    }
    return text + ")";
  }
  snprintf(part, sizeof part, " (confidence %u%%", candidate.confidence);
  text += part;
  if (candidate.language != nullptr) text += std::string(", language ") + candidate.language;
  if (candidate.flags & NLS_DETECT_SAME_TEXT) text += ", same text";
  return text + ")";
}

bool Clear(const std::vector<NLS_DetectCandidate>& candidates) {
  if (candidates.empty()) return false;
  const NLS_DetectCandidate& best = candidates[0];
  if (best.bomLength != 0) return true;
  if (best.confidence < kLeastConfidence) return false;
  for (size_t i = 1; i < candidates.size(); ++i) {
    if ((candidates[i].flags & NLS_DETECT_SAME_TEXT) == 0 &&
        2 * candidates[i].confidence >= best.confidence) {
      return false;
    }
  }
  return true;
}

}  // namespace nlsconv

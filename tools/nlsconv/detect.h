// Detection for -f auto and --detect, on NLS_DetectEncodings.
//
// Detection reads up to kDetectLimit bytes of each input: all of it for
// most files. -f auto converts with what it chose; on a larger input the
// strict conversion checks the rest and stops at the first byte that the
// chosen encoding does not accept.
#ifndef NLSCONV_DETECT_H
#define NLSCONV_DETECT_H

#include <cstddef>
#include <string>
#include <vector>

#include "nlscnv.h"

namespace nlsconv {

inline constexpr size_t kDetectLimit = 16u << 20;
// -f auto converts only when the best candidate has at least this
// confidence and every candidate that reads the text differently has less
// than half of it.
inline constexpr unsigned kLeastConfidence = 50;

// Candidates for data[0, len), best first; empty when nothing fits.
std::vector<NLS_DetectCandidate> Detect(const unsigned char* data, size_t len);

// "windows-1252 (confidence 97%, language fr)", "UTF-16LE (byte-order mark
// ff fe)".
std::string Describe(const NLS_DetectCandidate& candidate, const unsigned char* data);

// Whether -f auto may convert from the best candidate.
bool Clear(const std::vector<NLS_DetectCandidate>& candidates);

}  // namespace nlsconv

#endif  // NLSCONV_DETECT_H

// NLS_DetectEncodings: argument checks and the copy of the ranked list.
#include "nlscnv.h"
#include "nlscnv/detection/encoding_ranking.h"

extern "C" {

int NLS_DetectEncodings(const unsigned char* buf, unsigned int len, NLS_DetectCandidate* out,
                        unsigned int max, unsigned int* count) {
  if (buf == nullptr || out == nullptr || count == nullptr || max == 0) return -1009;
  nls::detect::RankedList list;
  nls::detect::RankEncodings(buf, len, &list);
  unsigned int n = 0;
  unsigned int previous = 100;
  for (; n < list.size() && n < max; ++n) {
    const nls::detect::Ranked& r = list[n];
    unsigned int confidence = static_cast<unsigned int>(r.probability * 100.0 + 0.5);
    if (confidence > previous) confidence = previous;
    previous = confidence;
    out[n] = NLS_DetectCandidate{r.encoding, r.language, confidence, r.bomLength, r.flags};
  }
  *count = n;
  return n > 0 ? 1 : -1016;
}

}  // extern "C"

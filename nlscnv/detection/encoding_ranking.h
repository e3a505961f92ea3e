// NLS_DetectEncodings inside the library: the ranked list the call copies
// out, the byte-form tests (marks, Unicode forms, 7-bit forms) and the
// statistical ranking by language models.
#ifndef NLSCNV_DETECTION_ENCODING_RANKING_H
#define NLSCNV_DETECTION_ENCODING_RANKING_H

#include <cstdint>

namespace nls::detect {

struct Ranked {
  const char* encoding;
  const char* language;  // null when unknown
  double probability;    // 0-1
  unsigned bomLength;
  unsigned flags;
};

// At most one entry per encoding name; probabilities sorted by Finish().
class RankedList {
 public:
  static constexpr unsigned kCapacity = 80;
  void Add(const char* encoding, const char* language, double probability, unsigned bomLength = 0,
           unsigned flags = 0);
  // Sorts by probability (stable for equal ones) and keeps the order.
  void Finish();
  unsigned size() const { return count_; }
  const Ranked& operator[](unsigned i) const { return items_[i]; }

 private:
  Ranked items_[kCapacity];
  unsigned count_ = 0;
};

// Byte counts of a whole buffer.
struct ByteCensus {
  uint32_t histogram[256];
  uint32_t high;      // bytes 0x80-0xFF
  uint32_t zeros;     // NUL bytes
  uint32_t controls;  // C0 controls other than white space, ESC, SO, SI, NUL
};
void TakeCensus(const unsigned char* buf, uint32_t len, ByteCensus* census);

// A byte-order mark: its encoding name and length, or 0.
unsigned ByteOrderMark(const unsigned char* buf, uint32_t len, const char** encoding);

// Strict UTF-8: no overlong forms, surrogates or values above U+10FFFF; a
// sequence cut by the end of the buffer is accepted. cesu is set when valid
// surrogate pairs spelled as two three-byte sequences appear (then the
// buffer is CESU-8 rather than UTF-8).
struct Utf8Verdict {
  bool valid;
  bool cesu;
  uint32_t sequences;  // complete multi-byte sequences
};
Utf8Verdict CheckUtf8(const unsigned char* buf, uint32_t len);

// UTF-32 and UTF-16 without a mark; adds what fits and returns true when a
// reading is plausible enough to stand on its own.
bool RankWideForms(const unsigned char* buf, uint32_t len, RankedList* list);

// Text without bytes 0x80-0xFF: escape-based encodings, HZ, UTF-7, else
// US-ASCII. Returns false for binary data.
bool RankSevenBitForms(const unsigned char* buf, uint32_t len, const ByteCensus& census,
                       RankedList* list);

// Single-byte and CJK multi-byte encodings by their language models; every
// probability is multiplied by `share`.
void RankByLanguageModels(const unsigned char* buf, uint32_t len, const ByteCensus& census,
                          double share, RankedList* list);

// Everything together: the list NLS_DetectEncodings copies out.
void RankEncodings(const unsigned char* buf, uint32_t len, RankedList* list);

}  // namespace nls::detect

#endif  // NLSCNV_DETECTION_ENCODING_RANKING_H

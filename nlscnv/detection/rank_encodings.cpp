// The order of the tests of NLS_DetectEncodings: a byte-order mark settles
// everything; zero and control bytes call for UTF-16 or UTF-32; 7-bit text
// is named by its escapes or is ASCII; valid UTF-8 comes before the
// language models, which rank the rest.
#include "nlscnv/detection/encoding_ranking.h"

namespace nls::detect {

namespace {

// Valid UTF-8 with n multi-byte sequences: text in another encoding rarely
// forms even one, so the probability climbs fast with n.
double Utf8Probability(uint32_t n) {
  const double d = 1.0 + n;
  return 1.0 - 0.5 / (d * d);
}

}  // namespace

void RankEncodings(const unsigned char* buf, uint32_t len, RankedList* list) {
  if (len == 0) return;
  const char* bomName = nullptr;
  if (const unsigned bom = ByteOrderMark(buf, len, &bomName)) {
    list->Add(bomName, nullptr, 1.0, bom);
    list->Finish();
    return;
  }
  ByteCensus census;
  TakeCensus(buf, len, &census);
  // Text in an ASCII-based encoding has no zero bytes and few controls (a
  // DOS page writes § as 0x15); UTF-16 text has zero bytes, or controls in
  // about one unit of eight when it is CJK.
  if (census.zeros > 0 || (census.controls >= 2 && census.controls >= len / 64)) {
    if (RankWideForms(buf, len, list)) {
      list->Finish();
      return;
    }
  }
  if (census.high == 0) {
    RankSevenBitForms(buf, len, census, list);
    list->Finish();
    return;
  }
  double share = 1.0;
  const Utf8Verdict utf8 = CheckUtf8(buf, len);
  if (utf8.valid && utf8.sequences > 0) {
    const double p = Utf8Probability(utf8.sequences);
    list->Add(utf8.cesu ? "CESU-8" : "UTF-8", nullptr, p);
    share = 1.0 - p;
  }
  RankByLanguageModels(buf, len, census, share, list);
  list->Finish();
}

}  // namespace nls::detect

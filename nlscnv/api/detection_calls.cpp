// Exported detection calls: the Japanese byte-pattern test and the UTF-8 test
// run on every buffer; well-formed UTF-8 with multi-byte content wins.
#include <climits>

#include "nlscnv.h"
#include "nlscnv/detection/encoding_names.h"

namespace {

using namespace nls::detect;

void Fill(_NLS_AUTO_DETECT_RESULT* result, const char* encoding, uint32_t confidence) {
  result->encoding = encoding;
  result->confidence = confidence;
  result->error = 0;
}

const char* JapaneseName(int csid) {
  switch (csid) {
    case kCsidShiftJis:
      return kShiftJis;
    case kCsidEucJp:
      return kEucJp;
    case kCsidIso2022Jp:
      return kIso2022Jp;
    default:
      return nullptr;
  }
}

}  // namespace

extern "C" {

int NLS_DetectEncodingForBuffer(const unsigned char* buffer, unsigned int length,
                                _NLS_AUTO_DETECT_RESULT* result, unsigned int /*reserved*/,
                                unsigned int* count) {
  // The Japanese test counts in int; beyond INT_MAX bytes it sees the first
  // INT_MAX of them.
  const int japaneseLength =
      length > static_cast<unsigned int>(INT_MAX) ? INT_MAX : static_cast<int>(length);
  const int csid = detect_JCSID(kCsidEucJp, buffer, japaneseLength);
  _NLS_AUTO_DETECT_RESULT utf8{};
  AutoDetect_UTF8(buffer, length, &utf8);
  if (utf8.error == 0 && utf8.confidence > 0) {
    Fill(result, kUtf8, utf8.confidence);
    *count = 1;
    return 1;
  }
  if (const char* name = JapaneseName(csid)) {
    Fill(result, name, 1);
    *count = 1;
    return 1;
  }
  *count = 0;
  return NLS_E_NOT_RECOGNISED;
}

int NLS_DetectEncodingForUCS2(const void* /*text*/, unsigned int /*length*/,
                              _NLS_AUTO_DETECT_RESULT* result, unsigned int /*reserved*/,
                              unsigned int* count) {
  Fill(result, kLatin1, 1);
  *count = 1;
  return 1;
}

}  // extern "C"

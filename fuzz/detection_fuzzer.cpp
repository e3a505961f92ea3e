// Runs every detection function on a buffer of exactly the input's size and
// compares each answer with a small model of the byte rules written here,
// then checks that the exported detection call and the UTF-8 detector object
// agree with the functions they are built on.
#include <string>

#include "fuzz_support.h"

using nls_fuzz::Bytes;
using nls_fuzz::ExactInput;

namespace {

// ---- Models -----------------------------------------------------------------

int ModelSJIS(const uint8_t* b, size_t n) {
  size_t i = 0;
  while (i < n) {
    const uint8_t c = b[i];
    if (c < 0x80 || (c >= 0xA0 && c <= 0xDF)) {
      ++i;
    } else if (c == 0x80 || c >= 0xF0) {
      return 0;
    } else {  // 0x81-0x9F, 0xE0-0xEF: a lead byte
      if (i + 1 >= n) return -1;
      const uint8_t t = b[i + 1];
      if (t < 0x40 || t > 0xFC) return 0;
      if (c <= 0x9F && !((c == 0x8E || c == 0x8F) && t >= 0xA1)) return 1;
      i += 2;
    }
  }
  return -1;
}

int ModelEUCJP(const uint8_t* b, size_t n) {
  auto in = [](uint8_t c, uint8_t lo, uint8_t hi) { return c >= lo && c <= hi; };
  size_t i = 0;
  while (i < n) {
    const uint8_t c = b[i];
    if (c < 0x80 || c == 0xA0) {
      ++i;
    } else if (c == 0x8E) {
      if (i + 1 >= n) return -1;
      if (!in(b[i + 1], 0xA1, 0xDF)) return 0;
      i += 2;
    } else if (c == 0x8F) {
      // The following bytes are checked one after the other.
      if (i + 1 >= n) return -1;
      if (!in(b[i + 1], 0xA1, 0xFE)) return 0;
      if (i + 2 >= n) return -1;
      if (!in(b[i + 2], 0xA1, 0xFE)) return 0;
      i += 3;
    } else if (c <= 0xEF) {
      if (i + 1 >= n) return -1;
      if (!in(b[i + 1], 0xA1, 0xFE)) return 0;
      i += 2;
    } else if (c <= 0xFE) {
      if (i + 1 >= n) return -1;
      if (!in(b[i + 1], 0xA1, 0xFE)) return 0;
      return 1;
    } else {
      return 0;
    }
  }
  return -1;
}

// Length of the JIS escape sequence at b[i], or 0.
size_t JisEscape(const uint8_t* b, size_t n, size_t i) {
  if (b[i] != 0x1B) return 0;
  if (n - i >= 3) {
    if (b[i + 1] == '$' && (b[i + 2] == 'B' || b[i + 2] == '@')) return 3;
    if (b[i + 1] == '(' && (b[i + 2] == 'J' || b[i + 2] == 'I')) return 3;
  }
  if (n - i >= 4 && b[i + 1] == '$' && b[i + 2] == '(' && b[i + 3] == 'D') return 4;
  return 0;
}

int ModelDecide(unsigned defaultCsid, const uint8_t* r, size_t n) {
  const int e = ModelEUCJP(r, n);
  const int s = ModelSJIS(r, n);
  if (e == 1) return 261;
  if (s == 1) return 260;
  if (e == 0 && s == -1) return 260;
  if (e == -1 && s == 0) return 261;
  if (n == 0) return 1;
  if (defaultCsid == 260) return s == -1 ? 260 : 1;
  if (defaultCsid == 261) return e == -1 ? 261 : 1;
  return (e == -1 && s == -1) ? 261 : 1;
}

int ModelJCSID(unsigned defaultCsid, const uint8_t* b, size_t n) {
  size_t i = 0;
  // Escape scan over 7-bit bytes (and 0xA0).
  for (; i < n && (b[i] < 0x80 || b[i] == 0xA0); ++i)
    if (b[i] == 0x1B && JisEscape(b, n, i) != 0) return 515;
  for (;;) {
    if (i >= n) return ModelDecide(defaultCsid, b + n, 0);
    const uint8_t c = b[i];
    if (c < 0x80) {
      ++i;  // only reached after an ambiguous pair: 7-bit bytes are skipped
    } else if (c == 0x80 || c == 0xFF) {
      return 0;
    } else if (c >= 0x81 && c <= 0x8D) {
      return 260;
    } else if (c == 0xA0) {
      ++i;
    } else if (c >= 0xF0) {
      return 261;
    } else if (c >= 0xE0 && c <= 0xEF) {
      if (i + 1 >= n) return ModelDecide(defaultCsid, b + n, 0);
      const uint8_t d = b[i + 1];
      if (d <= 0x40) return 0;
      if (d <= 0xA0) return 260;
      if (d >= 0xFD) return 261;
      i += 2;
    } else {  // 0x8E-0x9F, 0xA1-0xDF
      return ModelDecide(defaultCsid, b + i, n - i);
    }
  }
}

struct Utf8Count {
  uint32_t complete = 0;
  bool invalid = false;
  bool cut = false;  // ended inside a sequence
};

Utf8Count ModelUTF8(const uint8_t* b, size_t n) {
  Utf8Count r;
  int need = 0;
  for (size_t i = 0; i < n; ++i) {
    const uint8_t c = b[i];
    if (need == 0) {
      if (c < 0x80) continue;
      if ((c & 0xE0) == 0xC0) {
        need = 1;
      } else if ((c & 0xF0) == 0xE0) {
        need = 2;
      } else if ((c & 0xF8) == 0xF0) {
        need = 3;
      } else {
        r.invalid = true;
        return r;
      }
    } else {
      if ((c & 0xC0) != 0x80) {
        r.invalid = true;
        return r;
      }
      if (--need == 0) ++r.complete;
    }
  }
  r.cut = need != 0;
  return r;
}

void ModelJIS(const uint8_t* b, size_t n, uint32_t* confidence, int* error) {
  *confidence = 0;
  *error = 0;
  for (size_t i = 0; i < n; ++i) {
    if (b[i] >= 0x80) {
      *error = 1;
      return;
    }
    if (JisEscape(b, n, i) != 0) ++*confidence;
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  nls_fuzz::KeepReportChannel();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  // The first byte picks the default of the Japanese detector.
  const unsigned defaults[] = {261, 260, 1, 0, 515, 262};
  const unsigned defaultCsid = defaults[data[0] % 6];
  ExactInput buffer(data + 1, size - 1);
  const uint8_t* b = buffer.data();
  const size_t n = buffer.size();
  const int length = static_cast<int>(n);

  const int sjis = isSJIS(b, length);
  FUZZ_CHECK(sjis == ModelSJIS(b, n), "isSJIS %d, model %d", sjis, ModelSJIS(b, n));
  const int euc = isEUCJP(b, length);
  FUZZ_CHECK(euc == ModelEUCJP(b, n), "isEUCJP %d, model %d", euc, ModelEUCJP(b, n));
  const int csid = detect_JCSID(static_cast<unsigned short>(defaultCsid), b, length);
  const int modelCsid = ModelJCSID(defaultCsid, b, n);
  FUZZ_CHECK(csid == modelCsid, "detect_JCSID(%u) %d, model %d", defaultCsid, csid, modelCsid);

  const Utf8Count utf8 = ModelUTF8(b, n);
  _NLS_AUTO_DETECT_RESULT result = {nullptr, 77, 12345, 77};
  AutoDetect_UTF8(b, static_cast<unsigned>(n), &result);
  FUZZ_CHECK(result.encoding != nullptr && std::string(result.encoding) == "UTF-8",
             "AutoDetect_UTF8 names %s", result.encoding ? result.encoding : "(null)");
  FUZZ_CHECK(result.reserved == 12345, "AutoDetect_UTF8 wrote the third field");
  FUZZ_CHECK(result.confidence == utf8.complete && result.error == (utf8.invalid ? 1 : 0),
             "AutoDetect_UTF8 confidence %u error %d, model %u %d", result.confidence, result.error,
             utf8.complete, utf8.invalid ? 1 : 0);

  _NLS_AUTO_DETECT_RESULT jis = {nullptr, 77, 12345, 77};
  AutoDetect_JIS(b, static_cast<unsigned>(n), &jis);
  uint32_t jisConfidence = 0;
  int jisError = 0;
  ModelJIS(b, n, &jisConfidence, &jisError);
  FUZZ_CHECK(jis.encoding != nullptr && std::string(jis.encoding) == "ISO-2022-JP",
             "AutoDetect_JIS names %s", jis.encoding ? jis.encoding : "(null)");
  FUZZ_CHECK(jis.confidence == jisConfidence && jis.error == jisError,
             "AutoDetect_JIS confidence %u error %d, model %u %d", jis.confidence, jis.error,
             jisConfidence, jisError);

  // The exported call: UTF-8 with multi-byte content wins, then the
  // Japanese verdict with the default 261.
  _NLS_AUTO_DETECT_RESULT found = {nullptr, 77, 12345, 77};
  unsigned count = 99;
  const int status = NLS_DetectEncodingForBuffer(b, static_cast<unsigned>(n), &found, 0, &count);
  const int japanese = ModelJCSID(261, b, n);
  const char* expected = nullptr;
  uint32_t confidence = 1;
  if (!utf8.invalid && utf8.complete > 0) {
    expected = "UTF-8";
    confidence = utf8.complete;
  } else if (japanese == 260) {
    expected = "Shift_JIS";
  } else if (japanese == 261) {
    expected = "Extended_UNIX_Code_Packed_Format_for_Japanese";
  } else if (japanese == 515) {
    expected = "ISO-2022-JP";
  }
  if (expected == nullptr) {
    FUZZ_CHECK(status == -1016 && count == 0 && found.encoding == nullptr && found.error == 77,
               "nothing to recognise, got %d count %u", status, count);
  } else {
    FUZZ_CHECK(status == 1 && count == 1, "expected %s, got %d count %u", expected, status, count);
    FUZZ_CHECK(found.encoding != nullptr && std::string(found.encoding) == expected,
               "expected %s, got %s", expected, found.encoding ? found.encoding : "(null)");
    FUZZ_CHECK(found.confidence == confidence && found.error == 0 && found.reserved == 12345,
               "%s: confidence %u error %d", expected, found.confidence, found.error);
  }

  // The detector object only adds to the record and counts a cut sequence.
  TAutoDetector* detector = NEWUTF8ENCODINGDETECTOR();
  FUZZ_CHECK(detector != nullptr, "no UTF-8 detector");
  _NLS_AUTO_DETECT_RESULT added = {"x", 5, 12345, 3};
  FUZZ_CHECK(detector->DetectBufferEncoding(reinterpret_cast<const char*>(b),
                                            static_cast<unsigned>(n), &added) == 1,
             "DetectBufferEncoding did not answer 1");
  const int addedErrors = (utf8.invalid || utf8.cut) ? 1 : 0;
  FUZZ_CHECK(added.confidence == 5 + utf8.complete && added.error == 3 + addedErrors &&
                 std::string(added.encoding) == "x" && added.reserved == 12345,
             "detector object: confidence %u error %d, model %u %d", added.confidence, added.error,
             5 + utf8.complete, 3 + addedErrors);
  detector->ReleaseEncodingDetector();
  return 0;
}

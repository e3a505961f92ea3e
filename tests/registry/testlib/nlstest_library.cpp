// A converter library for the tests, loaded at run time as libnlstest30.so.
// "X-NLSTEST-UPPER" is ASCII in which every letter reads as upper case:
// bytes to UCS-2 upper-cases letters and maps bytes above 0x7F to U+FFFD; UCS-2
// to bytes upper-cases letters and writes "?" for characters above U+007F. The
// detector recognises buffers made only of upper-case letters, digits and
// blanks.
#include <cstring>
#include <new>

#include "nlscnv/converter.h"

namespace {

// Converters and detectors made by this library and not yet released.
int gLiveObjects = 0;

unsigned char Upper(unsigned char c) {
  return (c >= 'a' && c <= 'z') ? static_cast<unsigned char>(c - 32) : c;
}

class TNlsTestUpperToUnicode : public TEncodingConverter {
 public:
  TNlsTestUpperToUnicode()
      : TEncodingConverter("X-NLSTEST-UPPER", "ISO-10646-UCS-2", nullptr, nullptr, nullptr, 0, 2,
                           nullptr, 0, 0) {
    ++gLiveObjects;
  }
  ~TNlsTestUpperToUnicode() override { --gLiveObjects; }

  int Convert(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
              const unsigned char* src, unsigned int srcLen, unsigned int* srcUsed) override {
    unsigned int used = 0, produced = 0;
    while (used < srcLen && dstSize - produced >= 2) {
      uint16_t unit = src[used] < 0x80 ? Upper(src[used]) : 0xFFFD;
      std::memcpy(dst + produced, &unit, 2);
      produced += 2;
      ++used;
    }
    if (dstSize - produced >= 2) std::memset(dst + produced, 0, 2);
    *dstLen = produced;
    *srcUsed = used;
    return used == srcLen ? 1 : 2;
  }
};

class TUnicodeToNlsTestUpper : public TEncodingConverter {
 public:
  TUnicodeToNlsTestUpper()
      : TEncodingConverter("ISO-10646-UCS-2", "X-NLSTEST-UPPER", nullptr, nullptr, nullptr, 0, 1,
                           nullptr, 0, 1) {
    ++gLiveObjects;
  }
  ~TUnicodeToNlsTestUpper() override { --gLiveObjects; }

  int Convert(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
              const unsigned char* src, unsigned int srcLen, unsigned int* srcUsed) override {
    unsigned int used = 0, produced = 0;
    while (srcLen - used >= 2 && produced < dstSize) {
      uint16_t unit;
      std::memcpy(&unit, src + used, 2);
      dst[produced++] = unit < 0x80 ? Upper(static_cast<unsigned char>(unit)) : '?';
      used += 2;
    }
    if (produced < dstSize) dst[produced] = 0;
    *dstLen = produced;
    *srcUsed = used;
    return used == srcLen ? 1 : 2;
  }
};

class TNlsTestDetector : public TAutoDetector {
 public:
  TNlsTestDetector() { ++gLiveObjects; }
  ~TNlsTestDetector() override { --gLiveObjects; }
  void ReleaseEncodingDetector() override { delete this; }
  void DetectorEncoding(char* name) override { std::strcpy(name, "X-NLSTEST-UPPER"); }
  int DetectBufferEncoding(const char* buffer, unsigned int length,
                           _NLS_AUTO_DETECT_RESULT* result) override {
    for (unsigned int i = 0; i < length; ++i) {
      char c = buffer[i];
      if (!((c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == ' ')) return 0;
    }
    result->encoding = "X-NLSTEST-UPPER";
    result->confidence = length;
    result->error = 0;
    return 1;
  }
};

}  // namespace

extern "C" {

NLS_EXPORT TEncodingConverter* NewNlsTestUpperToUnicodeConverter(void) {
  return new (std::nothrow) TNlsTestUpperToUnicode();
}

NLS_EXPORT TEncodingConverter* NewUnicodeToNlsTestUpperConverter(void) {
  return new (std::nothrow) TUnicodeToNlsTestUpper();
}

NLS_EXPORT TAutoDetector* NewNlsTestDetector(void) { return new (std::nothrow) TNlsTestDetector(); }

NLS_EXPORT int NlsTestLiveObjects(void) { return gLiveObjects; }

}  // extern "C"

#include "nlscnv/converters/utf7_converters.h"
#include "nlscnv/support/encoding_names.h"

#include <initializer_list>

#include "nlscnv/converters/base64_ample.h"

// Character classes shared by both directions, filled once by the first
// converter constructed.
static const char* base64;
static const char* direct;
static const char* optional;
static const char* spaces;
static unsigned char mustshiftopt[128];
static int16_t invbase64[128];
static unsigned char isInitialized;

static void InitializeUTF7() {
  base64 = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  direct = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789'(),-./:?";
  optional = "!\"#$%&*;<=>@[]^_`{|}";
  spaces = " \t\r\n\b";
  for (int i = 0; i < 128; ++i) {
    mustshiftopt[i] = 1;
    invbase64[i] = -1;
  }
  for (const char* set : {direct, spaces, optional}) {
    for (const char* p = set; *p != '\0'; ++p) mustshiftopt[static_cast<unsigned char>(*p)] = 0;
  }
  for (int i = 0; i < 64; ++i) {
    invbase64[static_cast<unsigned char>(base64[i])] = static_cast<int16_t>(i);
  }
  isInitialized = 1;
}

namespace {

// Fills the tables exactly once; the guard of the local static makes
// concurrent first constructions wait for the fill.
void EnsureTables() {
  static const bool filled = [] {
    if (!isInitialized) InitializeUTF7();
    return true;
  }();
  (void)filled;
}

struct Utf7 {
  static constexpr unsigned char kShift = '+';
  static int Digit(unsigned char c) { return invbase64[c]; }
  static bool Absorbed(unsigned char c) { return c == '-'; }
  static bool StandsForItself(uint32_t r) { return !mustshiftopt[r]; }
  // Printable characters that do not stand for themselves.
  static constexpr unsigned char kPlainExceptions[3] = {'+', '\\', '~'};
  static bool ExtendsRun(uint32_t r) { return r > 0x7F || mustshiftopt[r]; }
  static const char* Alphabet() { return base64; }
  static void EncodeAmple(nls::Base64EncoderState& s, unsigned char* dst, unsigned int* out,
                          const unsigned char* src, unsigned int* in, unsigned int stop,
                          bool last) {
    base64_ample::EncodeAtLevel<false>(s, dst, out, src, in, stop, last);
  }
  static void DecodeAmple(nls::Base64DecoderState& s, unsigned int* count, unsigned char* dst,
                          unsigned int* out, const unsigned char* src, unsigned int* in,
                          unsigned int stop) {
    base64_ample::DecodeAtLevel<false>(s, count, dst, out, src, in, stop);
  }

  static void Step(nls::Base64EncoderState& s, uint32_t r, bool ended, nls::Base64Piece& piece) {
    const bool encode = !ended && (r > 0x7F || mustshiftopt[r]);
    if (encode && !s.shifted) {
      piece.Put('+');
      if (r == '+') {
        piece.Put('-');
        return;
      }
      s.shifted = true;
    }
    if (s.shifted) {
      if (encode) {
        nls::AppendUnit(s, r);
        nls::PutDigits(s, false, base64, piece);
        return;
      }
      nls::PutDigits(s, true, base64, piece);
      s.shifted = false;
      // "-" ends the run only where the next byte would otherwise be read as
      // part of it.
      if (!ended && (r == '-' || invbase64[r] >= 0)) piece.Put('-');
    }
    if (!ended) piece.Put(static_cast<unsigned char>(r));
  }
};

}  // namespace

TUTF7ToUnicodeConverter::TUTF7ToUnicodeConverter()
    : TEncodingConverter(nls::names::kUtf7, nls::names::kUcs2, nullptr, nullptr, nullptr, 0, 2,
                         nullptr, 0, 0) {
  EnsureTables();
  fStatus = 1;
}

TUTF7ToUnicodeConverter::~TUTF7ToUnicodeConverter() = default;

void TUTF7ToUnicodeConverter::Reset() { fRun = nls::Base64DecoderState(); }

int TUTF7ToUnicodeConverter::Convert(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
                                     const unsigned char* src, unsigned int srcLen,
                                     unsigned int* srcUsed) {
  return nls::DecodeBase64Runs<Utf7>(fRun, dst, dstLen, dstSize, src, srcLen, srcUsed);
}

int TUTF7ToUnicodeConverter::ConvertReference(unsigned char* dst, unsigned int* dstLen,
                                              unsigned int dstSize, const unsigned char* src,
                                              unsigned int srcLen, unsigned int* srcUsed) {
  return nls::DecodeBase64Runs<Utf7, false>(fRun, dst, dstLen, dstSize, src, srcLen, srcUsed);
}

TUnicodeToUTF7Converter::TUnicodeToUTF7Converter()
    : TEncodingConverter(nls::names::kUcs2, nls::names::kUtf7, nullptr, nullptr, nullptr, 0, 6,
                         nullptr, 0, 1) {
  EnsureTables();
  fStatus = 1;
}

TUnicodeToUTF7Converter::~TUnicodeToUTF7Converter() = default;

void TUnicodeToUTF7Converter::Reset() { fRun = nls::Base64EncoderState(); }

int TUnicodeToUTF7Converter::Convert(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
                                     const unsigned char* src, unsigned int srcLen,
                                     unsigned int* srcUsed) {
  return nls::EncodeBase64Runs<Utf7>(fRun, 2, dst, dstLen, dstSize, src, srcLen, srcUsed);
}

int TUnicodeToUTF7Converter::ConvertReference(unsigned char* dst, unsigned int* dstLen,
                                              unsigned int dstSize, const unsigned char* src,
                                              unsigned int srcLen, unsigned int* srcUsed) {
  return nls::EncodeBase64Runs<Utf7, false>(fRun, 2, dst, dstLen, dstSize, src, srcLen, srcUsed);
}

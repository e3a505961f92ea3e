#include "nlscnv/converters/modified_utf7_converters.h"
#include "nlscnv/support/encoding_names.h"

#include "nlscnv/converters/base64_ample.h"

// Character classes shared by both directions, filled once by the first
// converter constructed.
static const char* modifiedBase64;
static unsigned char requiresShift[128];
static int32_t modified_invbase64[128];
static unsigned char isInitialized;

static void InitializeModifiedUTF7() {
  modifiedBase64 = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+,";
  for (int i = 0; i < 128; ++i) {
    requiresShift[i] = (i >= 0x20 && i <= 0x7E && i != '&') ? 0 : 1;
    modified_invbase64[i] = -1;
  }
  for (int i = 0; i < 64; ++i)
    modified_invbase64[static_cast<unsigned char>(modifiedBase64[i])] = i;
  isInitialized = 1;
}

namespace {

// Fills the tables exactly once; the guard of the local static makes
// concurrent first constructions wait for the fill.
void EnsureTables() {
  static const bool filled = [] {
    if (!isInitialized) InitializeModifiedUTF7();
    return true;
  }();
  (void)filled;
}

struct ModifiedUtf7 {
  static constexpr unsigned char kShift = '&';
  static int Digit(unsigned char c) { return modified_invbase64[c]; }
  static bool Absorbed(unsigned char c) { return c == '-' || c == '&'; }
  static bool StandsForItself(uint32_t r) { return !requiresShift[r]; }
  // Printable characters that do not stand for themselves.
  static constexpr unsigned char kPlainExceptions[3] = {'&', '&', '&'};
  static bool ExtendsRun(uint32_t r) { return r != '&' && (r > 0x7E || requiresShift[r]); }
  static const char* Alphabet() { return modifiedBase64; }
  static void EncodeAmple(nls::Base64EncoderState& s, unsigned char* dst, unsigned int* out,
                          const unsigned char* src, unsigned int* in, unsigned int stop,
                          bool last) {
    base64_ample::EncodeAtLevel<true>(s, dst, out, src, in, stop, last);
  }
  static void DecodeAmple(nls::Base64DecoderState& s, unsigned int* count, unsigned char* dst,
                          unsigned int* out, const unsigned char* src, unsigned int* in,
                          unsigned int stop) {
    base64_ample::DecodeAtLevel<true>(s, count, dst, out, src, in, stop);
  }

  // Writes that are not the last of a piece keep a byte for the terminator:
  // "&-" asks for 3 bytes of room and "-&-" for 4.
  static void Step(nls::Base64EncoderState& s, uint32_t r, bool ended, nls::Base64Piece& piece) {
    const bool encode = !ended && (r > 0x7E || requiresShift[r]);
    if (encode && !s.shifted) {
      if (r == '&') {
        piece.Put('&', 3);
        piece.Put('-');
        return;
      }
      piece.Put('&');
      s.shifted = true;
    }
    if (s.shifted) {
      if (encode && r != '&') {
        nls::AppendUnit(s, r);
        nls::PutDigits(s, false, modifiedBase64, piece);
        return;
      }
      // The run ends before "&", before a character that stands for itself,
      // or at the end of the input.
      nls::PutDigits(s, true, modifiedBase64, piece);
      s.shifted = false;
      if (encode) {
        piece.Put('-', 4);
        piece.Put('&');
        piece.Put('-');
        return;
      }
      piece.Put('-');
    }
    if (!ended) piece.Put(static_cast<unsigned char>(r));
  }
};

}  // namespace

TModifiedUTF7ToUnicodeConverter::TModifiedUTF7ToUnicodeConverter()
    : TEncodingConverter(nls::names::kImapUtf7, nls::names::kUcs2, nullptr, nullptr, nullptr, 0, 6,
                         nullptr, 0, 0),
      shifted(0) {
  EnsureTables();
  fStatus = 1;
}

TModifiedUTF7ToUnicodeConverter::~TModifiedUTF7ToUnicodeConverter() = default;

void TModifiedUTF7ToUnicodeConverter::Reset() {
  fRun = nls::Base64DecoderState();
  shifted = 0;
}

int TModifiedUTF7ToUnicodeConverter::Convert(unsigned char* dst, unsigned int* dstLen,
                                             unsigned int dstSize, const unsigned char* src,
                                             unsigned int srcLen, unsigned int* srcUsed) {
  fRun.shifted = shifted != 0;
  const int result =
      nls::DecodeBase64Runs<ModifiedUtf7>(fRun, dst, dstLen, dstSize, src, srcLen, srcUsed);
  shifted = fRun.shifted ? 1 : 0;
  return result;
}

int TModifiedUTF7ToUnicodeConverter::ConvertReference(unsigned char* dst, unsigned int* dstLen,
                                                      unsigned int dstSize,
                                                      const unsigned char* src, unsigned int srcLen,
                                                      unsigned int* srcUsed) {
  fRun.shifted = shifted != 0;
  const int result =
      nls::DecodeBase64Runs<ModifiedUtf7, false>(fRun, dst, dstLen, dstSize, src, srcLen, srcUsed);
  shifted = fRun.shifted ? 1 : 0;
  return result;
}

TUnicodeToModifiedUTF7Converter::TUnicodeToModifiedUTF7Converter()
    : TEncodingConverter(nls::names::kUcs2, nls::names::kImapUtf7, nullptr, nullptr, nullptr, 0, 6,
                         nullptr, 0, 1),
      shifted(0) {
  EnsureTables();
  fStatus = 1;
}

TUnicodeToModifiedUTF7Converter::~TUnicodeToModifiedUTF7Converter() = default;

void TUnicodeToModifiedUTF7Converter::Reset() {
  fRun = nls::Base64EncoderState();
  shifted = 0;
}

int TUnicodeToModifiedUTF7Converter::Convert(unsigned char* dst, unsigned int* dstLen,
                                             unsigned int dstSize, const unsigned char* src,
                                             unsigned int srcLen, unsigned int* srcUsed) {
  fRun.shifted = shifted != 0;
  const int result = nls::EncodeBase64Runs<ModifiedUtf7>(fRun, NLS_E_OUTPUT_EXHAUSTED, dst, dstLen,
                                                         dstSize, src, srcLen, srcUsed);
  shifted = fRun.shifted ? 1 : 0;
  return result;
}

int TUnicodeToModifiedUTF7Converter::ConvertReference(unsigned char* dst, unsigned int* dstLen,
                                                      unsigned int dstSize,
                                                      const unsigned char* src, unsigned int srcLen,
                                                      unsigned int* srcUsed) {
  fRun.shifted = shifted != 0;
  const int result = nls::EncodeBase64Runs<ModifiedUtf7, false>(
      fRun, NLS_E_OUTPUT_EXHAUSTED, dst, dstLen, dstSize, src, srcLen, srcUsed);
  shifted = fRun.shifted ? 1 : 0;
  return result;
}

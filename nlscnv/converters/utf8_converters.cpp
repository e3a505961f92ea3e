#include "nlscnv/converters/utf8_converters.h"
#include "nlscnv/support/encoding_names.h"

#include "nlscnv/codecs/codecs.h"
#include "nlscnv/converters/utf8_codec.h"
#include "nlscnv/support/simd.h"

extern "C" {

const signed char bytesFromUTF8[256] = {
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,
    2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 3, 3, 3, 3, 3, 3, 3, 3, 4, 4, 4, 4, 5, 5, 5, 5};

const uint32_t offsetsFromUTF8[6] = {0x00000000UL, 0x00003080UL, 0x000E2080UL,
                                     0x03C82080UL, 0xFA082080UL, 0x82082080UL};

const unsigned char firstByteMark[7] = {0x00, 0x00, 0xC0, 0xE0, 0xF0, 0xF8, 0xFC};

}  // extern "C"

namespace nls {
namespace utf8 {
// The AVX2 instantiations (utf8_converters_avx2.cpp).
int DecodeAvx2(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
               const unsigned char* src, unsigned int srcLen, unsigned int* srcUsed);
int EncodeAvx2(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
               const unsigned char* src, unsigned int srcLen, unsigned int* srcUsed);
int DecodeStrictAvx2(NLS_CodecCall* call);
int EncodeStrictAvx2(NLS_CodecCall* call);
}  // namespace utf8
}  // namespace nls

TUTF8ToUnicodeConverter::TUTF8ToUnicodeConverter()
    : TEncodingConverter(nls::names::kUtf8, nls::names::kUcs2, nullptr, nullptr, nullptr, 290, 2,
                         nullptr, 0, 0) {}

TUTF8ToUnicodeConverter::~TUTF8ToUnicodeConverter() = default;

int TUTF8ToUnicodeConverter::Convert(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
                                     const unsigned char* src, unsigned int srcLen,
                                     unsigned int* srcUsed) {
  switch (nls::simd::LevelUpTo(nls::simd::kAvx2)) {
#if defined(NLS_HAVE_AVX2)
    case nls::simd::kAvx2:
      return nls::utf8::DecodeAvx2(dst, dstLen, dstSize, src, srcLen, srcUsed);
#endif
#if defined(NLS_HAVE_SSE2)
    case nls::simd::kSse2:
      return utf8_codec::DecodeUtf8<utf8_codec::Sse2>(dst, dstLen, dstSize, src, srcLen, srcUsed);
#endif
    default:
      return utf8_codec::DecodeUtf8<utf8_codec::Words>(dst, dstLen, dstSize, src, srcLen, srcUsed);
  }
}

TUnicodeToUTF8Converter::TUnicodeToUTF8Converter()
    : TEncodingConverter(nls::names::kUcs2, nls::names::kUtf8, nullptr, nullptr, nullptr, 290, 4,
                         nullptr, 0, 1) {}

TUnicodeToUTF8Converter::~TUnicodeToUTF8Converter() = default;

int TUnicodeToUTF8Converter::Convert(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
                                     const unsigned char* src, unsigned int srcLen,
                                     unsigned int* srcUsed) {
  switch (nls::simd::LevelUpTo(nls::simd::kAvx2)) {
#if defined(NLS_HAVE_AVX2)
    case nls::simd::kAvx2:
      return nls::utf8::EncodeAvx2(dst, dstLen, dstSize, src, srcLen, srcUsed);
#endif
#if defined(NLS_HAVE_SSE2)
    case nls::simd::kSse2:
      return utf8_codec::EncodeUtf8<utf8_codec::Sse2>(dst, dstLen, dstSize, src, srcLen, srcUsed);
#endif
    default:
      return utf8_codec::EncodeUtf8<utf8_codec::Words>(dst, dstLen, dstSize, src, srcLen, srcUsed);
  }
}

// ---- The strict codec -------------------------------------------------------

namespace {

int DecodeStrictCodec(const NLS_Codec*, NLS_CodecState* state, NLS_CodecCall* call) {
  if (call->flags & NLS_CODEC_FLUSH) return nls::codec::FlushNothing(state, call);
  switch (nls::simd::LevelUpTo(nls::simd::kAvx2)) {
#if defined(NLS_HAVE_AVX2)
    case nls::simd::kAvx2:
      return nls::utf8::DecodeStrictAvx2(call);
#endif
#if defined(NLS_HAVE_SSE2)
    case nls::simd::kSse2:
      return utf8_codec::DecodeStrict<utf8_codec::Sse2>(call);
#endif
    default:
      return utf8_codec::DecodeStrict<utf8_codec::Words>(call);
  }
}

int EncodeStrictCodec(const NLS_Codec*, NLS_CodecState* state, NLS_CodecCall* call) {
  if (call->flags & NLS_CODEC_FLUSH) return nls::codec::FlushNothing(state, call);
  switch (nls::simd::LevelUpTo(nls::simd::kAvx2)) {
#if defined(NLS_HAVE_AVX2)
    case nls::simd::kAvx2:
      return nls::utf8::EncodeStrictAvx2(call);
#endif
#if defined(NLS_HAVE_SSE2)
    case nls::simd::kSse2:
      return utf8_codec::EncodeStrict<utf8_codec::Sse2>(call);
#endif
    default:
      return utf8_codec::EncodeStrict<utf8_codec::Words>(call);
  }
}

}  // namespace

const NLS_Codec nls::codecs::kUtf8Codec = {
    nls::names::kUtf8,
    DecodeStrictCodec,
    EncodeStrictCodec,
    nullptr,
    4,
    NLS_CODEC_STATELESS_DECODER | NLS_CODEC_RESYNC_AT_LINE_FEED};

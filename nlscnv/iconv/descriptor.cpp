// The strict conversion of NLS_Iconv.
//
// Source text is decoded into the pivot buffer as far as it goes, and the
// encoder converts the pivot into the caller's output. When the encoder
// takes all of it, both halves advance together. When it stops early (the
// output is full, or a character has no mapping), the chunk is converted
// again one source character at a time from the states saved before it, so
// that the caller's input pointer stops exactly at the character concerned
// and the states describe exactly what was converted. A source or target
// that is the pivot itself skips its half.
#include "nlscnv/iconv/descriptor.h"

#include <cerrno>
#include <cstring>

#include "nlscnv/codecs/codecs.h"
#include "nlscnv/iconv/transliteration.h"

namespace nls::iconv {
namespace {

constexpr size_t kFailed = static_cast<size_t>(-1);

bool IsPivot(const NLS_Codec* codec) { return codec == &codecs::kPivotCodec; }

int Run(const NLS_Codec* codec, bool decode, NLS_CodecState* state, const unsigned char* src,
        size_t srcLen, unsigned char* dst, size_t dstSize, unsigned flags, NLS_CodecCall* call) {
  *call = NLS_CodecCall{src, srcLen, dst, dstSize, flags, 0, 0, 0, 0};
  return decode ? codec->decode(codec, state, call) : codec->encode(codec, state, call);
}

uint32_t CodePointAt(const unsigned char* pivot, size_t length) {
  const uint32_t u = LoadUnit16(pivot);
  if (length >= 4 && u >= 0xD800 && u <= 0xDBFF)
    return 0x10000 + ((u - 0xD800) << 10) + (LoadUnit16(pivot + 2) - 0xDC00);
  return u;
}

// What a step of the conversion came to.
struct Step {
  bool stop;      // return to the caller
  size_t result;  // what to return then
};

class Conversion {
 public:
  Conversion(NLS_IconvDescriptor* cd, const unsigned char** in, size_t* inLeft, unsigned char** out,
             size_t* outLeft, int* error)
      : cd_(cd), in_(in), inLeft_(inLeft), out_(out), outLeft_(outLeft), error_(error) {}

  size_t Go() {
    while (*inLeft_ > 0) {
      Step step = IsPivot(cd_->from) ? FromPivot() : IsPivot(cd_->to) ? ToPivot() : Through();
      if (step.stop) return step.result;
    }
    return irreversible_;
  }

 private:
  Step Fail(int error) {
    *error_ = error;
    return {true, kFailed};
  }
  void Consume(size_t n) {
    *in_ += n;
    *inLeft_ -= n;
  }
  void Produce(const unsigned char* bytes, size_t n) {
    if (bytes != *out_) std::memcpy(*out_, bytes, n);
    *out_ += n;
    *outLeft_ -= n;
  }
  void Record(int kind, uint32_t cp, size_t length, size_t context) {
    cd_->failure.kind = kind;
    cd_->failure.codePoint = cp;
    cd_->failure.length = length;
    cd_->failure.context = context;
  }

  // A decoder's verdict that is not "go on": invalid input is skipped or
  // reported, a cut character reported.
  Step DecoderFailure(int result, const NLS_CodecCall& call) {
    if (result == NLS_CODEC_INCOMPLETE) {
      Record(NLS_ICONV_INCOMPLETE, 0, *inLeft_, 0);
      return Fail(EINVAL);
    }
    if (result == NLS_CODEC_OUTPUT_FULL) return Fail(E2BIG);
    if (cd_->ignore) {
      Consume(call.errorLength);
      ++irreversible_;
      return {false, 0};
    }
    Record(NLS_ICONV_INVALID, 0, call.errorLength, call.errorContext);
    return Fail(EILSEQ);
  }

  // Encodes `units` (pivot text of one source character, or the caller's
  // pivot input) into `buffer` after a failed attempt: the replacement of an
  // unmappable character when transliterating. Returns the bytes written, or
  // kFailed.
  size_t Transliterate(uint32_t cp, NLS_CodecState* state, unsigned char* buffer, size_t room) {
    uint32_t replacement[kMaxTransliteration];
    const unsigned length = TransliterationOf(cp, replacement);
    if (length == 0) return kFailed;
    unsigned char units[4 * kMaxTransliteration];
    size_t n = 0;
    for (unsigned i = 0; i < length; ++i)
      n = static_cast<size_t>(codec::PutUnits(units + n, replacement[i]) - units);
    NLS_CodecState tried = *state;
    NLS_CodecCall call;
    if (Run(cd_->to, false, &tried, units, n, buffer, room, 0, &call) != NLS_CODEC_DONE)
      return kFailed;
    *state = tried;
    return call.dstLen;
  }

  // The source is pivot text: the encoder reads the caller's input.
  Step FromPivot() {
    NLS_CodecCall call;
    const int r = Run(cd_->to, false, &cd_->encoder, *in_, *inLeft_, *out_, *outLeft_, 0, &call);
    Consume(call.srcUsed);
    Produce(*out_, call.dstLen);
    if (r == NLS_CODEC_DONE) return {false, 0};
    if (r == NLS_CODEC_OUTPUT_FULL) return Fail(E2BIG);
    if (r == NLS_CODEC_INCOMPLETE) {
      Record(NLS_ICONV_INCOMPLETE, 0, *inLeft_, 0);
      return Fail(EINVAL);
    }
    const uint32_t cp = CodePointAt(*in_, call.errorLength);
    if (r == NLS_CODEC_UNMAPPABLE && cd_->translit) {
      const size_t wrote = Transliterate(cp, &cd_->encoder, *out_, *outLeft_);
      if (wrote != kFailed) {
        Consume(call.errorLength);
        Produce(*out_, wrote);
        ++irreversible_;
        return {false, 0};
      }
    }
    if (cd_->ignore) {
      Consume(call.errorLength);
      ++irreversible_;
      return {false, 0};
    }
    Record(r == NLS_CODEC_UNMAPPABLE ? NLS_ICONV_UNMAPPABLE : NLS_ICONV_INVALID, cp,
           call.errorLength, 0);
    return Fail(EILSEQ);
  }

  // The target is pivot text: the decoder writes the caller's output.
  Step ToPivot() {
    NLS_CodecCall call;
    const int r = Run(cd_->from, true, &cd_->decoder, *in_, *inLeft_, *out_, *outLeft_, 0, &call);
    Consume(call.srcUsed);
    Produce(*out_, call.dstLen);
    if (r == NLS_CODEC_DONE) return {false, 0};
    return DecoderFailure(r, call);
  }

  Step Through() {
    const NLS_CodecState savedDecoder = cd_->decoder, savedEncoder = cd_->encoder;
    NLS_CodecCall decoded, encoded;
    // No more pivot text than the output can take: every character the
    // encoder takes writes at least a byte, so a small output needs only a
    // small chunk (and a host that drains in small pieces pays no more).
    const size_t room = *outLeft_ < sizeof cd_->pivot / 4 ? 4 * *outLeft_ + 16 : sizeof cd_->pivot;
    const int d =
        Run(cd_->from, true, &cd_->decoder, *in_, *inLeft_, cd_->pivot, room, 0, &decoded);
    const int e = Run(cd_->to, false, &cd_->encoder, cd_->pivot, decoded.dstLen, *out_, *outLeft_,
                      0, &encoded);
    if (e == NLS_CODEC_DONE && encoded.srcUsed == decoded.dstLen) {
      Consume(decoded.srcUsed);
      Produce(*out_, encoded.dstLen);
      if (d == NLS_CODEC_DONE || d == NLS_CODEC_OUTPUT_FULL) return {false, 0};
      return DecoderFailure(d, decoded);
    }
    // Again, one character at a time, up to where the decoder had come.
    cd_->decoder = savedDecoder;
    cd_->encoder = savedEncoder;
    size_t budget = decoded.srcUsed;
    while (budget > 0 || *inLeft_ > 0) {
      const size_t before = *inLeft_;
      Step step = OneCharacter();
      if (step.stop) return step;
      const size_t used = before - *inLeft_;
      if (used >= budget) break;
      budget -= used;
    }
    return {false, 0};
  }

  Step OneCharacter() {
    unsigned char units[16];
    NLS_CodecState decoder = cd_->decoder;
    NLS_CodecCall decoded;
    const int d = Run(cd_->from, true, &decoder, *in_, *inLeft_, units, sizeof units, NLS_CODEC_ONE,
                      &decoded);
    if (decoded.srcUsed == 0) {
      if (d == NLS_CODEC_INVALID) cd_->decoder = decoder;  // discarded state stays discarded
      return d == NLS_CODEC_DONE ? Step{true, irreversible_} : DecoderFailure(d, decoded);
    }
    unsigned char bytes[256];
    NLS_CodecState encoder = cd_->encoder;
    NLS_CodecCall encoded;
    const int e =
        Run(cd_->to, false, &encoder, units, decoded.dstLen, bytes, sizeof bytes, 0, &encoded);
    size_t wrote = encoded.dstLen;
    if (e == NLS_CODEC_UNMAPPABLE || e == NLS_CODEC_INVALID) {
      const uint32_t cp = CodePointAt(units + encoded.srcUsed, encoded.errorLength);
      size_t extra = kFailed;
      if (e == NLS_CODEC_UNMAPPABLE && cd_->translit)
        extra = Transliterate(cp, &encoder, bytes + wrote, sizeof bytes - wrote);
      if (extra != kFailed || cd_->ignore) {
        // Whatever follows the failing character in this source character
        // is converted too.
        size_t at = encoded.srcUsed + encoded.errorLength;
        wrote += extra == kFailed ? 0 : extra;
        if (at < decoded.dstLen) {
          NLS_CodecCall rest;
          if (Run(cd_->to, false, &encoder, units + at, decoded.dstLen - at, bytes + wrote,
                  sizeof bytes - wrote, 0, &rest) != NLS_CODEC_DONE) {
            Record(NLS_ICONV_UNMAPPABLE, CodePointAt(units + at + rest.srcUsed, 4), decoded.srcUsed,
                   0);
            return Fail(EILSEQ);
          }
          wrote += rest.dstLen;
        }
        ++irreversible_;
      } else {
        // Bytes the encoder released before the failing character (one it
        // held back) belong to earlier input and go out; the source
        // character stays unconsumed.
        if (encoded.srcUsed == 0) {
          if (wrote > *outLeft_) return Fail(E2BIG);
          Produce(bytes, wrote);
          cd_->encoder = encoder;
        }
        Record(e == NLS_CODEC_UNMAPPABLE ? NLS_ICONV_UNMAPPABLE : NLS_ICONV_INVALID, cp,
               decoded.srcUsed, 0);
        return Fail(EILSEQ);
      }
    } else if (e != NLS_CODEC_DONE) {
      return Fail(E2BIG);
    }
    if (wrote > *outLeft_) return Fail(E2BIG);
    Produce(bytes, wrote);
    Consume(decoded.srcUsed);
    cd_->decoder = decoder;
    cd_->encoder = encoder;
    return {false, 0};
  }

  NLS_IconvDescriptor* cd_;
  const unsigned char** in_;
  size_t* inLeft_;
  unsigned char** out_;
  size_t* outLeft_;
  int* error_;
  size_t irreversible_ = 0;
};

}  // namespace

size_t Convert(NLS_IconvDescriptor* cd, const unsigned char** in, size_t* inLeft,
               unsigned char** out, size_t* outLeft, int* error) {
  cd->failure.kind = NLS_ICONV_NO_FAILURE;
  return Conversion(cd, in, inLeft, out, outLeft, error).Go();
}

size_t Finish(NLS_IconvDescriptor* cd, unsigned char** out, size_t* outLeft, int* error) {
  cd->failure.kind = NLS_ICONV_NO_FAILURE;
  size_t irreversible = 0;
  NLS_CodecCall call;
  if (Run(cd->from, true, &cd->decoder, nullptr, 0, nullptr, 0, NLS_CODEC_FLUSH, &call) ==
      NLS_CODEC_INVALID) {
    cd->decoder = NLS_CodecState{};
    if (!cd->ignore) {
      cd->failure.kind = NLS_ICONV_INVALID;
      cd->failure.codePoint = 0;
      cd->failure.length = 0;
      cd->failure.context = 0;
      *error = EILSEQ;
      return kFailed;
    }
    ++irreversible;
  }
  if (Run(cd->to, false, &cd->encoder, nullptr, 0, *out, *outLeft, NLS_CODEC_FLUSH, &call) !=
      NLS_CODEC_DONE) {
    *error = E2BIG;
    return kFailed;
  }
  *out += call.dstLen;
  *outLeft -= call.dstLen;
  return irreversible;
}

void Reset(NLS_IconvDescriptor* cd) {
  cd->decoder = NLS_CodecState{};
  cd->encoder = NLS_CodecState{};
  cd->failure.kind = NLS_ICONV_NO_FAILURE;
}

}  // namespace nls::iconv

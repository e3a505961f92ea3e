// TCodecConverter: the buffer contract of TEncodingConverter over a codec,
// with the substitutions of the legacy conversion calls (see codec.h).
#include <cstring>

#include "nlscnv/codec.h"

namespace {

constexpr unsigned char kQuestionUnit[2] = {'?', 0};  // U+003F in the machine's order

enum class Pump { kAll, kFull, kIncomplete };

}  // namespace

TCodecConverter::TCodecConverter(const NLS_Codec* codec, const char* sourceName,
                                 const char* destinationName, char fromUnicode)
    : TEncodingConverter(sourceName, destinationName, nullptr, nullptr, nullptr, 0,
                         static_cast<unsigned short>(fromUnicode ? codec->maxBytesPerChar : 2),
                         nullptr, 0, fromUnicode),
      fCodec(codec),
      fState{},
      fHeld{},
      fHeldLength(0) {}

TCodecConverter::~TCodecConverter() = default;

void TCodecConverter::Reset() {
  fState = NLS_CodecState{};
  fHeldLength = 0;
}

void TCodecConverter::TargetBufferSize(const unsigned char*, unsigned int srcLen,
                                       unsigned int* size) {
  // Decoding: at most two bytes of pivot per input byte, also for a held
  // sequence and for substitutes. Encoding: each unit may need the longest
  // character, and a flush may follow.
  const uint64_t need = fFromUnicode == 0
                            ? 2 * (static_cast<uint64_t>(srcLen) + sizeof fHeld) + 2
                            : static_cast<uint64_t>(srcLen / 2 + 3) * fCodec->maxBytesPerChar + 1;
  *size = need > UINT32_MAX ? UINT32_MAX : static_cast<unsigned int>(need);
}

int TCodecConverter::Convert(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
                             const unsigned char* src, unsigned int srcLen, unsigned int* srcUsed) {
  if (dst == nullptr || dstLen == nullptr || srcUsed == nullptr || (src == nullptr && srcLen > 0))
    return NLS_E_ARGUMENT;
  return fFromUnicode == 0 ? Decode(dst, dstLen, dstSize, src, srcLen, srcUsed)
                           : Encode(dst, dstLen, dstSize, src, srcLen, srcUsed);
}

namespace {

// Decodes seg[0..n) into dst[*out..room) with the legacy substitutions; *used
// receives the bytes taken.
Pump DecodePump(const NLS_Codec* codec, NLS_CodecState* state, const unsigned char* seg, size_t n,
                size_t* used, unsigned char* dst, size_t* out, size_t room) {
  size_t pos = 0;
  Pump result = Pump::kAll;
  while (pos < n) {
    NLS_CodecCall call{seg + pos, n - pos, dst + *out, room - *out, 0, 0, 0, 0, 0};
    const int r = codec->decode(codec, state, &call);
    pos += call.srcUsed;
    *out += call.dstLen;
    if (r == NLS_CODEC_DONE) break;
    if (r == NLS_CODEC_INCOMPLETE) {
      result = Pump::kIncomplete;
      break;
    }
    if (r == NLS_CODEC_INVALID && room - *out >= 2) {
      nls::StoreUnit16(dst + *out, nls::codec::kReplacement);
      *out += 2;
      pos += call.errorLength > 0 ? call.errorLength : 1;
      continue;
    }
    result = Pump::kFull;
    break;
  }
  *used = pos;
  return result;
}

// Encodes seg[0..n) into dst[*out..room) with the legacy substitutions.
Pump EncodePump(const NLS_Codec* codec, NLS_CodecState* state, const unsigned char* seg, size_t n,
                size_t* used, unsigned char* dst, size_t* out, size_t room) {
  size_t pos = 0;
  Pump result = Pump::kAll;
  while (n - pos >= 2) {
    NLS_CodecCall call{seg + pos, n - pos, dst + *out, room - *out, 0, 0, 0, 0, 0};
    const int r = codec->encode(codec, state, &call);
    pos += call.srcUsed;
    *out += call.dstLen;
    if (r == NLS_CODEC_DONE) break;
    if (r == NLS_CODEC_INCOMPLETE) {
      result = Pump::kIncomplete;
      break;
    }
    if (r == NLS_CODEC_INVALID || r == NLS_CODEC_UNMAPPABLE) {
      // "?" in the encoder's current state (a stateful encoder may need a
      // shift back first).
      NLS_CodecState tried = *state;
      NLS_CodecCall question{kQuestionUnit, 2, dst + *out, room - *out, 0, 0, 0, 0, 0};
      if (codec->encode(codec, &tried, &question) == NLS_CODEC_DONE) {
        *state = tried;
        *out += question.dstLen;
        pos += call.errorLength;
        continue;
      }
    }
    result = Pump::kFull;
    break;
  }
  *used = pos;
  return result;
}

}  // namespace

int TCodecConverter::Decode(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
                            const unsigned char* src, unsigned int srcLen, unsigned int* srcUsed) {
  const size_t room = dstSize >= 2 ? dstSize - 2 : 0;  // the terminator always fits
  size_t out = 0, in = 0;
  Pump pumped = Pump::kAll;
  if (fHeldLength > 0) {
    // The held sequence with as much new input as it can need.
    unsigned char joined[2 * sizeof fHeld];
    const size_t held = fHeldLength;
    const size_t taken = srcLen < sizeof fHeld ? srcLen : sizeof fHeld;
    std::memcpy(joined, fHeld, held);
    if (taken > 0) std::memcpy(joined + held, src, taken);
    size_t used = 0;
    pumped = DecodePump(fCodec, &fState, joined, held + taken, &used, dst, &out, room);
    if (pumped == Pump::kIncomplete && taken == srcLen && held + taken - used <= sizeof fHeld) {
      std::memmove(fHeld, joined + used, held + taken - used);
      fHeldLength = static_cast<unsigned>(held + taken - used);
      return nls::FinishConvert(dst, dstSize, static_cast<unsigned>(out), dstLen, srcLen, srcLen,
                                srcUsed, 2);
    }
    if (used < held) {  // output full inside the held bytes
      std::memmove(fHeld, fHeld + used, held - used);
      fHeldLength = static_cast<unsigned>(held - used);
      return nls::FinishConvert(dst, dstSize, static_cast<unsigned>(out), dstLen, 0, srcLen,
                                srcUsed, 2);
    }
    fHeldLength = 0;
    in = used - held;
    if (pumped == Pump::kIncomplete) pumped = Pump::kAll;  // goes on from `in` below
  }
  if (pumped != Pump::kFull && in < srcLen) {
    size_t used = 0;
    pumped = DecodePump(fCodec, &fState, src + in, srcLen - in, &used, dst, &out, room);
    in += used;
    if (pumped == Pump::kIncomplete && srcLen - in <= sizeof fHeld) {
      std::memcpy(fHeld, src + in, srcLen - in);
      fHeldLength = static_cast<unsigned>(srcLen - in);
      in = srcLen;
    }
  }
  return nls::FinishConvert(dst, dstSize, static_cast<unsigned>(out), dstLen,
                            static_cast<unsigned>(in), srcLen, srcUsed, 2);
}

int TCodecConverter::Encode(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
                            const unsigned char* src, unsigned int srcLen, unsigned int* srcUsed) {
  // The NUL always fits, and so does the end of the text for encoders that
  // need one.
  const bool stateful = (fCodec->properties & NLS_CODEC_STATEFUL_ENCODER) != 0;
  const size_t reserve = 1 + (stateful ? fCodec->maxBytesPerChar : 0);
  const size_t room = dstSize > reserve ? dstSize - reserve : 0;
  size_t out = 0, in = 0;
  Pump pumped = Pump::kAll;
  if (fHeldLength > 0) {  // a high surrogate held from the last call
    unsigned char joined[4];
    std::memcpy(joined, fHeld, 2);
    const size_t taken = srcLen >= 2 ? 2 : 0;
    if (taken > 0) std::memcpy(joined + 2, src, 2);
    size_t used = 0;
    pumped = EncodePump(fCodec, &fState, joined, 2 + taken, &used, dst, &out, room);
    if (used == 0 && taken == 0) {
      return nls::FinishConvert(dst, dstSize, 0, dstLen, 0, srcLen, srcUsed, 1);
    }
    if (used >= 2) {
      fHeldLength = 0;
      in = used - 2;
    }
    if (used < 2 || pumped == Pump::kFull)
      return nls::FinishConvert(dst, dstSize, static_cast<unsigned>(out), dstLen,
                                static_cast<unsigned>(in), srcLen, srcUsed, 1);
  }
  if (in < srcLen) {
    size_t used = 0;
    pumped = EncodePump(fCodec, &fState, src + in, srcLen - in, &used, dst, &out, room);
    in += used;
    if (pumped == Pump::kIncomplete && srcLen - in == 2) {  // a high surrogate at the end
      std::memcpy(fHeld, src + in, 2);
      fHeldLength = 2;
      in = srcLen;
    }
  }
  if (in == srcLen && fHeldLength == 0 && stateful) {
    NLS_CodecCall flush{nullptr, 0, dst + out, dstSize - 1 - out, NLS_CODEC_FLUSH, 0, 0, 0, 0};
    if (fCodec->encode(fCodec, &fState, &flush) == NLS_CODEC_DONE) out += flush.dstLen;
  }
  return nls::FinishConvert(dst, dstSize, static_cast<unsigned>(out), dstLen,
                            static_cast<unsigned>(in), srcLen, srcUsed, 1);
}

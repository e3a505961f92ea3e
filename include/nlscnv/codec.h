// Codecs: strict, stateful conversion between one encoding and the pivot.
//
// A codec is a pair of plain functions, one per direction, with the state of
// a conversion in a small record that the caller owns. The pivot here is
// UTF-16 in the machine's byte order: "ISO-10646-UCS-2" text in which a
// supplementary character travels as a surrogate pair. Codecs never lose or
// invent a character: every ill-formed sequence and every character that has
// no mapping stops the call with its position, and the caller decides what
// to do (the strict interface NLS_Iconv reports it or skips it; the legacy
// converters that TCodecConverter makes from a codec substitute U+FFFD or
// "?"). Any cut of the input into pieces, with any output sizes, gives the
// same output as one call on the whole input.
//
// A converter library offers codecs by exporting, with C linkage, a function
// named NLS_CODEC_LIST_ENTRY that returns an array of NLS_Codec records ended
// by a record whose name is null; the strict interface finds a codec by the
// canonical name that encreg.txt registers for the library. The library's
// legacy factories return TCodecConverter objects made from the same codecs.
#ifndef NLSCNV_CODEC_H
#define NLSCNV_CODEC_H

#include <cstddef>
#include <cstdint>

#include "nlscnv/converter.h"
#include "nlscnv/unaligned.h"

extern "C" {

// Everything a codec carries from one call to the next (shift states,
// designations, base64 bits, a character held back, the byte order read from
// a byte-order mark). All zero is the initial state; the caller may save and
// restore a conversion by copying the record.
typedef struct NLS_CodecState {
  uint32_t word[8];
} NLS_CodecState;

// Results of a codec call. On every result, srcUsed and dstLen describe
// exactly what was consumed and produced; state describes the conversion
// after that.
enum {
  NLS_CODEC_DONE = 0,         // all input consumed
  NLS_CODEC_OUTPUT_FULL = 1,  // stopped before a character whose output does not fit
  NLS_CODEC_INCOMPLETE = 2,   // the input ends inside a character, escape sequence or
                              // surrogate pair, which starts at srcUsed and is not consumed
  NLS_CODEC_INVALID = 3,      // ill-formed input at srcUsed: errorLength bytes of it (a
                              // decoder's maximal ill-formed subpart, an encoder's lone
                              // surrogate), not consumed
  NLS_CODEC_UNMAPPABLE = 4    // encoder: the character at srcUsed (errorLength bytes of
                              // pivot) has no mapping in the encoding; not consumed
};

// Call flags.
enum {
  // End of the text, given with no input: an encoder writes what returns
  // it to its initial state (OUTPUT_FULL, state kept, when it does not
  // fit); a decoder answers INVALID (errorLength 0) when its state holds
  // an unfinished sequence it consumed earlier. Either returns to the
  // initial state unless the result is OUTPUT_FULL.
  NLS_CODEC_FLUSH = 1,
  // Stop after the first step that consumes input: one character, one
  // escape sequence or one byte-order mark. Used to locate a failure of the
  // other half of a conversion exactly.
  NLS_CODEC_ONE = 2
};

typedef struct NLS_CodecCall {
  const unsigned char* src;  // input and its length in bytes
  size_t srcLen;
  unsigned char* dst;  // output room in bytes
  size_t dstSize;
  unsigned int flags;
  size_t srcUsed;             // out: bytes consumed
  size_t dstLen;              // out: bytes written
  size_t errorLength;         // out: INVALID, UNMAPPABLE: length of the sequence
  unsigned int errorContext;  // out: INVALID: 1 when the byte after the sequence is
                              // what made it ill-formed (shown with it in messages)
} NLS_CodecCall;

struct NLS_Codec;
typedef int (*NLS_CodecFunction)(const struct NLS_Codec* codec, NLS_CodecState* state,
                                 NLS_CodecCall* call);

// Properties of a codec.
enum {
  // A line feed byte (0x0A) is always a line feed, never part of another
  // sequence, and after it the decoder's state does not matter: text may be
  // cut after any line feed and the pieces decoded with fresh states.
  NLS_CODEC_RESYNC_AT_LINE_FEED = 1,
  // The decoder keeps no state at all between characters.
  NLS_CODEC_STATELESS_DECODER = 2,
  // The encoder may hold state that only a flush ends (shift states, a
  // base64 run, a character held back).
  NLS_CODEC_STATEFUL_ENCODER = 4
};

typedef struct NLS_Codec {
  const char* name;              // canonical encoding name
  NLS_CodecFunction decode;      // bytes -> pivot
  NLS_CodecFunction encode;      // pivot -> bytes
  const void* data;              // the codec's tables or parameters
  unsigned int maxBytesPerChar;  // most bytes the encoder writes for one character,
                                 // shift sequences included, or for a flush
  unsigned int properties;
} NLS_Codec;

typedef const NLS_Codec* (*NLS_CodecListFunction)(void);
#define NLS_CODEC_LIST_ENTRY "NLS_CodecList30"

// Widens the leading ASCII bytes (below 0x80) of src[0..n) to pivot units
// and returns how many it widened (it stops at the first other byte). The
// library picks the fastest instruction set of the processor.
NLS_EXPORT size_t NLS_WidenAscii(unsigned char* dst, const unsigned char* src, size_t n);
// Narrows the leading pivot units below 0x80 of src (n units) to bytes and
// returns how many it narrowed.
NLS_EXPORT size_t NLS_NarrowAscii(unsigned char* dst, const unsigned char* src, size_t n);
// The instruction-set level of the library's vector paths: 0 portable code,
// 1 16-byte vectors (SSE2), 2 32-byte vectors (AVX2), 3 64-byte vectors
// (AVX-512 with byte permutes). A converter library
// with vector paths of its own picks them by this level, once per call, so
// that every level can be checked against the others.
NLS_EXPORT int NLS_VectorLevel(void);
}

// ---- Legacy converters made from a codec ------------------------------------
//
// TCodecConverter gives a codec the buffer contract of TEncodingConverter,
// for the registry's factories and the NLS_ conversion calls:
// - decoding: an ill-formed sequence becomes one U+FFFD and the conversion
//   goes on after it; a sequence cut by the end of a call's input is consumed
//   and held (at most 16 bytes), and the next call completes it, so streamed
//   output equals whole-buffer output; Reset drops it. A 0 byte is a
//   character.
// - encoding: a character without a mapping, and a lone surrogate, become
//   "?"; a character is taken only when its bytes fit (never "?" for lack of
//   room); a call that consumes all of its input ends the text (a stateful
//   encoder returns to its initial state), so room for that is kept.
// - output: the terminator follows when it fits; result 1 when all input was
//   consumed, else 2.
class NLS_EXPORT TCodecConverter : public TEncodingConverter {
 public:
  // fromUnicode 0: the codec's decoder (encoding -> pivot); 1: its encoder.
  TCodecConverter(const NLS_Codec* codec, const char* sourceName, const char* destinationName,
                  char fromUnicode);
  ~TCodecConverter() override;
  void Reset() override;
  void TargetBufferSize(const unsigned char* src, unsigned int srcLen, unsigned int* size) override;
  int Convert(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
              const unsigned char* src, unsigned int srcLen, unsigned int* srcUsed) override;

  const NLS_Codec* codec() const { return fCodec; }

 private:
  int Decode(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
             const unsigned char* src, unsigned int srcLen, unsigned int* srcUsed);
  int Encode(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
             const unsigned char* src, unsigned int srcLen, unsigned int* srcUsed);

  const NLS_Codec* fCodec;
  NLS_CodecState fState;
  unsigned char fHeld[16];  // a cut sequence kept for the next call
  unsigned int fHeldLength;
};

// ---- Writing codecs -----------------------------------------------------------
//
// Most codecs are a step per character in one of the two loops below; the
// loops do the rest of the contract (room, pivot units and surrogate pairs,
// the flags, the counts), so that every codec follows it the same way. A
// step may change the state freely: the loops give it a copy when the output
// might not fit and keep the copy only when it does.
namespace nls::codec {

inline constexpr uint32_t kReplacement = 0xFFFD;

// What a decoding step found at the input position.
struct Decoded {
  enum Kind : uint8_t { kChar, kNothing, kInvalid, kIncomplete } kind;
  uint8_t context;  // kInvalid: 1 when the byte after the sequence broke it
  uint16_t length;  // bytes consumed (kChar, kNothing) or ill-formed (kInvalid)
  uint32_t first;   // kChar: the code point
  uint32_t second;  // kChar: a second code point, or 0 (one code for two characters)
};

inline Decoded Char(unsigned length, uint32_t cp, uint32_t second = 0) {
  return {Decoded::kChar, 0, static_cast<uint16_t>(length), cp, second};
}
inline Decoded Nothing(unsigned length) {
  return {Decoded::kNothing, 0, static_cast<uint16_t>(length), 0, 0};
}
inline Decoded Invalid(unsigned length, bool brokenByNext = false) {
  return {Decoded::kInvalid, static_cast<uint8_t>(brokenByNext ? 1 : 0),
          static_cast<uint16_t>(length), 0, 0};
}
inline Decoded Incomplete() { return {Decoded::kIncomplete, 0, 0, 0, 0}; }

// Pivot units needed for a code point, and their writing.
inline unsigned Units(uint32_t cp) { return cp >= 0x10000 ? 2 : 1; }
inline unsigned char* PutUnits(unsigned char* d, uint32_t cp) {
  if (cp < 0x10000) {
    StoreUnit16(d, static_cast<uint16_t>(cp));
    return d + 2;
  }
  cp -= 0x10000;
  StoreUnit16(d, static_cast<uint16_t>(0xD800 + (cp >> 10)));
  StoreUnit16(d + 2, static_cast<uint16_t>(0xDC00 + (cp & 0x3FF)));
  return d + 4;
}

// The end of a text for a codec direction that has nothing to check or
// write: back to the initial state.
inline int FlushNothing(NLS_CodecState* state, NLS_CodecCall* call) {
  *state = NLS_CodecState{};
  call->srcUsed = 0;
  call->dstLen = 0;
  return NLS_CODEC_DONE;
}

// The decoding loop. `step(s, n, state)` looks at the n >= 1 bytes at s and
// answers what the first character there is (also for ASCII bytes). The
// state the step leaves is kept when it consumes input (kChar, kNothing) and
// when it reports kInvalid, so a step that finds the input ill-formed leaves
// the state as the conversion should go on after the bad sequence; kInvalid
// with length 0 reports state the step has discarded (bits of an unfinished
// run). With `asciiRuns`, bytes below 0x80 are always themselves whatever
// the state, and runs of them bypass the step. A FLUSH call ends the text
// with nothing to check.
template <bool asciiRuns, class Step>
inline int DecodeLoop(NLS_CodecState* state, NLS_CodecCall* call, Step&& step) {
  const unsigned char* src = call->src;
  unsigned char* dst = call->dst;
  const size_t srcLen = call->srcLen, dstSize = call->dstSize;
  const bool one = (call->flags & NLS_CODEC_ONE) != 0;
  size_t in = 0, out = 0;
  int result = NLS_CODEC_DONE;
  if (call->flags & NLS_CODEC_FLUSH) return FlushNothing(state, call);
  while (in < srcLen) {
    if (asciiRuns && !one && src[in] < 0x80) {
      size_t room = (dstSize - out) / 2, n = srcLen - in;
      const size_t widened = NLS_WidenAscii(dst + out, src + in, n < room ? n : room);
      in += widened;
      out += 2 * widened;
      if (in == srcLen) break;
      if (widened == 0 || src[in] < 0x80) {  // out of room
        result = NLS_CODEC_OUTPUT_FULL;
        break;
      }
    }
    Decoded d;
    const bool ample = dstSize - out >= 8;
    NLS_CodecState copy;
    if (ample) {
      d = step(src + in, srcLen - in, *state);
    } else {
      copy = *state;
      d = step(src + in, srcLen - in, copy);
    }
    if (d.kind == Decoded::kInvalid) {
      if (!ample) *state = copy;
      call->errorLength = d.length;
      call->errorContext = d.context;
      result = NLS_CODEC_INVALID;
      break;
    }
    if (d.kind == Decoded::kIncomplete) {
      result = NLS_CODEC_INCOMPLETE;
      break;
    }
    if (d.kind == Decoded::kChar) {
      const unsigned need = 2 * (Units(d.first) + (d.second != 0 ? Units(d.second) : 0));
      if (need > dstSize - out) {
        result = NLS_CODEC_OUTPUT_FULL;
        break;
      }
      unsigned char* p = PutUnits(dst + out, d.first);
      if (d.second != 0) p = PutUnits(p, d.second);
      out = static_cast<size_t>(p - dst);
    }
    if (!ample) *state = copy;
    in += d.length;
    if (one) break;
  }
  call->srcUsed = in;
  call->dstLen = out;
  return result;
}

// What an encoding step did with one code point.
struct Encoded {
  enum Kind : uint8_t { kDone, kUnmappable } kind;
  uint8_t length;  // bytes written (also with kUnmappable: held output flushed first)
};
inline Encoded Wrote(unsigned length) { return {Encoded::kDone, static_cast<uint8_t>(length)}; }
inline Encoded Unmappable(unsigned flushed = 0) {
  return {Encoded::kUnmappable, static_cast<uint8_t>(flushed)};
}

// The encoding loop. `step(cp, out, state)` writes the bytes of code point
// cp (at most codec->maxBytesPerChar, and at most 64) to out; `flush(out,
// state)` writes what returns the encoder to its initial state. A step that
// answers kUnmappable may have written bytes first (a character it held
// back); they and its state are kept. With `asciiRuns`, units below 0x80
// are bytes of the same value in every state and bypass the step.
template <bool asciiRuns, class Step, class Flush>
inline int EncodeLoop(const NLS_Codec* codec, NLS_CodecState* state, NLS_CodecCall* call,
                      Step&& step, Flush&& flush) {
  const unsigned char* src = call->src;
  unsigned char* dst = call->dst;
  const size_t srcLen = call->srcLen, dstSize = call->dstSize;
  const size_t most = codec->maxBytesPerChar;
  const bool one = (call->flags & NLS_CODEC_ONE) != 0;
  size_t in = 0, out = 0;
  int result = NLS_CODEC_DONE;
  unsigned char spare[64];
  if (call->flags & NLS_CODEC_FLUSH) {
    NLS_CodecState copy = *state;
    const unsigned length = flush(spare, copy);
    if (length > dstSize) {
      result = NLS_CODEC_OUTPUT_FULL;
    } else {
      for (unsigned i = 0; i < length; ++i) dst[i] = spare[i];
      out = length;
      *state = NLS_CodecState{};
    }
    call->srcUsed = 0;
    call->dstLen = out;
    return result;
  }
  while (srcLen - in >= 2) {
    if (asciiRuns && !one && LoadUnit16(src + in) < 0x80) {
      const size_t units = (srcLen - in) / 2, room = dstSize - out;
      const size_t narrowed = NLS_NarrowAscii(dst + out, src + in, units < room ? units : room);
      in += 2 * narrowed;
      out += narrowed;
      if (srcLen - in < 2) break;
      if (narrowed == 0 || LoadUnit16(src + in) < 0x80) {
        result = NLS_CODEC_OUTPUT_FULL;
        break;
      }
    }
    uint32_t cp = LoadUnit16(src + in);
    unsigned units = 1;
    if (cp >= 0xD800 && cp <= 0xDFFF) {
      if (cp >= 0xDC00) {
        call->errorLength = 2;
        result = NLS_CODEC_INVALID;
        break;
      }
      if (srcLen - in < 4) {
        result = NLS_CODEC_INCOMPLETE;
        break;
      }
      const uint32_t low = LoadUnit16(src + in + 2);
      if (low < 0xDC00 || low > 0xDFFF) {
        call->errorLength = 2;
        result = NLS_CODEC_INVALID;
        break;
      }
      cp = 0x10000 + ((cp - 0xD800) << 10) + (low - 0xDC00);
      units = 2;
    }
    Encoded e;
    if (dstSize - out >= most) {
      e = step(cp, dst + out, *state);
    } else {
      NLS_CodecState copy = *state;
      e = step(cp, spare, copy);
      if (e.length > dstSize - out) {
        result = NLS_CODEC_OUTPUT_FULL;
        break;
      }
      for (unsigned i = 0; i < e.length; ++i) dst[out + i] = spare[i];
      *state = copy;
    }
    out += e.length;
    if (e.kind == Encoded::kUnmappable) {
      call->errorLength = 2 * units;
      result = NLS_CODEC_UNMAPPABLE;
      break;
    }
    in += 2 * units;
    if (one) break;
  }
  if (result == NLS_CODEC_DONE && srcLen - in == 1) result = NLS_CODEC_INCOMPLETE;  // half a unit
  call->srcUsed = in;
  call->dstLen = out;
  return result;
}

// Runs between steps. `run(state, call, &in, &out)` converts from src + in
// to dst + out what needs no decision, in a loop of its own, and may stop
// anywhere (also at once); `step(call)` then takes one character, shift or
// escape sequence (called with NLS_CODEC_ONE on the rest of the input), and
// the two alternate until the input ends or a step stops. A call for one
// character or a flush goes to the step alone.
template <class Run, class Step>
inline int RunsAndSteps(NLS_CodecState* state, NLS_CodecCall* call, Run&& run, Step&& step) {
  if (call->flags & (NLS_CODEC_ONE | NLS_CODEC_FLUSH)) return step(call);
  size_t in = 0, out = 0;
  int result = NLS_CODEC_DONE;
  for (;;) {
    run(*state, *call, &in, &out);
    if (in == call->srcLen) break;
    NLS_CodecCall one = *call;
    one.src += in;
    one.srcLen -= in;
    one.dst += out;
    one.dstSize -= out;
    one.flags |= NLS_CODEC_ONE;
    result = step(&one);
    in += one.srcUsed;
    out += one.dstLen;
    if (result != NLS_CODEC_DONE) {
      call->errorLength = one.errorLength;
      call->errorContext = one.errorContext;
      break;
    }
  }
  call->srcUsed = in;
  call->dstLen = out;
  return result;
}

}  // namespace nls::codec

#endif  // NLSCNV_CODEC_H

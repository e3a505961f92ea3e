// Strict codecs of the built-in Unicode forms and of the two ASCII-based
// ones: the pivot itself ("ISO-10646-UCS-2", where a surrogate pair is one
// character and a lone surrogate is invalid), UCS-4 in the machine's byte
// order (values up to U+10FFFF, no surrogates), ISO-8859-1 (U+0000-U+00FF)
// and 7-bit US-ASCII.
#include <cstring>

#include "nlscnv/codecs/codecs.h"
#include "nlscnv/converters/latin1_kernels.h"

namespace nls::codecs {
namespace {

using codec::Decoded;
using codec::Encoded;

// Copies whole units from src to dst while they form valid UTF-16: the
// decoder and the encoder of the pivot are the same validating copy.
int CopyPivot(const NLS_Codec*, NLS_CodecState*, NLS_CodecCall* call) {
  const unsigned char* src = call->src;
  unsigned char* dst = call->dst;
  const size_t srcLen = call->srcLen & ~size_t{1};
  const size_t room = call->dstSize & ~size_t{1};
  const bool one = (call->flags & NLS_CODEC_ONE) != 0;
  size_t i = 0;
  int result = NLS_CODEC_DONE;
  if (call->flags & NLS_CODEC_FLUSH) {
    call->srcUsed = call->dstLen = 0;
    return NLS_CODEC_DONE;
  }
  while (i < srcLen) {
    // A run without surrogates in one copy.
    size_t end = i;
    const size_t limit = srcLen < room ? srcLen : room;
    if (!one)
      while (end < limit && (LoadUnit16(src + end) & 0xF800) != 0xD800) end += 2;
    if (end > i) {
      std::memcpy(dst + i, src + i, end - i);
      i = end;
      if (i == srcLen) break;
    }
    const uint16_t u = LoadUnit16(src + i);
    size_t length = 2;
    if ((u & 0xF800) == 0xD800) {
      if (u >= 0xDC00 || (srcLen - i >= 4 && (LoadUnit16(src + i + 2) & 0xFC00) != 0xDC00)) {
        call->errorLength = 2;
        result = NLS_CODEC_INVALID;
        break;
      }
      if (srcLen - i < 4) {
        result = NLS_CODEC_INCOMPLETE;
        break;
      }
      length = 4;
    }
    if (room - i < length) {
      result = NLS_CODEC_OUTPUT_FULL;
      break;
    }
    std::memcpy(dst + i, src + i, length);
    i += length;
    if (one) break;
  }
  if (result == NLS_CODEC_DONE && i < call->srcLen) result = NLS_CODEC_INCOMPLETE;
  call->srcUsed = i;
  call->dstLen = i;
  return result;
}

int DecodeUcs4(const NLS_Codec*, NLS_CodecState* state, NLS_CodecCall* call) {
  return codec::DecodeLoop<false>(state, call,
                                  [](const unsigned char* s, size_t n, NLS_CodecState&) -> Decoded {
                                    if (n < 4) return codec::Incomplete();
                                    const uint32_t v = LoadUnit32(s);
                                    if (v > 0x10FFFF || (v >= 0xD800 && v <= 0xDFFF))
                                      return codec::Invalid(4);
                                    return codec::Char(4, v);
                                  });
}

int EncodeUcs4(const NLS_Codec* c, NLS_CodecState* state, NLS_CodecCall* call) {
  return codec::EncodeLoop<false>(
      c, state, call,
      [](uint32_t cp, unsigned char* out, NLS_CodecState&) -> Encoded {
        StoreUnit32(out, cp);
        return codec::Wrote(4);
      },
      [](unsigned char*, NLS_CodecState&) -> unsigned { return 0; });
}

// ISO-8859-1: every byte is the character of its value; the encoder stops at
// the first character above U+00FF.
int DecodeLatin1(const NLS_Codec*, NLS_CodecState*, NLS_CodecCall* call) {
  const size_t room = call->dstSize / 2;
  size_t n = call->srcLen < room ? call->srcLen : room;
  if ((call->flags & NLS_CODEC_ONE) && n > 1) n = 1;
  size_t done = 0;
  while (done < n) {  // the kernels count in 32 bits
    const size_t piece = n - done < (size_t{1} << 30) ? n - done : (size_t{1} << 30);
    WidenBytes(call->dst + 2 * done, call->src + done, static_cast<unsigned>(piece));
    done += piece;
  }
  call->srcUsed = n;
  call->dstLen = 2 * n;
  return n == call->srcLen || ((call->flags & NLS_CODEC_ONE) && n == 1) ? NLS_CODEC_DONE
                                                                        : NLS_CODEC_OUTPUT_FULL;
}

int EncodeByteRange(const NLS_Codec* c, NLS_CodecState* state, NLS_CodecCall* call,
                    uint32_t limit) {
  return codec::EncodeLoop<true>(
      c, state, call,
      [limit](uint32_t cp, unsigned char* out, NLS_CodecState&) -> Encoded {
        if (cp >= limit) return codec::Unmappable();
        out[0] = static_cast<unsigned char>(cp);
        return codec::Wrote(1);
      },
      [](unsigned char*, NLS_CodecState&) -> unsigned { return 0; });
}

// The leading units of src[0..2n) below U+0100, in whole blocks of 32.
size_t Latin1Blocks(const unsigned char* src, size_t n) {
  size_t i = 0;
  for (; n - i >= 32; i += 32) {
    unsigned high = 0;
    for (size_t k = 0; k < 32; ++k) high |= LoadUnit16(src + 2 * (i + k));
    if (high > 0xFF) break;
  }
  return i;
}

// Blocks of characters below U+0100 are narrowed whole; each block that
// holds another character, and the tail, go one character at a time through
// the shared loop.
int EncodeLatin1(const NLS_Codec* c, NLS_CodecState* state, NLS_CodecCall* call) {
  return codec::RunsAndSteps(
      state, call,
      [](NLS_CodecState&, const NLS_CodecCall& all, size_t* in, size_t* out) {
        const size_t room = all.dstSize - *out, units = (all.srcLen - *in) / 2;
        size_t run = Latin1Blocks(all.src + *in, units < room ? units : room);
        if (run > (size_t{1} << 30)) run = size_t{1} << 30;  // the kernels count in 32 bits
        NarrowUnits(all.dst + *out, all.src + *in, static_cast<unsigned>(run));
        *in += 2 * run;
        *out += run;
      },
      [c, state](NLS_CodecCall* one) { return EncodeByteRange(c, state, one, 0x100); });
}

int DecodeAscii(const NLS_Codec*, NLS_CodecState* state, NLS_CodecCall* call) {
  return codec::DecodeLoop<true>(state, call,
                                 [](const unsigned char* s, size_t, NLS_CodecState&) -> Decoded {
                                   return s[0] < 0x80 ? codec::Char(1, s[0]) : codec::Invalid(1);
                                 });
}

int EncodeAscii(const NLS_Codec* c, NLS_CodecState* state, NLS_CodecCall* call) {
  return EncodeByteRange(c, state, call, 0x80);
}

}  // namespace

const NLS_Codec kPivotCodec = {names::kUcs2, CopyPivot, CopyPivot,
                               nullptr,      4,         NLS_CODEC_STATELESS_DECODER};
const NLS_Codec kUcs4Codec = {names::kUcs4, DecodeUcs4, EncodeUcs4,
                              nullptr,      4,          NLS_CODEC_STATELESS_DECODER};
const NLS_Codec kLatin1Codec = {names::kLatin1,
                                DecodeLatin1,
                                EncodeLatin1,
                                nullptr,
                                1,
                                NLS_CODEC_STATELESS_DECODER | NLS_CODEC_RESYNC_AT_LINE_FEED};
const NLS_Codec kAsciiCodec = {
    names::kUsAscii, DecodeAscii, EncodeAscii,
    nullptr,         1,           NLS_CODEC_STATELESS_DECODER | NLS_CODEC_RESYNC_AT_LINE_FEED};

}  // namespace nls::codecs

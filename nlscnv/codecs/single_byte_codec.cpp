// The generic single-byte codec (nlscnv/single_byte.h): a table lookup per
// byte in each direction, with the ASCII runs of encodings that keep ASCII.
// Both directions take eight characters per step (a run of ASCII to the
// wide copy, anything else through the table) while none of them needs a
// decision; a step that meets one leaves the next characters to the loop of
// one character at a time, which goes back to steps of eight at the next
// multiple of eight.
#include <cstring>

#include "nlscnv/codecs/single_byte_runs.h"
#include "nlscnv/single_byte.h"

namespace {

const NLS_SingleByteTable& TableOf(const NLS_Codec* codec) {
  return *static_cast<const NLS_SingleByteTable*>(codec->data);
}

uint64_t Load64(const unsigned char* p) {
  uint64_t v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

// Bytes [i, n) of src, eight at a time, until fewer than eight are left or
// a step meets an undefined byte. Returns the new i.
size_t DecodeSteps(const NLS_SingleByteTable& table, const unsigned char* src, unsigned char* dst,
                   size_t i, size_t n) {
  const uint16_t* map = table.toUnicode;
  while (n - i >= 8) {
    if (table.asciiIdentity && (Load64(src + i) & 0x8080808080808080u) == 0) {
      i += NLS_WidenAscii(dst + 2 * i, src + i, n - i);
      continue;
    }
    uint16_t c[8];
    unsigned undefined = 0;
    for (int k = 0; k < 8; ++k) {
      c[k] = map[src[i + k]];
      undefined |= c[k] == NLS_SINGLE_BYTE_UNDEFINED;
    }
    if (undefined) break;
    std::memcpy(dst + 2 * i, c, sizeof c);
    i += 8;
  }
  return i;
}

// Leading bytes of src[0..n) in vector blocks at the level in force (none
// below AVX2); a long input repays building the blocks' lookup tables.
size_t DecodeBlocks(const NLS_SingleByteTable& table, const unsigned char* src, unsigned char* dst,
                    size_t n) {
  switch (nls::simd::Level()) {
#if defined(NLS_HAVE_AVX512)
    case nls::simd::kAvx512:
      return nls::codecs::DecodeSingleByteBlocksAvx512(table, src, dst, n);
#endif
#if defined(NLS_HAVE_AVX2)
    case nls::simd::kAvx2:
      return nls::codecs::DecodeSingleByteBlocksAvx2(table, src, dst, n);
#endif
    default:
      static_cast<void>(table), static_cast<void>(src), static_cast<void>(dst),
          static_cast<void>(n);
      return 0;
  }
}

// Units [i, n) of src, eight at a time, until fewer than eight are left or a
// step meets a character without a byte (or U+0000, or a surrogate). Returns
// the new i.
size_t EncodeSteps(const NLS_SingleByteTable& table, const unsigned char* src, unsigned char* dst,
                   size_t i, size_t n) {
  while (n - i >= 8) {
    if (table.asciiIdentity &&
        ((Load64(src + 2 * i) | Load64(src + 2 * i + 8)) & 0xFF80FF80FF80FF80u) == 0) {
      i += NLS_NarrowAscii(dst + i, src + 2 * i, n - i);
      continue;
    }
    uint8_t b[8];
    unsigned missing = 0;
    for (int k = 0; k < 8; ++k) {
      const uint16_t c = nls::LoadUnit16(src + 2 * (i + k));
      b[k] = table.pages[table.pageOf[c >> 8]][c & 0xFF];
      missing |= b[k] == 0;
    }
    if (missing) break;
    std::memcpy(dst + i, b, sizeof b);
    i += 8;
  }
  return i;
}

}  // namespace

extern "C" {

int NLS_SingleByteDecode(const NLS_Codec* codec, NLS_CodecState*, NLS_CodecCall* call) {
  const NLS_SingleByteTable& table = TableOf(codec);
  const unsigned char* src = call->src;
  unsigned char* dst = call->dst;
  const size_t srcLen = call->srcLen;
  const size_t room = call->dstSize / 2;
  const size_t n = srcLen < room ? srcLen : room;
  const bool one = (call->flags & NLS_CODEC_ONE) != 0;
  size_t i = 0;
  if (!one && n >= 256) i = DecodeBlocks(table, src, dst, n);
  if (!one) i = DecodeSteps(table, src, dst, i, n);
  int result = NLS_CODEC_DONE;
  while (i < n) {
    if (table.asciiIdentity && !one && src[i] < 0x80) {
      i += NLS_WidenAscii(dst + 2 * i, src + i, n - i);
      if (i == n) break;
    }
    const uint16_t c = table.toUnicode[src[i]];
    if (c == NLS_SINGLE_BYTE_UNDEFINED) {
      call->errorLength = 1;
      call->errorContext = 0;
      result = NLS_CODEC_INVALID;
      break;
    }
    nls::StoreUnit16(dst + 2 * i, c);
    ++i;
    if (one) break;
    if (i % 8 == 0) i = DecodeSteps(table, src, dst, i, n);
  }
  if (result == NLS_CODEC_DONE && i < srcLen && !(one && i > 0)) result = NLS_CODEC_OUTPUT_FULL;
  call->srcUsed = i;
  call->dstLen = 2 * i;
  return result;
}

int NLS_SingleByteEncode(const NLS_Codec* codec, NLS_CodecState*, NLS_CodecCall* call) {
  const NLS_SingleByteTable& table = TableOf(codec);
  const unsigned char* src = call->src;
  unsigned char* dst = call->dst;
  const size_t units = call->srcLen / 2;
  const size_t n = units < call->dstSize ? units : call->dstSize;
  const bool one = (call->flags & NLS_CODEC_ONE) != 0;
  size_t i = 0;
  int result = NLS_CODEC_DONE;
  if (call->flags & NLS_CODEC_FLUSH) {
    call->srcUsed = call->dstLen = 0;
    return NLS_CODEC_DONE;
  }
  if (!one) i = EncodeSteps(table, src, dst, 0, n);
  while (i < n) {
    if (table.asciiIdentity && !one) {
      i += NLS_NarrowAscii(dst + i, src + 2 * i, n - i);
      if (i == n) break;
    }
    const uint16_t c = nls::LoadUnit16(src + 2 * i);
    const uint8_t b = table.pages[table.pageOf[c >> 8]][c & 0xFF];
    if (b == 0 && !(c == 0 && table.toUnicode[0] == 0)) {
      if (c >= 0xD800 && c <= 0xDFFF) {
        // A supplementary character (no single-byte encoding has one) or a
        // lone surrogate.
        const bool pair = c < 0xDC00 && 2 * i + 4 <= call->srcLen &&
                          (nls::LoadUnit16(src + 2 * i + 2) & 0xFC00) == 0xDC00;
        if (c < 0xDC00 && !pair && 2 * i + 4 > call->srcLen) {
          result = NLS_CODEC_INCOMPLETE;
          break;
        }
        call->errorLength = pair ? 4 : 2;
        result = pair ? NLS_CODEC_UNMAPPABLE : NLS_CODEC_INVALID;
        break;
      }
      call->errorLength = 2;
      result = NLS_CODEC_UNMAPPABLE;
      break;
    }
    dst[i] = b;
    ++i;
    if (one) break;
    if (i % 8 == 0) i = EncodeSteps(table, src, dst, i, n);
  }
  if (result == NLS_CODEC_DONE && !(one && i > 0)) {
    if (i < units)
      result = NLS_CODEC_OUTPUT_FULL;
    else if (2 * i < call->srcLen)
      result = NLS_CODEC_INCOMPLETE;  // half a unit
  }
  call->srcUsed = 2 * i;
  call->dstLen = i;
  return result;
}

}  // extern "C"

// The generic multi-byte codec (nlscnv/multi_byte.h). Each direction runs a
// tight loop over the common characters (single bytes and assigned pairs,
// with room to spare) and hands everything else to a per-character step in
// the shared codec loops, which keep the contract for the rest.
#include "nlscnv/multi_byte.h"

#include <algorithm>
#include <cstring>
#include <mutex>

namespace {

using nls::LoadUnit16;
using nls::StoreUnit16;

inline uint64_t LoadUnit64(const unsigned char* p) {
  uint64_t v;
  std::memcpy(&v, p, sizeof v);
  return v;
}
using nls::codec::Decoded;
using nls::codec::Encoded;

constexpr uint32_t kFourByteBmp = 39420;             // four-byte forms of the BMP
constexpr uint32_t kFourByteSupplementary = 189000;  // index of 0x90 0x30 0x81 0x30

const NLS_MultiByteTable& TableOf(const NLS_Codec* codec) {
  return *static_cast<const NLS_MultiByteTable*>(codec->data);
}

inline bool IsTrail(const NLS_MultiByteTable& t, unsigned b) {
  return ((t.trail[b >> 3] >> (b & 7)) & 1) != 0;
}

inline bool IsExtra(uint16_t v) { return v >= 0xD800 && v <= 0xDFFF; }

// The forms with EUC's three-byte form, and those with extras.
constexpr bool HasThreeByte(uint32_t form) {
  return form == NLS_MB_THREE_BYTE || form == NLS_MB_THREE_BYTE_COMPOSING;
}
constexpr bool HasExtras(uint32_t form) {
  return form == NLS_MB_COMPOSING || form == NLS_MB_THREE_BYTE_COMPOSING;
}

// The slot of a pair, or 0.
inline uint16_t PairValue(const NLS_MultiByteTable& t, unsigned row, unsigned trail) {
  const NLS_MultiByteRow& r = t.rows[row];
  const unsigned k = trail - r.first;
  return k < r.count ? t.values[r.offset + k] : 0;
}

// ---- Building the encoder's arrays ------------------------------------------

std::mutex gBuildMutex;

// Calls visit(code, value) for every assigned slot: single bytes, pairs in
// the order of their bytes, then three-byte forms.
template <class Visit>
void ForEachSlot(const NLS_MultiByteTable& t, Visit&& visit) {
  for (unsigned b = 0; b < 256; ++b)
    if (t.single[b] != NLS_MB_NO_CHARACTER) visit(b, t.single[b]);
  for (unsigned b = 0; b < 256; ++b) {
    if (t.lead[b] == 0 || t.lead[b] == NLS_MB_PREFIX) continue;
    const NLS_MultiByteRow& r = t.rows[t.lead[b] - 1];
    for (unsigned k = 0; k < r.count; ++k) {
      const uint16_t v = t.values[r.offset + k];
      if (v != 0) visit(b << 8 | (r.first + k), v);
    }
  }
  if (HasThreeByte(t.form)) {
    for (unsigned i = 0; i < t.prefixCount; ++i) {
      const NLS_MultiByteRow& r = t.rows[t.prefixRow + i];
      for (unsigned k = 0; k < r.count; ++k) {
        const uint16_t v = t.values[r.offset + k];
        if (v != 0) visit(((t.prefixFirst + i) << 8 | (r.first + k)) & 0x7F7F, v);
      }
    }
  }
}

void BuildRanges(const NLS_MultiByteTable& t, NLS_MultiByteCache& c) {
  // The characters that the four-byte forms of the BMP skip: ASCII and those
  // of the pairs, with each swapped character in its partner's place.
  static uint64_t skipped[65536 / 64];
  std::fill(skipped, skipped + 65536 / 64, 0);
  auto mark = [](uint32_t cp, bool on) {
    if (on)
      skipped[cp >> 6] |= uint64_t{1} << (cp & 63);
    else
      skipped[cp >> 6] &= ~(uint64_t{1} << (cp & 63));
  };
  ForEachSlot(t, [&](uint32_t, uint16_t v) {
    if (!IsExtra(v)) mark(v, true);
  });
  for (uint32_t i = 0; i < t.swapCount; ++i) {
    mark(t.swaps[i].pairChar, false);
    mark(t.swaps[i].fourByteChar, true);
  }
  uint32_t index = 0, count = 0, previous = 0;
  for (uint32_t cp = 0x80; cp < 0x10000; ++cp) {
    if ((cp >= 0xD800 && cp <= 0xDFFF) || ((skipped[cp >> 6] >> (cp & 63)) & 1) != 0) continue;
    if (count == 0 || cp != previous + 1) {
      if (count == t.rangeCount) break;  // cannot happen with a generated table
      c.ranges[count++] =
          NLS_MultiByteRange{static_cast<uint16_t>(cp), static_cast<uint16_t>(index)};
    }
    previous = cp;
    ++index;
  }
}

void Build(const NLS_MultiByteTable& t, NLS_MultiByteCache& c) {
  uint16_t* map = c.encode;
  uint32_t supplements = 0, compositions = 0;
  ForEachSlot(t, [&](uint32_t code, uint16_t v) {
    if (!IsExtra(v)) {
      if (map[v] == 0) map[v] = static_cast<uint16_t>(code);
      return;
    }
    const NLS_MultiByteExtra& e = t.extras[v - 0xD800];
    if (e.second != 0) {
      if (compositions < t.compositionCount)
        c.compositions[compositions++] = NLS_MultiByteComposition{e.first, e.second, code, 0};
    } else if (supplements < t.supplementCount) {
      c.supplements[supplements++] = NLS_MultiByteSupplement{e.first, code};
    }
  });
  map[0] = 0;
  for (uint32_t i = 0; i < t.overrideCount; ++i) map[t.overrides[i].cp] = t.overrides[i].code;
  // A character that starts a composition goes to the encoding step, which
  // holds it back until it sees the next one.
  for (uint32_t i = 0; i < compositions; ++i)
    c.compositions[i].alone = map[c.compositions[i].first];
  for (uint32_t i = 0; i < compositions; ++i) map[c.compositions[i].first] = 0;
  // The first code of a character wins: a stable sort keeps the visit order.
  std::stable_sort(c.supplements, c.supplements + supplements,
                   [](const NLS_MultiByteSupplement& a, const NLS_MultiByteSupplement& b) {
                     return a.cp < b.cp;
                   });
  if (t.form == NLS_MB_GB18030) BuildRanges(t, c);
}

const NLS_MultiByteCache& Ready(const NLS_MultiByteTable& t) {
  NLS_MultiByteCache& c = *t.cache;
  if (c.ready.load(std::memory_order_acquire) == 0) {
    std::lock_guard<std::mutex> lock(gBuildMutex);
    if (c.ready.load(std::memory_order_relaxed) == 0) {
      Build(t, c);
      c.ready.store(1, std::memory_order_release);
    }
  }
  return c;
}

// ---- GB18030 four-byte forms ------------------------------------------------

// The character of four-byte form `index` of the BMP.
uint32_t FromFourByteIndex(const NLS_MultiByteTable& t, const NLS_MultiByteCache& c,
                           uint32_t index) {
  const NLS_MultiByteRange* begin = c.ranges;
  const NLS_MultiByteRange* r =
      std::upper_bound(begin, begin + t.rangeCount, index,
                       [](uint32_t i, const NLS_MultiByteRange& range) { return i < range.index; });
  --r;  // ranges[0].index is 0
  const uint32_t cp = r->cp + (index - r->index);
  for (uint32_t i = 0; i < t.swapCount; ++i)
    if (t.swaps[i].pairChar == cp) return t.swaps[i].fourByteChar;
  return cp;
}

// The four-byte form index of a BMP character without a shorter code.
uint32_t FourByteIndex(const NLS_MultiByteTable& t, const NLS_MultiByteCache& c, uint32_t cp) {
  for (uint32_t i = 0; i < t.swapCount; ++i)
    if (t.swaps[i].fourByteChar == cp) cp = t.swaps[i].pairChar;
  const NLS_MultiByteRange* begin = c.ranges;
  const NLS_MultiByteRange* r =
      std::upper_bound(begin, begin + t.rangeCount, cp,
                       [](uint32_t v, const NLS_MultiByteRange& range) { return v < range.cp; });
  --r;  // ranges[0].cp is 0x80
  return r->index + (cp - r->cp);
}

inline void PutFourByte(unsigned char* out, uint32_t index) {
  out[3] = static_cast<unsigned char>(0x30 + index % 10);
  index /= 10;
  out[2] = static_cast<unsigned char>(0x81 + index % 126);
  index /= 126;
  out[1] = static_cast<unsigned char>(0x30 + index % 10);
  out[0] = static_cast<unsigned char>(0x81 + index / 10);
}

Decoded FourByte(const NLS_MultiByteTable& t, const unsigned char* s, size_t n) {
  // s[1] is a digit. An unfinished form is ill-formed in its first byte, as
  // is a pair with a bad trail: the digit and what follows are read again.
  if (n < 3) return nls::codec::Incomplete();
  if (static_cast<unsigned>(s[2] - 0x81) >= 126) return nls::codec::Invalid(1, true);
  if (n < 4) return nls::codec::Incomplete();
  if (static_cast<unsigned>(s[3] - 0x30) >= 10) return nls::codec::Invalid(1, true);
  const uint32_t index =
      ((static_cast<uint32_t>(s[0] - 0x81) * 10 + (s[1] - 0x30)) * 126 + (s[2] - 0x81)) * 10 +
      (s[3] - 0x30);
  if (index < kFourByteBmp) return nls::codec::Char(4, FromFourByteIndex(t, Ready(t), index));
  if (index >= kFourByteSupplementary && index - kFourByteSupplementary < 0x100000)
    return nls::codec::Char(4, 0x10000 + (index - kFourByteSupplementary));
  return nls::codec::Invalid(4);
}

// ---- Decoding -----------------------------------------------------------------

template <uint32_t form>
Decoded DecodeStep(const NLS_MultiByteTable& t, const unsigned char* s, size_t n) {
  const unsigned b = s[0];
  const uint16_t single = t.single[b];
  if (single != NLS_MB_NO_CHARACTER) return nls::codec::Char(1, single);
  const unsigned lead = t.lead[b];
  if (lead == 0) return nls::codec::Invalid(1);
  if (n < 2) return nls::codec::Incomplete();
  const unsigned trail = s[1];
  if (HasThreeByte(form) && lead == NLS_MB_PREFIX) {
    const unsigned k = trail - t.prefixFirst;
    if (!IsTrail(t, trail)) return nls::codec::Invalid(1, true);
    if (n < 3) return nls::codec::Incomplete();
    const unsigned third = s[2];
    if (!IsTrail(t, third)) return nls::codec::Invalid(1, true);
    const uint16_t v = k < t.prefixCount ? PairValue(t, t.prefixRow + k, third) : 0;
    if (v == 0) return nls::codec::Invalid(3);
    if (!HasExtras(form) || !IsExtra(v)) return nls::codec::Char(3, v);
    const NLS_MultiByteExtra& e = t.extras[v - 0xD800];
    return nls::codec::Char(3, e.first, e.second);
  }
  const uint16_t v = PairValue(t, lead - 1, trail);
  if (v != 0) {
    if (!HasExtras(form) || !IsExtra(v)) return nls::codec::Char(2, v);
    const NLS_MultiByteExtra& e = t.extras[v - 0xD800];
    return nls::codec::Char(2, e.first, e.second);
  }
  if (form == NLS_MB_GB18030 && trail - 0x30u < 10) return FourByte(t, s, n);
  // A trail byte that is ASCII is read again; an unassigned pair of two high
  // bytes goes as a whole.
  if (trail < 0x80 || !IsTrail(t, trail)) return nls::codec::Invalid(1, true);
  return nls::codec::Invalid(2);
}

// The common characters without the loop's bookkeeping, from src[*in] and
// dst[*out] on: ASCII, the other single bytes, assigned pairs of one BMP
// character. Stops at anything else, at the last input byte and when the
// output is full.
template <uint32_t form>
void DecodeRun(const NLS_MultiByteTable& t, const NLS_CodecCall* call, size_t* inOut,
               size_t* outOut) {
  const unsigned char* src = call->src;
  unsigned char* dst = call->dst;
  const size_t srcLen = call->srcLen, units = call->dstSize / 2;
  const uint16_t* single = t.single;
  const uint8_t* leads = t.lead;
  const NLS_MultiByteRow* rows = t.rows;
  const uint16_t* values = t.values;
  size_t in = *inOut, out = *outOut / 2;
  // Two input bytes and one output unit are always there inside the loop.
  // Bytes and pairs take the same way through it (no branch on the kind of
  // byte, which mixed text would mispredict).
  while (in + 1 < srcLen && out < units) {
    const unsigned b = src[in];
    const unsigned lead = leads[b] - 1u;  // a row, or from 254 on: none
    const bool pair = lead < NLS_MB_PREFIX - 1u;
    const NLS_MultiByteRow& r = rows[pair ? lead : 0];
    const unsigned k = src[in + 1] - r.first;
    const bool inRow = k < r.count;
    const uint16_t slot = values[r.offset + (inRow ? k : 0)];
    const uint16_t v = pair ? (inRow ? slot : 0) : single[b];
    // Not a character of its own: 0 (unassigned), NLS_MB_NO_CHARACTER, an
    // extra.
    const bool other = static_cast<uint16_t>(v + 1) <= 1;
    if (HasExtras(form) ? (other | (v - 0xD800u < 0x800u)) : other) break;
    StoreUnit16(dst + 2 * out, v);
    in += pair ? 2 : 1;
    ++out;
    // After an ASCII byte followed by another, a long run of them goes in
    // bulk.
    if (v < 0x80 && in + 16 < srcLen && src[in] < 0x80 &&
        ((LoadUnit64(src + in) | LoadUnit64(src + in + 8)) & 0x8080808080808080u) == 0) {
      const size_t room = units - out, left = srcLen - in;
      const size_t n = NLS_WidenAscii(dst + 2 * out, src + in, left < room ? left : room);
      in += n;
      out += n;
    }
  }
  *inOut = in;
  *outOut = 2 * out;
}

template <uint32_t form>
int Decode(const NLS_MultiByteTable& t, NLS_CodecState* state, NLS_CodecCall* call) {
  return nls::codec::RunsAndSteps(
      state, call,
      [&t](NLS_CodecState&, const NLS_CodecCall& c, size_t* in, size_t* out) {
        DecodeRun<form>(t, &c, in, out);
      },
      [&t, state](NLS_CodecCall* one) {
        return nls::codec::DecodeLoop<true>(
            state, one, [&t](const unsigned char* s, size_t n, NLS_CodecState&) {
              return DecodeStep<form>(t, s, n);
            });
      });
}

// ---- Encoding -------------------------------------------------------------------

// Writes a code of the direct array; returns its length.
inline unsigned PutCode(unsigned char* out, uint32_t code) {
  if (code < 0x100) {
    out[0] = static_cast<unsigned char>(code);
    return 1;
  }
  if (code < 0x8000) {
    out[0] = 0x8F;  // the EUC prefix (the only three-byte form)
    out[1] = static_cast<unsigned char>(code >> 8 | 0x80);
    out[2] = static_cast<unsigned char>(code | 0x80);
    return 3;
  }
  out[0] = static_cast<unsigned char>(code >> 8);
  out[1] = static_cast<unsigned char>(code);
  return 2;
}

// The code of a character, or 0.
inline uint32_t CodeOf(const NLS_MultiByteTable& t, const NLS_MultiByteCache& c, uint32_t cp) {
  if (cp < 0x10000) return cp < 0x80 ? cp : c.encode[cp];
  if (t.supplementCount == 0) return 0;
  const NLS_MultiByteSupplement* begin = c.supplements;
  const NLS_MultiByteSupplement* end = begin + t.supplementCount;
  const NLS_MultiByteSupplement* s = std::lower_bound(
      begin, end, cp, [](const NLS_MultiByteSupplement& e, uint32_t v) { return e.cp < v; });
  return s != end && s->cp == cp ? s->code : 0;
}

// The composition of two characters (second 0: any that starts with the
// first), or null.
const NLS_MultiByteComposition* CompositionOf(const NLS_MultiByteTable& t,
                                              const NLS_MultiByteCache& c, uint32_t first,
                                              uint32_t second) {
  for (uint32_t i = 0; i < t.compositionCount; ++i)
    if (c.compositions[i].first == first && (second == 0 || c.compositions[i].second == second))
      return &c.compositions[i];
  return nullptr;
}

// The common characters, from src[*in] and dst[*out] on: BMP characters
// with a one- or two-byte code. Stops at anything else, and near the end of
// the input or the room (the shared loop does the last characters).
template <bool threeBytes>
void EncodeRun(const uint16_t* map, const NLS_CodecCall* call, size_t* inOut, size_t* outOut) {
  const unsigned char* src = call->src;
  unsigned char* dst = call->dst;
  const size_t srcLen = call->srcLen & ~size_t{1}, dstSize = call->dstSize;
  size_t in = *inOut, out = *outOut;
  // ASCII and other characters take the same way through the loop (the
  // direct array holds ASCII too): a code below 0x100 is one byte, from
  // 0x8000 two.
  // Shifts rather than a test of the code's length, which text that mixes
  // one- and two-byte codes would mispredict: the second byte goes first,
  // so that a one-byte code overwrites it in the same place.
  auto put = [dst](size_t at, uint16_t v) -> size_t {
    const unsigned two = v >> 15;
    dst[at + two] = static_cast<unsigned char>(v >> (8 - 8 * two));
    dst[at] = static_cast<unsigned char>(v >> (8 * two));
    return 1 + two;
  };
  // Not a one- or two-byte code: 0 (none), or a three-byte form.
  auto other = [](uint16_t v) -> bool {
    return threeBytes ? static_cast<uint16_t>(v - 0x100) < 0x7F00 || v == 0 : v == 0;
  };
  // Eight characters at a time: CJK text is mostly pairs (written
  // directly), mixed text mostly not; either way the test is predictable.
  while (in + 16 <= srcLen && out + 16 <= dstSize) {
    uint16_t v[8];
    unsigned all = 0xFFFF, bad = 0;
    for (int k = 0; k < 8; ++k) {
      v[k] = map[LoadUnit16(src + in + 2 * k)];
      all &= v[k];
      bad |= other(v[k]);
    }
    if (bad) break;
    if (all >= 0x8000) {
      for (int k = 0; k < 8; ++k) {
        dst[out + 2 * k] = static_cast<unsigned char>(v[k] >> 8);
        dst[out + 2 * k + 1] = static_cast<unsigned char>(v[k]);
      }
      out += 16;
    } else {
      for (int k = 0; k < 8; ++k) out += put(out, v[k]);
    }
    in += 16;
    if ((v[7] | v[6]) < 0x80 && in + 32 <= srcLen &&
        ((LoadUnit64(src + in) | LoadUnit64(src + in + 8)) & 0xFF80FF80FF80FF80u) == 0) {
      const size_t left = (srcLen - in) / 2, room = dstSize - out;
      const size_t n = NLS_NarrowAscii(dst + out, src + in, left < room ? left : room);
      in += 2 * n;
      out += n;
    }
  }
  // Two characters at a time while both and their bytes fit.
  while (in + 4 <= srcLen && out + 4 <= dstSize) {
    const uint16_t v = map[LoadUnit16(src + in)];
    const uint16_t w = map[LoadUnit16(src + in + 2)];
    if (threeBytes ? other(v) || other(w) : v == 0 || w == 0) break;
    out += put(out, v);
    out += put(out, w);
    in += 4;
    // After two ASCII characters, a long run of them goes in bulk.
    if ((v | w) < 0x80 && in + 32 <= srcLen &&
        ((LoadUnit64(src + in) | LoadUnit64(src + in + 8)) & 0xFF80FF80FF80FF80u) == 0) {
      const size_t left = (srcLen - in) / 2, room = dstSize - out;
      const size_t n = NLS_NarrowAscii(dst + out, src + in, left < room ? left : room);
      in += 2 * n;
      out += n;
    }
  }
  if (in + 2 <= srcLen && out + 2 <= dstSize) {
    const uint16_t v = map[LoadUnit16(src + in)];
    if (!other(v)) {
      out += put(out, v);
      in += 2;
    }
  }
  *inOut = in;
  *outOut = out;
}

template <uint32_t form>
int Encode(const NLS_Codec* codec, const NLS_MultiByteTable& t, NLS_CodecState* state,
           NLS_CodecCall* call) {
  const NLS_MultiByteCache& c = Ready(t);
  auto step = [&t, &c](uint32_t cp, unsigned char* o, NLS_CodecState& st) -> Encoded {
    unsigned written = 0;
    if (HasExtras(form) && st.word[0] != 0) {
      const NLS_MultiByteComposition* k = CompositionOf(t, c, st.word[0], cp);
      if (k != nullptr) {
        st.word[0] = 0;
        return nls::codec::Wrote(PutCode(o, k->code));
      }
      written = PutCode(o, CompositionOf(t, c, st.word[0], 0)->alone);
      st.word[0] = 0;
    }
    const uint32_t code = CodeOf(t, c, cp);
    if (code != 0 || cp == 0) return nls::codec::Wrote(written + PutCode(o + written, code));
    if (HasExtras(form) && CompositionOf(t, c, cp, 0) != nullptr) {
      st.word[0] = cp;  // held until the next character or the end of the text
      return nls::codec::Wrote(written);
    }
    if (form == NLS_MB_GB18030) {
      const uint32_t index =
          cp < 0x10000 ? FourByteIndex(t, c, cp) : kFourByteSupplementary + (cp - 0x10000);
      PutFourByte(o, index);
      return nls::codec::Wrote(4);
    }
    return nls::codec::Unmappable(written);
  };
  auto flush = [&t, &c](unsigned char* o, NLS_CodecState& st) -> unsigned {
    if (!HasExtras(form) || st.word[0] == 0) return 0;
    return PutCode(o, CompositionOf(t, c, st.word[0], 0)->alone);
  };
  const bool one = (call->flags & (NLS_CODEC_ONE | NLS_CODEC_FLUSH)) != 0;
  size_t in = 0, out = 0;
  int result = NLS_CODEC_DONE;
  for (;;) {
    // Fast while nothing is held back.
    if (!one && (!HasExtras(form) || state->word[0] == 0))
      EncodeRun<HasThreeByte(form)>(c.encode, call, &in, &out);
    if (call->srcLen - in < 2 && (call->flags & NLS_CODEC_FLUSH) == 0) {
      if (in < call->srcLen) result = NLS_CODEC_INCOMPLETE;  // half a unit
      break;
    }
    // One character (or the end of the text) through the shared loop.
    NLS_CodecCall single = *call;
    single.src += in;
    single.srcLen -= in;
    single.dst += out;
    single.dstSize -= out;
    single.flags |= NLS_CODEC_ONE;
    result = nls::codec::EncodeLoop<false>(codec, state, &single, step, flush);
    in += single.srcUsed;
    out += single.dstLen;
    call->errorLength = single.errorLength;
    if (result != NLS_CODEC_DONE || one) break;
  }
  call->srcUsed = in;
  call->dstLen = out;
  return result;
}

}  // namespace

extern "C" {

int NLS_MultiByteDecode(const NLS_Codec* codec, NLS_CodecState* state, NLS_CodecCall* call) {
  const NLS_MultiByteTable& t = TableOf(codec);
  switch (t.form) {
    case NLS_MB_THREE_BYTE:
      return Decode<NLS_MB_THREE_BYTE>(t, state, call);
    case NLS_MB_GB18030:
      return Decode<NLS_MB_GB18030>(t, state, call);
    case NLS_MB_COMPOSING:
      return Decode<NLS_MB_COMPOSING>(t, state, call);
    case NLS_MB_THREE_BYTE_COMPOSING:
      return Decode<NLS_MB_THREE_BYTE_COMPOSING>(t, state, call);
    default:
      return Decode<NLS_MB_PLAIN>(t, state, call);
  }
}

int NLS_MultiByteEncode(const NLS_Codec* codec, NLS_CodecState* state, NLS_CodecCall* call) {
  const NLS_MultiByteTable& t = TableOf(codec);
  switch (t.form) {
    case NLS_MB_THREE_BYTE:
      return Encode<NLS_MB_THREE_BYTE>(codec, t, state, call);
    case NLS_MB_GB18030:
      return Encode<NLS_MB_GB18030>(codec, t, state, call);
    case NLS_MB_COMPOSING:
      return Encode<NLS_MB_COMPOSING>(codec, t, state, call);
    case NLS_MB_THREE_BYTE_COMPOSING:
      return Encode<NLS_MB_THREE_BYTE_COMPOSING>(codec, t, state, call);
    default:
      return Encode<NLS_MB_PLAIN>(codec, t, state, call);
  }
}

const uint16_t* NLS_MultiByteEncodeMap(const NLS_MultiByteTable* table) {
  return Ready(*table).encode;
}

}  // extern "C"

// The base64-run machinery shared by the UTF-7 and IMAP modified UTF-7
// converters. The two encodings differ in their alphabets, the byte that
// opens a run, the bytes that end one and are absorbed, and the encoder's
// rules; each supplies those as a traits class.
//
// Resumption: a call that stops because the output is full counts as
// consumed only input whose output it wrote completely, and leaves the open
// run (pending bits and flags) in the converter's state, so that the next
// call, offered the unconsumed input, continues the run exactly. A call that
// reaches the end of its input closes the run there.
#ifndef NLSCNV_CONVERTERS_BASE64_RUNS_H
#define NLSCNV_CONVERTERS_BASE64_RUNS_H

#include <cstdint>
#include <cstring>

#include "nlscnv/converter.h"
#include "nlscnv/support/simd.h"
#include "nlscnv/unaligned.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace nls {

namespace base64_detail {

// Widens bytes below 0x80 other than `shift` to units, 16 at a time, while
// at least 16 bytes and 32 bytes of room remain. Returns the bytes taken.
inline unsigned int WidenPlain(unsigned char* dst, unsigned int room, const unsigned char* src,
                               unsigned int length, unsigned char shift) {
  unsigned int n = 0;
#if defined(__SSE2__)
  const __m128i shiftByte = _mm_set1_epi8(static_cast<char>(shift));
  const __m128i zero = _mm_setzero_si128();
  while (length - n >= 16 && room - 2 * n >= 32) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + n));
    if (_mm_movemask_epi8(_mm_or_si128(v, _mm_cmpeq_epi8(v, shiftByte))) != 0) break;
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + 2 * n), _mm_unpacklo_epi8(v, zero));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + 2 * n + 16), _mm_unpackhi_epi8(v, zero));
    n += 16;
  }
#else
  (void)dst, (void)room, (void)src, (void)length, (void)shift;
#endif
  return n;
}

// Narrows units from 0x20 to 0x7E other than the three `excluded` ones, 8 at
// a time, while at least 8 units and 8 bytes of room remain. Returns the
// units taken.
inline unsigned int NarrowPlain(unsigned char* dst, unsigned int room, const unsigned char* src,
                                unsigned int units, const unsigned char (&excluded)[3]) {
  unsigned int n = 0;
#if defined(__SSE2__)
  const __m128i low = _mm_set1_epi16(0x20);
  const __m128i span = _mm_set1_epi16(0x7F - 0x20);
  const __m128i minusOne = _mm_set1_epi16(-1);
  const __m128i e0 = _mm_set1_epi16(excluded[0]);
  const __m128i e1 = _mm_set1_epi16(excluded[1]);
  const __m128i e2 = _mm_set1_epi16(excluded[2]);
  while (units - n >= 8 && room - n >= 8) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 2 * n));
    // v - 0x20 lies in [0, 0x5F) exactly for the printable units.
    const __m128i t = _mm_sub_epi16(v, low);
    __m128i bad = _mm_andnot_si128(_mm_cmpgt_epi16(t, minusOne), _mm_set1_epi16(-1));
    bad = _mm_or_si128(bad, _mm_cmpgt_epi16(t, _mm_sub_epi16(span, _mm_set1_epi16(1))));
    bad = _mm_or_si128(bad, _mm_cmpeq_epi16(v, e0));
    bad = _mm_or_si128(bad, _mm_cmpeq_epi16(v, e1));
    bad = _mm_or_si128(bad, _mm_cmpeq_epi16(v, e2));
    if (_mm_movemask_epi8(bad) != 0) break;
    _mm_storel_epi64(reinterpret_cast<__m128i*>(dst + n), _mm_packus_epi16(v, v));
    n += 8;
  }
#else
  (void)dst, (void)room, (void)src, (void)units, (void)excluded;
#endif
  return n;
}

// Encodes units that extend an open run three at a time: 48 bits are 8
// digits, with the same number of bits (count) left over. Stops before a unit
// that does not extend the run, with fewer than 3 of `units` left, or with
// fewer than 8 bytes of room. Returns the units taken; *bits is updated.
template <class Traits>
unsigned int EncodeBlocks(unsigned char* dst, unsigned int room, const unsigned char* src,
                          unsigned int units, unsigned int count, uint32_t* bits) {
  const char* const alphabet = Traits::Alphabet();
  const uint64_t mask = (uint64_t{1} << count) - 1;
  uint64_t pending = *bits;
  unsigned int n = 0;
  unsigned int out = 0;
  while (units - n >= 3 && room - out >= 8) {
    const uint64_t r0 = LoadUnit16(src + 2 * n);
    const uint64_t r1 = LoadUnit16(src + 2 * n + 2);
    const uint64_t r2 = LoadUnit16(src + 2 * n + 4);
    if (!Traits::ExtendsRun(static_cast<uint32_t>(r0)) ||
        !Traits::ExtendsRun(static_cast<uint32_t>(r1)) ||
        !Traits::ExtendsRun(static_cast<uint32_t>(r2)))
      break;
    // The pending bits and the three units, left-aligned in 64 bits.
    const uint64_t all = ((pending << 48) | (r0 << 32) | (r1 << 16) | r2) << (16 - count);
    unsigned char digits[8];
    for (unsigned int k = 0; k < 8; ++k)
      digits[k] = static_cast<unsigned char>(alphabet[(all >> (58 - 6 * k)) & 0x3F]);
    std::memcpy(dst + out, digits, 8);
    pending = r2 & mask;
    out += 8;
    n += 3;
  }
  *bits = static_cast<uint32_t>(pending);
  return n;
}

}  // namespace base64_detail

// Calls with less room than this many units or bytes beyond what they convert
// do not take the room-free loops for part of their input.
constexpr unsigned int kAmpleMinimum = 64;

struct Base64DecoderState;
struct Base64EncoderState;

#if defined(NLS_HAVE_AVX2)
// The room-free loops of base64_ample.h built for AVX2 (base64_runs_avx2.cpp).
namespace base64_avx2 {
void EncodeUtf7(Base64EncoderState& s, unsigned char* dst, unsigned int* out,
                const unsigned char* src, unsigned int* in, unsigned int stop, bool last);
void EncodeImap(Base64EncoderState& s, unsigned char* dst, unsigned int* out,
                const unsigned char* src, unsigned int* in, unsigned int stop, bool last);
void DecodeUtf7(Base64DecoderState& s, unsigned int* count, unsigned char* dst, unsigned int* out,
                const unsigned char* src, unsigned int* in, unsigned int stop);
void DecodeImap(Base64DecoderState& s, unsigned int* count, unsigned char* dst, unsigned int* out,
                const unsigned char* src, unsigned int* in, unsigned int stop);
}  // namespace base64_avx2
#endif

struct Base64DecoderState {
  uint32_t bits = 0;       // pending bits of the open run, right-aligned
  uint8_t count = 0;       // number of pending bits (below 16)
  bool shifted = false;    // a run is open
  bool fresh = false;      // the open run has had no digit yet
  bool produced = false;   // the open run has stored a unit
  bool malformed = false;  // a fault met since the input last ended
};

// Decodes into UCS-2. Traits provide:
//   kShift         the byte that opens a run;
//   Digit(c)       the value of digit c (c below 0x80), or -1;
//   Absorbed(c)    whether c, ending a run, is swallowed ("-", and "&" for
//                  modified UTF-7); the fresh run kShift "-" stands for
//                  kShift itself.
// Faults (a byte above 0x7F outside a run, a run that stores no unit,
// non-zero leftover bits) are converted all the same and answered with -1302
// by the call that reaches the end of the input. The result is 2 whenever
// fewer than 2 bytes remain for the terminator.
//
// With kRuns set, input whose output the room certainly holds goes through
// Traits::DecodeAmple (base64_ample.h); otherwise digits inside a run and
// characters outside one are taken in tight loops that stop wherever the step
// below could do anything else. The result is the same byte for byte.
template <class Traits, bool kRuns = true>
int DecodeBase64Runs(Base64DecoderState& state, unsigned char* dst, unsigned int* dstLen,
                     unsigned int dstSize, const unsigned char* src, unsigned int srcLen,
                     unsigned int* srcUsed) {
  Base64DecoderState s = state;
  unsigned int count = s.count;
  bool full = false;
  unsigned int in = 0;
  unsigned int out = 0;
  auto closeRun = [&](bool yieldedShift) {
    if (!s.produced && !yieldedShift) s.malformed = true;
    if ((s.bits & ((1u << count) - 1)) != 0) s.malformed = true;
    s.bits = 0;
    count = 0;
    s.shifted = false;
  };
  while (in < srcLen) {
    if (kRuns) {
      // Each byte yields at most one unit: with room for a unit per byte and
      // the terminator the call cannot stop early, and Traits::DecodeAmple
      // converts the rest (or, with less room, as much as the room covers).
      const unsigned int room = (dstSize - out) / 2;
      if (room > srcLen - in) {
        Traits::DecodeAmple(s, &count, dst, &out, src, &in, srcLen);
        break;
      }
      if (room > kAmpleMinimum) Traits::DecodeAmple(s, &count, dst, &out, src, &in, in + room - 1);
      if (s.shifted) {
        // Digits: whole units go out while the output has room for them.
        uint32_t bits = s.bits;
        unsigned int n = count;
        const unsigned int start = in;
        while (in < srcLen) {
          const unsigned char d = src[in];
          const int digit = d < 0x80 ? Traits::Digit(d) : -1;
          if (digit < 0) break;
          bits = (bits << 6) | static_cast<uint32_t>(digit);
          n += 6;
          if (n >= 16) {
            if (dstSize - out < 2) {
              bits >>= 6;
              n -= 6;
              break;
            }
            n -= 16;
            StoreUnit16(dst + out, static_cast<uint16_t>(bits >> n));
            out += 2;
            bits &= (1u << n) - 1;
            s.produced = true;
          }
          ++in;
        }
        if (in != start) s.fresh = false;
        s.bits = bits;
        count = n;
        if (in == srcLen) break;
      } else {
        // Characters that stand for themselves.
        const unsigned int wide = base64_detail::WidenPlain(dst + out, dstSize - out, src + in,
                                                            srcLen - in, Traits::kShift);
        in += wide;
        out += 2 * wide;
        while (in < srcLen && dstSize - out >= 2) {
          const unsigned char d = src[in];
          if (d == Traits::kShift || d > 0x7F) break;
          StoreUnit16(dst + out, d);
          out += 2;
          ++in;
        }
        if (in == srcLen) break;
      }
    }
    const unsigned char c = src[in];
    if (s.shifted) {
      const int digit = c < 0x80 ? Traits::Digit(c) : -1;
      if (digit >= 0) {
        const uint32_t grown = (s.bits << 6) | static_cast<uint32_t>(digit);
        if (count + 6 >= 16) {
          if (dstSize - out < 2) {
            full = true;
            break;
          }
          count = count + 6 - 16;
          StoreUnit16(dst + out, static_cast<uint16_t>(grown >> count));
          out += 2;
          s.bits = grown & ((1u << count) - 1);
          s.produced = true;
        } else {
          s.bits = grown;
          count += 6;
        }
        s.fresh = false;
        ++in;
        continue;
      }
      if (Traits::Absorbed(c)) {
        const bool yieldsShift = s.fresh && c == '-';
        if (yieldsShift) {
          if (dstSize - out < 2) {
            full = true;
            break;
          }
          StoreUnit16(dst + out, Traits::kShift);
          out += 2;
        }
        closeRun(yieldsShift);
        ++in;
        continue;
      }
      closeRun(false);  // c is read again, as a character
      continue;
    }
    if (c == Traits::kShift) {
      s.shifted = true;
      s.fresh = true;
      s.produced = false;
      s.bits = 0;
      count = 0;
      ++in;
      continue;
    }
    if (dstSize - out < 2) {
      full = true;
      break;
    }
    StoreUnit16(dst + out, c);
    out += 2;
    if (c > 0x7F) s.malformed = true;
    ++in;
  }
  int status = 1;
  if (!full) {  // the end of the input ends the run and the conversion
    if (s.shifted) closeRun(false);
    if (s.malformed) status = NLS_E_MALFORMED;
    s.malformed = false;
  }
  s.count = static_cast<uint8_t>(count);
  state = s;
  return nls::FinishConvertWithStatus(dst, dstSize, out, dstLen, in, srcUsed, 2, status);
}

struct Base64EncoderState {
  uint32_t bits = 0;     // bits of the open run not yet written, right-aligned
  uint8_t count = 0;     // number of those bits (below 6)
  bool shifted = false;  // a run is open
};

// The bytes of one encoder step, written only if all of them fit. A write may
// ask for room beyond its own bytes (to keep a byte for the terminator); need
// is the room the whole piece asks for.
struct Base64Piece {
  unsigned char bytes[8];
  unsigned int length = 0;
  unsigned int need = 0;
  void Put(unsigned char b, unsigned int room = 1) {
    if (length + room > need) need = length + room;
    bytes[length++] = b;
  }
};

// Adds unit r to the pending bits of the open run.
inline void AppendUnit(Base64EncoderState& s, uint32_t r) {
  s.bits = (s.bits << 16) | r;
  s.count = static_cast<uint8_t>(s.count + 16);
}

// Appends a digit for every whole sextet of pending bits; with pad set, also
// for the last partial sextet, filled up with zero bits.
inline void PutDigits(Base64EncoderState& s, bool pad, const char* alphabet, Base64Piece& piece) {
  unsigned int count = s.count;
  uint32_t bits = s.bits;
  if (pad && count % 6 != 0) {
    const unsigned int fill = 6 - count % 6;
    bits <<= fill;
    count += fill;
  }
  while (count >= 6) {
    count -= 6;
    piece.Put(static_cast<unsigned char>(alphabet[(bits >> count) & 0x3F]));
  }
  s.bits = bits & ((1u << count) - 1);
  s.count = static_cast<uint8_t>(count);
}

// Encodes UCS-2. Traits provide:
//   StandsForItself(r)        r (below 0x80) is one byte of its own outside
//                             a run;
//   Step(s, r, ended, piece)  appends what unit r produces, or with ended
//                             set what the end of the input produces, and
//                             updates s.
// A unit counts as consumed only with its whole piece written; the last
// unit's piece also carries the end of the input. An odd last byte is never
// read. fullStatus is the result when the output stops the call with a byte
// left for the terminator; without that byte the result is 2.
//
// With kRuns set, units whose output the room certainly holds go through
// Traits::EncodeAmple (base64_ample.h); otherwise units that extend an open
// run (Traits::ExtendsRun, never the last unit) and characters that stand for
// themselves outside a run are taken in tight loops that stop wherever Step
// could do anything else. The result is the same byte for byte.
// Traits::Alphabet() gives the digits.
template <class Traits, bool kRuns = true>
int EncodeBase64Runs(Base64EncoderState& state, int fullStatus, unsigned char* dst,
                     unsigned int* dstLen, unsigned int dstSize, const unsigned char* src,
                     unsigned int srcLen, unsigned int* srcUsed) {
  Base64EncoderState s = state;
  const unsigned int end = srcLen & ~1u;
  bool full = false;
  unsigned int in = 0;
  unsigned int out = 0;
  if (end == 0) {
    // No unit: only a run kept from a stopped call may need closing.
    Base64EncoderState next = s;
    Base64Piece piece;
    Traits::Step(next, 0, true, piece);
    if (piece.need <= dstSize) {
      if (piece.length != 0) std::memcpy(dst, piece.bytes, piece.length);
      out = piece.length;
      s = next;
    } else {
      full = true;
    }
  }
  while (in < end) {
    if (kRuns) {
      // No unit writes more than 8 bytes, nor the end of the input more than
      // 16: with that much room the call cannot stop early, and
      // Traits::EncodeAmple converts the rest (or, with less room, as many
      // units as the room covers, the last unit excepted).
      const unsigned int room = (dstSize - out) / 8;
      if (room > (end - in) / 2 + 1) {
        Traits::EncodeAmple(s, dst, &out, src, &in, end, true);
        break;
      }
      if (room > kAmpleMinimum + 1)
        Traits::EncodeAmple(s, dst, &out, src, &in, in + 2 * (room - 2), false);
      if (s.shifted) {
        const char* const alphabet = Traits::Alphabet();
        uint32_t bits = s.bits;
        unsigned int count = s.count;
        if (end - in > 6) {
          const unsigned int units = base64_detail::EncodeBlocks<Traits>(
              dst + out, dstSize - out, src + in, (end - in - 2) / 2, count, &bits);
          in += 2 * units;
          out += units / 3 * 8;
        }
        while (in + 2 < end) {
          const uint32_t r = LoadUnit16(src + in);
          if (!Traits::ExtendsRun(r)) break;
          // 2 or 3 digits, each written only with all of them fitting.
          if (dstSize - out < (count + 16) / 6) break;
          bits = (bits << 16) | r;
          count += 16;
          while (count >= 6) {
            count -= 6;
            dst[out++] = static_cast<unsigned char>(alphabet[(bits >> count) & 0x3F]);
          }
          bits &= (1u << count) - 1;
          in += 2;
        }
        s.bits = bits;
        s.count = static_cast<uint8_t>(count);
      } else {
        const unsigned int narrow = base64_detail::NarrowPlain(
            dst + out, dstSize - out, src + in, (end - in) / 2, Traits::kPlainExceptions);
        in += 2 * narrow;
        out += narrow;
        while (in < end && out != dstSize) {
          const uint32_t r = LoadUnit16(src + in);
          if (r >= 0x80 || !Traits::StandsForItself(r)) break;
          dst[out++] = static_cast<unsigned char>(r);
          in += 2;
        }
        if (in == end) break;
      }
    }
    const uint32_t r = LoadUnit16(src + in);
    if (!s.shifted && r < 0x80 && Traits::StandsForItself(r)) {
      if (out == dstSize) {
        full = true;
        break;
      }
      dst[out++] = static_cast<unsigned char>(r);
      in += 2;
      continue;
    }
    Base64EncoderState next = s;
    Base64Piece piece;
    Traits::Step(next, r, false, piece);
    if (in + 2 == end) Traits::Step(next, 0, true, piece);
    if (piece.need > dstSize - out) {
      full = true;
      break;
    }
    std::memcpy(dst + out, piece.bytes, piece.length);
    out += piece.length;
    s = next;
    in += 2;
  }
  state = s;
  return nls::FinishConvertWithStatus(dst, dstSize, out, dstLen, in, srcUsed, 1,
                                      full ? fullStatus : 1);
}

}  // namespace nls

#endif  // NLSCNV_CONVERTERS_BASE64_RUNS_H

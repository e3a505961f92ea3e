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

#include "nlscnv/support/unaligned.h"

namespace nls {

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
template <class Traits>
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
    if (s.malformed) status = -1302;
    s.malformed = false;
  }
  s.count = static_cast<uint8_t>(count);
  state = s;
  *dstLen = out;
  *srcUsed = in;
  if (dstSize - out < 2) return 2;
  StoreUnit16(dst + out, 0);
  return status;
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
template <class Traits>
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
  *dstLen = out;
  *srcUsed = in;
  if (out == dstSize) return 2;
  dst[out] = 0;
  return full ? fullStatus : 1;
}

}  // namespace nls

#endif  // NLSCNV_CONVERTERS_BASE64_RUNS_H

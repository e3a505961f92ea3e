// Strict codecs of UTF-7 (RFC 2152) and IMAP modified UTF-7 (RFC 3501).
// They keep a base64 run open across calls, so any cut of the text gives
// the same result.
//
// Decoding:
// - Outside a run, the characters that the form writes as themselves are
//   text (UTF-7: the sets D and O of RFC 2152 and space, tab, CR, LF; IMAP:
//   printable ASCII except "&"); every other byte is invalid.
// - The shift character ("+", "&") opens a run; followed at once by "-" it
//   stands for itself. A run's digits are collected in the state; every 16
//   bits are one UTF-16 unit, and a surrogate pair must be whole inside the
//   run.
// - A run ends at a byte that is not a digit; "-" there is absorbed. The bits
//   left over must be fewer than six and zero, a shift character must be
//   followed by a digit or "-" at once, and an IMAP run must end with "-".
//   A violation is reported at the byte that ended the run, with length 0:
//   the run's bits are dropped and that byte is read again as text. An IMAP
//   run may not spell a printable ASCII character (RFC 3501).
// - At the end of the text (flush), an unfinished run is checked the same
//   way (a UTF-7 run may end there; an IMAP run may not).
// Encoding, as glibc does it: UTF-7 writes set D and space, tab, CR, LF as
// themselves, "+" as "+-" outside a run, and everything else in runs; a run
// is closed with "-" before a digit or "-" and at the end of the text.
// IMAP writes printable ASCII as itself, "&" as "&-", and closes every run
// with "-".
#include "nlscnv/codecs/codecs.h"

namespace nls::codecs {
namespace {

using codec::Decoded;
using codec::Encoded;

// The state words.
enum : unsigned { kFlags, kBits, kCount, kHigh };
enum : uint32_t { kInRun = 1, kFresh = 2, kHasHigh = 4 };

struct Form {
  unsigned char shift;
  bool imap;
  signed char digitValue[128];
  char digits[64];
  bool decodeDirect[128];
  bool encodeDirect[128];
};

constexpr char kBase64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";

Form MakeForm(bool imap) {
  Form f{};
  f.shift = imap ? '&' : '+';
  f.imap = imap;
  for (int c = 0; c < 128; ++c) f.digitValue[c] = -1;
  for (int i = 0; i < 62; ++i) {
    f.digits[i] = kBase64[i];
    f.digitValue[static_cast<unsigned char>(kBase64[i])] = static_cast<signed char>(i);
  }
  f.digits[62] = '+';
  f.digits[63] = imap ? ',' : '/';
  f.digitValue[static_cast<unsigned char>('+')] = 62;
  f.digitValue[static_cast<unsigned char>(f.digits[63])] = 63;
  if (imap) {
    for (int c = 0x20; c < 0x7F; ++c) f.decodeDirect[c] = f.encodeDirect[c] = c != '&';
  } else {
    const char* setD = "'(),-./:?";
    for (int c = 0; c < 128; ++c) {
      const bool alnum = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
      bool d = alnum || c == ' ' || c == '\t' || c == '\r' || c == '\n';
      for (const char* p = setD; *p != '\0'; ++p) d = d || c == *p;
      f.encodeDirect[c] = d;
      f.decodeDirect[c] = d;
    }
    for (const char* p = "!\"#$%&*;<=>@[]^_`{|}"; *p != '\0'; ++p)
      f.decodeDirect[static_cast<unsigned char>(*p)] = true;
  }
  return f;
}

const Form kUtf7 = MakeForm(false);
const Form kImap = MakeForm(true);

int Digit(const Form& f, unsigned char c) { return c < 128 ? f.digitValue[c] : -1; }

// Ends a run at byte c (not a digit): the verdict on the run, with the state
// back outside it.
Decoded EndRun(const Form& f, unsigned char c, NLS_CodecState& st) {
  uint32_t* w = st.word;
  const bool fresh = (w[kFlags] & kFresh) != 0;
  const bool bad = (fresh && c != '-') || w[kCount] >= 6 || w[kBits] != 0 ||
                   (w[kFlags] & kHasHigh) != 0 || (f.imap && c != '-');
  st = NLS_CodecState{};
  if (bad) return codec::Invalid(0, true);
  if (c != '-') return c < 128 && f.decodeDirect[c] ? codec::Char(1, c) : codec::Invalid(1);
  return fresh ? codec::Char(1, f.shift) : codec::Nothing(1);
}

// The common text without the loop's bookkeeping: direct characters, runs
// that open with the shift character and a digit, digits whose units are
// neither surrogates nor, for IMAP, printable ASCII, and run ends whose
// leftover bits are zero (with "-", or for UTF-7 before a direct
// character). Stops at anything else (a run that has just opened or holds
// a high surrogate, too) and where the output may be full; keeps the state.
template <const Form& f>
void DecodeRun(NLS_CodecState& state, const NLS_CodecCall& call, size_t* inOut, size_t* outOut) {
  uint32_t* w = state.word;
  if ((w[kFlags] & (kFresh | kHasHigh)) != 0) return;
  const unsigned char* src = call.src;
  unsigned char* dst = call.dst;
  size_t in = *inOut, out = *outOut;
  bool inRun = (w[kFlags] & kInRun) != 0;
  uint32_t bits = w[kBits], count = w[kCount];
  while (in < call.srcLen && call.dstSize - out >= 2) {
    const unsigned char c = src[in];
    if (!inRun) {
      if (c < 128 && f.decodeDirect[c]) {
        StoreUnit16(dst + out, c);
        ++in;
        out += 2;
        continue;
      }
      if (c != f.shift || call.srcLen - in < 2 || Digit(f, src[in + 1]) < 0) break;
      inRun = true;
      bits = count = 0;
      ++in;
      continue;
    }
    const int v = Digit(f, c);
    if (v < 0) {
      if (count >= 6 || bits != 0) break;
      if (c == '-') {
        ++in;  // absorbed
      } else if (f.imap || c >= 128 || !f.decodeDirect[c]) {
        break;
      }
      inRun = false;
      continue;
    }
    const uint32_t more = bits << 6 | static_cast<uint32_t>(v);
    ++in;
    if (count + 6 < 16) {
      bits = more;
      count += 6;
      continue;
    }
    const uint32_t left = count + 6 - 16, unit = more >> left;
    if ((unit & 0xF800) == 0xD800 || (f.imap && unit >= 0x20 && unit <= 0x7E)) {
      --in;  // the step decides
      break;
    }
    StoreUnit16(dst + out, static_cast<uint16_t>(unit));
    out += 2;
    bits = more & ((1u << left) - 1);
    count = left;
  }
  w[kFlags] = inRun ? uint32_t{kInRun} : 0u;
  w[kBits] = inRun ? bits : 0;
  w[kCount] = inRun ? count : 0;
  *inOut = in;
  *outOut = out;
}

template <const Form& f>
int DecodeSteps(NLS_CodecState* state, NLS_CodecCall* call) {
  if (call->flags & NLS_CODEC_FLUSH) {
    const uint32_t* w = state->word;
    const bool bad =
        (w[kFlags] & kInRun) != 0 &&
        (f.imap || (w[kFlags] & (kFresh | kHasHigh)) != 0 || w[kCount] >= 6 || w[kBits] != 0);
    *state = NLS_CodecState{};
    call->srcUsed = call->dstLen = 0;
    call->errorLength = 0;
    return bad ? NLS_CODEC_INVALID : NLS_CODEC_DONE;
  }
  return codec::DecodeLoop<false>(
      state, call, [](const unsigned char* s, size_t, NLS_CodecState& st) -> Decoded {
        uint32_t* w = st.word;
        const unsigned char c = s[0];
        if ((w[kFlags] & kInRun) == 0) {
          if (c == f.shift) {
            w[kFlags] = kInRun | kFresh;
            w[kBits] = w[kCount] = 0;
            return codec::Nothing(1);
          }
          return c < 128 && f.decodeDirect[c] ? codec::Char(1, c) : codec::Invalid(1);
        }
        const int v = Digit(f, c);
        if (v < 0) return EndRun(f, c, st);
        w[kFlags] &= ~kFresh;
        w[kBits] = (w[kBits] << 6) | static_cast<uint32_t>(v);
        w[kCount] += 6;
        if (w[kCount] < 16) return codec::Nothing(1);
        w[kCount] -= 16;
        const uint32_t unit = w[kBits] >> w[kCount];
        w[kBits] &= (1u << w[kCount]) - 1;
        if (unit >= 0xD800 && unit <= 0xDBFF) {
          if (w[kFlags] & kHasHigh) return codec::Invalid(1);
          w[kFlags] |= kHasHigh;
          w[kHigh] = unit;
          return codec::Nothing(1);
        }
        if (unit >= 0xDC00 && unit <= 0xDFFF) {
          if ((w[kFlags] & kHasHigh) == 0) return codec::Invalid(1);
          w[kFlags] &= ~kHasHigh;
          return codec::Char(1, 0x10000 + ((w[kHigh] - 0xD800) << 10) + (unit - 0xDC00));
        }
        if (w[kFlags] & kHasHigh) return codec::Invalid(1);
        // RFC 3501: a printable ASCII character is never written in base64.
        if (f.imap && unit >= 0x20 && unit <= 0x7E) return codec::Invalid(1);
        return codec::Char(1, unit);
      });
}

template <const Form& f>
int Decode(const NLS_Codec*, NLS_CodecState* state, NLS_CodecCall* call) {
  return codec::RunsAndSteps(state, call, DecodeRun<f>,
                             [state](NLS_CodecCall* one) { return DecodeSteps<f>(state, one); });
}

// Writes the run's remaining bits as a last digit (zero padded); returns
// the bytes written.
unsigned CloseBits(const Form& f, uint32_t* w, unsigned char* out) {
  unsigned n = 0;
  if (w[kCount] > 0)
    out[n++] = static_cast<unsigned char>(f.digits[(w[kBits] << (6 - w[kCount])) & 0x3F]);
  w[kBits] = w[kCount] = 0;
  return n;
}

template <const Form& f>
int Encode(const NLS_Codec* codec, NLS_CodecState* state, NLS_CodecCall* call) {
  return codec::EncodeLoop<false>(
      codec, state, call,
      [](uint32_t cp, unsigned char* out, NLS_CodecState& st) -> Encoded {
        uint32_t* w = st.word;
        unsigned n = 0;
        const bool inRun = (w[kFlags] & kInRun) != 0;
        if (cp < 128 && f.encodeDirect[cp]) {
          if (inRun) {
            n += CloseBits(f, w, out);
            if (f.imap || Digit(f, static_cast<unsigned char>(cp)) >= 0 || cp == '-')
              out[n++] = '-';
            w[kFlags] = 0;
          }
          out[n++] = static_cast<unsigned char>(cp);
          return codec::Wrote(n);
        }
        if (cp == f.shift && (f.imap || !inRun)) {
          if (inRun) {
            n += CloseBits(f, w, out);
            out[n++] = '-';
            w[kFlags] = 0;
          }
          out[n++] = f.shift;
          out[n++] = '-';
          return codec::Wrote(n);
        }
        if (!inRun) {
          out[n++] = f.shift;
          w[kFlags] = kInRun;
          w[kBits] = w[kCount] = 0;
        }
        uint32_t units[2] = {cp, 0};
        unsigned count = 1;
        if (cp >= 0x10000) {
          units[0] = 0xD800 + ((cp - 0x10000) >> 10);
          units[1] = 0xDC00 + ((cp - 0x10000) & 0x3FF);
          count = 2;
        }
        for (unsigned i = 0; i < count; ++i) {
          w[kBits] = (w[kBits] << 16) | units[i];
          w[kCount] += 16;
          while (w[kCount] >= 6) {
            w[kCount] -= 6;
            out[n++] = static_cast<unsigned char>(f.digits[(w[kBits] >> w[kCount]) & 0x3F]);
          }
          w[kBits] &= (1u << w[kCount]) - 1;
        }
        return codec::Wrote(n);
      },
      [](unsigned char* out, NLS_CodecState& st) -> unsigned {
        uint32_t* w = st.word;
        if ((w[kFlags] & kInRun) == 0) return 0;
        unsigned n = CloseBits(f, w, out);
        out[n++] = '-';
        return n;
      });
}

}  // namespace

const NLS_Codec kUtf7Codec = {
    names::kUtf7, Decode<kUtf7>, Encode<kUtf7>, nullptr, 10, NLS_CODEC_STATEFUL_ENCODER};
const NLS_Codec kImapUtf7Codec = {
    names::kImapUtf7, Decode<kImap>, Encode<kImap>, nullptr, 10, NLS_CODEC_STATEFUL_ENCODER};

}  // namespace nls::codecs

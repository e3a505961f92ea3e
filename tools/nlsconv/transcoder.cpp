#include "transcoder.h"

#include <errno.h>

#include <algorithm>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace nlsconv {

const char kPivot[] = "ISO-10646-UCS-2";

namespace {

constexpr size_t kIconvError = static_cast<size_t>(-1);
constexpr size_t kPivotSize = 128 * 1024;  // bytes of UTF-16 between the two halves
constexpr size_t kLeast = 4096;            // output room asked for a conversion call
constexpr size_t kEnding = 64;             // room for an encoder's closing bytes
const NLS_Iconv_t kNoDescriptor = reinterpret_cast<NLS_Iconv_t>(-1);

uint16_t UnitAt(const unsigned char* p) {
  uint16_t u;
  std::memcpy(&u, p, 2);
  return u;
}

// Pivot units u among n with (u & mask) == value: eight 16-bit lanes per
// SSE2 vector, or four per 64-bit word (a lane's top bit set exactly when
// the lane is zero).
size_t CountUnits(const unsigned char* p, size_t n, uint16_t mask, uint16_t value) {
  size_t count = 0, i = 0;
#if defined(__SSE2__)
  const __m128i m = _mm_set1_epi16(static_cast<short>(mask));
  const __m128i v = _mm_set1_epi16(static_cast<short>(value));
  while (i + 8 <= n) {
    // Lane counters count down by one per match; 16 bits hold 32767 steps.
    __m128i counts = _mm_setzero_si128();
    const size_t stop = i + 8 * std::min<size_t>((n - i) / 8, 32767);
    for (; i < stop; i += 8) {
      const __m128i w = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 2 * i));
      counts = _mm_add_epi16(counts, _mm_cmpeq_epi16(_mm_and_si128(w, m), v));
    }
    alignas(16) int16_t lanes[8];
    _mm_store_si128(reinterpret_cast<__m128i*>(lanes), counts);
    for (int16_t lane : lanes) count += static_cast<size_t>(-lane);
  }
#else
  const uint64_t lanes = 0x0001000100010001ull, low = 0x7FFF7FFF7FFF7FFFull;
  const uint64_t m = mask * lanes, v = value * lanes;
  for (; i + 4 <= n; i += 4) {
    uint64_t w;
    std::memcpy(&w, p + 2 * i, 8);
    const uint64_t x = (w & m) ^ v;
    const uint64_t zero = ~(((x & low) + low) | x | low);
    count += static_cast<size_t>((((zero >> 15) & lanes) * lanes) >> 48);
  }
#endif
  for (; i < n; ++i) count += (UnitAt(p + 2 * i) & mask) == value;
  return count;
}

// Characters among n pivot units: a surrogate pair is one.
size_t Characters(const unsigned char* p, size_t n) { return n - CountUnits(p, n, 0xFC00, 0xDC00); }

// Calls NLS_Iconv with byte pointers.
size_t Iconv(NLS_Iconv_t cd, const unsigned char** in, size_t* inLeft, unsigned char** out,
             size_t* outLeft) {
  return NLS_Iconv(cd, reinterpret_cast<char**>(const_cast<unsigned char**>(in)), inLeft,
                   reinterpret_cast<char**>(out), outLeft);
}

void Close(NLS_Iconv_t* cd) {
  if (*cd != nullptr) NLS_IconvClose(*cd);
  *cd = nullptr;
}

void Reset(NLS_Iconv_t cd) {
  if (cd != nullptr) NLS_Iconv(cd, nullptr, nullptr, nullptr, nullptr);
}

bool IsPivot(const char* canonical) { return std::strcmp(canonical, kPivot) == 0; }

}  // namespace

Transcoder::~Transcoder() {
  Close(&decoder_);
  Close(&encoder_);
  Close(&locator_);
  Close(&plain_);
}

bool Transcoder::Open(const std::string& from, const std::string& to, bool translit,
                      Policy policy) {
  Close(&decoder_);
  Close(&encoder_);
  Close(&locator_);
  Close(&plain_);
  from_ = from;
  to_ = to;
  policy_ = policy;
  follow_ = false;
  NLS_Iconv_t pair = NLS_IconvOpen((to + (translit ? "//TRANSLIT" : "")).c_str(), from.c_str());
  if (pair == kNoDescriptor) return false;
  NLS_IconvFailure names;
  NLS_IconvGetFailure(pair, &names);
  NLS_IconvGetProperties(pair, &properties_);
  targetCanonical_ = names.toName;  // constant of the library
  const bool fromPivot = IsPivot(names.fromName), toPivot = IsPivot(names.toName);
  if (fromPivot || toPivot) {
    // One descriptor does it; a pivot-to-pivot one validates surrogates.
    (fromPivot ? encoder_ : decoder_) = pair;
  } else {
    NLS_IconvClose(pair);
    decoder_ = NLS_IconvOpen(kPivot, from.c_str());
    encoder_ = NLS_IconvOpen((to + (translit ? "//TRANSLIT" : "")).c_str(), kPivot);
    if (decoder_ == kNoDescriptor || encoder_ == kNoDescriptor) {
      decoder_ = decoder_ == kNoDescriptor ? nullptr : decoder_;
      encoder_ = encoder_ == kNoDescriptor ? nullptr : encoder_;
      return false;
    }
  }
  if (decoder_ != nullptr && policy == Policy::kStop) {
    locator_ = NLS_IconvOpen(kPivot, from.c_str());
    if (locator_ == kNoDescriptor) locator_ = nullptr;
    follow_ = (properties_ & NLS_ICONV_SOURCE_STATELESS) == 0;
  }
  if (encoder_ != nullptr && translit) {
    plain_ = NLS_IconvOpen(to.c_str(), kPivot);
    if (plain_ == kNoDescriptor) plain_ = nullptr;
  }
  // U+FFFD where the target has it, else '?'; for an encoder without
  // state, their bytes are written directly.
  invalidReplacement_ = 0xFFFD;
  for (Replacement& r : replacements_) r.length = 0;
  if (encoder_ != nullptr && policy == Policy::kReplace) {
    NLS_Iconv_t probe = NLS_IconvOpen(to.c_str(), kPivot);
    if (probe == kNoDescriptor) return false;
    const uint16_t units[2] = {0xFFFD, '?'};
    for (int i = 0; i < 2; ++i) {
      Replacement& r = replacements_[i];
      r.unit = units[i];
      const unsigned char* in = reinterpret_cast<const unsigned char*>(&units[i]);
      unsigned char* out = r.bytes;
      size_t inLeft = 2, outLeft = sizeof r.bytes;
      Reset(probe);
      if (Iconv(probe, &in, &inLeft, &out, &outLeft) == kIconvError) {
        if (i == 0) invalidReplacement_ = '?';
      } else if ((properties_ & NLS_ICONV_TARGET_STATEFUL) == 0) {
        r.length = static_cast<size_t>(out - r.bytes);
      }
    }
    NLS_IconvClose(probe);
  }
  if (!pivot_.Reserve(kPivotSize) || !scratch_.Reserve(kPivotSize)) return false;
  return true;
}

bool Transcoder::Begin(Sink* sink, uint64_t offset, bool addSignature, bool removeSignature) {
  Reset(decoder_);
  Reset(encoder_);
  Reset(locator_);
  sink_ = sink;
  offset_ = offset;
  base_ = bufferEnd_ = nullptr;
  atStart_ = true;
  removeSignature_ = removeSignature;
  lines_ = column_ = 0;
  tally_ = Tally();
  failure_ = Failure();
  return !addSignature || Emit(0xFEFF);
}

bool Transcoder::Convert(const unsigned char* data, size_t len, bool end, size_t* used) {
  base_ = data;
  bufferEnd_ = data + len;
  const unsigned char* in = data;
  size_t left = len;
  Outcome outcome;
  if (decoder_ != nullptr) {
    outcome = Decode(&in, &left, end);
  } else {
    // The input is pivot text: the encoder reads it.
    if (atStart_ && removeSignature_ && left >= 2 && UnitAt(in) == 0xFEFF) {
      in += 2;
      left -= 2;
    }
    atStart_ = atStart_ && left < 2;
    size_t taken = 0;
    outcome = Encode(in, left, nullptr, 0, &taken);
    in += taken;
    if (outcome == kCut && end) outcome = Stop(Failure::kIncomplete, in);
  }
  *used = static_cast<size_t>(in - data);
  offset_ += *used;
  base_ = nullptr;
  return outcome != kFailed;
}

Transcoder::Outcome Transcoder::Decode(const unsigned char** in, size_t* left, bool end) {
  while (*left > 0) {
    unsigned char* start;
    size_t room;
    if (encoder_ != nullptr) {
      start = pivot_.data();
      room = pivot_.capacity();
    } else if ((start = sink_->Room(kLeast, &room)) == nullptr) {
      return Stop(Failure::kWrite, nullptr);
    }
    unsigned char* out = start;
    const unsigned char* from = *in;
    const size_t result = Iconv(decoder_, in, left, &out, &room);
    const int error = result == kIconvError ? errno : 0;
    size_t length = static_cast<size_t>(out - start), skipped = 0;
    if (atStart_ && length != 0) {
      atStart_ = false;
      if (removeSignature_ && UnitAt(start) == 0xFEFF) skipped = 2;
    }
    if (encoder_ != nullptr) {
      size_t taken = 0;
      if (Encode(start + skipped, length - skipped, from, skipped, &taken) == kFailed)
        return kFailed;
    } else {
      if (skipped != 0) std::memmove(start, start + skipped, length - skipped);
      length -= skipped;
      Count(start, length, &lines_, &column_);
      if (!sink_->Commit(length)) return Stop(Failure::kWrite, nullptr);
    }
    if (follow_) FollowDecoder(from, *in);
    if (error == 0 || error == E2BIG) continue;
    if (error == EINVAL) {
      if (!end) return kCut;
      return Stop(Failure::kIncomplete, *in);
    }
    NLS_IconvFailure what;
    NLS_IconvGetFailure(decoder_, &what);
    if (policy_ == Policy::kStop) {
      failure_.byteCount = static_cast<unsigned>(std::min<size_t>(
          {what.length + what.context, sizeof failure_.bytes, static_cast<size_t>(*left)}));
      std::memcpy(failure_.bytes, *in, failure_.byteCount);
      return Stop(Failure::kInvalid, *in);
    }
    const size_t skip = std::min<size_t>(std::max<size_t>(what.length, 1), *left);
    *in += skip;
    *left -= skip;
    atStart_ = false;
    ++tally_.invalid;
    if (policy_ == Policy::kReplace && !Emit(invalidReplacement_)) return kFailed;
  }
  return kDone;
}

Transcoder::Outcome Transcoder::Encode(const unsigned char* units, size_t length,
                                       const unsigned char* source, size_t skipped, size_t* used) {
  const unsigned char* in = units;
  size_t left = length;
  Outcome outcome = kDone;
  while (left > 0) {
    size_t room;
    unsigned char* start = sink_->Room(kLeast, &room);
    if (start == nullptr) return Stop(Failure::kWrite, nullptr);
    unsigned char* out = start;
    const unsigned char* before = in;
    const size_t result = Iconv(encoder_, &in, &left, &out, &room);
    const int error = result == kIconvError ? errno : 0;
    if (!sink_->Commit(static_cast<size_t>(out - start))) return Stop(Failure::kWrite, nullptr);
    if (result != kIconvError) {
      tally_.approximated += result;
      continue;
    }
    // A failed call returns no count of what it approximated.
    if (plain_ != nullptr) tally_.approximated += Unrepresentable(before, in - before);
    if (error == E2BIG) continue;
    if (error == EINVAL) {  // pivot input: a cut unit or surrogate pair
      outcome = kCut;
      break;
    }
    NLS_IconvFailure what;
    NLS_IconvGetFailure(encoder_, &what);
    const bool invalid = what.kind == NLS_ICONV_INVALID;
    if (policy_ == Policy::kStop) {
      uint64_t lines = lines_, column = column_;
      Count(units, static_cast<size_t>(in - units), &lines, &column);
      if (invalid) {  // a lone surrogate in pivot input
        failure_.byteCount = static_cast<unsigned>(std::min<size_t>(what.length, left));
        std::memcpy(failure_.bytes, in, failure_.byteCount);
      }
      Fail(invalid ? Failure::kInvalid : Failure::kUnmappable, source == nullptr ? in : nullptr);
      if (source != nullptr) failure_.offset = Locate(source, skipped + (in - units));
      failure_.codePoint = what.codePoint;
      failure_.line = lines + 1;
      failure_.column = column + 1;
      return kFailed;
    }
    const size_t skip = std::min<size_t>(std::max<size_t>(what.length, 1), left);
    in += skip;
    left -= skip;
    ++(invalid ? tally_.invalid : tally_.unmappable);
    if (policy_ == Policy::kReplace && !Emit(invalid ? invalidReplacement_ : '?')) return kFailed;
  }
  *used = static_cast<size_t>(in - units);
  Count(units, *used, &lines_, &column_);
  return outcome;
}

// Characters in pivot text that the target cannot represent as they are.
uint64_t Transcoder::Unrepresentable(const unsigned char* units, size_t length) {
  uint64_t count = 0;
  Reset(plain_);
  while (length > 0) {
    unsigned char* out = scratch_.data();
    size_t room = scratch_.capacity();
    if (Iconv(plain_, &units, &length, &out, &room) != kIconvError || errno == E2BIG) continue;
    NLS_IconvFailure what;
    if (errno != EILSEQ || NLS_IconvGetFailure(plain_, &what) != 0) break;
    const size_t skip = std::min<size_t>(std::max<size_t>(what.length, 1), length);
    units += skip;
    length -= skip;
    ++count;
  }
  return count;
}

// Writes one character given as a pivot unit (a signature or a
// replacement) through the encoder, in its current state.
bool Transcoder::Emit(uint16_t unit) {
  for (const Replacement& r : replacements_) {
    if (r.length == 0 || r.unit != unit) continue;
    size_t room;
    unsigned char* start = sink_->Room(r.length, &room);
    if (start == nullptr) return Fail(Failure::kWrite, nullptr);
    std::memcpy(start, r.bytes, r.length);
    return sink_->Commit(r.length) || Fail(Failure::kWrite, nullptr);
  }
  unsigned char bytes[2];
  std::memcpy(bytes, &unit, 2);
  const unsigned char* in = bytes;
  size_t left = 2;
  while (left > 0) {
    size_t room;
    unsigned char* start = sink_->Room(kEnding, &room);
    if (start == nullptr) return Fail(Failure::kWrite, nullptr);
    unsigned char* out = start;
    if (encoder_ == nullptr) {
      std::memcpy(out, bytes, 2);
      out += 2;
      left = 0;
    } else if (Iconv(encoder_, &in, &left, &out, &room) == kIconvError && errno != E2BIG) {
      Fail(Failure::kUnmappable, nullptr);
      failure_.codePoint = unit;
      return false;
    }
    if (!sink_->Commit(static_cast<size_t>(out - start))) return Fail(Failure::kWrite, nullptr);
  }
  return true;
}

bool Transcoder::End() {
  base_ = nullptr;
  if (decoder_ != nullptr) {
    unsigned char units[kEnding];
    unsigned char* out = units;
    size_t room = sizeof units;
    if (NLS_Iconv(decoder_, nullptr, nullptr, reinterpret_cast<char**>(&out), &room) ==
        kIconvError) {
      // Consumed input that ends inside a sequence (UTF-7 bits that are not
      // padding).
      if (policy_ == Policy::kStop) return Fail(Failure::kIncomplete, nullptr);
      ++tally_.invalid;
      if (policy_ == Policy::kReplace && !Emit(invalidReplacement_)) return false;
    }
  }
  if (encoder_ != nullptr) {
    size_t room;
    unsigned char* start = sink_->Room(kEnding, &room);
    if (start == nullptr) return Fail(Failure::kWrite, nullptr);
    unsigned char* out = start;
    if (NLS_Iconv(encoder_, nullptr, nullptr, reinterpret_cast<char**>(&out), &room) == kIconvError)
      return Fail(Failure::kIncomplete, nullptr);
    if (!sink_->Commit(static_cast<size_t>(out - start))) return Fail(Failure::kWrite, nullptr);
  }
  Reset(locator_);
  return true;
}

// Line feeds and the characters after the last of them in pivot text.
void Transcoder::Count(const unsigned char* units, size_t length, uint64_t* lines,
                       uint64_t* column) const {
  const size_t n = length / 2;
  const size_t feeds = CountUnits(units, n, 0xFFFF, 0x000A);
  if (feeds == 0) {
    *column += Characters(units, n);
    return;
  }
  *lines += feeds;
  size_t last = n;
  while (UnitAt(units + 2 * (last - 1)) != 0x000A) --last;
  *column = Characters(units + 2 * last, n - last);
}

// Byte offset of the source character whose pivot text starts `pivotBytes`
// into what the decoder made from `source` on: decoding again from there
// with exactly that much room stops before it.
uint64_t Transcoder::Locate(const unsigned char* source, size_t pivotBytes) {
  if (locator_ == nullptr || !scratch_.Reserve(pivotBytes + 16)) return Offset(source);
  if (!follow_) Reset(locator_);
  const unsigned char* in = source;
  size_t left = static_cast<size_t>(bufferEnd_ - source);
  unsigned char* out = scratch_.data();
  size_t room = pivotBytes;
  Iconv(locator_, &in, &left, &out, &room);
  return Offset(in);
}

// Keeps the locator of a stateful source in the state the decoder had
// before its last call: it decodes what the decoder has decoded.
void Transcoder::FollowDecoder(const unsigned char* from, const unsigned char* to) {
  if (locator_ == nullptr) return;
  size_t left = static_cast<size_t>(to - from);
  while (left > 0) {
    unsigned char* out = scratch_.data();
    size_t room = scratch_.capacity();
    if (Iconv(locator_, &from, &left, &out, &room) == kIconvError && errno != E2BIG) break;
  }
}

// Records a failure at `at` (null: at the end of what was consumed);
// returns whether the text may go on (only after a failed write: no).
bool Transcoder::Fail(Failure::Kind kind, const unsigned char* at) {
  failure_.kind = kind;
  failure_.offset = at != nullptr && base_ != nullptr ? Offset(at) : offset_;
  failure_.line = lines_ + 1;
  failure_.column = column_ + 1;
  return false;
}

}  // namespace nlsconv

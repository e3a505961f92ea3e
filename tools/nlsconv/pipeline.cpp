#include "pipeline.h"

#include <strings.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace nlsconv {

const char kPivot[] = "ISO-10646-UCS-2";

namespace {

// Smallest output buffer offered to a converter: room for the terminator and
// for converters that stop a few bytes before the end of their output.
constexpr unsigned int kMinimumOutput = 64;
constexpr int kNoMemory = -1002;

bool Is(const std::string& name, const char* canonical) {
  return strcasecmp(name.c_str(), canonical) == 0;
}

void Mark(bool* set, const char* characters, bool value) {
  for (const char* c = characters; *c != '\0'; ++c) set[static_cast<unsigned char>(*c)] = value;
}

void MarkRange(bool* set, int first, int last, bool value) {
  for (int c = first; c <= last; ++c) set[c] = value;
}

const char kBase64Digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";

// Characters after which the decoder of `name` is back in its initial state
// whatever came before: the end of a character, of a base64 run, of an escape.
void SourceSafe(const std::string& name, bool* set) {
  if (Is(name, kPivot) || Is(name, "ISO-10646-UCS-4") || Is(name, "UTF-8") ||
      Is(name, "ISO_8859-1:1987") || Is(name, "x-mac-roman")) {
    MarkRange(set, 0, 127, true);
  } else if (Is(name, "UNICODE-1-1-UTF-7")) {
    // Any byte that is not a base64 digit ends a run ("-" is absorbed).
    MarkRange(set, 0, 127, true);
    Mark(set, kBase64Digits, false);
    Mark(set, "+/", false);
  } else if (Is(name, "IMAP-MODIFIED-UTF-7")) {
    MarkRange(set, 0, 127, true);
    Mark(set, kBase64Digits, false);
    Mark(set, "+,&", false);
  } else if (Is(name, "ESCAPED_UNICODE")) {
    // Not a backslash, not the "u" of an escape and not one of its digits.
    MarkRange(set, 0, 127, true);
    Mark(set, "\\u0123456789abcdefABCDEF", false);
  } else {
    // Encodings of converter libraries: a line feed ends every character
    // and, by convention, every shift state of the ASCII-based encodings.
    set[static_cast<unsigned char>('\n')] = true;
  }
}

// Characters after which the encoder of `name` has closed every run, so that
// ending its input there writes nothing more than continuing would.
void DestinationSafe(const std::string& name, bool* set) {
  if (Is(name, "UNICODE-1-1-UTF-7")) {
    // The characters written as themselves: direct, optional and spaces.
    Mark(set, kBase64Digits, true);
    Mark(set, "'(),-./:?", true);
    Mark(set, "!\"#$%&*;<=>@[]^_`{|}", true);
    Mark(set, " \t\r\n\b", true);
  } else if (Is(name, "IMAP-MODIFIED-UTF-7")) {
    MarkRange(set, 0x20, 0x7E, true);
  } else if (Is(name, kPivot) || Is(name, "ISO-10646-UCS-4") || Is(name, "UTF-8") ||
             Is(name, "ISO_8859-1:1987") || Is(name, "x-mac-roman") ||
             Is(name, "ESCAPED_UNICODE")) {
    MarkRange(set, 0, 127, true);
  } else {
    set[static_cast<unsigned char>('\n')] = true;
  }
}

unsigned int Held(NLS_ConverterHandle handle) {
  unsigned int size = 0;
  NLS_GetConversionOverflowSize(handle, &size);
  return size / 7;  // the overflow size is seven bytes per held input byte
}

// Streams data[0, len) through one handle, draining whatever it holds, and
// appends the output to `out`. *consumed is the input that the converter
// took; the rest is held because it cannot be converted (yet).
int RunHandle(NLS_ConverterHandle handle, const std::string& from, const std::string& to,
              const unsigned char* data, size_t len, ByteBuffer& out, size_t* consumed) {
  *consumed = 0;
  const unsigned int length = static_cast<unsigned int>(len);
  unsigned int size = NLS_GetResultBufferSize(data, length, from.c_str(), to.c_str());
  if (size < kMinimumOutput) size = kMinimumOutput;
  if (!out.Reserve(size)) return kNoMemory;
  unsigned int produced = 0;
  int status = NLS_ConvertStreamBuffer(handle, data, length, out.end(), size, &produced);
  out.Grow(std::min(produced, size));
  unsigned int held = Held(handle);
  // Output full: 2, or -1304 / -1303 from the UTF-8 and modified UTF-7
  // encoders while input is held. A two-stage conversion may hold converted
  // text with no input held (2 with a held size of 0).
  while (status == 2 || ((status == -1303 || status == -1304) && held != 0)) {
    // The overflow size counts held input only; never offer less than the
    // usual buffer.
    unsigned int need = 0;
    NLS_GetConversionOverflowSize(handle, &need);
    const unsigned int room = std::max(size, need);
    if (!out.Reserve(room)) return kNoMemory;
    const int drained = NLS_ConverterGetOverflow(handle, out.end(), room, &produced);
    out.Grow(std::min(produced, room));
    const unsigned int left = Held(handle);
    // Nothing held and nothing more to come: the 2 only said that the
    // terminator did not fit after the last of the output.
    if (held == 0 && produced == 0) break;
    status = drained;
    if (produced == 0 && left >= held) break;  // no progress: the rest cannot be converted
    held = left;
  }
  held = std::min(Held(handle), length);
  if (held == 0 && (status == 2 || status == -1303 || status == -1304)) status = 1;
  *consumed = len - held;
  return status;
}

// Offset just after the last code unit in data[begin, end) whose value is a
// member of `set` (128 flags), or 0. The hot loop of the input scan.
template <typename Unit>
size_t LastMember(const bool* set, const unsigned char* data, size_t begin, size_t end) {
  for (size_t i = end; i > begin; i -= sizeof(Unit)) {
    Unit v;
    std::memcpy(&v, data + i - sizeof(Unit), sizeof(Unit));
    if (v < 128 && set[v]) return i;
  }
  return 0;
}

size_t LastMember(size_t unit, const bool* set, const unsigned char* data, size_t begin,
                  size_t end) {
  if (unit == 2) return LastMember<uint16_t>(set, data, begin, end);
  if (unit == 4) return LastMember<uint32_t>(set, data, begin, end);
  return LastMember<uint8_t>(set, data, begin, end);
}

}  // namespace

Pipeline::~Pipeline() {
  if (first_ != nullptr) NLS_DeleteEncodingConverter(first_);
  if (second_ != nullptr) NLS_DeleteEncodingConverter(second_);
}

int Pipeline::Open(const std::string& from, const std::string& to) {
  from_ = from;
  to_ = to;
  // Asking first keeps the library's diagnostic line for a failed
  // construction out of the common case of an unknown name.
  if (NLS_EncodingConverterExists(from.c_str(), to.c_str()) != 1) return -1301;
  bool direct = Is(from, kPivot) || Is(to, kPivot);
  if (!direct) {
    // A "*" pattern lists the direct conversions only.
    NLS_EnumerationHandle list = nullptr;
    unsigned int count = 0;
    if (NLS_NewEncodingConverterEnumeration(from.c_str(), "*", &list) == 1 && list != nullptr) {
      NLS_CountEncodingConverters(list, &count);
      char source[64], destination[64];
      for (unsigned int i = 0; i < count && !direct; ++i) {
        if (NLS_GetEncodingConverterListItem(list, i, source, destination) == 1 &&
            Is(to, destination)) {
          direct = true;
        }
      }
    }
    if (list != nullptr) NLS_DeleteEncodingConverterEnumeration(list);
  }
  int status;
  if (direct) {
    status = NLS_NewEncodingConverter(from.c_str(), to.c_str(), &first_);
  } else {
    status = NLS_NewEncodingConverter(from.c_str(), kPivot, &first_);
    if (status == 1) status = NLS_NewEncodingConverter(kPivot, to.c_str(), &second_);
  }
  if (status != 1) return status;

  unit_ = Is(from, kPivot) ? 2 : Is(from, "ISO-10646-UCS-4") ? 4 : 1;
  escapes_ = Is(from, "ESCAPED_UNICODE");
  SourceSafe(from, sourceSafe_);
  bool destinationSafe[128] = {};
  DestinationSafe(to, destinationSafe);
  for (int c = 0; c < 128; ++c) cut_[c] = sourceSafe_[c] && destinationSafe[c];
  // The "-" that closes a base64 run is absorbed: the text before it ends
  // with an encoded character, at which the destination may not be at rest.
  if (Is(from, "UNICODE-1-1-UTF-7") || Is(from, "IMAP-MODIFIED-UTF-7"))
    cut_[static_cast<unsigned char>('-')] = false;
  return 1;
}

void Pipeline::Reset() {
  if (first_ != nullptr) NLS_ResetEncodingConverter(first_);
  if (second_ != nullptr) NLS_ResetEncodingConverter(second_);
}

unsigned Pipeline::UnitValue(const unsigned char* p) const {
  if (unit_ == 2) {
    uint16_t v;
    std::memcpy(&v, p, 2);
    return v;
  }
  if (unit_ == 4) {
    uint32_t v;
    std::memcpy(&v, p, 4);
    return v;
  }
  return *p;
}

PieceResult Pipeline::Convert(const unsigned char* data, size_t len, ByteBuffer& out) {
  size_t consumed = 0;
  if (second_ == nullptr) {
    const int status = RunHandle(first_, from_, to_, data, len, out, &consumed);
    return {status, consumed, false};
  }
  middle_.Clear();
  const int status = RunHandle(first_, from_, kPivot, data, len, middle_, &consumed);
  // -1304: a character cut short at the end; what precedes it still goes on.
  if (status < 0 && status != -1304) return {status, consumed, false};
  if (middle_.size() != 0) {
    size_t taken = 0;
    const int second = RunHandle(second_, kPivot, to_, middle_.data(), middle_.size(), out, &taken);
    if (second < 0) return {second, 0, true};
    if (taken != middle_.size()) return {2, 0, true};
  }
  return {status, consumed, false};
}

size_t Pipeline::LastCut(const unsigned char* data, size_t begin, size_t end) const {
  return LastMember(unit_, cut_, data, begin, end);
}

size_t Pipeline::FallbackCut(const unsigned char* data, size_t len, bool anywhere) const {
  const size_t aligned = len - len % unit_;
  if (!anywhere) {
    const size_t safe = LastMember(unit_, sourceSafe_, data, 0, aligned);
    if (safe != 0) return safe;
  }
  // Escapes back to back: cut before the last escape whose backslash is not
  // itself escaped.
  if (escapes_) {
    for (size_t i = aligned - 1; i > 1 && i < aligned; --i) {
      if (data[i - 1] == '\\' && data[i] == 'u' && data[i - 2] != '\\') return i - 1;
    }
  }
  // No resting point at all: cut between code units, but keep a surrogate
  // pair of UCS-2 together. A character of a multi-byte encoding cut here is
  // left unconsumed by its decoder and goes on with the next piece.
  if (unit_ == 2 && aligned >= 4) {
    const unsigned last = UnitValue(data + aligned - 2);
    if (last >= 0xD800 && last <= 0xDBFF) return aligned - 2;
  }
  return aligned;
}

void Pipeline::LocateMalformed(const unsigned char* data, size_t len, size_t* begin, size_t* end) {
  const size_t aligned = len - len % unit_;
  const std::string& stageTo = second_ != nullptr ? std::string(kPivot) : to_;
  *begin = 0;
  *end = len;
  size_t start = 0;
  for (size_t i = unit_; i <= aligned; i += unit_) {
    const unsigned v = UnitValue(data + i - unit_);
    if (i != aligned && !(v < 128 && sourceSafe_[v])) continue;
    Reset();
    scratch_.Clear();
    size_t consumed = 0;
    const int status =
        RunHandle(first_, from_, stageTo, data + start, i - start, scratch_, &consumed);
    if (status < 0 && status != -1304) {
      *begin = start;
      *end = i;
      break;
    }
    start = i;
  }
  Reset();
}

}  // namespace nlsconv

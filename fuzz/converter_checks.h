// Checked calls of one converter, shared by the converter harnesses: every
// Convert call is held to the buffer contract, and a text can be converted
// through output buffers of random sizes or fed in random pieces.
#ifndef NLSCNV_FUZZ_CONVERTER_CHECKS_H
#define NLSCNV_FUZZ_CONVERTER_CHECKS_H

#include <algorithm>
#include <string>

#include "fuzz_support.h"

namespace nls_fuzz {

inline constexpr unsigned kUnset = 0xDEADBEEFu;

struct Call {
  int status;
  unsigned produced;
  unsigned used;
};

// One Convert call on text[offset, offset + length) into a fresh buffer of
// dstSize bytes; appends the output to `out`.
inline Call CheckedConvert(TEncodingConverter* converter, const Direction& d, const Bytes& text,
                           size_t offset, size_t length, unsigned dstSize, Bytes* out) {
  ExactInput input(text.data() + offset, length);
  GuardedOutput output(dstSize);
  unsigned produced = kUnset;
  unsigned used = kUnset;
  const int status =
      converter->Convert(output.data(), &produced, dstSize, input.data(), input.size(), &used);
  FUZZ_CHECK(output.DamagedGuard() < 0, "%s wrote past an output of %u bytes (guard byte %ld)",
             d.name, dstSize, output.DamagedGuard());
  FUZZ_CHECK(nls_fuzz::KnownConversionStatus(status), "%s answered %d", d.name, status);
  if (status == -1009) {
    // Refused arguments: only an empty input or an empty output.
    FUZZ_CHECK(length == 0 || dstSize == 0, "%s refused %zu bytes into %u", d.name, length,
               dstSize);
    if (produced == kUnset) produced = 0;
    if (used == kUnset) used = 0;
  }
  FUZZ_CHECK(produced != kUnset && used != kUnset, "%s left a count unset (status %d)", d.name,
             status);
  FUZZ_CHECK(produced <= dstSize, "%s produced %u bytes into %u", d.name, produced, dstSize);
  FUZZ_CHECK(used <= length, "%s consumed %u of %zu bytes", d.name, used, length);
  FUZZ_CHECK(used % d.inUnit == 0, "%s consumed %u bytes, not whole units", d.name, used);
  FUZZ_CHECK(produced % d.outUnit == 0, "%s produced %u bytes, not whole units", d.name, produced);
  if (status == 1)
    FUZZ_CHECK(length - used < d.inUnit, "%s answered 1 with %zu of %zu bytes left", d.name,
               length - used, length);
  if (status > 0 && produced + d.terminator <= dstSize)
    FUZZ_CHECK(output.ZeroAt(produced, d.terminator),
               "%s left out the terminator (%u bytes produced into %u)", d.name, produced, dstSize);
  out->insert(out->end(), output.data(), output.data() + produced);
  return Call{status, produced, used};
}

// Output sizes: mostly small, sometimes zero, sometimes roomy.
inline unsigned NextSize(FuzzedDataProvider& control) {
  if (control.remaining_bytes() == 0) return 64;  // the input is used up
  switch (control.ConsumeIntegralInRange<int>(0, 3)) {
    case 0:
      return control.ConsumeIntegralInRange<unsigned>(0, 4);
    case 1:
      return control.ConsumeIntegralInRange<unsigned>(5, 16);
    case 2:
      return control.ConsumeIntegralInRange<unsigned>(0, 64);
    default:
      return control.ConsumeIntegralInRange<unsigned>(0, 1024);
  }
}

inline unsigned LargeSize(TEncodingConverter* converter, size_t length) {
  unsigned target = 0;
  converter->TargetBufferSize(nullptr, static_cast<unsigned>(length), &target);
  return static_cast<unsigned>(std::max<size_t>(target, 8 * length) + 16);
}

struct Outcome {
  Bytes out;
  size_t used = 0;
};

// Converts text[offset...] with buffers of random sizes, resuming at the
// unconsumed input, until the input is used up or even a large buffer makes
// no progress.
inline size_t ConvertResuming(TEncodingConverter* converter, const Direction& d, const Bytes& text,
                              size_t offset, FuzzedDataProvider& control, Bytes* out) {
  const size_t length = text.size() - offset;
  const unsigned large = LargeSize(converter, length);
  size_t pos = 0;
  bool escalate = false;
  for (size_t calls = 0;; ++calls) {
    FUZZ_CHECK(calls <= 3 * length + 8, "%s keeps producing without consuming", d.name);
    if (pos == length && calls > 0) break;
    const unsigned size = escalate ? large : NextSize(control);
    const Call call = CheckedConvert(converter, d, text, offset + pos, length - pos, size, out);
    pos += call.used;
    if (call.used == 0 && call.produced == 0) {
      if (escalate) break;
      escalate = true;
    } else {
      escalate = false;
    }
    if (length == 0) break;
  }
  return pos;
}

// Feeds the text in random pieces, the way a host streams: what the calls
// leave unconsumed goes in front of the next piece. Returns the number of
// bytes left unconsumed at the end.
inline size_t ConvertInPieces(TEncodingConverter* converter, const Direction& d, const Bytes& text,
                              FuzzedDataProvider& control, Bytes* out) {
  Bytes pending;
  size_t fed = 0;
  while (fed < text.size()) {
    size_t piece = std::min(text.size() - fed, control.ConsumeIntegralInRange<size_t>(0, 300));
    if (piece == 0 && control.remaining_bytes() == 0) piece = text.size() - fed;
    pending.insert(pending.end(), text.begin() + static_cast<long>(fed),
                   text.begin() + static_cast<long>(fed + piece));
    fed += piece;
    const size_t used = ConvertResuming(converter, d, pending, 0, control, out);
    pending.erase(pending.begin(), pending.begin() + static_cast<long>(used));
  }
  return pending.size();
}

inline std::string Hex(const Bytes& bytes) {
  std::string s;
  char b[4];
  for (size_t i = 0; i < bytes.size() && i < 64; ++i) {
    std::snprintf(b, sizeof b, "%02X ", bytes[i]);
    s += b;
  }
  return s;
}

inline std::vector<uint16_t> Units16(const Bytes& bytes) {
  std::vector<uint16_t> units(bytes.size() / 2);
  if (!units.empty()) std::memcpy(units.data(), bytes.data(), units.size() * 2);
  return units;
}

inline Bytes FromUnits16(const std::vector<uint16_t>& units) {
  Bytes bytes(units.size() * 2);
  if (!units.empty()) std::memcpy(bytes.data(), units.data(), bytes.size());
  return bytes;
}

}  // namespace nls_fuzz

#endif  // NLSCNV_FUZZ_CONVERTER_CHECKS_H

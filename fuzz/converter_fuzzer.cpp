// Drives one built-in converter (chosen by the first input byte) through its
// factory: the text is converted once into a large buffer, then again
// through output buffers of random sizes, then again in random pieces the way
// a host streams. Every call is checked against the buffer contract (nothing
// written past the output size or read past the input, counts within the
// buffers, terminator where it fits); where a converter promises it, the
// pieced conversions must give the bytes of the single one, and round trips
// through the opposite direction must give the text back.
#include <algorithm>
#include <string>

#include "fuzz_support.h"

using nls_fuzz::Bytes;
using nls_fuzz::ConverterPtr;
using nls_fuzz::Direction;
using nls_fuzz::ExactInput;
using nls_fuzz::GuardedOutput;

namespace {

constexpr unsigned kUnset = 0xDEADBEEFu;

struct Call {
  int status;
  unsigned produced;
  unsigned used;
};

// One Convert call on text[offset, offset + length) into a fresh buffer of
// dstSize bytes; appends the output to `out`.
Call CheckedConvert(TEncodingConverter* converter, const Direction& d, const Bytes& text,
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
unsigned NextSize(FuzzedDataProvider& control) {
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

unsigned LargeSize(TEncodingConverter* converter, size_t length) {
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
size_t ConvertResuming(TEncodingConverter* converter, const Direction& d, const Bytes& text,
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

Outcome ConvertWhole(const Direction& d, const Bytes& text) {
  ConverterPtr converter(d.factory());
  FUZZ_CHECK(converter != nullptr, "%s: factory gave nothing", d.name);
  FUZZ_CHECK(converter->GetStatus() == 1, "%s: status %d", d.name, converter->GetStatus());
  Outcome whole;
  whole.used = CheckedConvert(converter.get(), d, text, 0, text.size(),
                              LargeSize(converter.get(), text.size()), &whole.out)
                   .used;
  return whole;
}

std::string Hex(const Bytes& bytes) {
  std::string s;
  char b[4];
  for (size_t i = 0; i < bytes.size() && i < 64; ++i) {
    std::snprintf(b, sizeof b, "%02X ", bytes[i]);
    s += b;
  }
  return s;
}

std::vector<uint16_t> Units16(const Bytes& bytes) {
  std::vector<uint16_t> units(bytes.size() / 2);
  if (!units.empty()) std::memcpy(units.data(), bytes.data(), units.size() * 2);
  return units;
}

Bytes FromUnits16(const std::vector<uint16_t>& units) {
  Bytes bytes(units.size() * 2);
  if (!units.empty()) std::memcpy(bytes.data(), units.data(), bytes.size());
  return bytes;
}

// Strict UTF-8 (RFC 3629) decoded to UTF-16, or false for anything else.
bool StrictUtf8ToUtf16(const Bytes& in, std::vector<uint16_t>* out) {
  size_t i = 0;
  while (i < in.size()) {
    const uint8_t b = in[i];
    uint32_t cp;
    size_t n;
    if (b < 0x80) {
      cp = b;
      n = 0;
    } else if (b >= 0xC2 && b <= 0xDF) {
      cp = b & 0x1F;
      n = 1;
    } else if (b >= 0xE0 && b <= 0xEF) {
      cp = b & 0x0F;
      n = 2;
    } else if (b >= 0xF0 && b <= 0xF4) {
      cp = b & 0x07;
      n = 3;
    } else {
      return false;
    }
    if (n > 0 && i + n >= in.size()) return false;
    for (size_t k = 1; k <= n; ++k) {
      if ((in[i + k] & 0xC0) != 0x80) return false;
      cp = (cp << 6) | (in[i + k] & 0x3F);
    }
    if ((n == 2 && cp < 0x800) || (n == 3 && (cp < 0x10000 || cp > 0x10FFFF)) ||
        (cp >= 0xD800 && cp <= 0xDFFF))
      return false;
    if (cp >= 0x10000) {
      out->push_back(static_cast<uint16_t>(0xD800 + ((cp - 0x10000) >> 10)));
      out->push_back(static_cast<uint16_t>(0xDC00 + ((cp - 0x10000) & 0x3FF)));
    } else {
      out->push_back(static_cast<uint16_t>(cp));
    }
    i += n + 1;
  }
  return true;
}

// Independent models of what the simple converters must produce from a whole
// input; false when the harness has no model for this converter.
bool Model(const Direction& d, const Bytes& text, Bytes* expected) {
  const std::string name = d.name;
  if (name == "latin1>ucs2") {
    std::vector<uint16_t> units(text.begin(), text.end());
    *expected = FromUnits16(units);
    return true;
  }
  if (name == "ucs2>latin1") {
    for (uint16_t u : Units16(text)) expected->push_back(static_cast<uint8_t>(u & 0xFF));
    return true;
  }
  if (name == "ucs4>ucs2") {
    // Values past 0xFFFF become surrogate pairs, values past 0x10FFFF U+FFFD.
    std::vector<uint16_t> units;
    for (size_t i = 0; i + 4 <= text.size(); i += 4) {
      uint32_t v;
      std::memcpy(&v, &text[i], 4);
      if (v <= 0xFFFF) {
        units.push_back(static_cast<uint16_t>(v));
      } else if (v <= 0x10FFFF) {
        units.push_back(static_cast<uint16_t>(0xD800 + ((v - 0x10000) >> 10)));
        units.push_back(static_cast<uint16_t>(0xDC00 + ((v - 0x10000) & 0x3FF)));
      } else {
        units.push_back(0xFFFD);
      }
    }
    *expected = FromUnits16(units);
    return true;
  }
  if (name == "ucs2>ucs4") {
    for (uint16_t u : Units16(text)) {
      const uint32_t v = u;
      const uint8_t* p = reinterpret_cast<const uint8_t*>(&v);
      expected->insert(expected->end(), p, p + 4);
    }
    return true;
  }
  if (name == "utf8>ucs2") {
    std::vector<uint16_t> units;
    if (!StrictUtf8ToUtf16(text, &units)) return false;
    *expected = FromUnits16(units);
    return true;
  }
  return false;
}

// The text the opposite direction must give back after `forward` converted
// `text`, or false when the round trip is not lossless for this text.
bool RoundTripExpected(const Direction& d, const Bytes& text, Bytes* expected) {
  const std::string name = d.name;
  if (d.fromUnicode) {
    const std::vector<uint16_t> units = Units16(text);
    if (name == "ucs2>latin1") {
      std::vector<uint16_t> low;
      for (uint16_t u : units) low.push_back(u & 0xFF);
      *expected = FromUnits16(low);
      return true;
    }
    if (name == "ucs2>eucs" && std::find(units.begin(), units.end(), 0x5C) != units.end())
      return false;                             // a literal backslash can read back as an escape
    if (name == "ucs2>macroman") return false;  // unmapped characters become "?"
    *expected = FromUnits16(units);
    return true;
  }
  if (name == "latin1>ucs2") {
    *expected = text;
    return true;
  }
  if (name == "macroman>ucs2") {
    // The table engine stops at a 0 byte; 0x7F is not mapped either way.
    for (uint8_t b : text) {
      if (b == 0) break;
      expected->push_back(b == 0x7F ? '?' : b);
    }
    return true;
  }
  if (name == "utf8>ucs2") {
    std::vector<uint16_t> units;
    if (!StrictUtf8ToUtf16(text, &units)) return false;
    *expected = text;
    return true;
  }
  return false;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  nls_fuzz::KeepReportChannel();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider control(data, size);
  size_t count = 0;
  const Direction* directions = nls_fuzz::Directions(&count);
  const Direction& d = directions[control.ConsumeIntegralInRange<size_t>(0, count - 1)];
  const Bytes text = control.ConsumeBytes<uint8_t>(control.ConsumeIntegralInRange<size_t>(0, 4096));

  // 1. One conversion into a buffer that holds everything.
  const Outcome whole = ConvertWhole(d, text);
  if (d.fromUnicode || d.factory == NEWLATIN1TOUNICODEENCODINGCONVERTER ||
      d.factory == NEWUCS4TOUNICODEENCODINGCONVERTER)
    FUZZ_CHECK(text.size() - whole.used < d.inUnit,
               "%s stopped at %zu of %zu bytes with a large buffer", d.name, whole.used,
               text.size());
  Bytes modelled;
  if (Model(d, text, &modelled))
    FUZZ_CHECK(whole.out == modelled,
               "%s: output differs from the model\n  in:   %s\n  out:  %s\n  "
               "want: %s",
               d.name, Hex(text).c_str(), Hex(whole.out).c_str(), Hex(modelled).c_str());

  // 2. The same converter, reset, through output buffers of random sizes.
  ConverterPtr converter(d.factory());
  FUZZ_CHECK(converter != nullptr, "%s: factory gave nothing", d.name);
  {
    converter->Reset();
    Bytes joined;
    const size_t used = ConvertResuming(converter.get(), d, text, 0, control, &joined);
    if (d.resumesExactly)
      FUZZ_CHECK(used == whole.used && joined == whole.out,
                 "%s: resumed conversion differs (used %zu/%zu, %zu/%zu bytes)\n  in:  %s\n  "
                 "got: %s\n  want: %s",
                 d.name, used, whole.used, joined.size(), whole.out.size(), Hex(text).c_str(),
                 Hex(joined).c_str(), Hex(whole.out).c_str());
  }

  // 3. The text in random pieces; what a piece leaves unconsumed goes in
  // front of the next one.
  {
    converter->Reset();
    Bytes joined;
    Bytes pending;
    size_t fed = 0;
    while (fed < text.size()) {
      const size_t piece =
          std::min(text.size() - fed, control.ConsumeIntegralInRange<size_t>(0, 300));
      if (piece == 0 && control.remaining_bytes() == 0) {
        pending.insert(pending.end(), text.begin() + static_cast<long>(fed), text.end());
        fed = text.size();
      } else {
        pending.insert(pending.end(), text.begin() + static_cast<long>(fed),
                       text.begin() + static_cast<long>(fed + piece));
        fed += piece;
      }
      const size_t used = ConvertResuming(converter.get(), d, pending, 0, control, &joined);
      pending.erase(pending.begin(), pending.begin() + static_cast<long>(used));
    }
    if (d.piecesExactly)
      FUZZ_CHECK(joined == whole.out && pending.size() == text.size() - whole.used,
                 "%s: pieced conversion differs (%zu/%zu bytes, %zu/%zu left)", d.name,
                 joined.size(), whole.out.size(), pending.size(), text.size() - whole.used);
  }

  // 4. Round trip through the opposite direction.
  Bytes expected;
  if (RoundTripExpected(d, text, &expected)) {
    const Direction& back = directions[d.inverse];
    const Outcome returned = ConvertWhole(back, whole.out);
    FUZZ_CHECK(returned.out == expected,
               "%s then %s does not give the text back\n  in:   %s\n  mid:  %s\n  back: %s", d.name,
               back.name, Hex(text).c_str(), Hex(whole.out).c_str(), Hex(returned.out).c_str());
  }
  return 0;
}

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

#include "converter_checks.h"
#include "fuzz_support.h"

using nls_fuzz::Bytes;
using nls_fuzz::CheckedConvert;
using nls_fuzz::ConverterPtr;
using nls_fuzz::ConvertResuming;
using nls_fuzz::Direction;
using nls_fuzz::ExactInput;
using nls_fuzz::FromUnits16;
using nls_fuzz::GuardedOutput;
using nls_fuzz::Hex;
using nls_fuzz::LargeSize;
using nls_fuzz::Outcome;
using nls_fuzz::Units16;

namespace {

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
    const size_t left = nls_fuzz::ConvertInPieces(converter.get(), d, text, control, &joined);
    if (d.piecesExactly)
      FUZZ_CHECK(joined == whole.out && left == text.size() - whole.used,
                 "%s: pieced conversion differs (%zu/%zu bytes, %zu/%zu left)", d.name,
                 joined.size(), whole.out.size(), left, text.size() - whole.used);
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

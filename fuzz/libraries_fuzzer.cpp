// Drives the converters of the converter libraries (the build tree's data
// directory: Japanese, Chinese, Korean and single-byte encodings) the way the
// converter harness drives the built-in ones: one conversion into a large
// buffer, then through output buffers of random sizes, then in random
// pieces, every call held to the buffer contract. Both directions must
// resume exactly when only the output runs out (no library converter writes
// "?" for want of room: the CJK ones are codecs, the single-byte ones never
// lack room for one byte), and text that a decoder produced must come back
// unchanged through the library's encoder and decoder.
#include <string>
#include <vector>

#include "converter_checks.h"
#include "fuzz_support.h"
#include "nlscnv/conversion/encoding_converter.h"

using nls_fuzz::Bytes;
using nls_fuzz::Direction;
using nls_fuzz::Hex;
using nls_fuzz::Outcome;

namespace {

constexpr char kPivot[] = "ISO-10646-UCS-2";

struct LibraryConversion {
  std::string from;
  std::string to;
  std::string name;  // "from>to", for messages
  int inverse = -1;  // the conversion of the opposite direction, if any
};

std::vector<LibraryConversion> gConversions;

Direction DirectionOf(const LibraryConversion& c) {
  const bool fromUnicode = c.from == kPivot;
  Direction d{};
  d.name = c.name.c_str();
  d.inUnit = fromUnicode ? 2 : 1;
  d.terminator = fromUnicode ? 1 : 2;
  d.outUnit = fromUnicode ? 1 : 2;
  d.fromUnicode = fromUnicode;
  return d;
}

// A handle's converter, released with the handle.
class Handle {
 public:
  explicit Handle(const LibraryConversion& c) {
    const int status = NLS_NewEncodingConverter(c.from.c_str(), c.to.c_str(), &handle_);
    FUZZ_CHECK(status == 1, "%s: no converter (%d)", c.name.c_str(), status);
  }
  ~Handle() { NLS_DeleteEncodingConverter(handle_); }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  TEncodingConverter* converter() const {
    return static_cast<EncodingConverter*>(handle_)->converter();
  }

 private:
  NLS_ConverterHandle handle_ = nullptr;
};

Outcome Whole(const LibraryConversion& c, const Bytes& text) {
  Handle h(c);
  const Direction d = DirectionOf(c);
  Outcome whole;
  whole.used = nls_fuzz::CheckedConvert(h.converter(), d, text, 0, text.size(),
                                        nls_fuzz::LargeSize(h.converter(), text.size()), &whole.out)
                   .used;
  return whole;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  nls_fuzz::KeepReportChannel();
  NLS_EncInitialize(nullptr, NLS_FUZZ_DATA_BASE);
  // Every conversion to or from UCS-2 that the registry files add.
  for (const auto& pattern : {std::pair<const char*, const char*>{"*", kPivot}, {kPivot, "*"}}) {
    NLS_EnumerationHandle list = nullptr;
    NLS_NewEncodingConverterEnumeration(pattern.first, pattern.second, &list);
    unsigned count = 0;
    NLS_CountEncodingConverters(list, &count);
    for (unsigned i = 0; i < count; ++i) {
      char from[64], to[64];
      NLS_GetEncodingConverterListItem(list, i, from, to);
      if (nls_fuzz::BuiltInEncoding(from) && nls_fuzz::BuiltInEncoding(to)) continue;
      LibraryConversion c;
      c.from = from;
      c.to = to;
      c.name = c.from + ">" + c.to;
      gConversions.push_back(c);
    }
    NLS_DeleteEncodingConverterEnumeration(list);
  }
  for (LibraryConversion& c : gConversions)
    for (size_t j = 0; j < gConversions.size(); ++j)
      if (gConversions[j].from == c.to && gConversions[j].to == c.from)
        c.inverse = static_cast<int>(j);
  if (gConversions.empty()) {
    std::fprintf(stderr, "no converter libraries in %s\n", NLS_FUZZ_DATA_BASE);
    std::abort();
  }
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider control(data, size);
  const LibraryConversion& c =
      gConversions[control.ConsumeIntegralInRange<size_t>(0, gConversions.size() - 1)];
  const Direction d = DirectionOf(c);
  const Bytes text = control.ConsumeBytes<uint8_t>(control.ConsumeIntegralInRange<size_t>(0, 2048));

  const Outcome whole = Whole(c, text);
  if (d.fromUnicode) {
    // With room, all is taken but half a unit, and with it a high surrogate
    // before it (the half may start the low one).
    size_t left = text.size() % 2;
    if (left != 0 && text.size() >= 3) {
      const unsigned unit = text[text.size() - 3] | text[text.size() - 2] << 8;
      if (unit >= 0xD800 && unit <= 0xDBFF) left += 2;
    }
    FUZZ_CHECK(text.size() - whole.used <= left, "%s stopped at %zu of %zu bytes with room", d.name,
               whole.used, text.size());
  }

  Handle h(c);
  {
    Bytes joined;
    const size_t used = nls_fuzz::ConvertResuming(h.converter(), d, text, 0, control, &joined);
    // No converter splits a character, or replaces one, for want of room.
    FUZZ_CHECK(used == whole.used && joined == whole.out,
               "%s: resumed conversion differs (used %zu/%zu, %zu/%zu bytes)\n  in:   %s\n  "
               "got:  %s\n  want: %s",
               d.name, used, whole.used, joined.size(), whole.out.size(), Hex(text).c_str(),
               Hex(joined).c_str(), Hex(whole.out).c_str());
  }
  {
    h.converter()->Reset();
    Bytes joined;
    nls_fuzz::ConvertInPieces(h.converter(), d, text, control, &joined);
  }

  // What a decoder made of the bytes survives its encoder and decoder,
  // unless it holds replacement characters.
  if (!d.fromUnicode && c.inverse >= 0) {
    const std::vector<uint16_t> decoded = nls_fuzz::Units16(whole.out);
    bool replaced = false;
    for (uint16_t u : decoded) replaced = replaced || u == 0xFFFD;
    if (!replaced) {
      const Outcome encoded = Whole(gConversions[c.inverse], whole.out);
      const Outcome again = Whole(c, encoded.out);
      FUZZ_CHECK(again.out == whole.out,
                 "%s: decoded text does not survive encoding\n  in:   %s\n  text: %s\n  enc:  "
                 "%s\n  back: %s",
                 d.name, Hex(text).c_str(), Hex(whole.out).c_str(), Hex(encoded.out).c_str(),
                 Hex(again.out).c_str());
    }
  }
  return 0;
}

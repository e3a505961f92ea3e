// Differential harness for the fast paths. A converter (a built-in one or a
// table-driven one of the converter libraries) converts the same input, in
// the same pieces, into output buffers of the same random sizes twice: as
// shipped (the instruction-set level the input picks, the direct arrays and
// the per-set plans) and by its general algorithm (the table engine's
// reference form for table-driven sets, the step algorithm for the UTF-7
// forms, the portable level for the others). Everything a caller can see
// must agree: status, counts, the output bytes and the bytes after them.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstdio>
#include <string>
#include <vector>

#include "converter_checks.h"
#include "fuzz_support.h"
#include "nlscnv/conversion/encoding_converter.h"
#include "nlscnv/converters/modified_utf7_converters.h"
#include "nlscnv/converters/utf7_converters.h"
#include "nlscnv/support/simd.h"
#include "nlscnv/tables/table_engine.h"

using nls_fuzz::Bytes;

namespace {

constexpr char kPivot[] = "ISO-10646-UCS-2";

// Reaches the loaded table sets of any converter.
struct SetAccess : TEncodingConverter {
  static const uTableSet& ToUnicode(const TEncodingConverter* c) {
    return c->*(&SetAccess::fToUnicodeSet);
  }
  static const uTableSet& FromUnicode(const TEncodingConverter* c) {
    return c->*(&SetAccess::fFromUnicodeSet);
  }
  static uint32_t Count(const TEncodingConverter* c) { return c->*(&SetAccess::fTableCount); }
};

enum class Reference { kPortableLevel, kStepAlgorithm, kTableEngine };

struct Target {
  std::string name;
  NLS_ConverterFactory factory = nullptr;  // built-ins
  std::string from, to;                    // library conversions (through a handle)
  bool fromUnicode = false;
  Reference reference = Reference::kPortableLevel;
};

std::vector<Target> gTargets;

// A converter of the target, owned through its handle for library ones.
class Instance {
 public:
  explicit Instance(const Target& t) {
    if (t.factory != nullptr) {
      converter_ = t.factory();
    } else {
      NLS_NewEncodingConverter(t.from.c_str(), t.to.c_str(), &handle_);
      if (handle_ != nullptr) converter_ = static_cast<EncodingConverter*>(handle_)->converter();
    }
    FUZZ_CHECK(converter_ != nullptr, "%s: no converter", t.name.c_str());
  }
  ~Instance() {
    if (handle_ != nullptr)
      NLS_DeleteEncodingConverter(handle_);
    else
      converter_->ReleaseEncodingConverter();
  }
  Instance(const Instance&) = delete;
  Instance& operator=(const Instance&) = delete;
  TEncodingConverter* get() const { return converter_; }

 private:
  NLS_ConverterHandle handle_ = nullptr;
  TEncodingConverter* converter_ = nullptr;
};

int StepAlgorithm(TEncodingConverter* c, unsigned char* dst, unsigned* dstLen, unsigned dstSize,
                  const unsigned char* src, unsigned srcLen, unsigned* srcUsed) {
  if (auto* u = dynamic_cast<TUTF7ToUnicodeConverter*>(c))
    return u->ConvertReference(dst, dstLen, dstSize, src, srcLen, srcUsed);
  if (auto* u = dynamic_cast<TUnicodeToUTF7Converter*>(c))
    return u->ConvertReference(dst, dstLen, dstSize, src, srcLen, srcUsed);
  if (auto* m = dynamic_cast<TModifiedUTF7ToUnicodeConverter*>(c))
    return m->ConvertReference(dst, dstLen, dstSize, src, srcLen, srcUsed);
  auto* m = dynamic_cast<TUnicodeToModifiedUTF7Converter*>(c);
  FUZZ_CHECK(m != nullptr, "not a UTF-7 converter");
  return m->ConvertReference(dst, dstLen, dstSize, src, srcLen, srcUsed);
}

int General(const Target& t, TEncodingConverter* c, unsigned char* dst, unsigned* dstLen,
            unsigned dstSize, const unsigned char* src, unsigned srcLen, unsigned* srcUsed) {
  switch (t.reference) {
    case Reference::kStepAlgorithm:
      return StepAlgorithm(c, dst, dstLen, dstSize, src, srcLen, srcUsed);
    case Reference::kTableEngine:
      return t.fromUnicode
                 ? nls::TableFromUnicodeReference(SetAccess::FromUnicode(c), SetAccess::Count(c),
                                                  dst, dstLen, dstSize, src, srcLen, srcUsed)
                 : nls::TableToUnicodeReference(SetAccess::ToUnicode(c), SetAccess::Count(c), dst,
                                                dstLen, dstSize, src, srcLen, srcUsed);
    case Reference::kPortableLevel:
      break;
  }
  const int saved = nls::simd::Level();
  nls::simd::SetLevel(nls::simd::kScalar);
  const int status = c->Convert(dst, dstLen, dstSize, src, srcLen, srcUsed);
  nls::simd::SetLevel(saved);
  return status;
}

void AddBuiltIns() {
  size_t count = 0;
  const nls_fuzz::Direction* directions = nls_fuzz::Directions(&count);
  for (size_t i = 0; i < count; ++i) {
    Target t;
    t.name = directions[i].name;
    t.factory = directions[i].factory;
    t.fromUnicode = directions[i].fromUnicode;
    if (t.name.find("utf7") != std::string::npos) t.reference = Reference::kStepAlgorithm;
    if (t.name.find("macroman") != std::string::npos) t.reference = Reference::kTableEngine;
    gTargets.push_back(t);
  }
}

// Every table-driven conversion that the registry files add (ISO-2022-JP
// keeps its own state machine and has no reference form).
void AddLibraries() {
  const std::pair<const char*, const char*> patterns[] = {{"*", kPivot}, {kPivot, "*"}};
  for (const auto& pattern : patterns) {
    NLS_EnumerationHandle list = nullptr;
    NLS_NewEncodingConverterEnumeration(pattern.first, pattern.second, &list);
    unsigned count = 0;
    NLS_CountEncodingConverters(list, &count);
    for (unsigned i = 0; i < count; ++i) {
      char from[64] = {}, to[64] = {};
      NLS_GetEncodingConverterListItem(list, i, from, to);
      Target t;
      t.from = from;
      t.to = to;
      t.name = t.from + ">" + t.to;
      t.fromUnicode = t.from == kPivot;
      t.reference = Reference::kTableEngine;
      const std::string other = t.fromUnicode ? t.to : t.from;
      if (other == "ISO-2022-JP" || nls_fuzz::BuiltInEncoding(other)) continue;
      NLS_ConverterHandle h = nullptr;
      if (NLS_NewEncodingConverter(from, to, &h) != 1) continue;
      TEncodingConverter* c = static_cast<EncodingConverter*>(h)->converter();
      const bool tables = SetAccess::Count(c) > 0;
      NLS_DeleteEncodingConverter(h);
      if (tables) gTargets.push_back(t);
    }
    NLS_DeleteEncodingConverterEnumeration(list);
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  nls_fuzz::KeepReportChannel();
  NLS_EncInitialize(nullptr, NLS_FUZZ_DATA_BASE);
  AddBuiltIns();
  AddLibraries();
  std::fprintf(stderr, "fast_paths: %zu converters\n", gTargets.size());
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider control(data, size);
  const Target& t = gTargets[control.ConsumeIntegralInRange<size_t>(0, gTargets.size() - 1)];
  const int level = control.ConsumeIntegralInRange<int>(nls::simd::kScalar, nls::simd::kHighest);
  const unsigned roomStyle = control.ConsumeIntegralInRange<unsigned>(0, 3);
  const bool pieces = control.ConsumeBool();
  const uint32_t seed = control.ConsumeIntegral<uint32_t>();
  const Bytes text = control.ConsumeRemainingBytes<uint8_t>();
  const nls_fuzz::ExactInput input(text);

  Instance fast(t), general(t);
  uint32_t x = seed * 2654435761u + 1;
  unsigned at = 0;
  for (int call = 0; call < 4096 && at < input.size(); ++call) {
    x = x * 1103515245u + 12345u;
    unsigned n = input.size() - at;
    if (pieces) n = std::min(n, 1 + (x >> 8) % 300);
    unsigned room = 0;
    switch (roomStyle) {
      case 0:  // small
        room = (x >> 12) % 64;
        break;
      case 1:  // around what the text needs as UCS-2
        room = std::max(0, static_cast<int>(2 * n + 2 + (x >> 12) % 40) - 20);
        break;
      case 2:  // around the most that any converter makes of it
        room = std::max(0, static_cast<int>(8 * n + 16 + (x >> 12) % 40) - 20);
        break;
      default:  // anything up to plenty
        room = (x >> 12) % (8 * n + 64);
        break;
    }
    constexpr size_t kGuard = 32;
    Bytes a(room + kGuard, 0xA5), b(room + kGuard, 0xA5);
    unsigned lenA = 0, usedA = 0, lenB = 0, usedB = 0;
    const unsigned char* src = input.data() + at;
    const int saved = nls::simd::Level();
    nls::simd::SetLevel(level);
    const int statusA = fast.get()->Convert(a.data(), &lenA, room, src, n, &usedA);
    nls::simd::SetLevel(saved);
    const int statusB = General(t, general.get(), b.data(), &lenB, room, src, n, &usedB);
    FUZZ_CHECK(statusA == statusB && lenA == lenB && usedA == usedB && a == b,
               "%s at level %d, %u bytes at %u, room %u: status %d/%d, length %u/%u, used %u/%u\n"
               "  in:      %s\n  fast:    %s\n  general: %s",
               t.name.c_str(), level, n, at, room, statusA, statusB, lenA, lenB, usedA, usedB,
               nls_fuzz::Hex(Bytes(src, src + n)).c_str(), nls_fuzz::Hex(a).c_str(),
               nls_fuzz::Hex(b).c_str());
    if (usedA == 0 || usedA > n) break;
    at += usedA;
  }
  return 0;
}

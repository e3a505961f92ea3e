// EncodingConverter: construction from a name pair, lifetime, and the
// registry statics with on-demand initialisation.
#include "nlscnv/conversion/encoding_converter.h"

#include <atomic>
#include <cstring>
#include <new>

#include "nlscnv/framework/two_stage_converter.h"
#include "nlscnv/registry/dll_linker.h"
#include "nlscnv/registry/encoding_registry.h"
#include "nlscnv/support/diagnostics.h"

namespace {
constexpr char kPivot[] = "ISO-10646-UCS-2";

// The last few name pairs that made a converter, per thread, with what the
// registry resolved them to: creating a converter for such a pair again
// skips the four name normalizations, the entry lookups and the entry-point
// lookups, whose outcome cannot have changed while the registry is the same
// object (serial) and has gained no alias or conversion (the counts; entries
// are never removed). Only lookups without side effects are skipped: a name
// is cached after its normalization has already remembered it. A pair
// converted in two stages keeps the factories of both stages.
struct PairCacheSlot {
  uint64_t serial = 0;  // 0: empty
  int32_t aliases = 0;
  int32_t encodings = 0;
  const char* fromName = nullptr;
  const char* toName = nullptr;
  NLS_ConverterFactory factory = nullptr;        // the direct or the first stage
  NLS_ConverterFactory secondFactory = nullptr;  // null: direct
  char from[kNLSNameFieldSize];
  char to[kNLSNameFieldSize];
};
constexpr unsigned kPairCacheSlots = 4;
thread_local PairCacheSlot tPairCache[kPairCacheSlots];
thread_local unsigned tPairCacheNext = 0;
// Changes whenever the registry object may change.
std::atomic<uint64_t> gRegistrySerial{1};

const PairCacheSlot* FindPair(TEncodingRegistry* registry, const char* from, const char* to) {
  const uint64_t serial = gRegistrySerial.load(std::memory_order_acquire);
  for (const PairCacheSlot& slot : tPairCache) {
    if (slot.serial == serial && std::strcmp(slot.from, from) == 0 &&
        std::strcmp(slot.to, to) == 0 && slot.aliases == registry->AliasCount() &&
        slot.encodings == registry->EncodingCount())
      return &slot;
  }
  return nullptr;
}

void RememberPair(TEncodingRegistry* registry, const char* from, const char* to,
                  const char* fromName, const char* toName, NLS_ConverterFactory factory,
                  NLS_ConverterFactory secondFactory) {
  const size_t fromLength = std::strlen(from);
  const size_t toLength = std::strlen(to);
  if (fromLength >= kNLSNameFieldSize || toLength >= kNLSNameFieldSize) return;
  PairCacheSlot& slot = tPairCache[tPairCacheNext];
  tPairCacheNext = (tPairCacheNext + 1) % kPairCacheSlots;
  slot.serial = gRegistrySerial.load(std::memory_order_acquire);
  slot.aliases = registry->AliasCount();
  slot.encodings = registry->EncodingCount();
  slot.fromName = fromName;
  slot.toName = toName;
  slot.factory = factory;
  slot.secondFactory = secondFactory;
  std::memcpy(slot.from, from, fromLength + 1);
  std::memcpy(slot.to, to, toLength + 1);
}

}  // namespace

TEncodingRegistry* EncodingConverter::fgRegistry = nullptr;

void EncodingConverter::EnsureRegistry() {
  if (fgRegistry == nullptr) NLS_EncInitialize(nullptr, nullptr);
}

int EncodingConverter::initializeEncodingRegistry() {
  // A registry that is already there is abandoned, not destroyed: handles
  // made from it may still point into it.
  gRegistrySerial.fetch_add(1, std::memory_order_acq_rel);
  fgRegistry = new (std::nothrow) TEncodingRegistry();
  if (fgRegistry == nullptr) {
    nls::AssertLine(221, nls::unit::kEnconv);
    return -1002;
  }
  return fgRegistry->Initialize(getDataDirectory());
}

void EncodingConverter::deleteEncodingRegistry() {
  gRegistrySerial.fetch_add(1, std::memory_order_acq_rel);
  delete fgRegistry;
  fgRegistry = nullptr;
}

void EncodingConverter::registerStaticLibrary(char* list) {
  EnsureRegistry();
  if (fgRegistry != nullptr) fgRegistry->RegisterStaticConverters(list);
}

bool EncodingConverter::exists(const char* from, const char* to) {
  EnsureRegistry();
  if (fgRegistry == nullptr) {
    nls::AssertLine(270, nls::unit::kEnconv);
    return false;
  }
  const char* source = fgRegistry->NormalizeEncodingName(from);
  const char* destination = fgRegistry->NormalizeEncodingName(to);
  return fgRegistry->EnumerateEncodingConverters(source, destination) != 0;
}

EncodingConverter::EncodingConverter(const char* from, const char* to)
    : fStatus(1),
      fFromName(nullptr),
      fToName(nullptr),
      fRemainderSize(0),
      fRemainderCapacity(0),
      fRemainder(nullptr),
      fConverter(nullptr) {
  EnsureRegistry();
  if (fgRegistry == nullptr) {
    fFromName = normalizedEncodingName(from);
    fToName = normalizedEncodingName(to);
    fStatus = -1002;  // the registry could not be allocated (line 221)
    return;
  }
  const PairCacheSlot* known =
      from != nullptr && to != nullptr ? FindPair(fgRegistry, from, to) : nullptr;
  if (known != nullptr) {
    fFromName = known->fromName;
    fToName = known->toName;
    // The entry-point lookups, had they run, would have succeeded.
    if (fgRegistry->fLinker != nullptr) fgRegistry->fLinker->fStatus = 1;
    if (known->secondFactory == nullptr) {
      fConverter = known->factory();
    } else {
      fgRegistry->fStatus = -1301;  // what the direct look-up would have left
      TEncodingConverter* first = known->factory();
      TEncodingConverter* second = first != nullptr ? known->secondFactory() : nullptr;
      if (!MakeTwoStage(first, second)) return;
    }
  } else {
    fFromName = normalizedEncodingName(from);
    fToName = normalizedEncodingName(to);
    // A pair with its own entry is always converted directly.
    NLS_ConverterFactory factory = nullptr;
    fConverter = fgRegistry->CreateEncodingConverter(fFromName, fToName, &factory);
    if (fConverter != nullptr && from != nullptr && to != nullptr)
      RememberPair(fgRegistry, from, to, fFromName, fToName, factory, nullptr);
  }
  if (fConverter == nullptr) {
    TEncodingEntry* firstEntry = fgRegistry->FindEncoding(fFromName, kPivot);
    TEncodingEntry* secondEntry = fgRegistry->FindEncoding(kPivot, fToName);
    if (firstEntry == nullptr || secondEntry == nullptr) {
      fStatus = -1301;
      nls::AssertLine(90, nls::unit::kEnconv);
      return;
    }
    NLS_ConverterFactory firstFactory = nullptr, secondFactory = nullptr;
    TEncodingConverter* first = fgRegistry->CreateEncodingConverter(firstEntry, &firstFactory);
    TEncodingConverter* second =
        first != nullptr ? fgRegistry->CreateEncodingConverter(secondEntry, &secondFactory)
                         : nullptr;
    if (!MakeTwoStage(first, second)) return;
    if (from != nullptr && to != nullptr)
      RememberPair(fgRegistry, from, to, fFromName, fToName, firstFactory, secondFactory);
  }
  fStatus = fConverter->GetStatus();
}

// Takes both stages (either may be null: its creation failed) and makes the
// two-stage converter of them; false, with the status and the diagnostic
// line of the failure, when that is not possible.
bool EncodingConverter::MakeTwoStage(TEncodingConverter* first, TEncodingConverter* second) {
  if (first == nullptr) {
    if (second != nullptr) second->ReleaseEncodingConverter();
    nls::AssertLine(79, nls::unit::kEnconv);
    fStatus = -1007;
    return false;
  }
  if (second == nullptr) {
    first->ReleaseEncodingConverter();
    nls::AssertLine(81, nls::unit::kEnconv);
    fStatus = -1008;
    return false;
  }
  fConverter = new (std::nothrow) TTwoStageConverter(fFromName, fToName, first, second);
  if (fConverter == nullptr) {
    first->ReleaseEncodingConverter();
    second->ReleaseEncodingConverter();
    nls::AssertLine(83, nls::unit::kEnconv);
    fStatus = -1301;
    return false;
  }
  return true;
}

EncodingConverter::~EncodingConverter() {
  if (fConverter != nullptr) fConverter->ReleaseEncodingConverter();
  delete[] fRemainder;
}

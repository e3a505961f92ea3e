// EncodingConverter: construction from a name pair, lifetime, and the
// registry statics with on-demand initialisation.
#include "nlscnv/conversion/encoding_converter.h"

#include <cstring>
#include <new>

#include "nlscnv/framework/two_stage_converter.h"
#include "nlscnv/registry/encoding_registry.h"
#include "nlscnv/support/diagnostics.h"

TEncodingRegistry* EncodingConverter::fgRegistry = nullptr;

void EncodingConverter::EnsureRegistry() {
  if (fgRegistry == nullptr) NLS_EncInitialize(nullptr, nullptr);
}

int EncodingConverter::initializeEncodingRegistry() {
  // A registry that is already there is abandoned, not destroyed: handles
  // made from it may still point into it.
  fgRegistry = new (std::nothrow) TEncodingRegistry(getDataDirectory());
  if (fgRegistry == nullptr) {
    nls::AssertLine(nls::site::kNoRegistryObject);
    return NLS_E_NO_MEMORY;
  }
  return fgRegistry->Initialize(getDataDirectory());
}

void EncodingConverter::deleteEncodingRegistry() {
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
    nls::AssertLine(nls::site::kExistsNoRegistry);
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
    fStatus = NLS_E_NO_MEMORY;  // the registry could not be allocated (line 221)
    return;
  }
  TEncodingRegistry::ResolvedPair known;
  if (from != nullptr && to != nullptr && fgRegistry->RecallPair(from, to, &known)) {
    fFromName = known.fromName;
    fToName = known.toName;
    if (known.secondFactory == nullptr) {
      fConverter = known.factory();
    } else {
      TEncodingConverter* first = known.factory();
      TEncodingConverter* second = first != nullptr ? known.secondFactory() : nullptr;
      if (!MakeTwoStage(first, second)) return;
    }
  } else {
    fFromName = normalizedEncodingName(from);
    fToName = normalizedEncodingName(to);
    // A pair with its own entry is always converted directly.
    NLS_ConverterFactory factory = nullptr;
    fConverter = fgRegistry->CreateEncodingConverter(fFromName, fToName, &factory);
    if (fConverter != nullptr && from != nullptr && to != nullptr)
      fgRegistry->RememberPair(from, to, {fFromName, fToName, factory, nullptr});
  }
  if (fConverter == nullptr) {
    TEncodingEntry* firstEntry = fgRegistry->FindEncoding(fFromName, NLS_PIVOT_ENCODING);
    TEncodingEntry* secondEntry = fgRegistry->FindEncoding(NLS_PIVOT_ENCODING, fToName);
    if (firstEntry == nullptr || secondEntry == nullptr) {
      fStatus = NLS_E_NO_CONVERSION;
      nls::AssertLine(nls::site::kNoConversionPath);
      return;
    }
    NLS_ConverterFactory firstFactory = nullptr, secondFactory = nullptr;
    TEncodingConverter* first = fgRegistry->CreateEncodingConverter(firstEntry, &firstFactory);
    TEncodingConverter* second =
        first != nullptr ? fgRegistry->CreateEncodingConverter(secondEntry, &secondFactory)
                         : nullptr;
    if (!MakeTwoStage(first, second)) return;
    if (from != nullptr && to != nullptr)
      fgRegistry->RememberPair(from, to, {fFromName, fToName, firstFactory, secondFactory});
  }
  fStatus = fConverter->GetStatus();
}

// Takes both stages (either may be null: its creation failed) and makes the
// two-stage converter of them; false, with the status and the diagnostic
// line of the failure, when that is not possible.
bool EncodingConverter::MakeTwoStage(TEncodingConverter* first, TEncodingConverter* second) {
  if (first == nullptr) {
    if (second != nullptr) second->ReleaseEncodingConverter();
    nls::AssertLine(nls::site::kNoFirstStage);
    fStatus = NLS_E_FIRST_STAGE;
    return false;
  }
  if (second == nullptr) {
    first->ReleaseEncodingConverter();
    nls::AssertLine(nls::site::kNoSecondStage);
    fStatus = NLS_E_SECOND_STAGE;
    return false;
  }
  fConverter = new (std::nothrow) TTwoStageConverter(fFromName, fToName, first, second);
  if (fConverter == nullptr) {
    first->ReleaseEncodingConverter();
    second->ReleaseEncodingConverter();
    nls::AssertLine(nls::site::kNoTwoStage);
    fStatus = NLS_E_NO_CONVERSION;
    return false;
  }
  return true;
}

EncodingConverter::~EncodingConverter() {
  if (fConverter != nullptr) fConverter->ReleaseEncodingConverter();
  delete[] fRemainder;
}

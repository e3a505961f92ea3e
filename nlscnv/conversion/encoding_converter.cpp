// EncodingConverter: construction from a name pair, lifetime, and the
// registry statics with on-demand initialisation.
#include "nlscnv/conversion/encoding_converter.h"

#include <new>

#include "nlscnv/framework/two_stage_converter.h"
#include "nlscnv/registry/encoding_registry.h"
#include "nlscnv/support/diagnostics.h"

namespace {
constexpr char kPivot[] = "ISO-10646-UCS-2";
}

TEncodingRegistry* EncodingConverter::fgRegistry = nullptr;

void EncodingConverter::EnsureRegistry() {
  if (fgRegistry == nullptr) NLS_EncInitialize(nullptr, nullptr);
}

int EncodingConverter::initializeEncodingRegistry() {
  // A registry that is already there is abandoned, not destroyed: handles
  // made from it may still point into it.
  fgRegistry = new (std::nothrow) TEncodingRegistry();
  if (fgRegistry == nullptr) {
    nls::AssertLine(221, nls::unit::kEnconv);
    return -1002;
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
    nls::AssertLine(270, nls::unit::kEnconv);
    return false;
  }
  const char* source = fgRegistry->NormalizeEncodingName(from);
  const char* destination = fgRegistry->NormalizeEncodingName(to);
  return fgRegistry->EnumerateEncodingConverters(source, destination) != 0;
}

EncodingConverter::EncodingConverter(const char* from, const char* to)
    : fStatus(1),
      fFromName(normalizedEncodingName(from)),
      fToName(normalizedEncodingName(to)),
      fRemainderSize(0),
      fRemainderCapacity(0),
      fRemainder(nullptr),
      fConverter(nullptr) {
  EnsureRegistry();
  if (fgRegistry == nullptr) {
    fStatus = -1002;  // the registry could not be allocated (line 221)
    return;
  }

  // A pair with its own entry is always converted directly.
  fConverter = fgRegistry->CreateEncodingConverter(fFromName, fToName);
  if (fConverter == nullptr) {
    TEncodingEntry* firstEntry = fgRegistry->FindEncoding(fFromName, kPivot);
    TEncodingEntry* secondEntry = fgRegistry->FindEncoding(kPivot, fToName);
    if (firstEntry == nullptr || secondEntry == nullptr) {
      fStatus = -1301;
      nls::AssertLine(90, nls::unit::kEnconv);
      return;
    }
    TEncodingConverter* first = fgRegistry->CreateEncodingConverter(firstEntry);
    if (first == nullptr) {
      nls::AssertLine(79, nls::unit::kEnconv);
      fStatus = -1007;
      return;
    }
    TEncodingConverter* second = fgRegistry->CreateEncodingConverter(secondEntry);
    if (second == nullptr) {
      first->ReleaseEncodingConverter();
      nls::AssertLine(81, nls::unit::kEnconv);
      fStatus = -1008;
      return;
    }
    fConverter = new (std::nothrow) TTwoStageConverter(fFromName, fToName, first, second);
    if (fConverter == nullptr) {
      first->ReleaseEncodingConverter();
      second->ReleaseEncodingConverter();
      nls::AssertLine(83, nls::unit::kEnconv);
      fStatus = -1301;
      return;
    }
  }
  fStatus = fConverter->GetStatus();
}

EncodingConverter::~EncodingConverter() {
  if (fConverter != nullptr) fConverter->ReleaseEncodingConverter();
  delete[] fRemainder;
}

// Exported calls that let a host see and steer the library itself: where
// diagnostics go, and what the registry found.
#include <cstddef>
#include <cstdio>

#include "nlscnv.h"
#include "nlscnv/conversion/encoding_converter.h"
#include "nlscnv/registry/encoding_registry.h"
#include "nlscnv/registry/load_report.h"
#include "nlscnv/support/diagnostic_handler.h"

namespace {

// The size of the first version of NLS_RegistryInfo; later versions only
// append members.
constexpr size_t kRegistryInfoFirstSize =
    offsetof(NLS_RegistryInfo, lastLibraryFailure) + sizeof(const char*);

}  // namespace

extern "C" {

int NLS_SetDiagnosticHandler(NLS_DiagnosticHandler handler, void* context) {
  return nls::SetDiagnosticHandler(handler, context);
}

void NLS_PrintDiagnostic(void* /*context*/, int line, const char* unit) {
  std::fprintf(stderr, "assert: line %d, file %s%c\n", line, unit, 7);
}

int NLS_GetRegistryInfo(NLS_RegistryInfo* info) {
  if (info == nullptr || info->size < kRegistryInfoFirstSize) return NLS_E_ARGUMENT;
  if (EncodingConverter::getEncodingRegistry() == nullptr) NLS_EncInitialize(nullptr, nullptr);
  TEncodingRegistry* registry = EncodingConverter::getEncodingRegistry();
  info->dataDirectory = registry != nullptr && registry->fDataDirectory != nullptr
                            ? registry->fDataDirectory
                            : EncodingConverter::getDataDirectory();
  nls::FillLoadReport(registry, info);
  return registry != nullptr && registry->fEncodings != nullptr ? NLS_OK : NLS_E_NO_MEMORY;
}

}  // extern "C"

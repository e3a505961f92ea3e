#include "nlscnv/conversion/converter_list.h"

#include <cstring>
#include <new>

#include "nlscnv/conversion/encoding_converter.h"
#include "nlscnv/registry/encoding_registry.h"
#include "nlscnv/support/diagnostics.h"

EncondingConverterList::EncondingConverterList(const char* from, const char* to)
    : fStatus(1),
      fFromPattern(EncodingConverter::normalizedEncodingName(from)),
      fToPattern(EncodingConverter::normalizedEncodingName(to)),
      fCount(0),
      fFromNames(nullptr),
      fToNames(nullptr),
      fRegistry(EncodingConverter::getEncodingRegistry()) {
  if (fRegistry == nullptr) {
    fStatus = NLS_E_NO_MEMORY;  // the registry could not be allocated: an empty list
    return;
  }
  const unsigned int slots = static_cast<unsigned int>(fRegistry->EncodingCount());
  fFromNames = new (std::nothrow) const char*[slots];
  if (fFromNames == nullptr) {
    nls::AssertLine(nls::site::kListNoSourceArray);
    fStatus = NLS_E_NO_MEMORY;
    return;
  }
  fToNames = new (std::nothrow) const char*[slots];
  if (fToNames == nullptr) {
    nls::AssertLine(nls::site::kListNoDestinationArray);
    fStatus = NLS_E_NO_MEMORY;
    return;
  }
  fRegistry->ListEncodingConverters(fFromPattern, fToPattern, fFromNames, fToNames, slots, &fCount);
  if (fCount > slots) fCount = slots;  // matches past the arrays were only counted
  if (fCount == 0 && fFromPattern[0] != '*' && fToPattern[0] != '*') {
    TEncodingEntry* first = fRegistry->FindEncoding(fFromPattern, NLS_PIVOT_ENCODING);
    TEncodingEntry* second = fRegistry->FindEncoding(NLS_PIVOT_ENCODING, fToPattern);
    if (first != nullptr && second != nullptr && slots > 0) {
      fFromNames[0] = first->GetSourceEncodingName();
      fToNames[0] = second->GetDestinationEncodingName();
      fCount = 1;
    }
  }
  fStatus = 1;
}

EncondingConverterList::~EncondingConverterList() {
  delete[] fFromNames;
  delete[] fToNames;
}

unsigned int EncondingConverterList::count() {
  fStatus = 1;
  return fCount;
}

void EncondingConverterList::index(unsigned int i, char* from, char* to) {
  if (i >= fCount) {
    from[0] = '\0';
    to[0] = '\0';
    fStatus = NLS_E_ARGUMENT;
    return;
  }
  std::strcpy(from, fFromNames[i]);
  std::strcpy(to, fToNames[i]);
  fStatus = 1;
}

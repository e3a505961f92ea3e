// Exported enumeration and naming calls.
#include <new>

#include "nlscnv.h"
#include "nlscnv/conversion/converter_list.h"
#include "nlscnv/conversion/encoding_converter.h"
#include "nlscnv/support/diagnostics.h"

namespace {

EncondingConverterList* List(NLS_EnumerationHandle handle) {
  return static_cast<EncondingConverterList*>(handle);
}

}  // namespace

extern "C" {

int NLS_NewEncodingConverterEnumeration(const char* from, const char* to,
                                        NLS_EnumerationHandle* out) {
  if (out == nullptr) return NLS_E_ARGUMENT;
  EncondingConverterList* list = new (std::nothrow) EncondingConverterList(from, to);
  *out = list;
  if (list == nullptr) {
    nls::AssertLine(nls::site::kNewEnumerationNoObject);
    return NLS_E_NO_ENUMERATION;
  }
  return 1;
}

int NLS_DeleteEncodingConverterEnumeration(NLS_EnumerationHandle handle) {
  if (handle == nullptr) return NLS_E_ARGUMENT;
  delete List(handle);
  return 1;
}

int NLS_CountEncodingConverters(NLS_EnumerationHandle handle, unsigned int* count) {
  if (handle == nullptr || count == nullptr) return NLS_E_ARGUMENT;
  *count = List(handle)->count();
  return 1;
}

int NLS_GetEncodingConverterListItem(NLS_EnumerationHandle handle, unsigned int index,
                                     char* fromBuffer, char* toBuffer) {
  if (handle == nullptr) return NLS_E_ARGUMENT;
  if (index >= List(handle)->count()) return NLS_E_ARGUMENT;
  List(handle)->index(index, fromBuffer, toBuffer);
  return 1;
}

const char* NLS_GetNormalizedEncodingName(const char* name) {
  return EncodingConverter::normalizedEncodingName(name);
}

const char* NLS_GetEncodingNameFromJava(const char* javaName) {
  return EncodingConverter::normalizedJavaName(javaName);
}

const char* NLS_GetJavaEncodingName(const char* name) {
  return EncodingConverter::javaEncodingName(name);
}

}  // extern "C"

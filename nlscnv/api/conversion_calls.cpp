// Exported conversion calls: thin wrappers over EncodingConverter.
#include <new>

#include "nlscnv.h"
#include "nlscnv/conversion/encoding_converter.h"
#include "nlscnv/framework/two_stage_converter.h"
#include "nlscnv/support/diagnostics.h"

namespace {

// Stack room for the intermediate UCS-2 text of NLS_ConvertBuffer in two
// stages; longer texts (the buffer holds twice the larger of input and
// output) take a heap buffer as usual.
constexpr unsigned kTwoStageScratch = 1024;

EncodingConverter* Object(NLS_ConverterHandle handle) {
  return static_cast<EncodingConverter*>(handle);
}

}  // namespace

extern "C" {

int NLS_NewEncodingConverter(const char* from, const char* to, NLS_ConverterHandle* out) {
  if (from == nullptr || to == nullptr || out == nullptr) {
    nls::AssertLine(nls::site::kNewConverterArgument);
    if (out != nullptr) *out = nullptr;
    return NLS_E_ARGUMENT;
  }
  EncodingConverter* object = new (std::nothrow) EncodingConverter(from, to);
  if (object == nullptr) {
    nls::AssertLine(nls::site::kNewConverterNoObject);
    *out = nullptr;
    return NLS_E_NO_MEMORY;
  }
  const int status = object->status();
  if (status == 1) {
    *out = object;
    return 1;
  }
  delete object;
  *out = nullptr;
  return status;
}

int NLS_DeleteEncodingConverter(NLS_ConverterHandle handle) {
  if (handle == nullptr) return NLS_E_ARGUMENT;
  delete Object(handle);
  return 1;
}

int NLS_ConvertBuffer(const char* from, const char* to, const unsigned char* src,
                      unsigned int srcLen, unsigned char* dst, unsigned int dstSize,
                      unsigned int* produced) {
  if (from == nullptr || to == nullptr || src == nullptr || dst == nullptr || produced == nullptr ||
      dstSize == 0) {
    nls::AssertLine(nls::site::kConvertBufferArgument);
    if (produced != nullptr) *produced = 0;
    return NLS_E_ARGUMENT;
  }
  // The temporary object lives on the stack: one conversion needs no heap
  // for it (its converter and any remainder are still allocated), nor, for
  // a short text converted in two stages, for the intermediate text.
  EncodingConverter object(from, to);
  unsigned char intermediate[kTwoStageScratch];
  if (auto* twoStage = dynamic_cast<TTwoStageConverter*>(object.converter()))
    twoStage->lendIntermediate(intermediate, sizeof intermediate);
  // The construction status is not looked at: without a converter, convert
  // reports -1014 itself.
  *produced = object.convert(src, srcLen, dst, dstSize);
  return object.status();
}

int NLS_ConvertStreamBuffer(NLS_ConverterHandle handle, const unsigned char* src,
                            unsigned int srcLen, unsigned char* dst, unsigned int dstSize,
                            unsigned int* produced) {
  if (handle == nullptr || produced == nullptr) return NLS_E_ARGUMENT;
  *produced = Object(handle)->convert(src, srcLen, dst, dstSize);
  return Object(handle)->status();
}

int NLS_GetConversionOverflowSize(NLS_ConverterHandle handle, unsigned int* size) {
  if (handle == nullptr || size == nullptr) return NLS_E_ARGUMENT;
  *size = 7 * Object(handle)->remainderSize();
  return 1;
}

int NLS_ConverterGetOverflow(NLS_ConverterHandle handle, unsigned char* dst, unsigned int dstSize,
                             unsigned int* produced) {
  if (handle == nullptr || produced == nullptr) return NLS_E_ARGUMENT;
  *produced = Object(handle)->nextBuffer(dst, dstSize);
  return Object(handle)->status();
}

int NLS_ResetEncodingConverter(NLS_ConverterHandle handle) {
  if (handle == nullptr) return NLS_E_ARGUMENT;
  Object(handle)->reset();
  return 1;
}

int NLS_GetConversionRemSize(NLS_ConverterHandle handle, unsigned int* size) {
  if (handle == nullptr || size == nullptr) return NLS_E_ARGUMENT;
  *size = Object(handle)->leftoverSize();
  return 1;
}

int NLS_GetConversionRem(NLS_ConverterHandle handle, unsigned char* dst, unsigned int dstSize,
                         unsigned int* count) {
  if (handle == nullptr || count == nullptr) return NLS_E_ARGUMENT;
  *count = Object(handle)->leftover(dst, dstSize);
  return Object(handle)->status();
}

unsigned int NLS_GetResultBufferSize(const unsigned char* src, unsigned int srcLen,
                                     const char* from, const char* to) {
  return EncodingConverter::resultBufferSize(src, srcLen, from, to);
}

int NLS_EncodingConverterExists(const char* from, const char* to) {
  return EncodingConverter::exists(from, to) ? 1 : 0;
}

int NLS_RegisterStaticLibrary(const NLS_StaticConverterEntry* list) {
  if (list == nullptr) {
    nls::AssertLine(nls::site::kRegisterNullList);
    return NLS_E_ARGUMENT;
  }
  EncodingConverter::registerStaticLibrary(
      reinterpret_cast<char*>(const_cast<NLS_StaticConverterEntry*>(list)));
  return 1;
}

}  // extern "C"

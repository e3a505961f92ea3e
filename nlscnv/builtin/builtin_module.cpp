// Factories of the built-in converters. Every factory runs the same frame:
// initialise the module once, allocate the converter, and hand out the pointer
// through which it is driven (the base part for classes that hold
// TEncodingConverter as a virtual base).
#include "nlscnv/builtin/builtin_module.h"
#include "nlscnv/support/encoding_names.h"

#include <new>

#include "nlscnv/converter.h"
#include "nlscnv/converters/escaped_unicode_converters.h"
#include "nlscnv/converters/latin1_converter.h"
#include "nlscnv/converters/modified_utf7_converters.h"
#include "nlscnv/converters/ucs4_converters.h"
#include "nlscnv/converters/utf7_converters.h"
#include "nlscnv/converters/utf8_converters.h"
#include "nlscnv/detection/utf8_detector.h"

extern "C" {

uint32_t gModuleRef = 0;

// The flag is set by whichever thread makes the first converter; concurrent
// first factory calls all store the same value.
void Init_ResModule(void) { __atomic_store_n(&gModuleRef, 1, __ATOMIC_RELAXED); }

}  // extern "C"

namespace {

void EnterModule() {
  if (__atomic_load_n(&gModuleRef, __ATOMIC_RELAXED) == 0) Init_ResModule();
}

template <typename Converter>
TEncodingConverter* MakeConverter() {
  EnterModule();
  Converter* converter = new (std::nothrow) Converter();
  return converter == nullptr ? nullptr : static_cast<TEncodingConverter*>(converter);
}

TEncodingConverter* MakeLatin1(const char* from, const char* to, unsigned short sizeFactor,
                               char fromUnicode) {
  EnterModule();
  return new (std::nothrow) TLatin1EncodingConverter(from, to, nullptr, nullptr, nullptr, 2,
                                                     sizeFactor, nullptr, 0, fromUnicode);
}

TEncodingConverter* MakeMacRoman(const char* from, const char* to, unsigned short sizeFactor,
                                 char fromUnicode) {
  EnterModule();
  return new (std::nothrow) TEncodingConverter(
      from, to, &macromanunicodetableset, gStaticUnicodeFromTableList, gStaticUnicodeToTableList, 6,
      sizeFactor, resourceTableStatic, __atomic_load_n(&gModuleRef, __ATOMIC_RELAXED), fromUnicode);
}

}  // namespace

extern "C" {

TEncodingConverter* NEWLATIN1TOUNICODEENCODINGCONVERTER(void) {
  return MakeLatin1(nls::names::kLatin1, nls::names::kUcs2, 2, 0);
}
TEncodingConverter* NEWUNICODETOLATIN1ENCODINGCONVERTER(void) {
  return MakeLatin1(nls::names::kUcs2, nls::names::kLatin1, 1, 1);
}
TEncodingConverter* NEWMACROMANTOUNICODEENCODINGCONVERTER(void) {
  return MakeMacRoman(nls::names::kMacRoman, nls::names::kUcs2, 2, 0);
}
TEncodingConverter* NEWUNICODETOMACROMANENCODINGCONVERTER(void) {
  return MakeMacRoman(nls::names::kUcs2, nls::names::kMacRoman, 1, 1);
}
TEncodingConverter* NEWUCS4TOUNICODEENCODINGCONVERTER(void) {
  return MakeConverter<TUCS4ToUnicodeConverter>();
}
TEncodingConverter* NEWUNICODETOUCS4ENCODINGCONVERTER(void) {
  return MakeConverter<TUnicodeToUCS4Converter>();
}
TEncodingConverter* NEWEUCSTOUNICODEENCODINGCONVERTER(void) {
  return MakeConverter<TEUCSToUnicodeConverter>();
}
TEncodingConverter* NEWUNICODETOEUCSENCODINGCONVERTER(void) {
  return MakeConverter<TUnicodeToEUCSConverter>();
}
TEncodingConverter* NEWUTF8TOUNICODEENCODINGCONVERTER(void) {
  return MakeConverter<TUTF8ToUnicodeConverter>();
}
TEncodingConverter* NEWUNICODETOUTF8ENCODINGCONVERTER(void) {
  return MakeConverter<TUnicodeToUTF8Converter>();
}
TEncodingConverter* NEWUTF7TOUNICODEENCODINGCONVERTER(void) {
  return MakeConverter<TUTF7ToUnicodeConverter>();
}
TEncodingConverter* NEWUNICODETOUTF7ENCODINGCONVERTER(void) {
  return MakeConverter<TUnicodeToUTF7Converter>();
}
TEncodingConverter* NEWMODIFIEDUTF7TOUNICODEENCODINGCONVERTER(void) {
  return MakeConverter<TModifiedUTF7ToUnicodeConverter>();
}
TEncodingConverter* NEWUNICODETOMODIFIEDUTF7ENCODINGCONVERTER(void) {
  return MakeConverter<TUnicodeToModifiedUTF7Converter>();
}
TAutoDetector* NEWUTF8ENCODINGDETECTOR(void) {
  EnterModule();
  return new (std::nothrow) TUTF8Detector();
}

}  // extern "C"

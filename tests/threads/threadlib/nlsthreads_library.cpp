// A converter library for the thread test: two factories that hand out the
// built-in Latin-1 converters, so that threads load a real library with
// dlopen and find its entry points with dlsym at the same time.
#include "nlscnv.h"

#define THREADLIB_EXPORT extern "C" __attribute__((visibility("default")))

THREADLIB_EXPORT TEncodingConverter* NewThreadLatinToUnicode() {
  return NEWLATIN1TOUNICODEENCODINGCONVERTER();
}

THREADLIB_EXPORT TEncodingConverter* NewUnicodeToThreadLatin() {
  return NEWUNICODETOLATIN1ENCODINGCONVERTER();
}

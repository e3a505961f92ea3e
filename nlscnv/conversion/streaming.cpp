// EncodingConverter streaming: one converter call per piece of input, with
// the unconsumed input kept as the remainder for nextBuffer.
#include <cstring>
#include <new>

#include "nlscnv/conversion/encoding_converter.h"
#include "nlscnv/support/diagnostics.h"

unsigned int EncodingConverter::convert(const unsigned char* src, unsigned int srcLen,
                                        unsigned char* dst, unsigned int dstSize) {
  if (fConverter == nullptr) {
    fStatus = NLS_E_NO_CONVERTER;
    return 0;
  }
  unsigned int produced = 0;
  unsigned int consumed = 0;
  fStatus = fConverter->Convert(dst, &produced, dstSize, src, srcLen, &consumed);
  if (consumed > srcLen) consumed = srcLen;

  const unsigned int rest = srcLen - consumed;
  fRemainderSize = rest;
  if (rest != 0) {
    // The bytes may lie inside fRemainder itself (nextBuffer), hence memmove
    // and freeing the old buffer only after the copy.
    if (fRemainderCapacity > rest) {
      std::memmove(fRemainder, src + consumed, rest);
    } else {
      unsigned char* grown = new (std::nothrow) unsigned char[rest];
      if (grown == nullptr) {
        // Keep what fits in the buffer we have and say that the rest is lost.
        fRemainderSize = fRemainderCapacity;
        if (fRemainderSize != 0) std::memmove(fRemainder, src + consumed, fRemainderSize);
        fStatus = NLS_E_NO_MEMORY;
        return produced;
      }
      std::memcpy(grown, src + consumed, rest);
      delete[] fRemainder;
      fRemainder = grown;
      fRemainderCapacity = rest;
    }
  }
  return produced;
}

unsigned int EncodingConverter::nextBuffer(unsigned char* dst, unsigned int dstSize) {
  if (dst == nullptr || dstSize == 0) {
    nls::AssertLine(nls::site::kOverflowArgument);
    fStatus = NLS_E_ARGUMENT;
    return 0;
  }
  return convert(fRemainder, fRemainderSize, dst, dstSize);
}

void EncodingConverter::reset() {
  fRemainderSize = 0;
  if (fConverter != nullptr) fConverter->Reset();
  fStatus = 1;
}

unsigned int EncodingConverter::remainderSize() {
  fStatus = 1;
  return fRemainderSize;
}

unsigned int EncodingConverter::leftoverSize() {
  fStatus = 1;
  return 0;
}

unsigned int EncodingConverter::leftover(unsigned char*, unsigned int) {
  fStatus = 1;
  return 0;
}

unsigned int EncodingConverter::resultBufferSize(const unsigned char* src, unsigned int srcLen,
                                                 const char* from, const char* to) {
  EnsureRegistry();
  EncodingConverter* temporary = new (std::nothrow) EncodingConverter(from, to);
  if (temporary == nullptr) {
    nls::AssertLine(nls::site::kResultSizeNoObject);
    return 0;
  }
  unsigned int size = 0;
  if (temporary->fConverter != nullptr) temporary->fConverter->TargetBufferSize(src, srcLen, &size);
  delete temporary;
  return size;
}

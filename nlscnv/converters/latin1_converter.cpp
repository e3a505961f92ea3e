// ISO-8859-1 <-> UCS-2: every byte is the character of the same number, and
// every character becomes the byte of its low eight bits. The counts follow
// from the buffer sizes, so each direction is one plain widening or narrowing
// loop.
#include "nlscnv/converters/latin1_converter.h"

#include <algorithm>

#include "nlscnv/converters/latin1_kernels.h"
#include "nlscnv/support/diagnostics.h"
#include "nlscnv/unaligned.h"

TLatin1EncodingConverter::TLatin1EncodingConverter(
    const char* sourceName, const char* destinationName, const UnicodeTableSet* tableSet,
    const UnicodeTableList* fromUnicodeTables, const UnicodeTableList* toUnicodeTables,
    unsigned short csid, unsigned short sizeFactor, const resourceMapTable* resourceMap,
    unsigned int moduleRef, char fromUnicode)
    : TEncodingConverter(sourceName, destinationName, tableSet, fromUnicodeTables, toUnicodeTables,
                         csid, sizeFactor, resourceMap, moduleRef, fromUnicode) {}

TLatin1EncodingConverter::~TLatin1EncodingConverter() = default;

// Stores characters while more than 2 output bytes remain; the 16-bit
// terminator follows when it fits (not after an odd-sized output).
int TLatin1EncodingConverter::ConvertToUnicode(unsigned char* dst, unsigned int* dstLen,
                                               unsigned int dstSize, const unsigned char* src,
                                               unsigned int srcLen, unsigned int* srcUsed) {
  if (dst == nullptr || dstLen == nullptr || src == nullptr || dstSize == 0 || srcLen == 0)
    return NLS_E_ARGUMENT;
  const unsigned n = std::min(srcLen, (dstSize - 1) / 2);
  nls::WidenBytes(dst, src, n);
  return nls::FinishConvert(dst, dstSize, 2 * n, dstLen, n, srcLen, srcUsed, 2);
}

// Writes bytes while at least 2 output bytes remain, then the NUL. With no
// output at all there is no room for the NUL either.
int TLatin1EncodingConverter::ConvertFromUnicode(unsigned char* dst, unsigned int* dstLen,
                                                 unsigned int dstSize, const unsigned char* src,
                                                 unsigned int srcLen, unsigned int* srcUsed) {
  const unsigned n = std::min(srcLen / 2, dstSize == 0 ? 0 : dstSize - 1);
  nls::NarrowUnits(dst, src, n);
  if (n == dstSize) nls::AssertLine(nls::site::kLatin1OutputUsedUp);
  return nls::FinishConvert(dst, dstSize, n, dstLen, 2 * n, srcLen, srcUsed, 1);
}

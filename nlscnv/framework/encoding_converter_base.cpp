// TEncodingConverter: fields, construction, the buffer-size rule and the
// direction dispatch. The table engine behind ConvertToUnicode and
// ConvertFromUnicode lives in table_engine.cpp, table loading in
// mapping_tables.cpp.
#include <initializer_list>

#include "nlscnv/converter.h"

TEncodingConverter::TEncodingConverter(const char* sourceName, const char* destinationName,
                                       const UnicodeTableSet* tableSet,
                                       const UnicodeTableList* fromUnicodeTables,
                                       const UnicodeTableList* toUnicodeTables, unsigned short csid,
                                       unsigned short sizeFactor,
                                       const resourceMapTable* resourceMap, unsigned int moduleRef,
                                       char fromUnicode)
    : fTableSet(tableSet),
      fToUnicodeTables(toUnicodeTables),
      fFromUnicodeTables(fromUnicodeTables),
      fCSID(csid),
      fSourceName(sourceName),
      fDestinationName(destinationName),
      fModuleRef(moduleRef),
      fResourceMap(resourceMap),
      fSizeFactor(sizeFactor),
      fFromUnicode(fromUnicode),
      fTableCount(0),
      fStatus(1) {
  // Both sets start empty so that the engine run on a converter without
  // tables maps nothing.
  for (uTableSet* set : {&fFromUnicodeSet, &fToUnicodeSet}) {
    for (int i = 0; i < 4; ++i) {
      set->tables[i] = nullptr;
      set->shiftTables[i] = nullptr;
      set->slots[i] = UnicodeTableSlot{0, 0xFF, 0x00};
    }
  }
  if (fResourceMap != nullptr) {
    fStatus = LoadUCS2TableSet(fCSID, fFromUnicode ? &fFromUnicodeSet : &fToUnicodeSet,
                               fFromUnicode ? 1 : 0);
  }
}

TEncodingConverter::~TEncodingConverter() = default;

void TEncodingConverter::Reset() {}

void TEncodingConverter::ReleaseEncodingConverter() { delete this; }

void TEncodingConverter::TargetBufferSize(const unsigned char*, unsigned int srcLen,
                                          unsigned int* size) {
  *size = fSizeFactor * srcLen + 2;
}

int TEncodingConverter::Convert(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
                                const unsigned char* src, unsigned int srcLen,
                                unsigned int* srcUsed) {
  if (fFromUnicode == 0) return ConvertToUnicode(dst, dstLen, dstSize, src, srcLen, srcUsed);
  return ConvertFromUnicode(dst, dstLen, dstSize, src, srcLen, srcUsed);
}

int TEncodingConverter::GetStatus() { return fStatus; }

TAutoDetector::~TAutoDetector() = default;

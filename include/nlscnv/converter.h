// Converter framework for C++ code: the converter base class, the mapping-table
// descriptions of table-driven converters and the detector interface. Converter
// libraries (lib<name>30.so) derive their converters from TEncodingConverter and
// export factories with C linkage that return them.
#ifndef NLSCNV_CONVERTER_H
#define NLSCNV_CONVERTER_H

#include <cstdint>

#include "nlscnv.h"

// ---- Mapping tables -------------------------------------------------------
//
// A mapping table is an array of 16-bit words: N (cell count), the offsets of
// the format array, the cell array and the mapping array, then those arrays.
// Cells are (first, last, value) triples; their 4-bit formats are packed four to
// a word, the first cell of each group in the lowest bits. Format 0 maps a range
// by offset, format 1 through the mapping array, format 2 a single code. 0xFFFD
// means "not mapped".

// One slot of a table set: a table id and the first bytes it handles.
struct UnicodeTableSlot {
  uint16_t tableId;  // 0 ends the used slots
  uint8_t firstByte;
  uint8_t lastByte;
};

// Static description of a converter's tables (up to four, tried in order).
struct UnicodeTableSet {
  uint16_t setId;
  UnicodeTableSlot slots[4];
};

// One entry of a table list; a list ends with table id 0.
struct UnicodeTableList {
  uint16_t tableId;
  const uint16_t* table;
};

// Table id to resource file names; ends with table id 0. Nothing reads the
// files: a non-null resource map is what makes a converter load its tables.
struct resourceMapTable {
  uint16_t tableId;
  const char* fromUnicodeNames[4];
  const char* toUnicodeNames[4];
};

struct ShiftTable;  // byte-sequence scheme of a table slot (table engine)

// Loaded form of a table set: three parallel groups of four slots.
struct uTableSet {
  const uint16_t* tables[4];
  const ShiftTable* shiftTables[4];
  UnicodeTableSlot slots[4];
};

extern "C" {
NLS_EXPORT const uint16_t* FindUTable(unsigned short tableId, const UnicodeTableList* list);
NLS_EXPORT const char* const* FindUTableName(unsigned short tableId, const resourceMapTable* map,
                                             int fromUnicode);
}

// ---- Built-in tables ------------------------------------------------------
//
// The static tables of the built-in module: ISO-8859-1 (table id 2) and
// MacRoman (table id 6), their table sets, the two table lists and the
// resource map.
extern "C" {
NLS_EXPORT extern const UnicodeTableSet latin1unicodetableset;
NLS_EXPORT extern const UnicodeTableSet macromanunicodetableset;
NLS_EXPORT extern const UnicodeTableList gStaticUnicodeToTableList[];
NLS_EXPORT extern const UnicodeTableList gStaticUnicodeFromTableList[];
NLS_EXPORT extern const resourceMapTable resourceTableStatic[];
NLS_EXPORT extern const uint16_t iso88591ToTbl[];
NLS_EXPORT extern const uint16_t iso88591FromTbl[];
}

// ---- Converter base class -------------------------------------------------
//
// Buffer contract of Convert(dst, dstLen, dstSize, src, srcLen, srcUsed):
// writes at most dstSize bytes: the output, then a terminator (NUL byte, or a
// 16-bit zero for UCS-2 output) that is left out when it does not fit. *dstLen
// counts the output without terminator, *srcUsed the input consumed. Result 1:
// all input consumed; 2: input left over; negative: a status code.
class NLS_EXPORT TEncodingConverter {
 public:
  TEncodingConverter(const char* sourceName, const char* destinationName,
                     const UnicodeTableSet* tableSet, const UnicodeTableList* fromUnicodeTables,
                     const UnicodeTableList* toUnicodeTables, unsigned short csid,
                     unsigned short sizeFactor, const resourceMapTable* resourceMap,
                     unsigned int moduleRef, char fromUnicode);

  // Virtual operations, in slot order.
  virtual void Reset();
  virtual ~TEncodingConverter();
  // Destroys the converter (allocated with new by its factory).
  virtual void ReleaseEncodingConverter();
  // *size = size factor * srcLen + 2 (room for the terminator).
  virtual void TargetBufferSize(const unsigned char* src, unsigned int srcLen, unsigned int* size);
  virtual int Convert(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
                      const unsigned char* src, unsigned int srcLen, unsigned int* srcUsed);
  virtual int GetStatus();
  // The table engine: bytes to UCS-2 and UCS-2 to bytes through the loaded tables.
  virtual int ConvertToUnicode(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
                               const unsigned char* src, unsigned int srcLen,
                               unsigned int* srcUsed);
  virtual int ConvertFromUnicode(unsigned char* dst, unsigned int* dstLen, unsigned int dstSize,
                                 const unsigned char* src, unsigned int srcLen,
                                 unsigned int* srcUsed);

  // Table loading (the tables are constant data: unloading releases nothing).
  int LoadUCS2TableSet(unsigned short csid, uTableSet* set, int fromUnicode);
  void UnloadUCS2TableSet(uTableSet* set, int fromUnicode);
  const uint16_t* LoadFromUCS2Table(unsigned short tableId);
  const uint16_t* LoadToUCS2Table(unsigned short tableId);
  void UnloadFromUCS2Table(unsigned short tableId);
  void UnloadToUCS2Table(unsigned short tableId);

  TEncodingConverter(const TEncodingConverter&) = delete;
  TEncodingConverter& operator=(const TEncodingConverter&) = delete;

 protected:
  const UnicodeTableSet* fTableSet;
  const UnicodeTableList* fToUnicodeTables;
  const UnicodeTableList* fFromUnicodeTables;
  uint16_t fCSID;
  const char* fSourceName;
  const char* fDestinationName;
  uint32_t fModuleRef;
  const resourceMapTable* fResourceMap;
  uint16_t fSizeFactor;
  char fFromUnicode;
  uTableSet fFromUnicodeSet;
  uTableSet fToUnicodeSet;
  uint32_t fTableCount;
  int32_t fStatus;
};

// ---- The end of a Convert call ---------------------------------------------
//
// Every converter ends the same way, written here once: the counts go to
// *dstLen and *srcUsed, a terminator of `terminatorBytes` zero bytes follows
// the output when it fits in dstSize (it is never written past it), and the
// result tells whether all input was consumed.
namespace nls {

inline void StoreCounts(unsigned char* dst, unsigned int dstSize, unsigned int produced,
                        unsigned int* dstLen, unsigned int consumed, unsigned int* srcUsed,
                        unsigned int terminatorBytes) {
  *dstLen = produced;
  *srcUsed = consumed;
  if (dstSize - produced >= terminatorBytes) {
    for (unsigned int i = 0; i < terminatorBytes; ++i) dst[produced + i] = 0;
  }
}

// Result NLS_OK when all input was consumed, NLS_INPUT_LEFT otherwise.
inline int FinishConvert(unsigned char* dst, unsigned int dstSize, unsigned int produced,
                         unsigned int* dstLen, unsigned int consumed, unsigned int srcLen,
                         unsigned int* srcUsed, unsigned int terminatorBytes) {
  StoreCounts(dst, dstSize, produced, dstLen, consumed, srcUsed, terminatorBytes);
  return consumed == srcLen ? NLS_OK : NLS_INPUT_LEFT;
}

// For converters whose result speaks of the terminator: NLS_INPUT_LEFT when
// it does not fit, otherwise `status` (the converter's own verdict).
inline int FinishConvertWithStatus(unsigned char* dst, unsigned int dstSize, unsigned int produced,
                                   unsigned int* dstLen, unsigned int consumed,
                                   unsigned int* srcUsed, unsigned int terminatorBytes,
                                   int status) {
  StoreCounts(dst, dstSize, produced, dstLen, consumed, srcUsed, terminatorBytes);
  return dstSize - produced >= terminatorBytes ? status : NLS_INPUT_LEFT;
}

}  // namespace nls

// ---- Detector interface ---------------------------------------------------

class NLS_EXPORT TAutoDetector {
 public:
  TAutoDetector() = default;
  TAutoDetector(const TAutoDetector&) = delete;
  TAutoDetector& operator=(const TAutoDetector&) = delete;

  // Virtual operations, in slot order.
  virtual void ReleaseEncodingDetector() = 0;
  // Writes the name of the encoding tested, with its NUL.
  virtual void DetectorEncoding(char* name) = 0;
  // Adds what the buffer shows to the caller's record.
  virtual int DetectBufferEncoding(const char* buffer, unsigned int length,
                                   _NLS_AUTO_DETECT_RESULT* result) = 0;
  virtual ~TAutoDetector();
};

#endif  // NLSCNV_CONVERTER_H

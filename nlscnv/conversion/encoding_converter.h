// EncodingConverter: the object behind a converter handle, and the
// process-wide state of the library (the registry and the data directory).
#ifndef NLSCNV_CONVERSION_ENCODING_CONVERTER_H
#define NLSCNV_CONVERSION_ENCODING_CONVERTER_H

#include <cstdint>

#include "nlscnv/converter.h"

class TEncodingRegistry;

class EncodingConverter {
 public:
  // Builds the converter for (from, to): the registry's direct converter for
  // the pair, else two stages that meet in "ISO-10646-UCS-2". The outcome is
  // in status(): 1, -1301, -1007, -1008 or the converter's own status.
  EncodingConverter(const char* from, const char* to);
  ~EncodingConverter();
  EncodingConverter(const EncodingConverter&) = delete;
  EncodingConverter& operator=(const EncodingConverter&) = delete;

  int status() const { return fStatus; }

  // Streaming (the remainder buffer holds input the converter did not take).
  unsigned int convert(const unsigned char* src, unsigned int srcLen, unsigned char* dst,
                       unsigned int dstSize);
  unsigned int nextBuffer(unsigned char* dst, unsigned int dstSize);
  void reset();
  unsigned int remainderSize();
  unsigned int leftoverSize();
  unsigned int leftover(unsigned char* dst, unsigned int dstSize);
  static unsigned int resultBufferSize(const unsigned char* src, unsigned int srcLen,
                                       const char* from, const char* to);

  // Registry statics.
  static int initializeEncodingRegistry();
  static void deleteEncodingRegistry();
  static TEncodingRegistry* getEncodingRegistry() { return fgRegistry; }
  static void registerStaticLibrary(char* list);
  static bool exists(const char* from, const char* to);

  // Name services.
  static const char* normalizedEncodingName(const char* name);
  static const char* normalizedJavaName(const char* name);
  static const char* javaEncodingName(const char* name);
  unsigned int unicodeStringLength(unsigned short* text);
  short intermidiateCSIDForUnicodeConversion(short csid);

  // Data directory: base directory + "/" when missing + "conv30/".
  static void setDataDirectory(const char* dir);
  static char* getDataDirectory();

  // The converter (for tests and the exported interface).
  TEncodingConverter* converter() const { return fConverter; }

 private:
  // Initialises the library (no mutex, no directory) when no registry exists.
  static void EnsureRegistry();
  bool MakeTwoStage(TEncodingConverter* first, TEncodingConverter* second);

  int32_t fStatus;
  const char* fFromName;
  const char* fToName;
  uint32_t fRemainderSize;
  uint32_t fRemainderCapacity;
  unsigned char* fRemainder;
  TEncodingConverter* fConverter;

  static TEncodingRegistry* fgRegistry;
  static char* fgConverterPath;
  static const char* kDefaultConverterPath;
};

#endif  // NLSCNV_CONVERSION_ENCODING_CONVERTER_H

// EncondingConverterList: the object behind an enumeration handle, a
// snapshot of the conversions that match two name patterns.
#ifndef NLSCNV_CONVERSION_CONVERTER_LIST_H
#define NLSCNV_CONVERSION_CONVERTER_LIST_H

#include <cstdint>

#include "nlscnv.h"

class TEncodingRegistry;

class EncondingConverterList {
 public:
  // "*" (or null) matches every name on its side. Two plain names give one
  // item when they convert directly or through UCS-2.
  EncondingConverterList(const char* from, const char* to);
  ~EncondingConverterList();
  EncondingConverterList(const EncondingConverterList&) = delete;
  EncondingConverterList& operator=(const EncondingConverterList&) = delete;

  unsigned int count();
  // Copies item i's names (with their NULs) into the two buffers; an index
  // out of range stores empty strings and sets the status to -1009.
  void index(unsigned int i, char* from, char* to);
  int status() const { return fStatus; }

 private:
  int32_t fStatus;
  const char* fFromPattern;
  const char* fToPattern;
  uint32_t fCount;
  const char** fFromNames;
  const char** fToNames;
  TEncodingRegistry* fRegistry;
};

#endif  // NLSCNV_CONVERSION_CONVERTER_LIST_H

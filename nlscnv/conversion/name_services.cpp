// Name services of EncodingConverter: canonical names and Java names.
#include "nlscnv/conversion/encoding_converter.h"
#include "nlscnv/registry/encoding_registry.h"

namespace {
constexpr char kAnyName[] = "*";
}

// Without a registry (it could not be allocated) a name stands for itself and
// no Java name is known.
const char* EncodingConverter::normalizedEncodingName(const char* name) {
  EnsureRegistry();
  if (name == nullptr) return kAnyName;
  if (fgRegistry == nullptr) return name;
  return fgRegistry->NormalizeEncodingName(name);
}

const char* EncodingConverter::normalizedJavaName(const char* name) {
  EnsureRegistry();
  if (name == nullptr) return kAnyName;
  if (fgRegistry == nullptr) return nullptr;
  return fgRegistry->NormalizeJavaEntity(name);
}

const char* EncodingConverter::javaEncodingName(const char* name) {
  EnsureRegistry();
  if (name == nullptr) return kAnyName;
  if (fgRegistry == nullptr) return nullptr;
  return fgRegistry->FindJavaEntityName(name);
}

unsigned int EncodingConverter::unicodeStringLength(unsigned short* text) {
  unsigned int length = 0;
  while (text[length] != 0) ++length;
  return length;
}

short EncodingConverter::intermidiateCSIDForUnicodeConversion(short csid) {
  if (csid == 515) return 260;
  if (csid == 525) return 1292;
  return 0;
}

#include "nlscnv/registry/registry_entries.h"

#include <strings.h>

#include <cstring>

namespace {

// Copies at most 63 bytes of the name and always terminates the field.
void CopyName(char (&field)[kNLSNameFieldSize], const char* name) {
  size_t length = 0;
  if (name != nullptr) {
    while (length < kNLSNameFieldSize - 1 && name[length] != '\0') ++length;
    std::memcpy(field, name, length);
  }
  field[length] = '\0';
}

int ComparePattern(const char* name, const char* pattern) {
  if (pattern == nullptr || pattern[0] == '*') return 0;
  return strcasecmp(name, pattern);
}

}  // namespace

bool NLSNameFits(const char* name) {
  return name != nullptr && strnlen(name, kNLSNameFieldSize) < kNLSNameFieldSize;
}

// ---- TAliasEntry ------------------------------------------------------------

TAliasEntry::TAliasEntry(const char* alias, const char* normalized) {
  CopyName(fAlias, alias);
  CopyName(fNormalized, normalized);
}

TAliasEntry::~TAliasEntry() = default;

const char* TAliasEntry::getPrimaryKey() { return fAlias; }
const char* TAliasEntry::getSecondaryKey() { return nullptr; }
char* TAliasEntry::GetAliasName() { return fAlias; }
char* TAliasEntry::GetNormalizedName() { return fNormalized; }

void TAliasEntry::GetNormalizedName(char* buffer) {
  std::memcpy(buffer, fNormalized, std::strlen(fNormalized) + 1);
}

int TAliasEntry::AliasEqual(const char* name) {
  if (name == nullptr) return 0;
  return strcasecmp(fAlias, name) == 0 ? 1 : 0;
}

int TAliasEntry::AliasCompare(TAliasEntry* entry, const char* name) {
  return strcasecmp(entry->fAlias, name);
}

int TAliasEntry::AliasCompare(TAliasEntry* first, TAliasEntry* second) {
  return strcasecmp(first->fAlias, second->fAlias);
}

// ---- TEncodingEntry ---------------------------------------------------------

TEncodingEntry::TEncodingEntry(const char* source, const char* destination, const char* library,
                               const char* converterEntry, const char* detectorEntry) {
  CopyName(fDestination, destination);
  CopyName(fSource, source);
  CopyName(fLibrary, library);
  CopyName(fConverterEntry, converterEntry);
  CopyName(fDetectorEntry, detectorEntry);
}

TEncodingEntry::~TEncodingEntry() = default;

const char* TEncodingEntry::getPrimaryKey() { return fSource; }
const char* TEncodingEntry::getSecondaryKey() { return fDestination; }
char* TEncodingEntry::GetSourceEncodingName() { return fSource; }
char* TEncodingEntry::GetDestinationEncodingName() { return fDestination; }

void TEncodingEntry::GetConverterEntry(char* library, char* entryPoint) {
  std::memcpy(library, fLibrary, std::strlen(fLibrary) + 1);
  std::memcpy(entryPoint, fConverterEntry, std::strlen(fConverterEntry) + 1);
}

void TEncodingEntry::GetDetectorEntry(char* library, char* entryPoint) {
  std::memcpy(library, fLibrary, std::strlen(fLibrary) + 1);
  std::memcpy(entryPoint, fDetectorEntry, std::strlen(fDetectorEntry) + 1);
}

int TEncodingEntry::EncodingCompare(TEncodingEntry* entry, const char* sourcePattern,
                                    const char* destinationPattern, char* equal) {
  int source = ComparePattern(entry->fSource, sourcePattern);
  int destination = ComparePattern(entry->fDestination, destinationPattern);
  *equal = (source == 0 && destination == 0) ? 1 : 0;
  return source;
}

int TEncodingEntry::EncodingCompare(TEncodingEntry* first, TEncodingEntry* second, char* equal) {
  int source = strcasecmp(first->fSource, second->fSource);
  int destination = strcasecmp(first->fDestination, second->fDestination);
  *equal = (source == 0 && destination == 0) ? 1 : 0;
  return source;
}

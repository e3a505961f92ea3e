// Readers of the registry files encreg.txt, aliasreg.txt and javareg.txt.
//
// A file is a sequence of tokens separated by white space; a record is five
// (encreg.txt) or two (aliasreg.txt, javareg.txt) consecutive tokens, and line
// breaks mean nothing inside or between records. Where a record would begin,
// a token starting with '/' opens a comment that runs to the end of its line.
#include <cstring>
#include <new>

#include "nlscnv/registry/encoding_registry.h"
#include "nlscnv/support/diagnostics.h"

namespace {

enum class Token { kRead, kTooLong, kEnd };

bool IsSpace(int c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

int SkipSpace(FILE* file) {
  int c;
  do {
    c = std::getc(file);
  } while (IsSpace(c));
  return c;
}

// Reads the next token into a 64-byte field. A token that does not fit is
// consumed whole and reported; the field then holds only its beginning.
Token ReadToken(FILE* file, char* field) {
  int c = SkipSpace(file);
  if (c == EOF) return Token::kEnd;
  size_t length = 0;
  bool tooLong = false;
  for (; c != EOF && !IsSpace(c); c = std::getc(file)) {
    if (length < kNLSNameFieldSize - 1) {
      field[length++] = static_cast<char>(c);
    } else {
      tooLong = true;
    }
  }
  field[length] = '\0';
  return tooLong ? Token::kTooLong : Token::kRead;
}

// The next complete record whose tokens all fit their fields. Records with
// an over-long token are skipped; a record cut short by the end of the file
// is dropped.
bool ReadRecord(FILE* file, char* const* fields, int fieldCount) {
  for (;;) {
    int c = SkipSpace(file);
    if (c == EOF) return false;
    if (c == '/') {
      while (c != '\n' && c != EOF) c = std::getc(file);
      continue;
    }
    std::ungetc(c, file);
    bool skip = false;
    for (int i = 0; i < fieldCount; ++i) {
      Token token = ReadToken(file, fields[i]);
      if (token == Token::kEnd) return false;
      if (token == Token::kTooLong) skip = true;
    }
    c = SkipSpace(file);
    if (c != EOF) std::ungetc(c, file);
    if (!skip) return true;
  }
}

}  // namespace

bool TEncodingRegistry::ReadOneEncodingLine(FILE* file, char* source, char* destination,
                                            char* library, char* converterEntry,
                                            char* detectorEntry) {
  char* const fields[] = {source, destination, library, converterEntry, detectorEntry};
  return ReadRecord(file, fields, 5);
}

bool TEncodingRegistry::ReadOneAliasLine(FILE* file, char* first, char* second) {
  char* const fields[] = {first, second};
  return ReadRecord(file, fields, 2);
}

int TEncodingRegistry::ReadEncodingRegistry(FILE* file) {
  if (fEncodings == nullptr || fAliases == nullptr) return fStatus = NLS_E_NO_MEMORY;
  char source[kNLSNameFieldSize], destination[kNLSNameFieldSize], library[kNLSNameFieldSize];
  char converterEntry[kNLSNameFieldSize], detectorEntry[kNLSNameFieldSize];
  while (ReadOneEncodingLine(file, source, destination, library, converterEntry, detectorEntry)) {
    TEncodingEntry* entry = new (std::nothrow)
        TEncodingEntry(source, destination, library, converterEntry, detectorEntry);
    if (entry == nullptr || !fEncodings->addEntry(entry)) {
      delete entry;
      nls::AssertLine(nls::site::kEncregEntryNoMemory);
      return fStatus = NLS_E_NO_MEMORY;
    }
    // The source name becomes a normalized name; the destination does not.
    TAliasEntry* identity = new (std::nothrow) TAliasEntry(source, source);
    if (identity == nullptr || !fAliases->addEntry(identity)) {
      delete identity;
      nls::AssertLine(nls::site::kEncregIdentityNoMemory);
      return fStatus = NLS_E_NO_MEMORY;
    }
  }
  return fStatus = 1;
}

int TEncodingRegistry::ReadAliasRegistry(FILE* file) {
  if (fAliases == nullptr) return fStatus = NLS_E_NO_MEMORY;
  char alias[kNLSNameFieldSize], normalized[kNLSNameFieldSize];
  while (ReadOneAliasLine(file, alias, normalized)) {
    TAliasEntry* entry = new (std::nothrow) TAliasEntry(alias, normalized);
    if (entry == nullptr || !fAliases->addEntry(entry)) {
      delete entry;
      nls::AssertLine(nls::site::kAliasregEntryNoMemory);
      return fStatus = NLS_E_NO_MEMORY;
    }
  }
  return fStatus = 1;
}

int TEncodingRegistry::ReadJavaAliasRegistry(FILE* file) {
  if (fJavaToNormalized == nullptr || fNormalizedToJava == nullptr)
    return fStatus = NLS_E_NO_MEMORY;
  char javaName[kNLSNameFieldSize], normalized[kNLSNameFieldSize];
  while (ReadOneAliasLine(file, javaName, normalized)) {
    TAliasEntry* toNormalized = new (std::nothrow) TAliasEntry(javaName, normalized);
    if (toNormalized == nullptr || !fJavaToNormalized->addEntry(toNormalized)) {
      delete toNormalized;
      nls::AssertLine(nls::site::kJavaEntryNoMemory);
      return fStatus = NLS_E_NO_MEMORY;
    }
    TAliasEntry* toJava = new (std::nothrow) TAliasEntry(normalized, javaName);
    if (toJava == nullptr || !fNormalizedToJava->addEntry(toJava)) {
      delete toJava;
      nls::AssertLine(nls::site::kReverseJavaEntryNoMemory);
      return fStatus = NLS_E_NO_MEMORY;
    }
  }
  return fStatus = 1;
}

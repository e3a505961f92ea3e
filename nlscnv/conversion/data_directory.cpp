// The data directory: the prefix ("<base>/conv30/") to which the registry
// files and the converter libraries' file names are appended.
#include <cstring>
#include <new>

#include "nlscnv/conversion/encoding_converter.h"
#include "nlscnv/support/diagnostics.h"

char* EncodingConverter::fgConverterPath = nullptr;
const char* EncodingConverter::kDefaultConverterPath = "conv30/";

void EncodingConverter::setDataDirectory(const char* dir) {
  delete[] fgConverterPath;
  fgConverterPath = nullptr;

  const size_t subdirectory = std::strlen(kDefaultConverterPath);
  char* path;
  if (dir == nullptr || dir[0] == '\0') {
    path = new (std::nothrow) char[subdirectory + 3];
    if (path == nullptr) {
      nls::AssertLine(nls::site::kDefaultDirectoryNoMemory);
      return;
    }
    std::strcpy(path, ".");
  } else {
    // Room for the base, a "/" that may be missing, the subdirectory and NUL.
    const size_t base = std::strlen(dir);
    path = new (std::nothrow) char[base + subdirectory + 2];
    if (path == nullptr) {
      nls::AssertLine(nls::site::kDirectoryNoMemory);
      return;
    }
    std::memcpy(path, dir, base + 1);
  }
  size_t length = std::strlen(path);
  if (path[length - 1] != '/') {
    path[length++] = '/';
    path[length] = '\0';
  }
  std::memcpy(path + length, kDefaultConverterPath, subdirectory + 1);
  fgConverterPath = path;
}

char* EncodingConverter::getDataDirectory() {
  if (fgConverterPath == nullptr) setDataDirectory("");
  return fgConverterPath;
}

// What the fault tests share: a data directory with all three registry files,
// a host mutex, a host's list of converters and a piece of Latin-1 text.
#ifndef NLSCNV_TESTS_FAULTS_FAULT_ENV_H
#define NLSCNV_TESTS_FAULTS_FAULT_ENV_H

#include <pthread.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "nlscnv.h"

namespace nls_faults {

inline void WriteTextFile(const std::string& path, const char* text) {
  FILE* f = std::fopen(path.c_str(), "w");
  if (f == nullptr) std::abort();
  std::fputs(text, f);
  std::fclose(f);
}

// A base directory whose conv30/ holds encreg.txt, aliasreg.txt and
// javareg.txt: two conversions served by the built-in module under another
// name, one by a library that does not exist, two aliases, two Java names.
inline const char* FilesDirectory() {
  static const std::string dir = [] {
    char base[] = "/tmp/nls_faults_XXXXXX";
    std::string d = mkdtemp(base);
    const std::string conv = d + "/conv30/";
    mkdir(conv.c_str(), 0700);
    WriteTextFile(conv + "encreg.txt",
                  "// conversions of the built-in module under other names\n"
                  "X-FILE ISO-10646-UCS-2 @@staticconvertersINTERNAL@@ "
                  "NewLatin1ToUnicodeEncodingConverter #\n"
                  "ISO-10646-UCS-2 X-FILE @@staticconvertersINTERNAL@@ "
                  "NewUnicodeToLatin1EncodingConverter #\n"
                  "X-LIB ISO-10646-UCS-2 nosuchlibrary NewXLibToUnicode #\n");
    WriteTextFile(conv + "aliasreg.txt", "x-file-alias X-FILE\nlatin-one ISO_8859-1:1987\n");
    WriteTextFile(conv + "javareg.txt", "JFILE X-FILE\nISO8859_1 ISO_8859-1:1987\n");
    return d;
  }();
  return dir.c_str();
}

inline pthread_mutex_t* Mutex() {
  static pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
  return &mutex;
}
inline void Lock(void* m) { pthread_mutex_lock(static_cast<pthread_mutex_t*>(m)); }
inline void Unlock(void* m) { pthread_mutex_unlock(static_cast<pthread_mutex_t*>(m)); }
inline MutexImplementation HostMutex() { return MutexImplementation{Mutex(), Lock, Unlock}; }

// Latin-1 text whose UTF-8 form does not fit a 10-byte buffer.
inline constexpr unsigned char kLatin[] =
    "Gr\xFC\xDF"
    "e \xC4\xD6\xDC\xE9";

inline constexpr NLS_StaticConverterEntry kHostList[] = {
    {"X-HOST", "ISO-10646-UCS-2", "HostLatinIn", NEWLATIN1TOUNICODEENCODINGCONVERTER},
    {"ISO-10646-UCS-2", "X-HOST", "HostLatinOut", NEWUNICODETOLATIN1ENCODINGCONVERTER},
    {nullptr, nullptr, nullptr, nullptr},
};

}  // namespace nls_faults

#endif  // NLSCNV_TESTS_FAULTS_FAULT_ENV_H

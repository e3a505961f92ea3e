// The trust rule for files that decide what the library runs: converter
// libraries and registry files. A file is used only when the file and the
// directory that holds it (after every symbolic link is resolved) are each
// owned by the effective user or by root and writable by neither group nor
// others; a root-owned file or directory whose group is root (gid 0) may be
// group-writable. Anything else could have been planted or changed by
// another user.
#ifndef NLSCNV_SUPPORT_FILE_TRUST_H
#define NLSCNV_SUPPORT_FILE_TRUST_H

#include <limits.h>
#include <sys/stat.h>
#include <sys/types.h>

namespace nls {

// Why the rule refuses a file or directory with this status, or null when
// it passes. The texts are constants ("refused: directory writable by
// others" and the like). stat64: in a 32-bit build plain fstat fails on
// large inode numbers.
const char* TrustRefusal(const struct stat64& info, uid_t effectiveUser, bool directory);

// A file opened for reading under the rule.
struct TrustedFile {
  int fd = -1;                    // read-only, close-on-exec; -1 when not opened
  const char* refusal = nullptr;  // set when the rule refused the file
  int error = 0;                  // errno when the file could not be opened
  char resolved[PATH_MAX];        // the path with every symbolic link resolved
};

// Resolves the path, opens the directory that holds the target, checks it,
// then opens the file in that directory without following a link and checks
// the opened file. The checks apply to what was opened, so a file or link
// swapped in meanwhile is not used unchecked. True with file->fd open (the
// caller closes it); false with either file->refusal or file->error set.
bool OpenTrustedFile(const char* path, TrustedFile* file);

}  // namespace nls

#endif  // NLSCNV_SUPPORT_FILE_TRUST_H

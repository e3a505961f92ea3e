#include "nlscnv/support/file_trust.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstring>

namespace nls {

const char* TrustRefusal(const struct stat64& info, uid_t effectiveUser, bool directory) {
  if (info.st_uid != effectiveUser && info.st_uid != 0) {
    return directory ? "refused: directory owned by another user"
                     : "refused: file owned by another user";
  }
  if ((info.st_mode & S_IWOTH) != 0) {
    return directory ? "refused: directory writable by others" : "refused: file writable by others";
  }
  if ((info.st_mode & S_IWGRP) != 0 && (info.st_uid != 0 || info.st_gid != 0)) {
    return directory ? "refused: directory writable by its group"
                     : "refused: file writable by its group";
  }
  return nullptr;
}

bool OpenTrustedFile(const char* path, TrustedFile* file) {
  file->fd = -1;
  file->refusal = nullptr;
  file->error = 0;
  // realpath fills the caller's buffer without allocating (for paths of
  // ordinary length) and fails when the file does not exist.
  if (path == nullptr || realpath(path, file->resolved) == nullptr) {
    file->error = path == nullptr ? EINVAL : errno;
    return false;
  }
  // The result is absolute: its last "/" separates directory and name.
  char* slash = std::strrchr(file->resolved, '/');
  int directoryFd;
  if (slash == file->resolved) {
    directoryFd = open("/", O_PATH | O_DIRECTORY | O_CLOEXEC);
  } else {
    *slash = '\0';
    directoryFd = open(file->resolved, O_PATH | O_DIRECTORY | O_CLOEXEC);
    *slash = '/';
  }
  if (directoryFd < 0) {
    file->error = errno;
    return false;
  }
  const uid_t user = geteuid();
  struct stat64 info;
  if (fstat64(directoryFd, &info) != 0) {
    file->error = errno;
    close(directoryFd);
    return false;
  }
  // The directory first: nothing in an untrusted one is even opened.
  file->refusal = TrustRefusal(info, user, true);
  if (file->refusal != nullptr) {
    close(directoryFd);
    return false;
  }
  // A link put in place of the file since realpath makes this fail.
  const int fd = openat(directoryFd, slash + 1, O_RDONLY | O_NOFOLLOW | O_NOCTTY | O_CLOEXEC);
  file->error = fd < 0 ? errno : 0;
  close(directoryFd);
  if (fd < 0) return false;
  if (fstat64(fd, &info) != 0) {
    file->error = errno;
    close(fd);
    return false;
  }
  file->refusal = TrustRefusal(info, user, false);
  if (file->refusal != nullptr) {
    close(fd);
    return false;
  }
  file->fd = fd;
  return true;
}

}  // namespace nls

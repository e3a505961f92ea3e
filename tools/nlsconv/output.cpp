#include "output.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

namespace nlsconv {

namespace {

// The temporary file that an interrupt must remove (a fixed buffer: the
// signal handler may only call async-signal-safe functions).
char gTemporary[PATH_MAX + 1];
volatile sig_atomic_t gHaveTemporary = 0;

void OnInterrupt(int signal) {
  if (gHaveTemporary) unlink(gTemporary);
  ::signal(signal, SIG_DFL);
  raise(signal);
}

void RememberTemporary(const std::string& path) {
  gHaveTemporary = 0;
  if (path.size() < sizeof gTemporary) {
    std::memcpy(gTemporary, path.c_str(), path.size() + 1);
    gHaveTemporary = 1;
  }
}

}  // namespace

void InstallInterruptCleanup() {
  for (int s : {SIGINT, SIGTERM, SIGHUP}) signal(s, OnInterrupt);
}

Output::~Output() { Abandon(); }

bool Output::Fail(int error) {
  if (!failed_) fprintf(stderr, "nlsconv: %s: %s\n", name_.c_str(), strerror(error));
  failed_ = true;
  return false;
}

bool Output::Open(const std::string& path) {
  if (path.empty()) {
    name_ = "standard output";
    file_ = stdout;
    return true;
  }
  name_ = path;
  struct stat info;
  std::string target = path;
  bool exists = stat(path.c_str(), &info) == 0;
  if (exists && !S_ISREG(info.st_mode)) {
    // A device or a pipe cannot be replaced: write to it directly.
    file_ = fopen(path.c_str(), "wb");
    return file_ != nullptr || Fail(errno);
  }
  struct stat link;
  if (exists && lstat(path.c_str(), &link) == 0 && S_ISLNK(link.st_mode)) {
    // Replace the file that the link points to, not the link.
    char resolved[PATH_MAX];
    if (realpath(path.c_str(), resolved) == nullptr) return Fail(errno);
    target = resolved;
  }
  const size_t slash = target.rfind('/');
  const std::string directory = slash == std::string::npos ? "" : target.substr(0, slash + 1);
  const std::string base = slash == std::string::npos ? target : target.substr(slash + 1);
  std::string pattern = directory + "." + base + ".nlsconv-XXXXXX";
  int fd = mkstemp(&pattern[0]);
  if (fd < 0) return Fail(errno);
  RememberTemporary(pattern);
  // A new file gets the usual permissions, a replaced one keeps its own.
  mode_t mode;
  if (exists) {
    mode = info.st_mode & 07777;
  } else {
    const mode_t mask = umask(0);
    umask(mask);
    mode = 0666 & ~mask;
  }
  if (fchmod(fd, mode) != 0) {
    const int error = errno;
    close(fd);
    unlink(pattern.c_str());
    gHaveTemporary = 0;
    return Fail(error);
  }
  file_ = fdopen(fd, "wb");
  if (file_ == nullptr) {
    const int error = errno;
    close(fd);
    unlink(pattern.c_str());
    gHaveTemporary = 0;
    return Fail(error);
  }
  temporary_ = pattern;
  final_ = target;
  return true;
}

bool Output::Write(const void* data, size_t n) {
  if (failed_) return false;
  if (n == 0) return true;
  errno = 0;
  if (fwrite(data, 1, n, file_) != n) return Fail(errno != 0 ? errno : EIO);
  return true;
}

bool Output::Commit() {
  if (file_ == nullptr) return !failed_;
  errno = 0;
  bool ok = !failed_;
  if (fflush(file_) != 0 || ferror(file_)) {
    if (ok) Fail(errno != 0 ? errno : EIO);
    ok = false;
  }
  // Closing reports errors that a file system defers to the last moment.
  if (fclose(file_) != 0 && ok) {
    Fail(errno);
    ok = false;
  }
  file_ = nullptr;
  if (!temporary_.empty()) {
    if (ok && rename(temporary_.c_str(), final_.c_str()) != 0) {
      Fail(errno);
      ok = false;
    }
    if (!ok) unlink(temporary_.c_str());
    temporary_.clear();
    gHaveTemporary = 0;
  }
  return ok;
}

void Output::Abandon() {
  if (file_ != nullptr && file_ != stdout) fclose(file_);
  if (file_ == stdout) fflush(stdout);
  file_ = nullptr;
  if (!temporary_.empty()) {
    unlink(temporary_.c_str());
    temporary_.clear();
    gHaveTemporary = 0;
  }
}

}  // namespace nlsconv

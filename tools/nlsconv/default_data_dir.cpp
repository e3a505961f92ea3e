// The data directory used when neither --data-dir nor QV_NLS_DATADIRECTORY
// names one. The program in the build tree uses the build tree's data
// directory. The installed program looks for the data directory where the
// installation put it relative to the program itself, so that an installed
// tree still works after it has been moved, and otherwise uses the directory
// that the installation was configured with.
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

namespace nlsconv {

const char* DefaultDataDirectory() {
#ifdef NLSCONV_RELATIVE_DATA_DIRECTORY
  static std::string relocated;
  if (relocated.empty()) {
    char program[PATH_MAX];
    const ssize_t n = readlink("/proc/self/exe", program, sizeof program - 1);
    if (n > 0) {
      std::string path(program, static_cast<size_t>(n));
      path = path.substr(0, path.rfind('/') + 1) + NLSCONV_RELATIVE_DATA_DIRECTORY;
      struct stat info;
      relocated = stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode) ? path : "-";
    } else {
      relocated = "-";
    }
  }
  if (relocated != "-") return relocated.c_str();
#endif
  return NLSCONV_DATA_DIRECTORY;
}

}  // namespace nlsconv

#include "runtime/Code/ZRRegularFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace {

/// 0, or the errno value that refuses the open item.
int refusalOf(int descriptor) {
  struct stat status {};
  if (::fstat(descriptor, &status) != 0) return errno;
  if (S_ISDIR(status.st_mode)) return EISDIR;
  return S_ISREG(status.st_mode) ? 0 : EINVAL;
}

}  // namespace

namespace zrrt {

Stream openRegularFile(const char* path, int flags, const char* mode) {
  constexpr mode_t kPermissions = 0666;
  const int descriptor = ::open(path, flags | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, kPermissions);
  if (descriptor < 0) return nullptr;
  int error = refusalOf(descriptor);
  if (error == 0) {
    if (std::FILE* stream = ::fdopen(descriptor, mode)) return Stream(stream);
    error = errno;
  }
  ::close(descriptor);
  errno = error;
  return nullptr;
}

}  // namespace zrrt

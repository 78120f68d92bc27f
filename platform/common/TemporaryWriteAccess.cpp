#include "platform/common/TemporaryWriteAccess.h"

#include <sys/stat.h>
#include <unistd.h>

#include <utility>

namespace platform {

TemporaryWriteAccess::TemporaryWriteAccess(std::string path) : _path(std::move(path)) {
  struct stat status {};
  if (lstat(_path.c_str(), &status) != 0 || S_ISLNK(status.st_mode) || status.st_uid != geteuid()) return;
  const mode_t mode = status.st_mode & 07777;
  if ((mode & S_IWUSR) == 0 && chmod(_path.c_str(), mode | S_IWUSR) == 0) _mode = mode;
}

TemporaryWriteAccess::~TemporaryWriteAccess() {
  if (_mode) chmod(_path.c_str(), *_mode);
}

}  // namespace platform

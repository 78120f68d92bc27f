#include "platform/common/TaskLaunch.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace platform {

LaunchException::LaunchException(std::string name, std::string reason)
    : _name(std::move(name)), _reason(std::move(reason)) {}

void refuseLaunch(const std::string& what, int error) {
  throw LaunchException("NSInvalidArgumentException", posixError(error, what).description);
}

void requireFolder(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) refuseLaunch(path, errno);
  if (!S_ISDIR(status.st_mode)) refuseLaunch(path, ENOTDIR);
  if (::access(path.c_str(), X_OK) != 0) refuseLaunch(path, errno);
}

}  // namespace platform

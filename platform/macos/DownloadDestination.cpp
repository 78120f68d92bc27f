#include "platform/macos/DownloadDestination.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "platform/common/FileDescriptor.h"
#include "platform/common/ItemCalls.h"

namespace platform {
namespace {

bool holdsBytes(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0 && status.st_size > 0;
}

}  // namespace

DownloadDestination::~DownloadDestination() {
  (void)abandon();
}

Error DownloadDestination::choose() {
  if (Error error = _target.check()) return error;
  _writePath = _target.makeWritePath();
  return {};
}

Error DownloadDestination::commit() {
  const FileDescriptor file = openAt(AT_FDCWD, _writePath.c_str(), O_RDONLY | O_NOFOLLOW);
  if (!file.isOpen()) return _target.failure(UrlErrorCode::cannotOpenFile);
  if (!flushed(file.get())) return _target.failure(UrlErrorCode::cannotWriteToFile);
  if (Error error = _target.commit(_writePath)) return error;
  _writePath.clear();
  return {};
}

Error DownloadDestination::abandon() {
  const std::string partial = std::exchange(_writePath, {});
  if (partial.empty() || (holdsBytes(partial) && _target.keepPartial(partial))) return {};
  const bool isGone = unlink(partial.c_str()) == 0 || errno == ENOENT;
  return isGone ? Error() : _target.failure(UrlErrorCode::cannotRemoveFile);
}

}  // namespace platform

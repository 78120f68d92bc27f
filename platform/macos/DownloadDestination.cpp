#include "platform/macos/DownloadDestination.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <utility>

#include "platform/Path.h"
#include "platform/UrlLoading.h"
#include "platform/common/FileDescriptor.h"
#include "platform/common/FreeNames.h"
#include "platform/common/HiddenNames.h"
#include "platform/common/ItemCalls.h"

namespace platform {
namespace {

Error urlError(UrlErrorCode code, std::string description) {
  return {kUrlErrorDomain, static_cast<std::int64_t>(code), std::move(description)};
}

Error fileError(UrlErrorCode code, int number, const std::string& path) {
  return urlError(code, posixError(number, path).description);
}

bool holdsBytes(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0 && status.st_size > 0;
}

}  // namespace

DownloadDestination::~DownloadDestination() {
  (void)abandon();
}

void DownloadDestination::set(const std::string& path, bool overwrite) {
  _path = path;
  _overwrite = overwrite;
}

Error DownloadDestination::choose() {
  if (_path.empty()) return urlError(UrlErrorCode::cannotCreateFile, "The download has no destination.");
  struct stat existing {};
  const bool exists = lstat(_path.c_str(), &existing) == 0;
  if (exists && S_ISDIR(existing.st_mode)) return fileError(UrlErrorCode::cannotOpenFile, EISDIR, _path);
  if (exists && !_overwrite) return fileError(UrlErrorCode::cannotCreateFile, EEXIST, _path);
  _writePath = joinPath(parentFolder(_path), hiddenName());
  return {};
}

Error DownloadDestination::commit() {
  const FileDescriptor file = openAt(AT_FDCWD, _writePath.c_str(), O_RDONLY | O_NOFOLLOW);
  if (!file.isOpen()) return fileError(UrlErrorCode::cannotOpenFile, errno, _path);
  if (!flushed(file.get())) return fileError(UrlErrorCode::cannotWriteToFile, errno, _path);
  const bool moved =
      _overwrite ? rename(_writePath.c_str(), _path.c_str()) == 0 : renameToFreeName(_writePath, _path);
  if (!moved) return fileError(UrlErrorCode::cannotMoveFile, errno, _path);
  _writePath.clear();
  return {};
}

Error DownloadDestination::abandon() {
  const std::string partial = std::exchange(_writePath, {});
  if (partial.empty()) return {};
  // Kept, it is found where it was meant to be, unless that is taken.
  if (!_deletesPartialFile && holdsBytes(partial) && renameToFreeName(partial, _path)) return {};
  if (unlink(partial.c_str()) == 0 || errno == ENOENT) return {};
  return fileError(UrlErrorCode::cannotRemoveFile, errno, _path);
}

}  // namespace platform

#include "platform/common/DownloadTarget.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>

#include "platform/Path.h"
#include "platform/common/FreeNames.h"
#include "platform/common/HiddenNames.h"
#include "platform/common/UrlError.h"

namespace platform {

void DownloadTarget::set(const std::string& path, bool overwrite) {
  _path = path;
  _overwrite = overwrite;
}

Error DownloadTarget::check() const {
  if (_path.empty()) return urlError(UrlErrorCode::cannotCreateFile, "The download has no destination.");
  struct stat existing {};
  if (lstat(_path.c_str(), &existing) != 0) return {};  // what else is wrong there shows when it is created
  if (S_ISDIR(existing.st_mode)) return urlError(UrlErrorCode::cannotOpenFile, EISDIR, _path);
  return _overwrite ? Error() : urlError(UrlErrorCode::cannotCreateFile, EEXIST, _path);
}

std::string DownloadTarget::makeWritePath() const {
  return joinPath(parentFolder(_path), hiddenName());
}

Error DownloadTarget::commit(const std::string& writePath) const {
  const bool moved =
      _overwrite ? rename(writePath.c_str(), _path.c_str()) == 0 : renameToFreeName(writePath, _path);
  return moved ? Error() : failure(UrlErrorCode::cannotMoveFile);
}

bool DownloadTarget::keepPartial(const std::string& writePath) const {
  return !_deletesPartialFile && renameToFreeName(writePath, _path);
}

Error DownloadTarget::failure(UrlErrorCode code) const {
  return urlError(code, errno, _path);
}

}  // namespace platform

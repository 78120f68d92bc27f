#include "platform/linux/DownloadFile.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <utility>

#include "platform/Path.h"
#include "platform/common/FreeNames.h"
#include "platform/common/HiddenNames.h"
#include "platform/common/ItemCalls.h"
#include "platform/linux/HttpTransfer.h"

namespace platform {
namespace {

Error fileError(UrlErrorCode code, int number, const std::string& path) {
  return urlError(code, posixError(number, path).description);
}

}  // namespace

DownloadFile::~DownloadFile() {
  (void)abandon();
}

void DownloadFile::setDestination(const std::string& path, bool overwrite) {
  _path = path;
  _overwrite = overwrite;
}

Error DownloadFile::create() {
  if (_path.empty()) return urlError(UrlErrorCode::cannotCreateFile, "The download has no destination.");
  struct stat existing {};
  const bool exists = lstat(_path.c_str(), &existing) == 0;
  if (exists && S_ISDIR(existing.st_mode)) return fileError(UrlErrorCode::cannotOpenFile, EISDIR, _path);
  if (exists && !_overwrite) return fileError(UrlErrorCode::cannotCreateFile, EEXIST, _path);

  do {
    _writePath = joinPath(parentFolder(_path), hiddenName());
    _file = openAt(AT_FDCWD, _writePath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0666);
  } while (!_file.isOpen() && errno == EEXIST);
  if (!_file.isOpen()) return fileError(UrlErrorCode::cannotCreateFile, errno, _path);
  _pending = true;
  return {};
}

Error DownloadFile::write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(_file.get(), bytes.data(), bytes.size());
    if (written >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno != EINTR) {
      return fileError(UrlErrorCode::cannotWriteToFile, errno, _path);
    }
  }
  return {};
}

Error DownloadFile::commit() {
  if (!flushed(_file.get())) return fileError(UrlErrorCode::cannotWriteToFile, errno, _path);
  if (!_file.close()) return fileError(UrlErrorCode::cannotCloseFile, errno, _path);
  const bool moved =
      _overwrite ? rename(_writePath.c_str(), _path.c_str()) == 0 : renameToFreeName(_writePath, _path);
  if (!moved) return fileError(UrlErrorCode::cannotMoveFile, errno, _path);
  _pending = false;
  return {};
}

Error DownloadFile::abandon() {
  _file.close();
  if (!std::exchange(_pending, false)) return {};
  // Kept, it is found where it was meant to be, unless that is taken.
  if (!_deletesPartialFile && renameToFreeName(_writePath, _path)) return {};
  if (unlink(_writePath.c_str()) == 0) return {};
  return fileError(UrlErrorCode::cannotRemoveFile, errno, _path);
}

}  // namespace platform

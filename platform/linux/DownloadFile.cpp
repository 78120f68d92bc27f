#include "platform/linux/DownloadFile.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <utility>

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

  _writePath = exists ? _path + ".download" : _path;
  const int flags = O_WRONLY | O_CREAT | O_NOFOLLOW | (exists ? O_TRUNC : O_EXCL);
  _file = openAt(AT_FDCWD, _writePath.c_str(), flags, 0666);
  if (!_file.isOpen()) return fileError(UrlErrorCode::cannotCreateFile, errno, _writePath);
  _pending = true;
  return {};
}

Error DownloadFile::write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(_file.get(), bytes.data(), bytes.size());
    if (written >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno != EINTR) {
      return fileError(UrlErrorCode::cannotWriteToFile, errno, _writePath);
    }
  }
  return {};
}

Error DownloadFile::commit() {
  if (!_file.close()) return fileError(UrlErrorCode::cannotCloseFile, errno, _writePath);
  if (_writePath != _path && rename(_writePath.c_str(), _path.c_str()) != 0) {
    return fileError(UrlErrorCode::cannotMoveFile, errno, _path);
  }
  _pending = false;
  return {};
}

Error DownloadFile::abandon() {
  _file.close();
  if (!std::exchange(_pending, false) || !_deletesPartialFile) return {};
  if (unlink(_writePath.c_str()) == 0) return {};
  return fileError(UrlErrorCode::cannotRemoveFile, errno, _writePath);
}

}  // namespace platform

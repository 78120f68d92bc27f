#include "platform/linux/DownloadFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "platform/common/ItemCalls.h"

namespace platform {

DownloadFile::~DownloadFile() {
  (void)abandon();
}

Error DownloadFile::create() {
  if (Error error = _target.check()) return error;
  do {
    _writePath = _target.makeWritePath();
    _file = openAt(AT_FDCWD, _writePath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0666);
  } while (!_file.isOpen() && errno == EEXIST);
  if (!_file.isOpen()) return _target.failure(UrlErrorCode::cannotCreateFile);
  _pending = true;
  return {};
}

Error DownloadFile::write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(_file.get(), bytes.data(), bytes.size());
    if (written >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno != EINTR) {
      return _target.failure(UrlErrorCode::cannotWriteToFile);
    }
  }
  return {};
}

Error DownloadFile::commit() {
  if (!flushed(_file.get())) return _target.failure(UrlErrorCode::cannotWriteToFile);
  if (!_file.close()) return _target.failure(UrlErrorCode::cannotCloseFile);
  if (Error error = _target.commit(_writePath)) return error;
  _pending = false;
  return {};
}

Error DownloadFile::abandon() {
  _file.close();
  if (!std::exchange(_pending, false) || _target.keepPartial(_writePath)) return {};
  return unlink(_writePath.c_str()) == 0 ? Error() : _target.failure(UrlErrorCode::cannotRemoveFile);
}

}  // namespace platform

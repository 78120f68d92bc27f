#include "platform/linux/FileLock.h"

#include <sys/file.h>

#include <cerrno>
#include <chrono>
#include <thread>

#include "platform/Path.h"

namespace platform {
namespace {

constexpr std::chrono::seconds kLimit{5};
constexpr std::chrono::milliseconds kPause{5};

}  // namespace

FileLock::FileLock(const std::string& guardedFile) {
  const std::string path = joinPath(parentFolder(guardedFile), '.' + lastComponent(guardedFile) + ".lock");
  _file = openAt(AT_FDCWD, path.c_str(), O_RDONLY | O_CREAT | O_NOFOLLOW, 0644);
  const auto end = std::chrono::steady_clock::now() + kLimit;
  while (_file.isOpen()) {
    _isHeld = flock(_file.get(), LOCK_EX | LOCK_NB) == 0;
    const bool isTaken = !_isHeld && (errno == EWOULDBLOCK || errno == EINTR);
    if (!isTaken || std::chrono::steady_clock::now() >= end) return;
    std::this_thread::sleep_for(kPause);
  }
}

}  // namespace platform

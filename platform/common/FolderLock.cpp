#include "platform/FolderLock.h"

#include <sys/file.h>

#include <cerrno>

#include "platform/common/FileDescriptor.h"

namespace platform {

struct FolderLock::State {
  FileDescriptor folder;
};

FolderLock::FolderLock() = default;
FolderLock::~FolderLock() = default;
FolderLock::FolderLock(FolderLock&&) noexcept = default;
FolderLock& FolderLock::operator=(FolderLock&&) noexcept = default;

Error FolderLock::tryLock(const std::string& folder) {
  auto state = std::make_unique<State>();
  state->folder = openAt(AT_FDCWD, folder.c_str(), O_RDONLY | O_DIRECTORY);
  if (!state->folder.isOpen()) return posixError(errno, folder);
  while (flock(state->folder.get(), LOCK_EX | LOCK_NB) != 0) {
    if (errno != EINTR) return posixError(errno, folder);
  }
  _state = std::move(state);
  return {};
}

}  // namespace platform

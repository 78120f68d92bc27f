#include "platform/common/ItemCalls.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace platform {

bool renameToFreeName(int fromFolder, const char* from, int toFolder, const char* to) {
  return renameat2(fromFolder, from, toFolder, to, RENAME_NOREPLACE) == 0;
}

bool isLocked(const std::string& path) {
  struct statx status {};
  return statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, 0, &status) == 0 &&
         (status.stx_attributes & (STATX_ATTR_IMMUTABLE | STATX_ATTR_APPEND)) != 0;
}

/// Some file systems cannot flush a folder and say EINVAL; they have nothing to flush.
bool flushed(int item) {
  return fsync(item) == 0 || errno == EINVAL;
}

bool flushedVolume(int item) {
  return syncfs(item) == 0;
}

}  // namespace platform

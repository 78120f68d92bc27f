#include "platform/common/ItemCalls.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace platform {
namespace {

/// Whether the volume knows no such call, rather than that the call went wrong.
bool isRefusal(int number) {
  return number == ENOTSUP || number == EOPNOTSUPP || number == ENOTTY || number == EINVAL ||
         number == ENOSYS;
}

}  // namespace

bool renameToFreeName(int fromFolder, const char* from, int toFolder, const char* to) {
  return renameatx_np(fromFolder, from, toFolder, to, RENAME_EXCL) == 0;
}

bool isLocked(const std::string& path) {
  constexpr unsigned kLocks = UF_IMMUTABLE | UF_APPEND | SF_IMMUTABLE | SF_APPEND | SF_NOUNLINK;
  struct stat status {};
  return lstat(path.c_str(), &status) == 0 && (status.st_flags & kLocks) != 0;
}

/// A plain flush leaves it to the disk when it writes; network volumes know no other. What knows neither has
/// nothing to flush.
bool flushed(int item) {
  if (fcntl(item, F_FULLFSYNC) == 0) return true;
  if (!isRefusal(errno)) return false;
  return fsync(item) == 0 || isRefusal(errno);
}

/// Where one volume cannot be flushed all are, which reports nothing.
bool flushedVolume(int item) {
  const int failure = fsync_volume_np(item, SYNC_VOLUME_FULLSYNC | SYNC_VOLUME_WAIT);
  if (failure == 0) return true;
  if (failure > 0) errno = failure;  // it answers with the number, or sets it as others do
  if (!isRefusal(errno)) return false;
  sync();
  return flushed(item);
}

}  // namespace platform

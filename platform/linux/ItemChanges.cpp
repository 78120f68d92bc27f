#include "platform/common/ItemChanges.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <stdio.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include <cerrno>

#include "platform/Path.h"
#include "platform/common/FileDescriptor.h"
#include "platform/common/FreeNames.h"
#include "platform/common/ItemMove.h"
#include "platform/common/TemporaryWriteAccess.h"
#include "platform/linux/ItemMetadata.h"

namespace platform {
namespace {

bool isImmutable(const std::string& path) {
  struct statx status {};
  return statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, 0, &status) == 0 &&
         (status.stx_attributes & STATX_ATTR_IMMUTABLE) != 0;
}

bool exchangeNames(const std::string& a, const std::string& b) {
  return renameat2(AT_FDCWD, a.c_str(), AT_FDCWD, b.c_str(), RENAME_EXCHANGE) == 0;
}

/// Swaps two items in one step. False with errno set.
bool exchange(const std::string& a, const std::string& b) {
  if (exchangeNames(a, b)) return true;
  if (errno != EACCES) return false;
  TemporaryWriteAccess accessToA(a);
  TemporaryWriteAccess accessToB(b);
  if (!exchangeNames(a, b)) return false;
  accessToA.itemMovedTo(b);
  accessToB.itemMovedTo(a);
  return true;
}

bool cannotExchange(int number) {
  return number == EINVAL || number == ENOSYS;
}

/// For volumes that cannot exchange: the old item steps aside, and comes back when the new one cannot take
/// its place.
Error replaceInTwoSteps(const std::string& destination, const std::string& replacement,
                        const std::string& backup) {
  if (auto error = moveOnVolume(destination, backup)) return error;
  Error error = moveOnVolume(replacement, destination);
  if (error.failed()) {
    if (auto lost = moveOnVolume(backup, destination)) error.description += "; " + lost.description;
  }
  return error;
}

}  // namespace

Error setImmutable(const std::string& path, bool immutable) {
  if (isImmutable(path) == immutable) return {};
  const FileDescriptor item = openAt(AT_FDCWD, path.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW);
  unsigned flags = 0;
  if (!item.isOpen() || ioctl(item.get(), FS_IOC_GETFLAGS, &flags) != 0) return posixError(errno, path);
  flags = immutable ? flags | FS_IMMUTABLE_FL : flags & ~static_cast<unsigned>(FS_IMMUTABLE_FL);
  return ioctl(item.get(), FS_IOC_SETFLAGS, &flags) == 0 ? Error{} : posixError(errno, path);
}

Error setCreationDate(const std::string& path, Date date) {
  return setDateAttribute(path, kCreationDateAttribute, date);
}

Error makeReplacementFolder(const std::string& destination, std::string& folder) {
  return makeHiddenFolder(parentFolder(destination), folder);
}

/// The old item ends under the backup's name, the new one in its place; or nothing has changed.
Error putInPlace(const std::string& destination, const std::string& replacement,
                 const std::string& backupName) {
  const std::string backup = joinPath(parentFolder(destination), backupName);
  if (!exchange(replacement, destination)) {
    const int number = errno;
    if (cannotExchange(number)) return replaceInTwoSteps(destination, replacement, backup);
    return moveError(number, replacement, destination);
  }
  Error error = moveOnVolume(replacement, backup);
  if (error.failed() && !exchange(replacement, destination)) {
    error.description += "; " + moveError(errno, replacement, destination).description;
  }
  return error;
}

}  // namespace platform

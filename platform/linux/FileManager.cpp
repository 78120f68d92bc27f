#include "platform/FileManager.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <stdio.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include "platform/linux/FileDescriptor.h"
#include "platform/linux/FileTree.h"
#include "platform/linux/ItemMetadata.h"
#include "platform/linux/Roots.h"

namespace platform {
namespace {

bool itemExists(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0;
}

Error moveError(int number, const std::string& from, const std::string& to) {
  return posixError(number, from + " -> " + to);
}

/// Hidden, so that nobody takes what is prepared in it for an installed item.
Error makeHiddenFolderBeside(const std::string& item, std::string& folder) {
  std::string pattern = parentFolder(item) + "/.vantora-XXXXXX";
  if (mkdtemp(pattern.data()) == nullptr) return posixError(errno, item);
  folder = std::move(pattern);
  return {};
}

/// False with errno set. The check in the second way is not atomic, but file systems without the first are
/// rare.
bool renameToFreeName(const std::string& from, const std::string& to) {
  if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
  if (errno != EINVAL && errno != ENOSYS) return false;
  if (itemExists(to)) {
    errno = EEXIST;
    return false;
  }
  return rename(from.c_str(), to.c_str()) == 0;
}

/// Renames to a name that is free, on one volume.
Error moveOnVolume(const std::string& from, const std::string& to) {
  if (renameToFreeName(from, to)) return {};
  const int number = errno;
  if (number != EACCES) return moveError(number, from, to);
  TemporaryWriteAccess access(from);
  if (!access.isGranted() || !renameToFreeName(from, to)) return moveError(number, from, to);
  access.itemMovedTo(to);
  return {};
}

/// Copies, and moves the whole copy into place. The copy is on the disk before the source goes.
Error copyIntoPlace(const std::string& from, const std::string& to) {
  std::string folder;
  if (auto error = makeHiddenFolderBeside(to, folder)) return error;
  const std::string copy = folder + "/" + lastComponent(to);
  Error error = copyTree(from, copy, Ownership::keep);
  const FileDescriptor volume = openAt(AT_FDCWD, folder.c_str(), O_RDONLY | O_DIRECTORY);
  if (!error.failed() && (!volume.isOpen() || syncfs(volume.get()) != 0)) error = posixError(errno, to);
  if (!error.failed()) error = moveOnVolume(copy, to);
  if (auto leftover = removeTree(folder); leftover.failed() && !error.failed()) error = leftover;
  return error;
}

Error moveAcrossVolumes(const std::string& from, const std::string& to) {
  if (itemExists(to)) return moveError(EEXIST, from, to);
  if (auto error = checkRemovable(from)) return error;
  if (auto error = copyIntoPlace(from, to)) return error;
  return removeTree(from);
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

/// The old item ends under the backup's name, the new one in its place; or nothing has changed.
Error exchangeKeepingBackup(const std::string& destination, const std::string& replacement,
                            const std::string& backup) {
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

bool isImmutable(const std::string& path) {
  struct statx status {};
  return statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, 0, &status) == 0 &&
         (status.stx_attributes & STATX_ATTR_IMMUTABLE) != 0;
}

Error setImmutable(const std::string& path, bool immutable) {
  if (isImmutable(path) == immutable) return {};
  const FileDescriptor item = openAt(AT_FDCWD, path.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW);
  unsigned flags = 0;
  if (!item.isOpen() || ioctl(item.get(), FS_IOC_GETFLAGS, &flags) != 0) return posixError(errno, path);
  flags = immutable ? flags | FS_IMMUTABLE_FL : flags & ~static_cast<unsigned>(FS_IMMUTABLE_FL);
  return ioctl(item.get(), FS_IOC_SETFLAGS, &flags) == 0 ? Error{} : posixError(errno, path);
}

Error setPermissions(const std::string& path, unsigned permissions) {
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0) return posixError(errno, path);
  if ((status.st_mode & 07777) == permissions) return {};
  const bool done = fchmodat(AT_FDCWD, path.c_str(), permissions, AT_SYMLINK_NOFOLLOW) == 0;
  return done ? Error{} : posixError(errno, path);
}

Error setCreationDate(const std::string& path, Date date) {
  return setDateAttribute(path, kCreationDateAttribute, date);
}

}  // namespace

ItemKind FileManager::itemKind(const std::string& path) const {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return ItemKind::none;
  if (S_ISREG(status.st_mode)) return ItemKind::file;
  return S_ISDIR(status.st_mode) ? ItemKind::folder : ItemKind::other;
}

bool FileManager::isWritable(const std::string& path) const {
  return faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) == 0;
}

Error FileManager::fileSystemNumber(const std::string& path, std::uint64_t& number) const {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return posixError(errno, path);
  number = status.st_dev;
  return {};
}

Error FileManager::contentsOfFolder(const std::string& path, std::vector<std::string>& names) const {
  const FileDescriptor folder = openAt(AT_FDCWD, path.c_str(), O_RDONLY | O_DIRECTORY);
  std::vector<std::string> found;
  if (!folder.isOpen() || !namesInFolder(folder.get(), found)) return posixError(errno, path);
  std::sort(found.begin(), found.end());
  names = std::move(found);
  return {};
}

Error FileManager::createFolder(const std::string& path) {
  const auto make = [&] { return mkdir(path.c_str(), 0777) == 0; };
  if (make()) return {};
  if (errno == ENOENT && !withoutTrailingSlashes(path).empty()) {
    if (auto error = FileManager::createFolder(parentFolder(path))) return error;
    if (make()) return {};
  }
  const int number = errno;
  return number == EEXIST && FileManager::itemKind(path) == ItemKind::folder ? Error{}
                                                                             : posixError(number, path);
}

Error FileManager::copyItem(const std::string& from, const std::string& to) {
  return copyTree(from, to, Ownership::own);
}

Error FileManager::moveItem(const std::string& from, const std::string& to) {
  const std::string source = withoutTrailingSlashes(from);
  const std::string target = withoutTrailingSlashes(to);
  Error error = moveOnVolume(source, target);
  return error.code == EXDEV ? moveAcrossVolumes(source, target) : error;
}

Error FileManager::removeItem(const std::string& path) {
  return removeTree(path);
}

Error FileManager::setAttributes(const std::string& path, const ItemAttributes& attributes) {
  Error first;
  const auto keepFirst = [&first](const Error& error) {
    if (!first.failed()) first = error;
  };
  // A locked item takes no other change, so unlocking comes first and locking last.
  const bool unlocks = attributes.immutable == false;
  if (unlocks) keepFirst(setImmutable(path, false));
  if (attributes.permissions) keepFirst(setPermissions(path, *attributes.permissions));
  if (attributes.creationDate) keepFirst(setCreationDate(path, *attributes.creationDate));
  if (attributes.immutable == true) keepFirst(setImmutable(path, true));
  if (!first.failed() && !itemExists(path)) return posixError(ENOENT, path);
  return first;
}

Error FileManager::createReplacementFolder(const std::string& destination, std::string& folder) {
  return makeHiddenFolderBeside(withoutTrailingSlashes(destination), folder);
}

Error FileManager::replaceItem(const std::string& destination, const std::string& replacement,
                               const std::string& backupName) {
  const std::string target = withoutTrailingSlashes(destination);
  const std::string source = withoutTrailingSlashes(replacement);
  if (!itemExists(target)) return moveOnVolume(source, target);
  if (!itemExists(source)) return posixError(ENOENT, replacement);
  if (backupName.empty() || backupName.find('/') != std::string::npos ||
      backupName == lastComponent(target)) {
    return posixError(EINVAL, backupName);
  }

  const std::string backup = parentFolder(target) + "/" + backupName;
  if (itemExists(backup)) {
    if (auto error = removeTree(backup)) return error;
  }
  if (auto error = exchangeKeepingBackup(target, source, backup)) return error;
  // The new item is in place, and a backup that resists may already be incomplete: there is no way back. The
  // next replacement removes it first.
  static_cast<void>(removeTree(backup));
  return {};
}

FileManager& defaultFileManager() {
  static FileManager instance;
  return instance;
}

}  // namespace platform

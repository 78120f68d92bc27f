#include "platform/FileManager.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "platform/Path.h"
#include "platform/common/FileDescriptor.h"
#include "platform/common/FileTree.h"
#include "platform/common/FolderEntries.h"
#include "platform/common/FreeNames.h"
#include "platform/common/HiddenNames.h"
#include "platform/common/ItemCalls.h"
#include "platform/common/ItemChanges.h"
#include "platform/common/ItemMove.h"
#include "platform/common/ItemStatus.h"

namespace platform {
namespace {

/// What now stands in a folder stays there whatever happens to the machine. No failure of the change that put
/// it there: a folder that cannot be flushed holds the item all the same.
void flushFolderOf(const std::string& item) {
  const FileDescriptor folder = openAt(AT_FDCWD, parentFolder(item).c_str(), O_RDONLY | O_DIRECTORY);
  if (folder.isOpen()) static_cast<void>(flushed(folder.get()));
}

/// Copies, and moves the whole copy into place. The copy is on the disk before the source goes.
Error copyIntoPlace(const std::string& from, const std::string& to) {
  std::string folder;
  if (auto error = makeHiddenFolder(parentFolder(to), folder)) return error;
  const std::string copy = joinPath(folder, lastComponent(to));
  Error error = copyTree(from, copy, Ownership::keep);
  if (!error.failed()) error = makeTreeDurable(copy);
  if (!error.failed()) error = moveOnVolume(copy, to);
  if (!error.failed()) flushFolderOf(to);
  static_cast<void>(removeTree(folder));  // by its name it is found as left over
  return error;
}

Error moveAcrossVolumes(const std::string& from, const std::string& to) {
  if (itemExists(to)) return moveError(EEXIST, from, to);
  if (auto error = checkRemovable(from)) return error;
  if (auto error = copyIntoPlace(from, to)) return error;
  static_cast<void>(removeTree(from));  // the item is where it belongs, whatever stays behind
  return {};
}

Error setPermissions(const std::string& path, unsigned permissions) {
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0) return posixError(errno, path);
  if ((status.st_mode & 07777) == permissions) return {};
  const bool done =
      fchmodat(AT_FDCWD, path.c_str(), static_cast<mode_t>(permissions), AT_SYMLINK_NOFOLLOW) == 0;
  return done ? Error{} : posixError(errno, path);
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
  number = static_cast<std::uint64_t>(status.st_dev);
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
  const bool isTaken = number == EEXIST || number == EISDIR;  // some systems say the latter of the root
  return isTaken && FileManager::itemKind(path) == ItemKind::folder ? Error{} : posixError(number, path);
}

Error FileManager::copyItem(const std::string& from, const std::string& to) {
  return copyTree(from, to, Ownership::own);
}

Error FileManager::renameItem(const std::string& from, const std::string& to) {
  return moveOnVolume(withoutTrailingSlashes(from), withoutTrailingSlashes(to));
}

Error FileManager::moveItem(const std::string& from, const std::string& to) {
  const std::string source = withoutTrailingSlashes(from);
  const std::string target = withoutTrailingSlashes(to);
  struct stat item {};
  struct stat folder {};
  if (lstat(source.c_str(), &item) != 0) return moveError(errno, from, to);
  if (stat(parentFolder(target).c_str(), &folder) != 0) return moveError(errno, from, to);
  if (itemExists(target)) return moveError(EEXIST, from, to);  // before anything costs time
  if (item.st_dev != folder.st_dev) return moveAcrossVolumes(source, target);
  if (auto error = makeTreeDurable(source)) return error;
  Error error = moveOnVolume(source, target);
  if (error.code == EXDEV) return moveAcrossVolumes(source, target);
  if (!error.failed()) flushFolderOf(target);
  return error;
}

Error FileManager::removeItem(const std::string& path) {
  return removeTree(path);
}

Error FileManager::createPrivateFolder(const std::string& parent, std::string& folder) {
  return makeHiddenFolder(withoutTrailingSlashes(parent), folder);
}

std::vector<std::string> FileManager::unfinishedItems(const std::string& folder) const {
  const std::string path = withoutTrailingSlashes(folder);
  const FileDescriptor opened = openAt(AT_FDCWD, path.c_str(), O_RDONLY | O_DIRECTORY);
  std::vector<std::string> items;
  const auto take = [&](const char* name, bool) {
    struct stat status {};
    if (fstatat(opened.get(), name, &status, AT_SYMLINK_NOFOLLOW) == 0 && status.st_uid == geteuid() &&
        isUnfinished(name, status.st_mode)) {
      items.push_back(joinPath(path, name));
    }
  };
  // A folder that cannot be read now keeps what lies in it for the next time.
  if (opened.isOpen()) static_cast<void>(forEachEntry(opened.get(), take));
  return items;
}

bool FileManager::isSameItem(const std::string& a, const std::string& b) const {
  struct stat first {};
  struct stat second {};
  return stat(a.c_str(), &first) == 0 && stat(b.c_str(), &second) == 0 && platform::isSameItem(first, second);
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
  return makeReplacementFolder(destination, folder);
}

Error FileManager::replaceItem(const std::string& destination, const std::string& replacement,
                               const std::string& backupName) {
  const std::string target = withoutTrailingSlashes(destination);
  const std::string source = withoutTrailingSlashes(replacement);
  if (!itemExists(target)) return FileManager::moveItem(source, target);
  if (!itemExists(source)) return posixError(ENOENT, replacement);
  if (backupName.empty() || backupName.find('/') != std::string::npos ||
      backupName == lastComponent(target)) {
    return posixError(EINVAL, backupName);
  }

  const std::string backup = joinPath(parentFolder(target), backupName);
  if (itemExists(backup)) {
    if (auto error = removeTree(backup)) return error;
  }
  if (auto error = makeTreeDurable(source)) return error;
  if (auto error = putInPlace(target, source, backupName)) return error;
  flushFolderOf(target);
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

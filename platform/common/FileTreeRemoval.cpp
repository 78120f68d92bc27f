#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "platform/Path.h"
#include "platform/Printable.h"
#include "platform/common/FileDescriptor.h"
#include "platform/common/FileTree.h"
#include "platform/common/FolderEntries.h"
#include "platform/common/FreeNames.h"
#include "platform/common/HiddenNames.h"
#include "platform/common/ItemCalls.h"

namespace platform {
namespace {

/// Each level of the walk holds a descriptor; a folder that lies deeper is first moved up to the top.
constexpr int kMaxOpenLevels = 64;
constexpr std::chrono::milliseconds kFirstPause{1};
constexpr std::chrono::milliseconds kLastPause{1000};

/// Gives the user all access to a folder that is about to go. What is not the user's own stays as it is: the
/// removal then says what is wrong.
void openForChanges(const FileDescriptor& folder) {
  struct stat status {};
  if (fstat(folder.get(), &status) == 0 && (status.st_mode & S_IRWXU) != S_IRWXU) {
    fchmod(folder.get(), (status.st_mode & 07777) | S_IRWXU);
  }
}

FileDescriptor openFolder(int parent, const std::string& name) {
  constexpr int kFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW;
  FileDescriptor folder = openAt(parent, name.c_str(), kFlags);
  if (!folder.isOpen() && errno == EACCES &&
      fchmodat(parent, name.c_str(), S_IRWXU, AT_SYMLINK_NOFOLLOW) == 0) {
    folder = openAt(parent, name.c_str(), kFlags);
  }
  if (folder.isOpen()) openForChanges(folder);
  return folder;
}

/// Whether what `unlinkat` has just refused is a folder. If not, errno stays as it is.
bool isRefusedFolder(int parent, const char* name) {
  const int number = errno;
  struct stat status {};
  const bool isFolder = (number == EISDIR || number == EPERM) &&
                        fstatat(parent, name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(status.st_mode);
  errno = number;
  return isFolder;
}

class TreeRemoval {
 public:
  /// A tool of a run that was killed may still be at work in the tree: what it adds is removed as well.
  Error remove(const std::string& path) {
    Error error = removeOnce(path);
    for (auto pause = kFirstPause; error.code == ENOTEMPTY && pause < kLastPause; pause *= 2) {
      std::this_thread::sleep_for(pause);
      error = removeOnce(path);
    }
    return error;
  }
  [[nodiscard]] bool hasRemovedAnything() const { return _hasRemoved; }

 private:
  Error removeOnce(const std::string& path) {
    const FileDescriptor top = openFolder(AT_FDCWD, path);
    if (!top.isOpen()) return posixError(errno, path);
    _top = top.get();
    do {
      _movedUp = false;
      if (auto error = empty(_top, path, 1)) return error;
    } while (_movedUp);
    return rmdir(path.c_str()) == 0 || errno == ENOENT ? Error{} : posixError(errno, path);
  }

  Error empty(int folder, const std::string& path, int level) {
    std::vector<std::string> names;
    if (!namesInFolder(folder, names)) return posixError(errno, path);
    for (const auto& name : names) {
      if (unlinkat(folder, name.c_str(), 0) == 0) {
        _hasRemoved = true;
        continue;
      }
      if (errno == ENOENT) continue;
      const std::string itemPath = joinPath(path, name);
      if (!isRefusedFolder(folder, name.c_str())) return posixError(errno, itemPath);
      if (auto error = removeFolder(folder, name, itemPath, level)) return error;
    }
    return {};
  }

  Error removeFolder(int parent, const std::string& name, const std::string& path, int level) {
    const FileDescriptor folder = openFolder(parent, name);
    if (!folder.isOpen()) return errno == ENOENT ? Error{} : posixError(errno, path);
    if (level == kMaxOpenLevels) return moveUp(parent, name, path);
    if (auto error = empty(folder.get(), path, level + 1)) return error;
    if (unlinkat(parent, name.c_str(), AT_REMOVEDIR) != 0 && errno != ENOENT) return posixError(errno, path);
    _hasRemoved = true;
    return {};
  }

  Error moveUp(int parent, const std::string& name, const std::string& path) {
    _movedUp = true;
    do {
      const std::string freeName = "removed-" + std::to_string(++_lastNumber);
      if (renameToFreeName(parent, name.c_str(), _top, freeName.c_str())) return {};
    } while (errno == EEXIST);
    return errno == ENOENT ? Error{} : posixError(errno, path);
  }

  int _top = -1;
  bool _movedUp = false;
  bool _hasRemoved = false;
  unsigned _lastNumber = 0;
};

bool isProtectedBySticky(const struct stat& folder, const struct stat& item) {
  const uid_t user = geteuid();
  return (folder.st_mode & S_ISVTX) != 0 && user != 0 && folder.st_uid != user && item.st_uid != user;
}

/// Whether the process may take things out of the folder, as it is or once it has given itself access.
bool canBeEmptied(const std::string& path) {
  struct stat status {};
  return (lstat(path.c_str(), &status) == 0 && status.st_uid == geteuid()) ||
         faccessat(AT_FDCWD, path.c_str(), R_OK | W_OK | X_OK, AT_EACCESS) == 0;
}

Error removeFolder(const std::string& path) {
  if (isHiddenName(lastComponent(path))) return TreeRemoval().remove(path);
  if (!canBeEmptied(path)) return TreeRemoval().remove(path);  // unless it is empty, this says why not
  std::string hidden;
  if (auto error = renameToHiddenName(path, hidden)) return error;
  TreeRemoval removal;
  Error error = removal.remove(hidden);
  if (!error.failed()) return error;
  if (!removal.hasRemovedAnything()) static_cast<void>(renameToFreeName(hidden, path));
  // Whoever reads this knows the item by its own name.
  const std::string shown = onOneLine(hidden);
  if (const auto at = error.description.find(shown); at != std::string::npos) {
    error.description.replace(at, shown.size(), onOneLine(path));
  }
  return error;
}

}  // namespace

Error checkRemovable(const std::string& path) {
  struct stat item {};
  struct stat folder {};
  const std::string parent = parentFolder(path);
  if (lstat(path.c_str(), &item) != 0) return posixError(errno, path);
  if (stat(parent.c_str(), &folder) != 0 ||
      faccessat(AT_FDCWD, parent.c_str(), W_OK | X_OK, AT_EACCESS) != 0) {
    return posixError(errno, path);
  }
  if (isProtectedBySticky(folder, item) || isLocked(path)) return posixError(EPERM, path);
  return {};
}

Error removeTree(const std::string& path) {
  const std::string item = withoutTrailingSlashes(path);
  const std::string name = lastComponent(item);
  if (name == "." || name == "..") return posixError(EINVAL, path);
  if (auto error = checkRemovable(item)) return error;
  if (unlink(item.c_str()) == 0) return {};
  return isRefusedFolder(AT_FDCWD, item.c_str()) ? removeFolder(item) : posixError(errno, path);
}

}  // namespace platform

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <string_view>

#include "platform/Path.h"
#include "platform/common/FileDescriptor.h"
#include "platform/common/FileTree.h"
#include "platform/common/FolderEntries.h"
#include "platform/common/ItemStatus.h"

namespace platform {
namespace {

constexpr std::size_t kBufferBytes = 128UL << 10;
constexpr std::size_t kCopyPieceBytes = 1UL << 30;

/// An item by its name in an open folder; the path is for messages.
struct Place {
  int folder;
  std::string name;
  std::string path;

  [[nodiscard]] Place in(int openFolder, const std::string& itemName) const {
    return {openFolder, itemName, joinPath(path, itemName)};
  }
  [[nodiscard]] FileDescriptor open(int flags, unsigned mode = 0) const {
    return openAt(folder, name.c_str(), flags | O_NOFOLLOW, mode);
  }
  [[nodiscard]] Error failure() const { return posixError(errno, path); }
};

bool isCopiedAttribute(std::string_view name) {
  return name.starts_with("user.") || name.starts_with("system.posix_acl_");
}

bool copyAttribute(int from, int to, const char* name) {
  const ssize_t size = fgetxattr(from, name, nullptr, 0);
  if (size < 0) return errno == ENODATA;
  std::vector<char> value(static_cast<std::size_t>(size));
  const ssize_t read = fgetxattr(from, name, value.data(), value.size());
  if (read < 0) return false;
  return fsetxattr(to, name, value.data(), static_cast<std::size_t>(read), 0) == 0 || errno == EOPNOTSUPP;
}

bool copyAttributes(int from, int to) {
  const ssize_t size = flistxattr(from, nullptr, 0);
  if (size <= 0) return size == 0 || errno == EOPNOTSUPP;
  std::vector<char> names(static_cast<std::size_t>(size));
  const ssize_t read = flistxattr(from, names.data(), names.size());
  if (read < 0) return false;
  for (std::string_view rest(names.data(), static_cast<std::size_t>(read)); !rest.empty();) {
    const std::string_view name = rest.substr(0, rest.find('\0'));
    if (isCopiedAttribute(name) && !copyAttribute(from, to, name.data())) return false;
    rest.remove_prefix(name.size() + 1);
  }
  return true;
}

class TreeCopy {
 public:
  explicit TreeCopy(Ownership ownership) : _ownership(ownership) {}

  Error copyItem(const Place& from, const Place& to) {
    struct stat status {};
    if (fstatat(from.folder, from.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) return from.failure();
    switch (status.st_mode & S_IFMT) {
      case S_IFREG:
        return copyFile(from, to);
      case S_IFDIR:
        return copyFolder(from, to);
      case S_IFLNK:
        return copyLink(from, to, status);
      default:
        return posixError(EOPNOTSUPP, from.path);
    }
  }

  /// Whether there is anything at the target that this copy made.
  [[nodiscard]] bool hasCreated() const { return _hasCreated; }

 private:
  Error copyFile(const Place& from, const Place& to) {
    const FileDescriptor source = from.open(O_RDONLY | O_NONBLOCK);
    if (!source.isOpen()) return from.failure();
    FileDescriptor target = to.open(O_WRONLY | O_CREAT | O_EXCL, S_IRUSR | S_IWUSR);
    if (!target.isOpen()) return to.failure();
    _hasCreated = true;
    if (!copyContents(source.get(), target.get())) return to.failure();
    if (auto error = copyMetadata(source.get(), target.get(), to)) return error;
    return target.close() ? Error{} : to.failure();
  }

  bool copyContents(int source, int target) {
    ssize_t copied = 0;
    do {
      copied = copy_file_range(source, nullptr, target, nullptr, kCopyPieceBytes, 0);
    } while (copied > 0);
    // Not every pair of file systems can do that, nor every file: the rest is copied by hand.
    _buffer.resize(kBufferBytes);
    for (;;) {
      const ssize_t count = read(source, _buffer.data(), _buffer.size());
      if (count == 0) return true;
      if (count < 0 || !writeAll(target, static_cast<std::size_t>(count))) return false;
    }
  }

  bool writeAll(int target, std::size_t size) {
    for (std::size_t done = 0; done < size;) {
      const ssize_t count = write(target, _buffer.data() + done, size - done);
      if (count < 0) return false;
      done += static_cast<std::size_t>(count);
    }
    return true;
  }

  Error copyFolder(const Place& from, const Place& to) {
    const FileDescriptor source = from.open(O_RDONLY | O_DIRECTORY);
    struct stat status {};
    if (!source.isOpen() || fstat(source.get(), &status) != 0) return from.failure();
    if (_hasCreated && isSameItem(status, _top)) return posixError(EINVAL, from.path);  // a copy into itself

    const FileDescriptor target = makeFolder(to);
    if (!target.isOpen()) return to.failure();
    std::vector<std::string> names;  // with the target's, if it lies here: the walk then ends at it
    if (!namesInFolder(source.get(), names)) return from.failure();
    for (const auto& name : names) {
      if (auto error = copyItem(from.in(source.get(), name), to.in(target.get(), name))) return error;
    }
    return copyMetadata(source.get(), target.get(), to);
  }

  FileDescriptor makeFolder(const Place& place) {
    if (mkdirat(place.folder, place.name.c_str(), S_IRWXU) != 0) return {};
    FileDescriptor folder = place.open(O_RDONLY | O_DIRECTORY);
    if (!_hasCreated && folder.isOpen()) fstat(folder.get(), &_top);
    _hasCreated = true;
    return folder;
  }

  Error copyLink(const Place& from, const Place& to, const struct stat& status) {
    std::array<char, PATH_MAX + 1> target{};
    const ssize_t size = readlinkat(from.folder, from.name.c_str(), target.data(), target.size() - 1);
    if (size < 0) return from.failure();
    if (symlinkat(target.data(), to.folder, to.name.c_str()) != 0) return to.failure();
    _hasCreated = true;
    // As for files, a refused change of owner is no failure; a link has no bits that would then matter.
    if (_ownership == Ownership::keep &&
        fchownat(to.folder, to.name.c_str(), status.st_uid, status.st_gid, AT_SYMLINK_NOFOLLOW) != 0 &&
        errno != EPERM) {
      return to.failure();
    }
    const std::array<timespec, 2> times{status.st_atim, status.st_mtim};
    const bool done = utimensat(to.folder, to.name.c_str(), times.data(), AT_SYMLINK_NOFOLLOW) == 0;
    return done ? Error{} : to.failure();
  }

  /// The mode after the attributes (they need write permission), the times last (all else changes them).
  Error copyMetadata(int source, int target, const Place& to) const {
    struct stat status {};
    if (fstat(source, &status) != 0) return to.failure();
    const bool sameOwner = copyOwner(target, status);
    const mode_t mode = status.st_mode & (sameOwner ? 07777 : 01777);
    const std::array<timespec, 2> times{status.st_atim, status.st_mtim};
    const bool done =
        copyAttributes(source, target) && fchmod(target, mode) == 0 && futimens(target, times.data()) == 0;
    return done ? Error{} : to.failure();
  }

  /// Whether the target has the source's owner and group: only then may it have its set-id bits.
  [[nodiscard]] bool copyOwner(int target, const struct stat& source) const {
    struct stat status {};
    if (fstat(target, &status) != 0) return false;
    if (status.st_uid == source.st_uid && status.st_gid == source.st_gid) return true;
    return _ownership == Ownership::keep && fchown(target, source.st_uid, source.st_gid) == 0;
  }

  Ownership _ownership;
  bool _hasCreated = false;
  struct stat _top {};
  std::vector<char> _buffer;
};

}  // namespace

Error copyTree(const std::string& from, const std::string& to, Ownership ownership) {
  const std::string source = withoutTrailingSlashes(from);
  const std::string target = withoutTrailingSlashes(to);
  TreeCopy copy(ownership);
  Error error = copy.copyItem({AT_FDCWD, source, source}, {AT_FDCWD, target, target});
  if (error.failed() && copy.hasCreated()) {
    if (auto leftover = removeTree(target))
      error.description += " (left behind: " + leftover.description + ")";
  }
  return error;
}

}  // namespace platform

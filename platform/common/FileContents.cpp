#include "platform/FileContents.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>

#include "platform/Path.h"
#include "platform/common/FileDescriptor.h"
#include "platform/common/HiddenNames.h"
#include "platform/common/ItemCalls.h"

namespace platform {
namespace {

constexpr mode_t kNewFileMode = 0644;

/// Follows links at the end of the path, also to a file that does not exist yet. False with errno set.
bool followLinks(std::string& path) {
  constexpr int kMaxLinks = 40;
  for (int links = 0; links <= kMaxLinks; ++links) {
    std::array<char, PATH_MAX + 1> target{};
    if (readlink(path.c_str(), target.data(), target.size() - 1) < 0) return true;
    path = target[0] == '/' ? target.data() : joinPath(parentFolder(path), target.data());
  }
  errno = ELOOP;
  return false;
}

bool writeAll(int file, const std::string& bytes) {
  for (std::size_t done = 0; done < bytes.size();) {
    const ssize_t count = write(file, bytes.data() + done, bytes.size() - done);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return false;
    done += static_cast<std::size_t>(count);
  }
  return true;
}

/// A new file in an open folder, removed at the end of the scope unless it was renamed.
class TemporaryFile {
 public:
  explicit TemporaryFile(int folder) : _folder(folder) {
    do {
      _name = hiddenName();
      _file = openAt(folder, _name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, kNewFileMode);
    } while (!_file.isOpen() && errno == EEXIST);
    _exists = _file.isOpen();
  }
  ~TemporaryFile() {
    if (_exists) unlinkat(_folder, _name.c_str(), 0);
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  [[nodiscard]] bool isOpen() const { return _file.isOpen(); }

  /// Takes owner and mode of the file that will be replaced. Set-id bits only go with their owner.
  [[nodiscard]] bool takeAccess(const struct stat& model) {
    struct stat own {};
    if (fstat(_file.get(), &own) != 0) return false;
    const bool sameOwner = (own.st_uid == model.st_uid && own.st_gid == model.st_gid) ||
                           fchown(_file.get(), model.st_uid, model.st_gid) == 0;
    return fchmod(_file.get(), model.st_mode & (sameOwner ? 07777 : 0777)) == 0;
  }

  [[nodiscard]] bool store(const std::string& bytes) {
    return writeAll(_file.get(), bytes) && flushed(_file.get()) && _file.close();
  }

  [[nodiscard]] bool renameTo(const std::string& name) {
    _exists = renameat(_folder, _name.c_str(), _folder, name.c_str()) != 0;
    return !_exists;
  }

 private:
  int _folder;
  std::string _name;
  FileDescriptor _file;
  bool _exists = false;
};

bool readAll(int file, std::uint64_t limitBytes, std::string& bytes) {
  constexpr std::size_t kPieceBytes = 64UL << 10;
  for (std::size_t size = bytes.size();;) {
    bytes.resize(size + kPieceBytes);
    const ssize_t count = read(file, bytes.data() + size, kPieceBytes);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return false;
    size += static_cast<std::size_t>(count);
    bytes.resize(size);
    if (count == 0) return true;
    if (size > limitBytes) {
      errno = EFBIG;
      return false;
    }
  }
}

Error openForReading(const std::string& path, std::uint64_t limitBytes, FileDescriptor& file) {
  file = openAt(AT_FDCWD, path.c_str(), O_RDONLY | O_NONBLOCK);
  struct stat status {};
  if (!file.isOpen() || fstat(file.get(), &status) != 0) return posixError(errno, path);
  if (S_ISDIR(status.st_mode)) return posixError(EISDIR, path);
  if (!S_ISREG(status.st_mode)) return posixError(EINVAL, path);
  if (static_cast<std::uint64_t>(status.st_size) > limitBytes) return posixError(EFBIG, path);
  return {};
}

}  // namespace

Error writeFileAtomically(const std::string& path, const std::string& bytes) {
  std::string target = path;
  if (!followLinks(target)) return posixError(errno, path);
  const std::string name = lastComponent(target);
  const FileDescriptor folder = openAt(AT_FDCWD, parentFolder(target).c_str(), O_RDONLY | O_DIRECTORY);
  if (!folder.isOpen()) return posixError(errno, path);

  struct stat existing {};
  const bool exists = fstatat(folder.get(), name.c_str(), &existing, AT_SYMLINK_NOFOLLOW) == 0;
  if (exists && !S_ISREG(existing.st_mode)) {
    return posixError(S_ISDIR(existing.st_mode) ? EISDIR : EINVAL, path);
  }

  TemporaryFile file(folder.get());
  const bool done = file.isOpen() && (!exists || file.takeAccess(existing)) && file.store(bytes) &&
                    file.renameTo(name) && flushed(folder.get());
  return done ? Error{} : posixError(errno, path);
}

Error readFile(const std::string& path, std::uint64_t limitBytes, std::string& bytes) {
  FileDescriptor file;
  if (auto error = openForReading(path, limitBytes, file)) return error;
  std::string contents;
  if (!readAll(file.get(), limitBytes, contents)) return posixError(errno, path);
  bytes = std::move(contents);
  return {};
}

}  // namespace platform

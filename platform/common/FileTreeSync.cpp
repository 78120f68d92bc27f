#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/Path.h"
#include "platform/common/FileDescriptor.h"
#include "platform/common/FileTree.h"
#include "platform/common/FolderEntries.h"
#include "platform/common/ItemCalls.h"

namespace platform {
namespace {

/// Each flush of one file waits for the disk; from here on one flush of the volume is cheaper.
constexpr std::size_t kMostSingleFlushes = 16;

/// Where neither the item nor its folder can be opened the whole system is flushed, which reports nothing.
Error flushVolumeOf(const std::string& path) {
  FileDescriptor item = openAt(AT_FDCWD, path.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW);
  if (!item.isOpen()) item = openAt(AT_FDCWD, parentFolder(path).c_str(), O_RDONLY | O_DIRECTORY);
  if (!item.isOpen()) {
    sync();
    return {};
  }
  return flushedVolume(item.get()) ? Error{} : posixError(errno, path);
}

/// The open files and folders of a small tree. Links are their names, which stand in their folders.
class OpenTree {
 public:
  /// False when the tree is not small, or something in it cannot be opened.
  [[nodiscard]] bool open(int folder, const char* name) {
    FileDescriptor item = openAt(folder, name, O_RDONLY | O_NONBLOCK | O_NOFOLLOW);
    if (!item.isOpen()) return errno == ELOOP;
    if (_items.size() == kMostSingleFlushes) return false;
    struct stat status {};
    if (fstat(item.get(), &status) != 0) return false;
    const int number = item.get();
    _items.push_back(std::move(item));
    return !S_ISDIR(status.st_mode) || openContents(number);
  }

  /// False with errno set.
  [[nodiscard]] bool flush() const {
    for (const auto& item : _items)
      if (!flushed(item.get())) return false;
    return true;
  }

 private:
  bool openContents(int folder) {
    std::vector<std::string> names;
    if (!namesInFolder(folder, names)) return false;
    for (const auto& name : names)
      if (!open(folder, name.c_str())) return false;
    return true;
  }

  std::vector<FileDescriptor> _items;
};

}  // namespace

Error makeTreeDurable(const std::string& path) {
  OpenTree tree;
  if (!tree.open(AT_FDCWD, path.c_str())) return flushVolumeOf(path);
  return tree.flush() ? Error{} : posixError(errno, path);
}

}  // namespace platform

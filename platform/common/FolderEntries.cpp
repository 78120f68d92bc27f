#include "platform/common/FolderEntries.h"

#include <dirent.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "platform/common/FileDescriptor.h"

namespace platform {

bool forEachEntry(int folder, const std::function<void(const char* name, bool mayBeFolder)>& take) {
  FileDescriptor duplicate(fcntl(folder, F_DUPFD_CLOEXEC, 0));
  // Not the stream is rewound: some believe that they begin where the descriptor stands.
  if (!duplicate.isOpen() || lseek(duplicate.get(), 0, SEEK_SET) != 0) return false;
  const std::unique_ptr<DIR, int (*)(DIR*)> stream(fdopendir(duplicate.get()), &closedir);
  if (!stream) return false;
  static_cast<void>(duplicate.release());  // the stream closes it
  errno = 0;
  while (const dirent* entry = readdir(stream.get())) {
    const char* name = static_cast<const char*>(entry->d_name);
    const bool mayBeFolder =
        entry->d_type == DT_DIR || entry->d_type == DT_LNK || entry->d_type == DT_UNKNOWN;
    if (strcmp(name, ".") != 0 && strcmp(name, "..") != 0) take(name, mayBeFolder);
    errno = 0;
  }
  return errno == 0;
}

bool namesInFolder(int folder, std::vector<std::string>& names) {
  names.clear();
  return forEachEntry(folder, [&names](const char* name, bool) { names.emplace_back(name); });
}

}  // namespace platform

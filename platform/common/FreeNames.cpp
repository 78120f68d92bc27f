#include "platform/common/FreeNames.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "platform/Path.h"
#include "platform/common/HiddenNames.h"
#include "platform/common/ItemCalls.h"
#include "platform/common/ItemStatus.h"

namespace platform {

/// The check in the second way is not atomic, but file systems without the first are rare.
bool renameToFreeName(const std::string& from, const std::string& to) {
  if (renameToFreeName(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str())) return true;
  if (errno != EINVAL && errno != ENOSYS && errno != ENOTSUP) return false;
  if (itemExists(to)) {
    errno = EEXIST;
    return false;
  }
  return rename(from.c_str(), to.c_str()) == 0;
}

Error makeHiddenFolder(const std::string& parent, std::string& folder) {
  do {
    folder = joinPath(parent, hiddenName());
    if (mkdir(folder.c_str(), S_IRWXU) == 0) return {};
  } while (errno == EEXIST);
  return posixError(errno, folder);
}

Error renameToHiddenName(const std::string& path, std::string& hidden) {
  do {
    hidden = joinPath(parentFolder(path), hiddenName());
    if (renameToFreeName(path, hidden)) return {};
  } while (errno == EEXIST);
  return posixError(errno, path);
}

}  // namespace platform

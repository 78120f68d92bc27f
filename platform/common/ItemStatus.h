#pragma once

#include <sys/stat.h>

#include <string>

namespace platform {

/// Whether anything stands at the path, a link that leads nowhere too.
[[nodiscard]] inline bool itemExists(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0;
}

/// Whether both describe one and the same item.
[[nodiscard]] inline bool isSameItem(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

}  // namespace platform

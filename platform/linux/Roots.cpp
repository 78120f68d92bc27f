#include "platform/linux/Roots.h"

#include <cstdlib>

#include "platform/Folders.h"
#include "platform/Path.h"

namespace platform {

namespace {

std::optional<std::string> absolutePath(const char* path) {
  if (path == nullptr || *path != '/') return std::nullopt;
  return withoutTrailingSlashes(path);
}

}  // namespace

std::optional<std::string> folderFromEnvironment(const char* variable) {
  return absolutePath(getenv(variable));
}

std::optional<std::string> systemRoot() {
  const char* root = getenv("VANTORA_SYSTEM_ROOT");
  if (root == nullptr || *root == '\0') return std::string();
  return absolutePath(root);
}

std::optional<std::string> baseFolder(const char* variable, const char* fallback) {
  if (auto folder = folderFromEnvironment(variable)) return folder;
  const auto home = homeFolder();
  return home ? std::optional(joinPath(*home, fallback)) : std::nullopt;
}

}  // namespace platform

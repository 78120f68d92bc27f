#include "platform/Folders.h"

#include <pwd.h>
#include <unistd.h>

#include <array>
#include <cstdlib>

#include "platform/Path.h"
#include "platform/linux/Roots.h"

namespace platform {
namespace {

std::optional<std::string> absolutePath(const char* path) {
  if (path == nullptr || *path != '/') return std::nullopt;
  return withoutTrailingSlashes(path);
}

std::optional<std::string> below(const std::optional<std::string>& folder, const char* name) {
  if (!folder) return std::nullopt;
  return *folder + "/" + name;
}

}  // namespace

std::optional<std::string> systemRoot() {
  const char* root = getenv("VANTORA_SYSTEM_ROOT");
  if (root == nullptr || *root == '\0') return std::string();
  return absolutePath(root);
}

std::optional<std::string> accountHomeFolder() {
  std::array<char, 16'384> buffer{};
  passwd entry{};
  passwd* found = nullptr;
  if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr) {
    return std::nullopt;
  }
  return absolutePath(found->pw_dir);
}

std::optional<std::string> baseFolder(const char* variable, const char* fallback) {
  const auto folder = absolutePath(getenv(variable));
  return folder ? folder : below(homeFolder(), fallback);
}

std::optional<std::string> homeFolder() {
  const auto home = absolutePath(getenv("HOME"));
  return home ? home : accountHomeFolder();
}

std::optional<std::string> libraryFolder() {
  return below(homeFolder(), "Library");
}

std::optional<std::string> applicationsFolder(FolderDomain domain) {
  return below(domain == FolderDomain::user ? homeFolder() : systemRoot(), "Applications");
}

std::string bootVolumeFolder() {
  const std::string root = systemRoot().value_or(std::string());
  return root.empty() ? "/" : root;
}

std::optional<std::string> desktopFolder() {
  return below(homeFolder(), "Desktop");
}

}  // namespace platform

#include "platform/Folders.h"

#include "platform/Path.h"
#include "platform/common/AccountHome.h"
#include "platform/linux/Roots.h"

namespace platform {
namespace {

std::optional<std::string> below(const std::optional<std::string>& folder, const char* name) {
  if (!folder) return std::nullopt;
  return joinPath(*folder, name);
}

}  // namespace

std::optional<std::string> homeFolder() {
  const auto home = folderFromEnvironment("HOME");
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

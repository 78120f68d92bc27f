#pragma once

#include <optional>
#include <string>

namespace platform {

/// Whose folder is asked for.
enum class FolderDomain {
  user,    ///< the user's own
  local,   ///< this computer's, shared by its users
  system,  ///< the operating system's; where nothing can be installed there, this computer's
};

/// The standard folders. An answer is an absolute path without a trailing "/"; the folder need not exist.
/// No value when the domain has no such folder (for instance a user without a home folder).

[[nodiscard]] std::optional<std::string> homeFolder();
/// The user's Library folder.
[[nodiscard]] std::optional<std::string> libraryFolder();
[[nodiscard]] std::optional<std::string> applicationsFolder(FolderDomain domain);
/// The folder where the computer's boot volume begins: of several, the one that things are installed on.
/// Never empty.
[[nodiscard]] std::string bootVolumeFolder();
/// The user's Desktop folder.
[[nodiscard]] std::optional<std::string> desktopFolder();

}  // namespace platform

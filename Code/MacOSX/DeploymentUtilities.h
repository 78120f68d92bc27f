#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/FileManager.h"

/// @file
/// Placing a build where the user starts it: the bundle "Vantora.app" of the installation folder.

/// The folder that builds are installed into: the computer's Applications folder, else the user's, else the
/// user's Desktop, whichever is writable first. None, logged, when none of them is.
[[nodiscard]] std::optional<std::string> findInstallationFolder(const platform::FileManager& fileManager);

// What no run calls.

/// The build number of the folder's "Vantora.app"; the largest number there is when it has no readable
/// information dictionary.
[[nodiscard]] std::int64_t installedBuildNumber(const std::string& folder);

/// A fresh folder on the volume of `destination`, for an item that will replace it; the caller removes it.
/// None, logged, when it cannot be made.
[[nodiscard]] std::optional<std::string> makeReplacementFolder(platform::FileManager& fileManager,
                                                               const std::string& destination);

/// Makes the folder's "Vantora.app" a copy of the application at `source`, in one atomic step: a reader finds
/// the old bundle or the new one. False, logged, when that failed; the old one is then untouched.
[[nodiscard]] bool duplicateAndSwap(std::uint32_t buildNumber, const std::string& source,
                                    const std::string& installationFolder,
                                    platform::FileManager& fileManager);

#pragma once

#include <string>

#include "platform/Error.h"

namespace platform {

/// Renames an item to a name that is free on the same volume, a write-protected folder of the user's too.
/// Fails as `renameToFreeName` does, with a description that names both paths.
[[nodiscard]] Error moveOnVolume(const std::string& from, const std::string& to);

/// The error of a system call on an item and its new name.
[[nodiscard]] Error moveError(int number, const std::string& from, const std::string& to);

}  // namespace platform

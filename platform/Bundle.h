#pragma once

#include <optional>
#include <string>

#include "platform/Error.h"
#include "platform/PropertyList.h"

namespace platform {

/// The information dictionary ("Contents/Info.plist") of an application bundle. Fails: POSIX ENOENT or
/// ENOTDIR when there is none; anything else means that there is one which cannot be read now.
Error bundleInformation(const std::string& bundlePath, plist::Dictionary& information);

/// The identifier of the bundle that this program belongs to; none for a plain command-line program.
[[nodiscard]] std::optional<std::string> mainBundleIdentifier();

/// Absolute path of this program's executable.
[[nodiscard]] std::string executablePath();

}  // namespace platform

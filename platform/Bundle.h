#pragma once

#include <optional>
#include <string>

#include "platform/PropertyList.h"

namespace platform {

/// The information dictionary ("Contents/Info.plist") of an application bundle; none when it is missing or
/// cannot be read.
[[nodiscard]] std::optional<plist::Dictionary> bundleInformation(const std::string& bundlePath);

/// The identifier of the bundle that this program belongs to; none for a plain command-line program.
[[nodiscard]] std::optional<std::string> mainBundleIdentifier();

/// Absolute path of this program's executable.
[[nodiscard]] std::string executablePath();

}  // namespace platform

#pragma once

#include <optional>
#include <string>

namespace platform {

/// The bundle that the executable at the path is a program of: "X.app" for "X.app/Contents/MacOS/program".
[[nodiscard]] std::optional<std::string> bundleOfExecutable(const std::string& executable);

/// Where a bundle keeps its information dictionary.
[[nodiscard]] std::string informationPath(const std::string& bundlePath);

/// The bundle's identifier, from its information dictionary.
[[nodiscard]] std::optional<std::string> bundleIdentifier(const std::string& bundlePath);

/// The executable of a process ("self", or a number), also when the file has been replaced or removed since;
/// none when there is no such process, or it cannot be examined.
[[nodiscard]] std::optional<std::string> executableOfProcess(const std::string& process);

}  // namespace platform

#pragma once

namespace platform {

enum class VersionComponent { major, minor, bugFix };

/// One component of the operating system's version, as far as the programs of this system care: the macOS
/// level whose behaviour the services follow. False when it cannot be found out.
[[nodiscard]] bool systemVersion(VersionComponent component, int& number);

}  // namespace platform

#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace platform {

struct RunningApplication {
  std::int32_t processId = 0;
  std::string bundlePath;
  bool isActive = false;  ///< it has the keyboard; always false where there is no such notion
};

/// The running applications whose bundle has that identifier, in ascending order of process number.
[[nodiscard]] std::vector<RunningApplication> runningApplications(const std::string& bundleIdentifier);

}  // namespace platform

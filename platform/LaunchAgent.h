#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "platform/Error.h"

namespace platform {

/// A program that the user's session starts from time to time.
struct LaunchAgent {
  std::string label;                   ///< for instance "com.korvane.Vantora.VNTUpdate"
  std::vector<std::string> arguments;  ///< program path first
  std::chrono::seconds interval{3600};
};

/// Writes the agent's plist ("LaunchAgents/<label>.plist" in the user's Library folder) and has the session
/// start it at every interval. One of that label that runs may be ended. Removing the plist is enough to stop
/// that for good, from the next session on.
Error installLaunchAgent(const LaunchAgent& agent);

/// Removes what `installLaunchAgent` wrote, all that can be removed, and reports the first failure; what is
/// already gone is not an error. The session starts the program no more; one that runs is left to end by
/// itself, the caller too.
Error removeLaunchAgent(const std::string& label);

/// The program and its arguments that the plist at `path` names.
Error readLaunchAgent(const std::string& path, LaunchAgent& agent);

}  // namespace platform

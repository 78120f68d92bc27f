#pragma once

#include <string>

#include "platform/LaunchAgent.h"
#include "platform/Process.h"

/// The plist of a launch agent, and who is told of it.
namespace platform {

/// Where the plist of the agent with that label lies. Fails: POSIX EINVAL for what can be no label, ENOENT
/// for a user without a Library folder.
Error findAgentList(const std::string& label, std::string& path);

/// Writes the plist, with its folder if need be.
Error writeAgentList(const std::string& path, const LaunchAgent& agent);

/// Removes the file; one that is gone already is no failure.
Error removeIfThere(const std::string& path);

/// Whether what is written here is what the user's session reads: that goes by the account's home folder,
/// whatever this process's environment says.
[[nodiscard]] bool isReadBySession();

/// Runs a tool that tells the session's manager of a change, ten seconds at most. The files decide at the
/// next session in any case, so an outcome has no bearing.
void tellManager(const process::SpawnRequest& tool);

}  // namespace platform

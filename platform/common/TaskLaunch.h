#pragma once

#include <string>

#include "platform/Task.h"

namespace platform {

/// Throws the LaunchException for an errno value, its reason preceded by what could not be used.
[[noreturn]] void refuseLaunch(const std::string& what, int error);

/// Refuses the launch unless the path is that of a folder that can be worked in. A folder is told apart from
/// the tool here: once the child has begun, both are just "not found".
void requireFolder(const std::string& path);

}  // namespace platform

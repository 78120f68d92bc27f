#pragma once

#include <string>
#include <vector>

namespace packager {

/// Runs a program (absolute path) and waits for it, with an environment of PATH and the C locale only, so
/// that nothing of the caller's settings reaches what is produced. Throws PackagingError when it cannot be
/// started or does not exit with 0. Any thread.
void runProgram(const std::string& path, std::vector<std::string> arguments);

}  // namespace packager

#pragma once

#include <map>
#include <string>
#include <vector>

namespace tools {

/// A program to run: nothing of the caller's environment reaches it.
struct Program {
  std::string path;  ///< absolute
  std::vector<std::string> arguments = {};
  std::string workingFolder = {};  ///< empty: this process's
  std::map<std::string, std::string> environment = {{"PATH", "/usr/bin:/bin"}, {"LC_ALL", "C"}};
};

/// Runs the program and waits for it. Answers its exit status; 128 and the number of the signal that ended
/// it. Throws std::runtime_error when it cannot be started. Any thread.
[[nodiscard]] int exitStatusOf(const Program& program);

/// The same, and throws std::runtime_error when the program does not exit with 0.
void runProgram(const Program& program);

}  // namespace tools

#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

/// A home folder and a computer of their own, in which the agent's own program is run and measured.
namespace benchmark {

struct RunCost {
  double wallSeconds = 0;
  double cpuSeconds = 0;  ///< user and system, with children that were waited for
  long peakKilobytes = 0;
};

/// Runs a program with this environment only, its output thrown away. Throws when it does not exit with 0.
RunCost runProgram(const std::vector<std::string>& arguments,
                   const std::map<std::string, std::string>& environment,
                   const std::filesystem::path& workingFolder = "/");

class AgentSandbox {
 public:
  AgentSandbox();
  ~AgentSandbox();
  AgentSandbox(const AgentSandbox&) = delete;
  AgentSandbox& operator=(const AgentSandbox&) = delete;

  [[nodiscard]] const std::filesystem::path& folder() const { return _folder; }
  [[nodiscard]] std::filesystem::path temporaryFolder() const;
  [[nodiscard]] std::filesystem::path installedBuilds() const;
  [[nodiscard]] std::map<std::string, std::string> environment() const;

  /// Installs a small client build.
  void installBuild(std::uint32_t build) const;
  /// Writes the preferences with the next check in that many seconds.
  void schedule(int secondsFromNow) const;
  /// Runs the agent that lies beside this program.
  [[nodiscard]] RunCost runAgent(const std::map<std::string, std::string>& extraEnvironment = {}) const;

 private:
  std::filesystem::path _folder;
};

}  // namespace benchmark

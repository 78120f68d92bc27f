#pragma once

#include <unistd.h>

#include <chrono>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "Code/MacOSX/ProductSettings.h"
#include "platform/Task.h"
#include "tests/agent/AgentHome.h"

namespace test {

/// The agent of a home, run as its launch agent does it: as a program of its own.
class AgentProcess {
 public:
  AgentProcess(const AgentHome& home, std::string program) : _home(home), _program(std::move(program)) {}

  /// A run of it that is under way; destroyed earlier it is killed.
  [[nodiscard]] std::unique_ptr<platform::Task> start(std::vector<std::string> arguments = {}) const {
    return launched(_program, std::move(arguments));
  }
  /// A whole run; its exit status.
  int run(std::vector<std::string> arguments = {}) const { return ended(start(std::move(arguments))); }
  /// The same for a user whom modes of files keep out, whoever runs the test.
  int runAsOrdinaryUser() const {
    if (geteuid() != 0) return run();
    return ended(launched("/usr/bin/setpriv", {"--bounding-set=-all", _program}));
  }
  /// The same with a limit on what it takes of the system, as the shell's `ulimit` names it.
  int runWithLimit(const std::string& limit) const {
    return ended(launched("/bin/sh", {"-c", "ulimit " + limit + " && exec \"$0\"", _program}));
  }

  [[nodiscard]] std::string logPath() const {
    return _home.library() + "/Logs/com.korvane.Vantora/VNTUpdate.log";
  }
  /// What the agent logged, without time stamps.
  [[nodiscard]] std::string logged() const {
    std::istringstream lines(exists(logPath()) ? readFile(logPath()) : std::string());
    std::string text;
    for (std::string line; std::getline(lines, line);) {
      const auto stamp = line.find(" PST ");
      text += (stamp == std::string::npos ? line : line.substr(stamp + 5)) + "\n";
    }
    return text;
  }

 private:
  static std::unique_ptr<platform::Task> launched(const std::string& program,
                                                  std::vector<std::string> arguments) {
    auto task = std::make_unique<platform::Task>(program, std::move(arguments));
    task->environment = platform::process::currentEnvironment();
    task->launch();
    return task;
  }
  static int ended(const std::unique_ptr<platform::Task>& agent) {
    EXPECT_TRUE(agent->waitForExit(std::chrono::seconds(100)));
    return agent->terminationStatus();
  }

  const AgentHome& _home;
  std::string _program;
};

}  // namespace test

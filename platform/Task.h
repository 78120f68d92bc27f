#pragma once

#include <chrono>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "platform/Process.h"

namespace platform {

/// Thrown by Task::launch when the tool cannot be started.
class LaunchException : public std::exception {
 public:
  LaunchException(std::string name, std::string reason);
  [[nodiscard]] const std::string& name() const noexcept { return _name; }
  [[nodiscard]] const std::string& reason() const noexcept { return _reason; }
  [[nodiscard]] const char* what() const noexcept override { return _reason.c_str(); }

 private:
  std::string _name;
  std::string _reason;
};

/// A tool run as a child process, its standard streams on the null device. Set it up, launch it once, wait
/// for it. One thread at a time. The tool does not outlive its task: destroying the task ends one that still
/// runs (SIGKILL), and waits for that end.
class Task {
 public:
  explicit Task(std::string toolPath = {}, std::vector<std::string> toolArguments = {});
  ~Task();
  Task(const Task&) = delete;
  Task& operator=(const Task&) = delete;

  std::string launchPath;
  std::vector<std::string> arguments;
  /// "NAME=VALUE" entries, the tool's whole environment.
  std::vector<std::string> environment = process::toolEnvironment();
  std::string currentFolder;  ///< working folder; empty: this process's

  /// Throws LaunchException (name "NSInvalidArgumentException") when the tool or the working folder is
  /// missing or may not be executed, and for a second launch.
  void launch();
  [[nodiscard]] bool isRunning();
  void waitUntilExit();
  /// Waits until the tool has ended, for `limit` at most; false when it still runs.
  [[nodiscard]] bool waitForExit(std::chrono::milliseconds limit);
  /// Sends SIGTERM; nothing happens when it has ended.
  void terminate();
  /// The exit status, or the signal's number when a signal ended it. Valid once it has ended.
  [[nodiscard]] int terminationStatus() const;

 private:
  struct Child;
  std::unique_ptr<Child> _child;  ///< none before the launch
};

}  // namespace platform

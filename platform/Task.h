#pragma once

#include <exception>
#include <string>
#include <vector>

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

/// A tool run as a child process. Set it up, launch it once, wait for it. One thread at a time. A task that
/// is destroyed while its tool runs lets it run on.
class Task {
 public:
  std::string launchPath;
  std::vector<std::string> arguments;
  std::string currentFolder;    ///< working folder; empty: this process's
  bool discardsOutput = false;  ///< standard output and error go to the null device
  bool withoutInput = false;    ///< standard input is the null device

  /// Throws LaunchException (name "NSInvalidArgumentException") when the tool or the working folder is
  /// missing or may not be executed, and for a second launch.
  void launch();
  [[nodiscard]] bool isRunning();
  void waitUntilExit();
  /// Sends SIGTERM; nothing happens when it has ended.
  void terminate();
  /// The exit status, or the signal's number when a signal ended it. Valid once it has ended.
  [[nodiscard]] int terminationStatus() const { return _status; }

 private:
  void collect(bool wait);

  int _pid = -1;
  int _status = 0;
  bool _ended = false;
};

}  // namespace platform

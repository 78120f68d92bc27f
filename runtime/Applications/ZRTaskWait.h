#pragma once

#include <cstdint>
#include <exception>

#include "platform/Task.h"

/// Raised when a tool did not end within its time limit; the tool has been told to end.
class ZRTaskTimeout : public std::exception {
 public:
  [[nodiscard]] const char* name() const noexcept { return "Timeout"; }
  [[nodiscard]] const char* reason() const noexcept { return "Task timed out in wait"; }
  [[nodiscard]] const char* what() const noexcept override { return reason(); }
};

/// Waits until the task's tool has ended, which is answered at once. The limit is counted in looks of a tenth
/// of a second. Throws ZRTaskTimeout, after telling the tool to end (SIGTERM), when it has passed; also when
/// the tool ended during the very last look.
void waitUntilExitWithTimeout(platform::Task& task, std::int32_t seconds);
/// The same with ten seconds.
void waitUntilExitWithTimeout(platform::Task& task);

#pragma once

#include <time.h>

#include <chrono>

namespace platform {

/// The duration as system calls take it.
[[nodiscard]] inline timespec toTimespec(std::chrono::milliseconds duration) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(duration);
  const std::chrono::nanoseconds rest = duration - seconds;
  return {static_cast<time_t>(seconds.count()), static_cast<long>(rest.count())};
}

}  // namespace platform

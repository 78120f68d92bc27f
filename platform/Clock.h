#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace platform {

using Seconds = std::chrono::duration<double>;

/// A point in time with the range of a property-list date (far beyond the year 4001), in seconds.
using Date = std::chrono::time_point<std::chrono::system_clock, Seconds>;

/// The source of time. The process uses the system's; `setClock` replaces it.
class Clock {
 public:
  virtual ~Clock() = default;
  /// The wall clock.
  [[nodiscard]] virtual Date now() const;
  /// A clock that never goes back; only differences mean something.
  [[nodiscard]] virtual std::chrono::milliseconds monotonic() const;
};

/// The clock in use. Any thread.
[[nodiscard]] const Clock& clock();

/// Uses `replacement` (not owned; must outlive its use) from now on; null restores the system's clock.
void setClock(const Clock* replacement);

[[nodiscard]] inline Date now() {
  return clock().now();
}

/// The date that stands for "never": 4001-01-01 00:00:00 UTC.
[[nodiscard]] Date distantFuture();

/// The standard textual form of a date, in UTC, with whole seconds: "2026-11-15 18:17:26 +0000".
[[nodiscard]] std::string describe(Date date);

/// The ISO 8601 form in UTC with whole seconds: "2026-11-15T18:17:26Z".
[[nodiscard]] std::string formatIso8601(Date date);

/// Reads the form that `formatIso8601` writes; false when the text is not exactly of that form or names no
/// possible date (month 13, 30 February, hour 24). Leap seconds are not accepted.
[[nodiscard]] bool parseIso8601(const std::string& text, Date& date);

}  // namespace platform

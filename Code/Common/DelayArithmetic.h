#pragma once

#include <cstdint>

/// @file
/// How long the agent waits, in whole seconds.

inline constexpr std::uint32_t kSecondsPerHour = 3600;
inline constexpr std::uint32_t kSecondsPerDay = 86'400;
/// A check that is overdue by this much is postponed once.
inline constexpr double kOverdueSeconds = 3.0 * kSecondsPerHour;
/// A build that was not used for this long is old.
inline constexpr double kUnusedSeconds = 90.0 * kSecondsPerDay;

/// A delay of `minimum` to `maximum` units, the upper end excluded, for the random number. Arithmetic in 32
/// bits.
[[nodiscard]] constexpr std::uint32_t delaySeconds(std::int32_t minimum, std::int32_t maximum,
                                                   std::uint32_t unitSeconds, std::uint32_t random) {
  const auto first = static_cast<std::uint32_t>(minimum);
  const std::uint32_t span = (static_cast<std::uint32_t>(maximum) - first) * unitSeconds;
  // A span of an exact multiple of 2^32 seconds is 0 in 32 bits: every random number lies in it.
  return first * unitSeconds + (span == 0 ? random : random % span);
}

#pragma once

#include <cstdint>

namespace platform {

/// The source of uniformly distributed random numbers. The process uses the system's cryptographic source;
/// `setRandomSource` replaces it.
class RandomSource {
 public:
  virtual ~RandomSource() = default;
  [[nodiscard]] virtual std::uint32_t next();
};

/// The source in use. Any thread, when the source in use allows it (the system's does).
[[nodiscard]] RandomSource& randomSource();

/// Uses `replacement` (not owned; must outlive its use) from now on; null restores the system's source.
void setRandomSource(RandomSource* replacement);

/// A number in [0, 2^32).
[[nodiscard]] inline std::uint32_t random32() {
  return randomSource().next();
}

}  // namespace platform

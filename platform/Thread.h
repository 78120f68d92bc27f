#pragma once

#include <cstdint>
#include <string>

namespace platform {

/// Names the calling thread for debuggers and listings, cut to what the system can hold (15 bytes at the
/// least).
void setCurrentThreadName(const std::string& name);

/// The calling thread's number in the kernel, cached per thread.
[[nodiscard]] std::uint64_t currentThreadNumber();

}  // namespace platform

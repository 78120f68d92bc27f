#pragma once

#include <pthread.h>

#include <chrono>
#include <cstdint>
#include <string>

namespace platform {

/// Names the calling thread for debuggers and listings, cut to what the system can hold (15 bytes at the
/// least).
void setCurrentThreadName(const std::string& name);

/// The calling thread's number in the kernel, cached per thread.
[[nodiscard]] std::uint64_t currentThreadNumber();

/// pthread_cond_timedwait with a limit that a change of the wall clock does not stretch or shorten. Answers
/// 0, ETIMEDOUT, or another errno value.
[[nodiscard]] int waitOnCondition(pthread_cond_t& condition, pthread_mutex_t& mutex,
                                  std::chrono::milliseconds limit);

}  // namespace platform

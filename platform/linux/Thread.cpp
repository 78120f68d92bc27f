#include "platform/Thread.h"

#include <cxxabi.h>
#include <pthread.h>
#include <time.h>
#include <unistd.h>

#include <array>

#include "platform/common/SystemCancellation.h"

namespace platform {

void setCurrentThreadName(const std::string& name) {
  constexpr std::size_t kLongestName = 15;  // a longer one is refused whole
  thread_local std::array<char, kLongestName + 1> set{};
  std::array<char, kLongestName + 1> cut{};
  name.copy(cut.data(), kLongestName);
  // Threads that run short tasks are named often, and what is left of the name seldom changes.
  if (cut != set && pthread_setname_np(pthread_self(), cut.data()) == 0) set = cut;
}

std::uint64_t currentThreadNumber() {
  thread_local const auto number = static_cast<std::uint64_t>(gettid());
  return number;
}

int waitOnCondition(NativeCondition* condition, NativeMutex* mutex, std::chrono::milliseconds limit) {
  timespec deadline{};
  clock_gettime(CLOCK_MONOTONIC, &deadline);
  const std::chrono::nanoseconds end = std::chrono::nanoseconds(deadline.tv_nsec) + limit;
  deadline.tv_sec += end / std::chrono::seconds(1);
  deadline.tv_nsec = (end % std::chrono::seconds(1)).count();
  return pthread_cond_clockwait(reinterpret_cast<pthread_cond_t*>(condition),
                                reinterpret_cast<pthread_mutex_t*>(mutex), CLOCK_MONOTONIC, &deadline);
}

void setCancellation(Cancellation wanted) {
  setSystemCancellation(wanted);
}

/// The unwinding of a cancelled thread has no exception object, so the reference that catches it is null.
__attribute__((no_sanitize("null"))) void runThreadBody(const std::function<void()>& body,
                                                        void (*boundary)() noexcept) {
  try {
    body();
  } catch (abi::__forced_unwind&) {
    throw;
  } catch (...) {
    boundary();
  }
}

}  // namespace platform

#include "platform/Thread.h"

#include <cxxabi.h>
#include <pthread.h>
#include <time.h>
#include <unistd.h>

#include "platform/common/SystemCancellation.h"
#include "platform/common/ThreadName.h"

namespace platform {

void setCurrentThreadName(const std::string& name) {
  setThreadName<15>(name, [](const char* cut) { return pthread_setname_np(pthread_self(), cut); });
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

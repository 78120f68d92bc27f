#include "platform/Thread.h"

#include <pthread.h>

#include "platform/common/SystemCancellation.h"
#include "platform/common/ThreadName.h"
#include "platform/common/Timespec.h"

namespace platform {

void setCurrentThreadName(const std::string& name) {
  setThreadName<63>(name, [](const char* cut) { return pthread_setname_np(cut); });
}

std::uint64_t currentThreadNumber() {
  thread_local const std::uint64_t number = [] {
    std::uint64_t asked = 0;
    pthread_threadid_np(nullptr, &asked);
    return asked;
  }();
  return number;
}

int waitOnCondition(NativeCondition* condition, NativeMutex* mutex, std::chrono::milliseconds limit) {
  const timespec time = toTimespec(limit);
  const int answer = pthread_cond_timedwait_relative_np(reinterpret_cast<pthread_cond_t*>(condition),
                                                        reinterpret_cast<pthread_mutex_t*>(mutex), &time);
  pthread_testcancel();  // which that wait is not
  return answer;
}

/// The system looks for a cancellation only where a thread sleeps or waits. A thread that calculates is
/// cancelled at the latest where such a scope of it begins or ends.
void setCancellation(Cancellation wanted) {
  setSystemCancellation(wanted);
  if (wanted == Cancellation::atOnce) pthread_testcancel();
}

void runThreadBody(const std::function<void()>& body, void (*boundary)() noexcept) {
  try {
    body();
  } catch (...) {
    boundary();
  }
}

}  // namespace platform

#pragma once

#include <pthread.h>

#include <chrono>
#include <cstdint>
#include <functional>
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

/// Runs the body of a thread. An exception that leaves it is given to `boundary`, which finds it as the
/// current one and does not return; the unwinding of a cancelled thread is none, and goes on.
void runThreadBody(const std::function<void()>& body, void (*boundary)() noexcept);

/// For its scope the calling thread is not cancelled. A cancellation that came meanwhile takes effect at the
/// scope's end (of the outermost scope, if they are nested), which is therefore not to lie in a function that
/// must not throw.
class CancellationHold {
 public:
  CancellationHold() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &_before); }
  ~CancellationHold() noexcept(false) { pthread_setcancelstate(_before, &_before); }
  CancellationHold(const CancellationHold&) = delete;
  CancellationHold& operator=(const CancellationHold&) = delete;

 private:
  int _before = PTHREAD_CANCEL_ENABLE;
};

/// Whether a cancellation of the calling thread takes effect at once, wherever it is. For the classes below,
/// which set it: asking the system costs more than most of what they guard.
inline constinit thread_local bool isCancelledAtOnce = false;

inline void setCancelledAtOnce(bool atOnce) {
  int before = 0;
  isCancelledAtOnce = atOnce;
  pthread_setcanceltype(atOnce ? PTHREAD_CANCEL_ASYNCHRONOUS : PTHREAD_CANCEL_DEFERRED, &before);
}

/// As CancellationHold, except that the thread may still be cancelled where it sleeps or waits (a
/// cancellation point): it is unwound from there, and leaves no lock held. This is how every thread begins.
class DeferredCancellation {
 public:
  DeferredCancellation() {
    if (_before) setCancelledAtOnce(false);
  }
  ~DeferredCancellation() noexcept(false) {
    if (_before) setCancelledAtOnce(true);
  }
  DeferredCancellation(const DeferredCancellation&) = delete;
  DeferredCancellation& operator=(const DeferredCancellation&) = delete;

 private:
  bool _before = isCancelledAtOnce;
};

/// For its scope a cancellation of the calling thread takes effect at once, also in the middle of a
/// calculation.
class ImmediateCancellation {
 public:
  ImmediateCancellation() {
    if (!_before) setCancelledAtOnce(true);
  }
  ~ImmediateCancellation() noexcept(false) {
    if (!_before) setCancelledAtOnce(false);
  }
  ImmediateCancellation(const ImmediateCancellation&) = delete;
  ImmediateCancellation& operator=(const ImmediateCancellation&) = delete;

 private:
  bool _before = isCancelledAtOnce;
};

}  // namespace platform

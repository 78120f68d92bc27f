#pragma once

#include <algorithm>
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

struct NativeCondition;  ///< the system's own object, to be cast to
struct NativeMutex;

/// Waits on the system's condition variable, with the system's mutex (held once by the caller) released
/// meanwhile, for a signal or until `limit` has passed, which a change of the wall clock does not stretch or
/// shorten. Answers 0, ETIMEDOUT, or another errno value.
[[nodiscard]] int waitOnCondition(NativeCondition* condition, NativeMutex* mutex,
                                  std::chrono::milliseconds limit);

/// Runs the body of a thread. An exception that leaves it is given to `boundary`, which finds it as the
/// current one and does not return; the unwinding of a cancelled thread, where the system does that, is none,
/// and goes on.
void runThreadBody(const std::function<void()>& body, void (*boundary)() noexcept);

/// Where a cancellation of a thread takes effect: nowhere, where it sleeps or waits (a cancellation point;
/// the thread is unwound from there, and leaves no lock held), or wherever it is, also in the middle of a
/// calculation. Some systems unwind no thread (it just ends, and what its scopes hold stays held) and see a
/// calculating one only where it sets a cancellation: on those it is a last resort, after which nothing may
/// be used that the thread worked on.
enum class Cancellation : unsigned char { never, whereItWaits, atOnce };

/// Of the calling thread, as set last. To ask the system costs more than most of what the scopes below guard.
inline constinit thread_local Cancellation currentCancellation = Cancellation::never;
inline constinit thread_local bool isCancellationHeld = false;  ///< by a CancellationHold

/// Only a thread that called this may be cancelled, and it calls it before anybody could: on another one the
/// scopes that hold or defer change nothing, and keep no cancellation off. A cancellation that came before
/// takes effect here if it may, so this is not to be called where nothing must be thrown.
void setCancellation(Cancellation wanted);

/// Another cancellation for a scope, not to lie in a function that must not throw.
class CancellationScope {
 public:
  explicit CancellationScope(Cancellation wanted) {
    if (wanted != _before) setCancellation(wanted);
  }
  ~CancellationScope() noexcept(false) {
    if (currentCancellation != _before) setCancellation(_before);
  }
  CancellationScope(const CancellationScope&) = delete;
  CancellationScope& operator=(const CancellationScope&) = delete;

 private:
  const Cancellation _before = currentCancellation;
};

/// For its scope the calling thread is not cancelled, whatever scopes lie in it.
class CancellationHold : CancellationScope {
 public:
  CancellationHold() : CancellationScope(Cancellation::never) { isCancellationHeld = true; }
  ~CancellationHold() noexcept(false) { isCancellationHeld = _wasHeld; }

 private:
  const bool _wasHeld = isCancellationHeld;
};

/// For its scope the calling thread is cancelled where it sleeps or waits, if at all.
struct DeferredCancellation : CancellationScope {
  DeferredCancellation() : CancellationScope(std::min(currentCancellation, Cancellation::whereItWaits)) {}
};

/// For its scope a cancellation of the calling thread takes effect at once, unless it is held.
struct ImmediateCancellation : CancellationScope {
  ImmediateCancellation()
      : CancellationScope(isCancellationHeld ? Cancellation::never : Cancellation::atOnce) {}
};

}  // namespace platform

#pragma once

#include <atomic>

#include "runtime/Threads/ZRMutex.h"

/// A condition variable that remembers whether it was signalled. A failure to make or destroy it is logged at
/// level 3.
class ZRCondition {
 public:
  ZRCondition();
  ~ZRCondition();
  ZRCondition(const ZRCondition&) = delete;
  ZRCondition& operator=(const ZRCondition&) = delete;

  /// Sets the flag and wakes every waiter. Fails: ZRThreadError::eNotInitialized, eSomeError.
  ZRResult broadcast();

  /// Waits, with `mutex` (locked once by the caller) released meanwhile, for a broadcast that comes after the
  /// call, for `timeoutMs` milliseconds at most (ZRSync::kNoLimit: no limit). It may return early. Fails:
  /// eTimeout, ZRThreadError::eNotInitialized, ZRThreadError::eWaitFailed.
  ZRResult wait(ZRMutex& mutex, std::uint32_t timeoutMs);

  /// Whether a broadcast came that no wait has answered to yet.
  [[nodiscard]] bool isSignalled() const { return _signalled.load(); }
  [[nodiscard]] const ZRResult& creationResult() const { return _creationResult; }

  /// The messages for an errno value of pthread_cond_init and pthread_cond_destroy.
  [[nodiscard]] static const char* creationMessage(int errorNumber);
  [[nodiscard]] static const char* destructionMessage(int errorNumber);

 private:
  pthread_cond_t _condition;
  std::atomic<bool> _signalled{false};
  ZRResult _creationResult;
};

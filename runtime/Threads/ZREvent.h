#pragma once

#include <atomic>
#include <boost/intrusive/list_hook.hpp>
#include <cstddef>
#include <list>

#include "runtime/Threads/ZRCondition.h"
#include "runtime/Threads/ZRMutex.h"

class ZREventWakeup;

/// An event in the manner of Win32: threads wait until it is set. A manual-reset event stays set until it is
/// reset; an auto-reset event is cleared by the wait that it satisfies, so that one set lets one waiter go.
/// Any thread.
class ZREvent {
 public:
  enum class Reset { manual, automatic };

  /// `name` is for messages and lives as long as the event.
  ZREvent(const char* name, Reset reset, bool initiallySet = false);
  ~ZREvent();
  ZREvent(const ZREvent&) = delete;
  ZREvent& operator=(const ZREvent&) = delete;

  ZRResult set();
  ZRResult reset();
  [[nodiscard]] bool isSet() const { return _isSet.load(); }
  [[nodiscard]] const char* name() const { return _name; }

  /// Waits for at most `timeoutMs` milliseconds (ZRSync::kNoLimit: no limit).
  /// Fails: eTimeout; ZRThreadError::eWaitFailed when the system cannot wait.
  ZRResult wait(std::uint32_t timeoutMs);

  /// How many events exist in the process.
  [[nodiscard]] static std::size_t count();

 private:
  friend class CEventWaiter;
  friend class CManualResetWaiter;
  friend class CAutoResetWaiter;
  friend class ZREventTable;

  boost::intrusive::list_member_hook<> _tableEntry;
  const char* _name;
  Reset _reset;
  std::atomic<bool> _isSet;  ///< changed under the mutex
  std::list<ZREventWakeup*> _waiters;
  mutable ZRThreadMutex _mutex{"Internal UNIX ZREvent Mutex"};
};

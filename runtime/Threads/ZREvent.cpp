#include "runtime/Threads/ZREvent.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <vector>

namespace {

/// Every event of the process. Never destroyed: events may be static objects.
struct EventTable {
  ZRThreadMutex mutex{"Mutex to protect events' table"};
  std::list<ZREvent*> events;
};

EventTable& eventTable() {
  static EventTable& table = *std::make_unique<EventTable>().release();
  return table;
}

/// What is left of a time limit.
class Deadline {
 public:
  explicit Deadline(std::uint32_t timeoutMs)
      : _unlimited(timeoutMs == ZRSync::kNoLimit),
        _end(Clock::now() + std::chrono::milliseconds(timeoutMs)) {}

  [[nodiscard]] std::uint32_t remainingMs() const {
    if (_unlimited) return ZRSync::kNoLimit;
    const auto rest = std::chrono::ceil<std::chrono::milliseconds>(_end - Clock::now()).count();
    return rest > 0 ? static_cast<std::uint32_t>(rest) : 0;
  }

 private:
  using Clock = std::chrono::steady_clock;
  bool _unlimited;
  Clock::time_point _end;
};

}  // namespace

/// A waiting thread: what an event that is set wakes.
class ZREventWakeup {
 public:
  void wake() {
    const ZRMutex::Guard guard(_mutex);
    _woken = true;
    static_cast<void>(_condition.broadcast());  // it fails for a condition that was never made only
  }

  /// Waits until woken or the deadline; true when woken.
  bool sleep(const Deadline& deadline) {
    const ZRMutex::Guard guard(_mutex);
    while (!_woken) {
      const std::uint32_t rest = deadline.remainingMs();
      if (rest == 0 || _condition.wait(_mutex, rest).code() == ZRThreadError::eWaitFailed) return false;
    }
    _woken = false;
    return true;
  }

 private:
  ZRThreadMutex _mutex;
  ZRCondition _condition;
  bool _woken = false;
};

/// Something that a thread waits for.
class IWaiterCondition {
 public:
  virtual ~IWaiterCondition() = default;
  virtual void attach(ZREventWakeup& wakeup) = 0;
  virtual void detach(ZREventWakeup& wakeup) = 0;
  /// Whether the wait is satisfied now; if so, its effect on what was waited for takes place.
  virtual bool tryConsume() = 0;
};

/// Waits for one event.
class CEventWaiter : public IWaiterCondition {
 public:
  explicit CEventWaiter(ZREvent& event) : _event(event) {}

  void attach(ZREventWakeup& wakeup) override {
    const ZRMutex::Guard guard(_event._mutex);
    _event._waiters.push_back(&wakeup);
  }
  void detach(ZREventWakeup& wakeup) override {
    const ZRMutex::Guard guard(_event._mutex);
    _event._waiters.remove(&wakeup);
  }
  bool tryConsume() override {
    const ZRMutex::Guard guard(_event._mutex);
    if (!_event._isSet) return false;
    onSatisfied();
    return true;
  }

 protected:
  /// Called with the event's mutex held.
  virtual void onSatisfied() = 0;
  ZREvent& _event;
};

class CManualResetWaiter final : public CEventWaiter {
 public:
  using CEventWaiter::CEventWaiter;

 private:
  void onSatisfied() override {}
};

class CAutoResetWaiter final : public CEventWaiter {
 public:
  using CEventWaiter::CEventWaiter;

 private:
  void onSatisfied() override { _event._isSet = false; }
};

namespace {

constexpr std::size_t kNone = static_cast<std::size_t>(-1);
using Waiters = std::vector<IWaiterCondition*>;

std::size_t firstSatisfied(const Waiters& waiters) {
  const auto found =
      std::find_if(waiters.begin(), waiters.end(), [](auto* waiter) { return waiter->tryConsume(); });
  return found == waiters.end() ? kNone : static_cast<std::size_t>(found - waiters.begin());
}

ZRResult waitFor(const Waiters& waiters, std::uint32_t timeoutMs, std::size_t& index) {
  index = firstSatisfied(waiters);
  if (index != kNone) return ZRError::eNoError;
  if (timeoutMs == 0) return ZRError::eTimeout;

  const Deadline deadline(timeoutMs);
  ZREventWakeup wakeup;
  for (IWaiterCondition* waiter : waiters)
    waiter->attach(wakeup);
  bool woken = true;
  do {
    index = firstSatisfied(waiters);
  } while (index == kNone && (woken = wakeup.sleep(deadline)));
  for (IWaiterCondition* waiter : waiters)
    waiter->detach(wakeup);
  return index != kNone ? ZRError::eNoError : ZRError::eTimeout;
}

}  // namespace

ZREvent::ZREvent(const char* name, Reset reset, bool initiallySet)
    : _name(name), _reset(reset), _isSet(initiallySet) {
  EventTable& table = eventTable();
  const ZRMutex::Guard guard(table.mutex);
  _tableEntry = table.events.insert(table.events.end(), this);
}

ZREvent::~ZREvent() {
  {
    EventTable& table = eventTable();
    const ZRMutex::Guard guard(table.mutex);
    table.events.erase(_tableEntry);
  }
  // A thread that was let go by `set` may end the event while `set` still holds its mutex.
  const ZRMutex::Guard guard(_mutex);
}

ZRResult ZREvent::set() {
  const ZRMutex::Guard guard(_mutex);
  _isSet = true;
  for (ZREventWakeup* waiter : _waiters)
    waiter->wake();
  return ZRError::eNoError;
}

ZRResult ZREvent::reset() {
  const ZRMutex::Guard guard(_mutex);
  _isSet = false;
  return ZRError::eNoError;
}

bool ZREvent::isSet() const {
  const ZRMutex::Guard guard(_mutex);
  return _isSet;
}

ZRResult ZREvent::wait(std::uint32_t timeoutMs) {
  std::size_t index = 0;
  if (_reset == Reset::manual) {
    CManualResetWaiter waiter(*this);
    return waitFor({&waiter}, timeoutMs, index);
  }
  CAutoResetWaiter waiter(*this);
  return waitFor({&waiter}, timeoutMs, index);
}

ZRResult ZREvent::waitForAny(ZREvent* const* events, std::size_t count, std::uint32_t timeoutMs,
                             std::size_t& index) {
  ZR_CHECK_PARAMETER(events != nullptr && count > 0);
  std::vector<std::unique_ptr<IWaiterCondition>> owned;
  {
    EventTable& table = eventTable();
    const ZRMutex::Guard guard(table.mutex);
    for (std::size_t i = 0; i < count; ++i) {
      if (std::find(table.events.begin(), table.events.end(), events[i]) == table.events.end()) {
        return ZRError::eBadHandle;
      }
      if (events[i]->_reset == Reset::manual) {
        owned.push_back(std::make_unique<CManualResetWaiter>(*events[i]));
      } else {
        owned.push_back(std::make_unique<CAutoResetWaiter>(*events[i]));
      }
    }
  }
  Waiters waiters;
  for (const auto& waiter : owned)
    waiters.push_back(waiter.get());
  return waitFor(waiters, timeoutMs, index);
}

std::size_t ZREvent::count() {
  EventTable& table = eventTable();
  const ZRMutex::Guard guard(table.mutex);
  return table.events.size();
}

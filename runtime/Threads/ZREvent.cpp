#include "runtime/Threads/ZREvent.h"

#include <boost/intrusive/list.hpp>
#include <chrono>
#include <memory>

#include "platform/Thread.h"

/// Every event of the process.
class ZREventTable {
 public:
  /// Never destroyed: events may be static objects.
  static ZREventTable& instance() {
    static ZREventTable& table = *std::make_unique<ZREventTable>().release();
    return table;
  }

  void add(ZREvent& event) {
    const ZRMutex::Guard guard(_mutex);
    _events.push_back(event);
  }
  void remove(ZREvent& event) {
    const ZRMutex::Guard guard(_mutex);
    _events.erase(_events.iterator_to(event));
  }
  std::size_t size() const {
    const ZRMutex::Guard guard(_mutex);
    return _events.size();
  }

 private:
  using Entry =
      boost::intrusive::member_hook<ZREvent, boost::intrusive::list_member_hook<>, &ZREvent::_tableEntry>;
  mutable ZRThreadMutex _mutex{"Mutex to protect events' table"};
  boost::intrusive::list<ZREvent, Entry> _events;
};

namespace {

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

  /// Waits until woken, for as long as the deadline allows.
  ZRResult sleep(const Deadline& deadline) {
    const ZRMutex::Guard guard(_mutex);
    while (!_woken) {
      const std::uint32_t rest = deadline.remainingMs();
      if (rest == 0) return ZRError::eTimeout;
      const ZRResult waited = _condition.wait(_mutex, rest);
      if (waited.isFailure() && waited.code() != ZRError::eTimeout) return waited;
    }
    _woken = false;
    return ZRError::eNoError;
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

/// Lets an event wake the calling thread for a scope, which also ends when the thread is cancelled.
class Attachment {
 public:
  Attachment(IWaiterCondition& waiter, ZREventWakeup& wakeup) : _waiter(waiter), _wakeup(wakeup) {
    _waiter.attach(_wakeup);
  }
  ~Attachment() { _waiter.detach(_wakeup); }
  Attachment(const Attachment&) = delete;
  Attachment& operator=(const Attachment&) = delete;

 private:
  IWaiterCondition& _waiter;
  ZREventWakeup& _wakeup;
};

ZRResult waitFor(IWaiterCondition&& waiter, std::uint32_t timeoutMs) {
  const platform::DeferredCancellation deferred;
  if (waiter.tryConsume()) return ZRError::eNoError;
  if (timeoutMs == 0) return ZRError::eTimeout;

  const Deadline deadline(timeoutMs);
  ZREventWakeup wakeup;
  const Attachment attachment(waiter, wakeup);
  for (ZRResult slept; !waiter.tryConsume(); slept = wakeup.sleep(deadline)) {
    if (slept.isFailure()) return slept;
  }
  return ZRError::eNoError;
}

}  // namespace

ZREvent::ZREvent(const char* name, Reset reset, bool initiallySet)
    : _name(name), _reset(reset), _isSet(initiallySet) {
  ZREventTable::instance().add(*this);
}

ZREvent::~ZREvent() {
  ZREventTable::instance().remove(*this);
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

ZRResult ZREvent::wait(std::uint32_t timeoutMs) {
  if (_reset == Reset::manual && isSet()) return ZRError::eNoError;
  return _reset == Reset::manual ? waitFor(CManualResetWaiter(*this), timeoutMs)
                                 : waitFor(CAutoResetWaiter(*this), timeoutMs);
}

std::size_t ZREvent::count() {
  return ZREventTable::instance().size();
}

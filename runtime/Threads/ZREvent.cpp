#include "runtime/Threads/ZREvent.h"

#include <algorithm>
#include <array>
#include <boost/intrusive/list.hpp>
#include <chrono>
#include <memory>
#include <span>
#include <vector>

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
  bool holds(const ZREvent* event) const {
    const ZRMutex::Guard guard(_mutex);
    return std::any_of(_events.begin(), _events.end(), [=](const ZREvent& known) { return &known == event; });
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

constexpr std::size_t kNone = static_cast<std::size_t>(-1);
using Waiters = std::span<IWaiterCondition* const>;

std::size_t firstSatisfied(Waiters waiters) {
  const auto found =
      std::find_if(waiters.begin(), waiters.end(), [](auto* waiter) { return waiter->tryConsume(); });
  return found == waiters.end() ? kNone : static_cast<std::size_t>(found - waiters.begin());
}

/// Lets the events wake the calling thread for a scope, which also ends when the thread is cancelled.
class Attachment {
 public:
  Attachment(Waiters waiters, ZREventWakeup& wakeup) : _waiters(waiters), _wakeup(wakeup) {
    for (IWaiterCondition* waiter : _waiters)
      waiter->attach(_wakeup);
  }
  ~Attachment() {
    for (IWaiterCondition* waiter : _waiters)
      waiter->detach(_wakeup);
  }
  Attachment(const Attachment&) = delete;
  Attachment& operator=(const Attachment&) = delete;

 private:
  Waiters _waiters;
  ZREventWakeup& _wakeup;
};

ZRResult waitFor(Waiters waiters, std::uint32_t timeoutMs, std::size_t& index) {
  const platform::DeferredCancellation deferred;
  index = firstSatisfied(waiters);
  if (index != kNone) return ZRError::eNoError;
  if (timeoutMs == 0) return ZRError::eTimeout;

  const Deadline deadline(timeoutMs);
  ZREventWakeup wakeup;
  const Attachment attachment(waiters, wakeup);
  ZRResult slept;
  while ((index = firstSatisfied(waiters)) == kNone && slept.isSuccess())
    slept = wakeup.sleep(deadline);
  return index != kNone ? ZRResult() : slept;
}

ZRResult waitForOne(CEventWaiter&& waiter, std::uint32_t timeoutMs) {
  const std::array<IWaiterCondition*, 1> waiters{&waiter};
  std::size_t index = 0;
  return waitFor(waiters, timeoutMs, index);
}

}  // namespace

std::unique_ptr<IWaiterCondition> ZREvent::makeWaiter(ZREvent& event) {
  if (event._reset == Reset::manual) return std::make_unique<CManualResetWaiter>(event);
  return std::make_unique<CAutoResetWaiter>(event);
}

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
  return _reset == Reset::manual ? waitForOne(CManualResetWaiter(*this), timeoutMs)
                                 : waitForOne(CAutoResetWaiter(*this), timeoutMs);
}

ZRResult ZREvent::waitForAny(ZREvent* const* events, std::size_t count, std::uint32_t timeoutMs,
                             std::size_t& index) {
  ZR_CHECK_PARAMETER(events != nullptr && count > 0);
  std::vector<std::unique_ptr<IWaiterCondition>> owned;
  std::vector<IWaiterCondition*> waiters;
  for (ZREvent* const* event = events; event != events + count; ++event) {
    if (!ZREventTable::instance().holds(*event)) return ZRError::eBadHandle;
    waiters.push_back(owned.emplace_back(makeWaiter(**event)).get());
  }
  return waitFor(waiters, timeoutMs, index);
}

std::size_t ZREvent::count() {
  return ZREventTable::instance().size();
}

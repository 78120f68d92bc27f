#include "runtime/Threads/ZRDynamicThreadPool.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <new>
#include <thread>
#include <utility>

#include "platform/Thread.h"
#include "runtime/Code/ZRLog.h"

namespace {

constexpr std::uint32_t kWaitSliceMs = 1000;
constexpr std::uint32_t kRetiredJoinMs = 5000;
constexpr int kLooksBeforeSleep = 8;
constexpr std::size_t kThreadNameBytes = 128;

using Clock = std::chrono::steady_clock;
using ThreadName = std::array<char, kThreadNameBytes>;

void reportFailure(const ZRResult& result, const ZRLocation& location) {
  zrReport(ZRLogLevel::eError, result, "Error returned", location);
}

}  // namespace

ZRDynamicPoolWorkerThread::ZRDynamicPoolWorkerThread(ZRDynamicThreadPool& pool, std::size_t slot, Kind kind)
    : ZRThread("ZRDynamicPoolWorkerThread"), _slot(slot), _pool(pool), _kind(kind) {}

ZRDynamicPoolWorkerThread::~ZRDynamicPoolWorkerThread() {
  if (state() == State::running) reportFailure(join(kNoLimit, false), ZR_HERE);
}

ZRResult ZRDynamicPoolWorkerThread::run() {
  const platform::DeferredCancellation deferred;  // what is the pool's is left in order
  showIdle();
  while (boost::shared_ptr<ZRTask> task = _pool.nextTask(*this)) {
    showTask(*task);
    reportFailure(task->complete(runTask(*task)), ZR_HERE);
  }
  showIdle();
  return ZRError::eNoError;
}

ZRResult ZRDynamicPoolWorkerThread::runTask(ZRTask& task) {
  const platform::ImmediateCancellation immediate;
  return task.run(*this);
}

void ZRDynamicPoolWorkerThread::showIdle() {
  if (shows("", kIdle)) return;
  ThreadName name;
  std::snprintf(name.data(), name.size(), "%s(%zu)", _pool.name().c_str(), _slot);
  show(name.data(), "", kIdle);
}

void ZRDynamicPoolWorkerThread::showTask(const ZRTask& task) {
  if (shows(task.name(), task.number())) return;
  ThreadName name;
  std::snprintf(name.data(), name.size(), "%s(%zu)(%s)(%d)", _pool.name().c_str(), _slot, task.name(),
                task.number());
  show(name.data(), task.name(), task.number());
}

/// A task may have renamed the thread.
bool ZRDynamicPoolWorkerThread::shows(const char* task, std::int64_t number) const {
  return _shownNumber == number && _shownTask == task && _shownName == zrrt::currentThreadTag();
}

void ZRDynamicPoolWorkerThread::show(const char* name, const char* task, std::int64_t number) {
  setName(name);
  _shownName = name;
  _shownTask = task;
  _shownNumber = number;
}

ZRDynamicThreadPool::ZRDynamicThreadPool(const ZRString& name, std::size_t minimum, std::size_t maximum,
                                         std::uint32_t idleTimeoutSeconds)
    : _name(name),
      _minimum(minimum),
      _maximum(maximum),
      _idleTimeoutSeconds(idleTimeoutSeconds),
      _slots(maximum) {
  const ZRMutex::Guard guard(_mutex);
  for (std::size_t i = 0; i < std::min(_minimum, _maximum); ++i)
    startWorker(i, Worker::Kind::core);
}

ZRDynamicThreadPool::~ZRDynamicThreadPool() {
  reportFailure(stop(), ZR_HERE);
}

void ZRDynamicThreadPool::startWorker(std::size_t slotIndex, Worker::Kind kind) {
  try {
    _slots[slotIndex] = std::make_unique<Worker>(*this, slotIndex + 1, kind);
  } catch (const std::bad_alloc&) {
    zrAssertionFailed(ZR_HERE, "Can't allocate threads");
    return;
  }
  if (_slots[slotIndex]->start().isSuccess()) return;
  zrAssertionFailed(ZR_HERE, "Can't start thread");
  _slots[slotIndex].reset();
}

ZRResult ZRDynamicThreadPool::addTask(const boost::shared_ptr<ZRTask>& task) {
  ZR_CHECK_PARAMETER(task != nullptr);
  const ZRMutex::Guard guard(_mutex);
  if (_stopping) return ZRError::eSomeError;
  pushBack(task);
  if (_queue.size() > _idle) addWorker();
  // Under the lock: without it, whoever waits for the task may have destroyed the pool by now.
  reportFailure(_condition.broadcast(), ZR_HERE);
  return ZRError::eNoError;
}

void ZRDynamicThreadPool::addWorker() {
  for (std::size_t i = _minimum; i < _maximum; ++i) {
    if (_slots[i] && !_slots[i]->isStopRequested()) continue;
    if (_slots[i] && !joinRetired(*_slots[i])) return;
    _slots[i].reset();
    startWorker(i, Worker::Kind::retiring);
    return;
  }
}

bool ZRDynamicThreadPool::joinRetired(Worker& worker) {
  const ZRResult joined = worker.joinElseTerminate2(kRetiredJoinMs, false, kRetiredJoinMs);
  reportFailure(joined, ZR_HERE);
  return joined.isSuccess();
}

boost::shared_ptr<ZRTask> ZRDynamicThreadPool::nextTask(Worker& worker) {
  const ZRMutex::Guard guard(_mutex);
  ++_idle;
  const bool mayGoOn = waitForTask(worker);
  --_idle;
  return mayGoOn ? takeFront() : nullptr;
}

bool ZRDynamicThreadPool::waitForTask(Worker& worker) {
  Clock::time_point idleDeadline{};
  int looks = 0;
  while (!worker.isStopRequested()) {
    if (!_queue.empty()) return true;
    if (looks++ < kLooksBeforeSleep) {
      giveWay();
      continue;
    }
    worker.showIdle();
    if (worker.isRetiring() && hasIdledTooLong(idleDeadline)) {
      reportFailure(worker.requestStop(), ZR_HERE);
      return false;
    }
    static_cast<void>(_condition.wait(_mutex, kWaitSliceMs));  // a time-out is just another look
  }
  return false;
}

/// Lets others have the mutex and the processor: to fall asleep and be woken costs more than a short task.
void ZRDynamicThreadPool::giveWay() {
  _mutex.unlock();
  std::this_thread::yield();
  _mutex.lock();
}

/// The deadline is made at the first call: a worker that finds work asks no clock.
bool ZRDynamicThreadPool::hasIdledTooLong(Clock::time_point& deadline) const {
  const Clock::time_point now = Clock::now();
  if (deadline == Clock::time_point{}) deadline = now + std::chrono::seconds(_idleTimeoutSeconds);
  return deadline - now < std::chrono::milliseconds(1);
}

/// A node that a task left free is used again, so that no memory is asked for while the lock is held.
void ZRDynamicThreadPool::pushBack(const boost::shared_ptr<ZRTask>& task) {
  if (_freeNodes.empty()) {
    _queue.push_back(task);
    return;
  }
  _freeNodes.front() = task;
  _queue.splice(_queue.end(), _freeNodes, _freeNodes.begin());
}

boost::shared_ptr<ZRTask> ZRDynamicThreadPool::takeFront() {
  boost::shared_ptr<ZRTask> task = std::move(_queue.front());
  _freeNodes.splice(_freeNodes.begin(), _queue, _queue.begin());
  return task;
}

ZRResult ZRDynamicThreadPool::stop() {
  {
    const ZRMutex::Guard guard(_mutex);
    _stopping = true;
    for (const auto& worker : _slots) {
      if (worker) reportFailure(worker->requestStop(), ZR_HERE);
    }
    reportFailure(_condition.broadcast(), ZR_HERE);
  }
  for (const auto& worker : _slots) {
    if (worker) reportFailure(worker->join(ZRSync::kNoLimit, false), ZR_HERE);
  }
  return ZRError::eNoError;
}

std::size_t ZRDynamicThreadPool::idleThreads() const {
  const ZRMutex::Guard guard(_mutex);
  return _idle;
}

std::size_t ZRDynamicThreadPool::liveThreads() const {
  const ZRMutex::Guard guard(_mutex);
  return static_cast<std::size_t>(std::count_if(
      _slots.begin(), _slots.end(), [](const auto& worker) { return worker && !worker->isStopRequested(); }));
}

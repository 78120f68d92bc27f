#include "runtime/Threads/ZRDynamicThreadPool.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <system_error>

#include "runtime/Code/ZRLog.h"

namespace {

constexpr std::uint32_t kWaitSliceMs = 1000;
constexpr std::uint32_t kRetiredJoinMs = 5000;
constexpr std::size_t kThreadNameBytes = 128;

using Clock = std::chrono::steady_clock;

}  // namespace

ZRDynamicPoolWorkerThread::ZRDynamicPoolWorkerThread(ZRDynamicThreadPool& pool, std::size_t slot, Kind kind)
    : ZRThread("ZRDynamicPoolWorkerThread"), _slot(slot), _pool(pool), _kind(kind) {}

ZRDynamicPoolWorkerThread::~ZRDynamicPoolWorkerThread() {
  if (state() == State::running)
    zrReport(ZRLogLevel::eError, join(kNoLimit, false), "Error returned", ZR_HERE);
}

ZRResult ZRDynamicPoolWorkerThread::run() {
  std::array<char, kThreadNameBytes> idleName;
  std::snprintf(idleName.data(), idleName.size(), "%s(%zu)", _pool.name().c_str(), _slot);
  setName(idleName.data());
  while (boost::shared_ptr<ZRTask> task = _pool.nextTask(*this)) {
    runTask(*task);
    task.reset();
    setName(idleName.data());
  }
  return ZRError::eNoError;
}

void ZRDynamicPoolWorkerThread::runTask(ZRTask& task) {
  std::array<char, kThreadNameBytes> busyName;
  std::snprintf(busyName.data(), busyName.size(), "%s(%zu)(%s)(%d)", _pool.name().c_str(), _slot, task.name(),
                task.number());
  setName(busyName.data());
  zrReport(ZRLogLevel::eError, task.complete(task.run(*this)), "Error returned", ZR_HERE);
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
  zrReport(ZRLogLevel::eError, stop(), "Error returned", ZR_HERE);
}

void ZRDynamicThreadPool::startWorker(std::size_t slotIndex, Worker::Kind kind) {
  auto worker = std::make_unique<Worker>(*this, slotIndex + 1, kind);
  if (worker->creationResult().isFailure()) {
    zrAssertionFailed(ZR_HERE, "Can't allocate threads");
    return;
  }
  if (worker->start().isFailure()) {
    zrAssertionFailed(ZR_HERE, "Can't start thread");
    return;
  }
  _slots[slotIndex] = std::move(worker);
}

ZRResult ZRDynamicThreadPool::addTask(const boost::shared_ptr<ZRTask>& task) {
  ZR_CHECK_PARAMETER(task != nullptr);
  const ZRMutex::Guard guard(_mutex);
  if (_stopping) return ZRError::eSomeError;
  _queue.push_back(task);
  if (_queue.size() > _idle) addWorker();
  zrReport(ZRLogLevel::eError, _condition.broadcast(), "Error returned", ZR_HERE);
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
  zrReport(ZRLogLevel::eError, joined, "Error returned", ZR_HERE);
  return joined.isSuccess();
}

boost::shared_ptr<ZRTask> ZRDynamicThreadPool::nextTask(Worker& worker) {
  const ZRMutex::Guard guard(_mutex);
  const auto idleDeadline = Clock::now() + std::chrono::seconds(_idleTimeoutSeconds);
  ++_idle;
  while (_queue.empty() && !worker.isStopRequested()) {
    if (worker.isRetiring() && idleDeadline - Clock::now() < std::chrono::milliseconds(1)) {
      zrReport(ZRLogLevel::eError, worker.requestStop(), "Error returned", ZR_HERE);
      break;
    }
    static_cast<void>(_condition.wait(_mutex, kWaitSliceMs));  // a time-out is just another look
  }
  --_idle;
  if (worker.isStopRequested()) return {};
  boost::shared_ptr<ZRTask> task = std::move(_queue.front());
  _queue.pop_front();
  return task;
}

ZRResult ZRDynamicThreadPool::stop() {
  {
    const ZRMutex::Guard guard(_mutex);
    _stopping = true;
    for (const auto& worker : _slots) {
      if (worker) zrReport(ZRLogLevel::eError, worker->requestStop(), "Error returned", ZR_HERE);
    }
    zrReport(ZRLogLevel::eError, _condition.broadcast(), "Error returned", ZR_HERE);
  }
  for (const auto& worker : _slots) {
    if (worker)
      zrReport(ZRLogLevel::eError, worker->join(ZRSync::kNoLimit, false), "Error returned", ZR_HERE);
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

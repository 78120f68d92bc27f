#pragma once

#include <boost/shared_ptr.hpp>
#include <chrono>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "runtime/Threads/ZRTask.h"
#include "runtime/Threads/ZRThread.h"

class ZRDynamicThreadPool;

/// A worker of a pool. A core worker stays until the pool stops; a retiring one, added under load, ends after
/// it was idle for the pool's idle timeout.
class ZRDynamicPoolWorkerThread final : public ZRThread {
 public:
  enum class Kind { core, retiring };

  /// `slot` is counted from 1. The pool outlives the worker.
  ZRDynamicPoolWorkerThread(ZRDynamicThreadPool& pool, std::size_t slot, Kind kind);
  ~ZRDynamicPoolWorkerThread() override;

  [[nodiscard]] std::size_t slot() const { return _slot; }
  [[nodiscard]] bool isRetiring() const { return _kind == Kind::retiring; }

 protected:
  ZRResult run() override;

 private:
  friend class ZRDynamicThreadPool;
  static constexpr std::int64_t kIdle = -0x1'0000'0000;  ///< in the place of a task's number

  ZRResult runTask(ZRTask& task);
  /// Name the thread, unless it has the name already: between two tasks of one name it keeps theirs.
  void showIdle();
  void showTask(const ZRTask& task);
  [[nodiscard]] bool shows(const char* task, std::int64_t number) const;
  void show(const char* name, const char* task, std::int64_t number);

  std::size_t _slot;
  ZRDynamicThreadPool& _pool;
  Kind _kind;
  std::string _shownName;  ///< empty: the thread was not named yet
  std::string _shownTask;
  std::int64_t _shownNumber = kIdle;
};

/// Runs tasks, first in first out, on worker threads whose number grows under load from a minimum to a
/// maximum and shrinks again. Any thread may add tasks; one thread stops and destroys the pool.
class ZRDynamicThreadPool {
 public:
  /// Starts `minimum` workers. One that cannot be made or started is reported, and the pool goes on with
  /// fewer.
  ZRDynamicThreadPool(const ZRString& name, std::size_t minimum, std::size_t maximum,
                      std::uint32_t idleTimeoutSeconds);
  /// Stops the pool if that was not done.
  virtual ~ZRDynamicThreadPool();
  ZRDynamicThreadPool(const ZRDynamicThreadPool&) = delete;
  ZRDynamicThreadPool& operator=(const ZRDynamicThreadPool&) = delete;

  /// Queues a task. Fails: eSomeError after `stop`; eBadParameter for none.
  ZRResult addTask(const boost::shared_ptr<ZRTask>& task);

  /// Waits for the tasks that run and ends all workers. Tasks still in the queue are not run, and their
  /// events never set.
  ZRResult stop();

  [[nodiscard]] const ZRString& name() const { return _name; }
  [[nodiscard]] std::size_t minimumThreads() const { return _minimum; }
  [[nodiscard]] std::size_t maximumThreads() const { return _maximum; }
  [[nodiscard]] std::size_t idleThreads() const;
  /// Workers that have not retired.
  [[nodiscard]] std::size_t liveThreads() const;

 private:
  friend class ZRDynamicPoolWorkerThread;
  using Worker = ZRDynamicPoolWorkerThread;

  /// The next task for a worker; none when it is to end.
  boost::shared_ptr<ZRTask> nextTask(Worker& worker);
  bool waitForTask(Worker& worker);
  void giveWay();
  bool hasIdledTooLong(std::chrono::steady_clock::time_point& deadline) const;
  void pushBack(const boost::shared_ptr<ZRTask>& task);
  boost::shared_ptr<ZRTask> takeFront();
  void startWorker(std::size_t slotIndex, Worker::Kind kind);
  void addWorker();
  bool joinRetired(Worker& worker);

  const ZRString _name;
  const std::size_t _minimum;
  const std::size_t _maximum;
  std::size_t _idle = 0;
  const std::uint32_t _idleTimeoutSeconds;
  std::list<boost::shared_ptr<ZRTask>> _queue;
  std::list<boost::shared_ptr<ZRTask>> _freeNodes;
  mutable ZRThreadMutex _mutex{"Thread Mutex"};
  ZRCondition _condition;
  std::vector<std::unique_ptr<Worker>> _slots;
  bool _stopping = false;
};

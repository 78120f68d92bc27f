#pragma once

#include <boost/shared_ptr.hpp>
#include <vector>

#include "runtime/Threads/ZRTask.h"

class ZRDynamicThreadPool;

/// Tasks that are queued on one pool and awaited together. Both share their ownership, so a batch that ends
/// without waiting leaves its tasks to the pool.
class TaskBatch {
 public:
  /// The pool outlives the batch.
  explicit TaskBatch(ZRDynamicThreadPool& pool) : _pool(pool) {}

  /// Queues a task. Fails: as `ZRDynamicThreadPool::addTask`.
  ZRResult add(const boost::shared_ptr<ZRTask>& task);

  [[nodiscard]] std::size_t size() const { return _tasks.size(); }

  /// Waits for all tasks, without a limit. Fails: the first failure of a task, in the order of adding.
  ZRResult wait() const;

 private:
  ZRDynamicThreadPool& _pool;
  std::vector<boost::shared_ptr<ZRTask>> _tasks;
};

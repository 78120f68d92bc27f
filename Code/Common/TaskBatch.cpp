#include "Code/Common/TaskBatch.h"

#include "runtime/Threads/ZRDynamicThreadPool.h"

ZRResult TaskBatch::add(const boost::shared_ptr<ZRTask>& task) {
  ZR_RETURN_FAILURE(_pool.addTask(task));
  _tasks.push_back(task);
  return ZRError::eNoError;
}

ZRResult TaskBatch::wait() const {
  for (const auto& task : _tasks)
    ZR_RETURN_FAILURE(task->completionEvent().wait(ZRSync::kNoLimit));
  for (const auto& task : _tasks)
    ZR_RETURN_FAILURE(task->result());
  return ZRError::eNoError;
}

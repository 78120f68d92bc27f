#pragma once

#include <cstdint>

#include "runtime/Threads/ZREvent.h"

class ZRDynamicPoolWorkerThread;

/// A unit of work for a thread pool. Whoever queued it waits for its completion event and then reads its
/// result; the pool and its callers share its ownership.
class ZRTask {
 public:
  /// `name` and `number` show in the name of the thread that runs the task; `name` outlives it.
  explicit ZRTask(const char* name, std::int32_t number = 0);
  virtual ~ZRTask() = default;
  ZRTask(const ZRTask&) = delete;
  ZRTask& operator=(const ZRTask&) = delete;

  /// The work, called on a thread of the pool.
  virtual ZRResult run(ZRDynamicPoolWorkerThread& worker) = 0;

  /// Stores the result and sets the completion event.
  ZRResult complete(ZRResult result);

  [[nodiscard]] const char* name() const { return _name; }
  [[nodiscard]] std::int32_t number() const { return _number; }
  /// Set when the run is over.
  [[nodiscard]] ZREvent& completionEvent() { return _completionEvent; }
  /// Valid once the completion event is set.
  [[nodiscard]] const ZRResult& result() const { return _result; }

 private:
  const char* _name;
  std::int32_t _number;
  ZRResult _result{ZRError::eNotInitialized};
  ZREvent _completionEvent{"ZRTask::_completionEvent", ZREvent::Reset::manual};
};

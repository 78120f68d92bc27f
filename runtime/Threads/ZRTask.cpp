#include "runtime/Threads/ZRTask.h"

#include <utility>

ZRTask::ZRTask(const char* name, std::int32_t number) : _name(name), _number(number) {}

ZRResult ZRTask::complete(ZRResult result) {
  _result = std::move(result);
  return _completionEvent.set();
}

#include "runtime/Threads/ZRTask.h"

ZRTask::ZRTask(const char* name, std::int32_t number) : _name(name), _number(number) {}

ZRResult ZRTask::complete(const ZRResult& result) {
  _result = result;
  return _completionEvent.set();
}

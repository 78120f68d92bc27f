#include "platform/RunLoop.h"

namespace platform {

RunLoop& RunLoop::current() {
  thread_local RunLoop loop;
  return loop;
}

bool RunLoop::runOnce(Date deadline) {
  if (_source == nullptr) return false;
  _source->process(deadline);
  return true;
}

void RunLoop::addSource(RunLoopSource& source) {
  _source = &source;
}

void RunLoop::removeSource(RunLoopSource& source) {
  if (_source == &source) _source = nullptr;
}

}  // namespace platform

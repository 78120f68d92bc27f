#include "platform/RunLoop.h"

#include "platform/common/RunLoopSource.h"

namespace platform {
namespace {

RunLoopSource*& currentSource() {
  thread_local RunLoopSource* source = nullptr;
  return source;
}

}  // namespace

bool runLoopOnce(Date deadline) {
  RunLoopSource* source = currentSource();
  if (source != nullptr) source->process(deadline);
  return source != nullptr;
}

bool RunLoopSource::isThere() {
  return currentSource() != nullptr;
}

void RunLoopSource::joinRunLoop() {
  currentSource() = this;
}

void RunLoopSource::leaveRunLoop() {
  if (currentSource() == this) currentSource() = nullptr;
}

}  // namespace platform

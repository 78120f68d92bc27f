#include "runtime/Threads/ZRCondition.h"

#include <cerrno>

#include "platform/Thread.h"
#include "runtime/Code/ZRLog.h"

ZRCondition::ZRCondition() {
  const int error = pthread_cond_init(&_condition, nullptr);
  if (error == 0) return;
  _creationResult = ZRResult(ZRThreadError::eNotInitialized, "%s", creationMessage(error));
  zrrt::log(ZRLogLevel::eError, "%s", creationMessage(error));
}

ZRCondition::~ZRCondition() {
  if (_creationResult.isFailure()) return;
  const int error = pthread_cond_destroy(&_condition);
  if (error != 0) zrrt::log(ZRLogLevel::eError, "%s", destructionMessage(error));
}

ZRResult ZRCondition::broadcast() {
  if (_creationResult.isFailure()) return ZRThreadError::eNotInitialized;
  if (!_signalled.load(std::memory_order_relaxed)) _signalled = true;  // a store that nobody needs is slow
  return pthread_cond_broadcast(&_condition) == 0 ? ZRError::eNoError : ZRError::eSomeError;
}

ZRResult ZRCondition::wait(ZRMutex& mutex, std::uint32_t timeoutMs) {
  if (_creationResult.isFailure()) return ZRThreadError::eNotInitialized;
  const int error = timeoutMs == ZRSync::kNoLimit
                        ? pthread_cond_wait(&_condition, &mutex.native())
                        : platform::waitOnCondition(reinterpret_cast<platform::NativeCondition*>(&_condition),
                                                    reinterpret_cast<platform::NativeMutex*>(&mutex.native()),
                                                    std::chrono::milliseconds(timeoutMs));
  if (error == ETIMEDOUT) return ZRError::eTimeout;
  if (error != 0) return ZRThreadError::eWaitFailed;
  _signalled = false;
  return ZRError::eNoError;
}

const char* ZRCondition::creationMessage(int errorNumber) {
  switch (errorNumber) {
    case ENOMEM:
      return "ZRCondition::ZRCondition() The process cannot allocate enough memory to create another "
             "condition variable.";
    case EAGAIN:
      return "ZRCondition::ZRCondition() The system temporarily lacks the resources to create another "
             "condition variable.";
    case EINVAL:
      return "ZRCondition::ZRCondition() The value specified by attr is invalid.";
    default:
      return "ZRCondition::ZRCondition() Could not initialize the condition variable.";
  }
}

const char* ZRCondition::destructionMessage(int errorNumber) {
  switch (errorNumber) {
    case EBUSY:
      return "ZRCondition::~ZRCondition() The variable cond is locked by another thread.";
    case EINVAL:
      return "ZRCondition::~ZRCondition() The value specified by cond is invalid.";
    default:
      return "ZRCondition::~ZRCondition() Could not destroy the condition variable.";
  }
}

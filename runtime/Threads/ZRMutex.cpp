#include "runtime/Threads/ZRMutex.h"

#include <cerrno>

#include "runtime/Code/ZRLog.h"

namespace {

constexpr std::size_t kMaxMessage = 1024;

/// Makes a mutex that its owner may lock again. `attributesFailed` tells which of the two steps failed.
int initialiseRecursive(pthread_mutex_t& mutex, bool& attributesFailed) {
  pthread_mutexattr_t attributes;
  int error = pthread_mutexattr_init(&attributes);
  attributesFailed = error != 0;
  if (attributesFailed) return error;
  error = pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  attributesFailed = error != 0;
  if (!attributesFailed) error = pthread_mutex_init(&mutex, &attributes);
  pthread_mutexattr_destroy(&attributes);
  return error;
}

}  // namespace

ZRSync::ZRSync() {
  bool attributesFailed = false;
  const int error = initialiseRecursive(_syncMutex, attributesFailed);
  if (error != 0) zrAssertionFailed(ZR_HERE, "ZRSync::ZRSync() Cannot set mutex attributes. (%d)", error);
}

ZRSync::~ZRSync() {
  pthread_mutex_destroy(&_syncMutex);
}

ZRMutex::ZRMutex(const char* name) : _name(name), _creationResult(create()) {
  if (_creationResult.isFailure()) zrrt::log(ZRLogLevel::eError, "%s", _creationResult.message().c_str());
}

ZRResult ZRMutex::create() {
  bool attributesFailed = false;
  const int error = initialiseRecursive(_mutex, attributesFailed);
  if (error == 0) return ZRError::eNoError;
  if (attributesFailed) {
    return ZRResult(ZRError::eSomeError, "ZRMutex::ZRMutex(\"%s\") Cannot set mutex attributes. (%d)", _name,
                    error);
  }
  return ZRResult(ZRError::eSomeError, "%s", creationMessage(_name, error).c_str());
}

ZRMutex::~ZRMutex() {
  if (_creationResult.isFailure()) return;
  const int error = pthread_mutex_destroy(&_mutex);
  if (error != 0) zrrt::log(ZRLogLevel::eError, "%s", destructionMessage(_name, error).c_str());
}

ZRString ZRMutex::creationMessage(const char* name, int errorNumber) {
  switch (errorNumber) {
    case ENOMEM:
      return ZRString::format(
          kMaxMessage,
          "ZRMutex::ZRMutex(\"%s\") The process cannot allocate enough memory to create another mutex.",
          name);
    case EAGAIN:
      return ZRString::format(
          kMaxMessage,
          "ZRMutex::ZRMutex(\"%s\") The temporarily lacks the resources to create another mutex.", name);
    case EINVAL:
      return ZRString::format(kMaxMessage, "ZRMutex::ZRMutex(\"%s\") The value specified by attr is invalid.",
                              name);
    default:
      return ZRString::format(kMaxMessage, "ZRMutex::ZRMutex(\"%s\") Could not initialize mutex.", name);
  }
}

ZRString ZRMutex::destructionMessage(const char* name, int errorNumber) {
  switch (errorNumber) {
    case EBUSY:
      return ZRString::format(kMaxMessage, "ZRMutex::~ZRMutex() Mutex \"%s\" is locked.", name);
    case EINVAL:
      return ZRString::format(kMaxMessage,
                              "ZRMutex::~ZRMutex() The value specified by mutex \"%s\" is invalid.", name);
    default:
      return ZRString::format(kMaxMessage, "ZRMutex::~ZRMutex() Error %d destroying mutex \"%s\".",
                              errorNumber, name);
  }
}

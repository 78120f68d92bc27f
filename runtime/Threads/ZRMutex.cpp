#include "runtime/Threads/ZRMutex.h"

#include <cerrno>
#include <utility>

#include "runtime/Code/ZRLog.h"

namespace {

constexpr std::size_t kMaxMessage = 1024;

}  // namespace

ZRSync::ZRSync() {
  const int error = initialise();
  if (error != 0) zrAssertionFailed(ZR_HERE, "ZRSync::ZRSync() Cannot set mutex attributes. (%d)", error);
}

int ZRSync::initialise() {
  pthread_mutexattr_t attributes;
  _attributesError = pthread_mutexattr_init(&attributes);
  if (_attributesError != 0) return _attributesError;
  _attributesError = pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  if (_attributesError == 0) _mutexError = pthread_mutex_init(&_posixMutex, &attributes);
  pthread_mutexattr_destroy(&attributes);
  _exists = _attributesError == 0 && _mutexError == 0;
  return _attributesError != 0 ? _attributesError : _mutexError;
}

int ZRSync::destroyMutex() {
  return std::exchange(_exists, false) ? pthread_mutex_destroy(&_posixMutex) : 0;
}

ZRSync::~ZRSync() {
  destroyMutex();
}

ZRMutex::ZRMutex(const char* name) : _name(name) {
  const ZRResult created = creationResult();
  if (created.isFailure()) zrrt::log(ZRLogLevel::eError, "%s", created.message().c_str());
}

ZRResult ZRMutex::creationResult() const {
  if (attributesError() != 0) {
    return ZRResult(ZRError::eSomeError, "ZRMutex::ZRMutex(\"%s\") Cannot set mutex attributes. (%d)", _name,
                    attributesError());
  }
  if (mutexError() == 0) return ZRError::eNoError;
  return ZRResult(ZRError::eSomeError, "%s", creationMessage(_name, mutexError()).c_str());
}

ZRMutex::~ZRMutex() {
  const int error = destroyMutex();
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

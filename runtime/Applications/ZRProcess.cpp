#include "runtime/Applications/ZRProcess.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

#include "platform/Process.h"
#include "runtime/Applications/ZRProcessManager.h"
#include "runtime/Code/ZRPlatformError.h"

ZRMacProcess::ZRMacProcess(const boost::weak_ptr<zrrt::IProcessManager>& manager, std::int32_t id,
                           Waitable waitable, Suspended suspended)
    : _manager(manager),
      _id(id),
      _isWaitable(waitable == Waitable::yes),
      _isSuspended(suspended == Suspended::yes) {}

ZRResult ZRMacProcess::resume() {
  const ZRMutex::Guard guard(_mutex);
  if (!_isSuspended) return ZRError::eBadStatus;
  _isSuspended = false;
  return zrrt::resultOfCall(platform::process::sendContinue(_id));
}

ZRResult ZRMacProcess::getSessionId(std::int32_t& sessionId) {
  const pid_t session = ::getsid(_id);
  if (session < 0) return ZRResult::fromSystemError("getsid", errno);
  sessionId = session;
  return ZRError::eNoError;
}

ZRResult ZRMacProcess::activate() {
  return ZRError::eNotImplemented;
}

ZRResult ZRMacProcess::wait(std::uint32_t timeoutMs) {
  const boost::shared_ptr<zrrt::IProcessManager> manager = _manager.lock();
  if (!manager) return ZRError::eNullPointer;
  const ZRResult waited = manager->waitForExit(_id, timeoutMs);
  if (waited.code() == ZRError::eNotFound) return ZRError::eNoError;  // it is gone already
  ZR_RETURN_FAILURE(waited);
  return ZRError::eNoError;
}

ZRResult ZRMacProcess::terminate() {
  const boost::shared_ptr<zrrt::IProcessManager> manager = _manager.lock();
  if (!manager) return ZRError::eNullPointer;
  ZR_RETURN_FAILURE(manager->killProcess(_id));
  return ZRError::eNoError;
}

ZRResult ZRMacProcess::getExitCode(std::uint8_t& code) {
  if (!_isWaitable) return ZRError::eNoAccess;
  const ZRMutex::Guard guard(_mutex);
  if (!_isCollected) {
    if (const ZRResult collected = collect(); !_isCollected) return collected;
  }
  code = _exitCode;
  return _collectedResult;
}

/// Sets the members once the status is known; a result without that is why it is not.
ZRResult ZRMacProcess::collect() {
  int status = 0;
  pid_t collected;
  do {
    collected = ::waitpid(_id, &status, WNOHANG);
  } while (collected < 0 && errno == EINTR);

  if (collected < 0)
    return errno == ECHILD ? ZRResult(ZRError::eNotFound) : ZRResult::fromSystemError("waitpid", errno);
  if (collected == 0) return ZRProcessError::eStillRunning;
  if (collected != _id) return ZRError::eUnexpected;
  if (WIFSTOPPED(status)) return ZRProcessError::eStillRunning;
  const bool wasSignaled = WIFSIGNALED(status);
  _exitCode = static_cast<std::uint8_t>(wasSignaled ? WTERMSIG(status) : WEXITSTATUS(status));
  _collectedResult = wasSignaled ? ZRResult(ZRProcessError::eSignaled) : ZRResult();
  _isCollected = true;
  return ZRError::eNoError;
}

ZRResult ZRMacProcess::getExecutablePath(ZRString& path) {
  const boost::shared_ptr<zrrt::IProcessManager> manager = _manager.lock();
  if (!manager) return ZRError::eNullPointer;
  ZR_RETURN_FAILURE(manager->getExecutablePath(_id, path));
  return ZRError::eNoError;
}

#include "runtime/Threads/ZRThread.h"

#include <unistd.h>

#include <boost/make_shared.hpp>
#include <cerrno>
#include <cstdlib>

#include "platform/Thread.h"
#include "runtime/Code/ZRLog.h"

namespace {

constexpr std::uint32_t kTerminateTimeoutMs = 5000;

/// The key under which each thread finds its object.
pthread_key_t currentThreadKey() {
  static const pthread_key_t key = [] {
    pthread_key_t created{};
    const int error = pthread_key_create(&created, nullptr);
    if (error != 0) {
      zrReport(ZRLogLevel::eError, ZRResult::fromSystemError("pthread_key_create", error), "Error occurred",
               ZR_HERE);
    }
    return created;
  }();
  return key;
}

void setCurrentThread(const ZRThread* thread) {
  const int error = pthread_setspecific(currentThreadKey(), thread);
  if (error == 0) return;
  zrReport(ZRLogLevel::eError, ZRResult::fromSystemError("pthread_setspecific", error), "Error occurred",
           ZR_HERE);
}

const char* creationFailureReason(int error) {
  switch (error) {
    case EAGAIN:
      return " (too many threads)";
    case EINVAL:
      return " (invalid parameter)";
    default:
      return " (unexpected value)";
  }
}

}  // namespace

ZRThread::ZRThread(const ZRString& name, std::size_t stackSize) : _life(boost::make_shared<Life>()) {
  if (!name.isEmpty()) ZRThread::setName(name);
  createThread(stackSize);
}

void ZRThread::createThread(std::size_t stackSize) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_JOINABLE);
  if (stackSize != 0) applyStackSize(attributes, stackSize);
  const int error = pthread_create(&_life->handle, &attributes, &ZRThread::ThreadProc_, this);
  pthread_attr_destroy(&attributes);
  _life->hasHandle = error == 0;
  if (error == 0) {
    _creationResult = ZRError::eNoError;
    return;
  }
  _creationResult = ZRResult::fromSystemError("pthread_create", error).wrapped("Error occurred", ZR_HERE);
  zrAssertionFailed(ZR_HERE, "pthread_create failed and returned error code: %d%s", error,
                    creationFailureReason(error));
}

void ZRThread::applyStackSize(pthread_attr_t& attributes, std::size_t stackSize) const {
  if (stackSize < kLeastStackSize) {
    zrrt::log(ZRLogLevel::eError, "Error setting stack size for thread \"%s\". The size must be at least %d.",
              _name.c_str(), static_cast<int>(kLeastStackSize));
    return;
  }
  const int error = pthread_attr_setstacksize(&attributes, stackSize);
  if (error != 0) {
    zrrt::log(ZRLogLevel::eError, "Error %d setting stack size for thread \"%s\".", error, _name.c_str());
  }
}

ZRThread::~ZRThread() {
  if (isCurrent()) {
    zrrt::log(ZRLogLevel::eDebug, "Thread \"%s\" deleting itself.", name().c_str());
    detach();
    return;
  }
  if (state() == State::running) {
    zrrt::log(ZRLogLevel::eCritical, "Thread \"%s\" is destroyed while still running.", name().c_str());
  }
  if (_creationResult.isFailure() || terminate(kTerminateTimeoutMs).isSuccess()) return;
  zrrt::log(ZRLogLevel::eCritical, "%s error terminating thread \"%s\", so terminating process.",
            "virtual ZRThread::~ZRThread()", name().c_str());
  std::abort();  // the thread would go on in memory that is no longer its own
}

void* ZRThread::ThreadProc_(void* argument) {
  if (argument == nullptr) {
    zrAssertionFailed(ZR_HERE, "NULL thread pointer.");
    zrrt::log(ZRLogLevel::eCritical, "%s, thread is null.", "static void *ZRThread::ThreadProc_(void *)");
    return nullptr;
  }
  ZRThread& thread = *static_cast<ZRThread*>(argument);
  platform::runThreadBody([&thread] { live(thread); }, &zrUnhandledException);
  return nullptr;
}

void ZRThread::live(ZRThread& thread) {
  const boost::shared_ptr<Life> life = thread._life;
  life->self = pthread_self();
  setCurrentThread(&thread);
  // Only the body is cancelled: here our own locks would be left held.
  platform::setCancellation(platform::Cancellation::never);
  takeName(thread.name());
  static_cast<void>(
      life->startEvent.wait(kNoLimit));  // without a limit there is nothing that it could fail with
  takeName(thread.name());

  const bool runsBody = !thread.isStopRequested();
  static_cast<void>(life->startedEvent.set());
  if (runsBody) runBody(thread, *life);
  finish(thread, *life, runsBody);
}

void ZRThread::runBody(ZRThread& thread, const Life& life) {
  const ZRResult result = [&thread] {
    const platform::ImmediateCancellation immediate;
    return thread.run();
  }();
  if (life.hasDeletedItself) return;
  const Guard guard(thread);
  thread._runResult = result;
}

void ZRThread::finish(ZRThread& thread, Life& life, bool bodyRan) {
  if (life.state != static_cast<int>(State::created)) life.setState(State::finished);
  if (!life.hasDeletedItself) setCurrentThread(nullptr);
  static_cast<void>(life.joinEvent.set());
  // An owner joins the POSIX thread, and not only its event, before it destroys the object.
  if (bodyRan && !life.hasDeletedItself) thread.onExit();
}

/// The calling thread has nobody any more who would join it.
void ZRThread::detach() {
  setCurrentThread(nullptr);
  const ZRMutex::Guard guard(_life->handleMutex);
  if (_life->hasHandle) pthread_detach(_life->handle);
  _life->hasHandle = false;
  _life->hasDeletedItself = true;
}

void ZRThread::takeName(const ZRString& name) {
  if (name.isEmpty()) return;
  zrrt::nameCurrentThread(name.c_str(), false);
  platform::setCurrentThreadName(name.str());
}

ZRResult ZRThread::start() {
  const boost::shared_ptr<Life> life = _life;  // once the body has begun, it may have deleted this object
  const ZRMutex::Guard guard(life->stateMutex);
  if (state() != State::created) {
    zrAssertionFailed(ZR_HERE, "Thread \"%s\" was not ready to run, state=%d", name().c_str(),
                      life->state.load());
    return ZRThreadError::eNotInitialized;
  }
  if (_creationResult.code() != ZRError::eNoError) {
    zrAssertionFailed(ZR_HERE, "Thread \"%s\" handle is not valid.", name().c_str());
    return _creationResult.wrapped("Error returned", ZR_HERE);
  }
  life->setState(State::running);
  if (life->startEvent.set().isFailure()) {
    life->setState(State::created);
    return ZRError::eSomeError;
  }
  static_cast<void>(life->startedEvent.wait(kNoLimit));
  return ZRError::eNoError;
}

ZRResult ZRThread::join(std::uint32_t timeoutMs, bool failIfNotStarted) {
  {
    const ZRMutex::Guard guard(_life->stateMutex);
    if (_creationResult.isFailure()) {
      zrAssertionFailed(ZR_HERE, "Join to thread \"%s\" called on NULL thread.", name().c_str());
      return _creationResult;
    }
    if (state() == State::created) {
      zrrt::log(ZRLogLevel::eDebug, "join() called on thread \"%s\" before it has been started.",
                name().c_str());
      if (failIfNotStarted) return ZRThreadError::eNotRunning;
    }
    if (isCurrent()) return ZRThreadError::eCantJoinCurrent;
  }
  ZR_RETURN_FAILURE(_life->joinEvent.wait(timeoutMs));
  return releaseHandle();
}

ZRResult ZRThread::releaseHandle() {
  const ZRMutex::Guard guard(_life->handleMutex);
  if (!_life->hasHandle) return ZRError::eNoError;
  const int error = pthread_join(_life->handle, nullptr);
  _life->hasHandle = false;
  _life->self = pthread_t{};
  return error == 0 || error == ESRCH ? ZRResult() : ZRResult::fromSystemError("pthread_join", error);
}

ZRResult ZRThread::joinElseTerminate2(std::uint32_t joinTimeoutMs, bool failIfNotStarted,
                                      std::uint32_t terminateTimeoutMs) {
  const ZRResult joined = join(joinTimeoutMs, failIfNotStarted);
  if (joined.code() != ZRError::eTimeout) return joined;
  const ZRMutex::Guard guard(_life->stateMutex);
  zrrt::log(ZRLogLevel::eCritical, "%s join_() timed out for thread \"%s\".",
            "ZRResult ZRThread::joinElseTerminate2(uint32, bool, uint32)", name().c_str());
  ZR_RETURN_FAILURE(terminate(terminateTimeoutMs));
  return ZRError::eNoError;
}

/// The limit is not needed: what was cancelled, or never ran its body, ends at once.
ZRResult ZRThread::terminate(std::uint32_t) {
  if (isCurrent()) return ZRThreadError::eCantJoinCurrent;
  switch (state()) {
    case State::running:
      return cancelRunning();
    case State::created:
      return endNeverStarted();
    case State::finished:
      return releaseHandle();
  }
  const int unexpected = _life->state.load();
  _life->setState(State::finished);
  return ZRResult(ZRError::eBadStatus, "Thread \"%s\" is in unexpected state %d.", name().c_str(),
                  unexpected);
}

ZRResult ZRThread::cancelRunning() {
  zrrt::log(ZRLogLevel::eCritical, "Thread \"%s\" is being terminated.", name().c_str());
  ZRResult joined;
  {
    const ZRMutex::Guard guard(_life->handleMutex);
    if (_life->hasHandle) pthread_cancel(_life->handle);
    joined = releaseHandle();
  }
  if (state() == State::running) {  // else it came to its end by itself
    const Guard guard(*this);
    _runResult = ZRThreadError::eCanceled;
  }
  _life->setState(State::finished);
  // In the place of the thread, for whoever else waits for its end.
  static_cast<void>(_life->joinEvent.set());
  return joined;
}

ZRResult ZRThread::endNeverStarted() {
  ZR_RETURN_FAILURE(_evStopThread.set());
  ZR_RETURN_FAILURE(start());
  ZR_RETURN_FAILURE(join(kNoLimit, false));
  _life->setState(State::finished);
  return ZRError::eNoError;
}

ZRResult ZRThread::sleep(std::uint32_t milliseconds) {
  constexpr std::uint32_t kMicroseconds = 1000;
  constexpr std::uint32_t kLongestPiece = 4'000'000;  // in microseconds it still is a 32-bit number
  for (; milliseconds > kLongestPiece; milliseconds -= kLongestPiece)
    ::usleep(kLongestPiece * kMicroseconds);
  ::usleep(milliseconds * kMicroseconds);
  return ZRError::eNoError;
}

bool ZRThread::isCurrent() const {
  return pthread_equal(pthread_self(), _life->self.load()) != 0;
}

ZRThread* ZRThread::current() {
  return static_cast<ZRThread*>(pthread_getspecific(currentThreadKey()));
}

ZRString ZRThread::name() const {
  const Guard guard(*this);
  return _name;
}

ZRResult ZRThread::runResult() const {
  const Guard guard(*this);
  return _runResult;
}

void ZRThread::setName(const ZRString& name) {
  {
    const Guard guard(*this);
    _name = name;
  }
  if (isCurrent()) takeName(name);
}

ZRResult ZRThread::requestStop() {
  ZR_RETURN_FAILURE(_evStopThread.set());
  return _evInterrupt.set();
}

bool ZRThread::isStopRequested() const {
  return _evStopThread.isSet();
}

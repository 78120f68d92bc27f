#pragma once

#include <atomic>

#include "runtime/Threads/ZREvent.h"

/// A POSIX thread as an object. It is created, waiting, by the constructor, runs its body after `start`, and
/// is joined or terminated by its owner. A class that overrides `run` joins or terminates the thread before
/// its own part is destroyed.
///
/// Termination cancels the body wherever it is: whatever it held (memory, locks) is lost, and a body that is
/// just then in a function that must not throw ends the process. It is a last resort.
class ZRThread : public ZRSync {
 public:
  /// 1 = created, not started; 2 = running; 3 = finished.
  enum class State : int { created = 1, running = 2, finished = 3 };

  static constexpr std::size_t kLeastStackSize = 8192;

  /// `stackSize` in bytes; 0 is the system's default. One below 8192 is not applied, which is logged.
  explicit ZRThread(const ZRString& name = {}, std::size_t stackSize = 0);
  ~ZRThread() override;

  /// Lets the thread run its body and waits until it has begun.
  /// Fails: ZRThreadError::eNotInitialized when it was started before; the creation's failure; eSomeError.
  ZRResult start();

  /// Waits for the end of the thread, `timeoutMs` milliseconds at most (kNoLimit: no limit).
  /// Fails: eTimeout; ZRThreadError::eCantJoinCurrent; ZRThreadError::eNotRunning for one that was never
  /// started, if `failIfNotStarted`; the creation's failure.
  ZRResult join(std::uint32_t timeoutMs, bool failIfNotStarted);

  /// `join`, and `terminate` when that timed out.
  ZRResult joinElseTerminate2(std::uint32_t joinTimeoutMs, bool failIfNotStarted,
                              std::uint32_t terminateTimeoutMs);

  /// Cancels a running thread and waits for its end; ends one that was never started without running its
  /// body. Fails: ZRThreadError::eCantJoinCurrent; eBadStatus for an unknown state; the creation's failure;
  /// the failure of the join.
  ZRResult terminate(std::uint32_t timeoutMs);

  /// Always eNoError.
  static ZRResult sleep(std::uint32_t milliseconds);

  /// The thread that the caller runs on; null when it is not one of these.
  [[nodiscard]] static ZRThread* current();

  [[nodiscard]] State state() const { return static_cast<State>(_state.load()); }
  [[nodiscard]] ZRString name() const;
  /// The body's result, once it has finished; ZRThreadError::eCanceled for one that was terminated.
  [[nodiscard]] ZRResult runResult() const;
  [[nodiscard]] const ZRResult& creationResult() const { return _creationResult; }

  /// Stores the name. The thread itself takes a new name at once, another thread's when it starts.
  virtual void setName(const ZRString& name);
  virtual ZRResult requestStop();
  [[nodiscard]] virtual bool isStopRequested() const;
  /// Wakes a thread that sleeps on its interrupt event.
  ZRResult interrupt() { return _evInterrupt.set(); }

 protected:
  /// The thread's body.
  virtual ZRResult run() = 0;
  /// Called on the thread after a body that ran.
  virtual void onExit() {}

  ZREvent _evStopThread{"ZRThread::_evStopThread", ZREvent::Reset::manual};
  ZREvent _evInterrupt{"ZRThread::_evInterrupt", ZREvent::Reset::automatic};

 private:
  static void* ThreadProc_(void* argument);
  void createThread(std::size_t stackSize);
  void applyStackSize(pthread_attr_t& attributes, std::size_t stackSize) const;
  static void takeName(const ZRString& name);
  void live();
  void runBody();
  void finish(bool bodyRan);
  ZRResult cancelRunning();
  ZRResult endNeverStarted();
  ZRResult releaseHandle(void** outcome = nullptr);
  void setState(State state) { _state.store(static_cast<int>(state)); }
  [[nodiscard]] bool isCurrent() const;

  ZRString _name;
  std::atomic<int> _state{static_cast<int>(State::created)};
  mutable ZRThreadMutex _stateMutex;
  ZRResult _runResult;
  mutable ZRThreadMutex _handleMutex{"handle mutex"};
  pthread_t _handle{};
  bool _hasHandle = false;
  std::atomic<pthread_t> _self{};  ///< set by the thread itself, cleared once it is joined
  ZREvent _joinEvent{"join event", ZREvent::Reset::manual};
  ZREvent _startEvent{"start event", ZREvent::Reset::manual};
  ZREvent _startedEvent{"started event", ZREvent::Reset::manual};
  ZRResult _creationResult{ZRError::eNotInitialized};
};

#pragma once

#include <atomic>
#include <boost/shared_ptr.hpp>

#include "runtime/Threads/ZREvent.h"

/// A POSIX thread as an object. It is created, waiting, by the constructor, runs its body after `start`, and
/// is joined or terminated by its owner. A class that overrides `run` joins or terminates the thread before
/// its own part is destroyed. A thread without an owner may delete its object itself, in `run` or in
/// `onExit`.
///
/// An exception that leaves `run` ends the process (zrUnhandledException).
///
/// Termination cancels the body wherever it is, except in the log and with a guard held, which it leaves
/// first: whatever else it held (memory, locks) is lost, and a body that is just then in a function that must
/// not throw ends the process. It is a last resort.
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

  [[nodiscard]] State state() const { return static_cast<State>(_life->state.load()); }
  [[nodiscard]] ZRString name() const;
  /// The body's result, once it has finished; ZRThreadError::eCanceled for one that was terminated.
  [[nodiscard]] ZRResult runResult() const;
  [[nodiscard]] const ZRResult& creationResult() const { return _creationResult; }

  /// Stores the name. The thread itself takes a new name at once, another thread's when it starts.
  virtual void setName(const ZRString& name);
  virtual ZRResult requestStop();
  [[nodiscard]] virtual bool isStopRequested() const;

 protected:
  /// The thread's body.
  virtual ZRResult run() = 0;
  /// Called on the thread after a body that ran.
  virtual void onExit() {}

  ZREvent _evStopThread{"ZRThread::_evStopThread", ZREvent::Reset::manual};
  ZREvent _evInterrupt{"ZRThread::_evInterrupt", ZREvent::Reset::automatic};

 private:
  /// What is still needed when the thread has deleted its object.
  struct Life {
    std::atomic<int> state{static_cast<int>(State::created)};
    ZRThreadMutex stateMutex;
    ZRThreadMutex handleMutex{"handle mutex"};
    pthread_t handle{};
    bool hasHandle = false;
    std::atomic<pthread_t> self{};  ///< set by the thread itself, cleared once it is joined
    ZREvent joinEvent{"join event", ZREvent::Reset::manual};
    ZREvent startEvent{"start event", ZREvent::Reset::manual};
    ZREvent startedEvent{"started event", ZREvent::Reset::manual};
    bool hasDeletedItself = false;  ///< the thread alone looks and writes

    void setState(State newState) { state.store(static_cast<int>(newState)); }
  };

  static void* ThreadProc_(void* argument);
  void createThread(std::size_t stackSize);
  void applyStackSize(pthread_attr_t& attributes, std::size_t stackSize) const;
  static void takeName(const ZRString& name);
  static void live(ZRThread& thread);
  static void runBody(ZRThread& thread, const Life& life);
  static void finish(ZRThread& thread, Life& life, bool bodyRan);
  ZRResult cancelRunning();
  ZRResult endNeverStarted();
  ZRResult releaseHandle();
  void detach();
  [[nodiscard]] bool isCurrent() const;

  ZRString _name;
  ZRResult _runResult;
  ZRResult _creationResult{ZRError::eNotInitialized};
  boost::shared_ptr<Life> _life;
};

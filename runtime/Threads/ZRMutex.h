#pragma once

#include "runtime/Code/ZRResult.h"
#include "runtime/Threads/ZRSync.h"

/// A named mutex that the same thread may lock again. The name is for messages only. A failure to make or
/// destroy it is logged at level 3.
class ZRMutex : public ZRSync {
 public:
  explicit ZRMutex(const char* name);
  ~ZRMutex() override;

  /// Holds a mutex for a scope, in which the thread is cancelled only where it sleeps or waits.
  class Guard {
   public:
    explicit Guard(ZRMutex& mutex) : _mutex(mutex) { _mutex.lock(); }
    ~Guard() { _mutex.unlock(); }
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;

   private:
    platform::DeferredCancellation _deferred;
    ZRMutex& _mutex;
  };

  void lock() { pthread_mutex_lock(&posixMutex()); }
  void unlock() { pthread_mutex_unlock(&posixMutex()); }
  [[nodiscard]] bool tryLock() { return pthread_mutex_trylock(&posixMutex()) == 0; }

  [[nodiscard]] const char* name() const { return _name; }
  /// How the creation went.
  [[nodiscard]] ZRResult creationResult() const;
  [[nodiscard]] pthread_mutex_t& native() { return posixMutex(); }

  /// The messages for an errno value of pthread_mutex_init and pthread_mutex_destroy.
  [[nodiscard]] static ZRString creationMessage(const char* name, int errorNumber);
  [[nodiscard]] static ZRString destructionMessage(const char* name, int errorNumber);

 private:
  const char* _name;
};

/// The mutex that the runtime uses between its threads.
class ZRThreadMutex : public ZRMutex {
 public:
  explicit ZRThreadMutex(const char* name = "Thread Mutex") : ZRMutex(name) {}
};

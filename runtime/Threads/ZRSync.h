#pragma once

#include <pthread.h>

#include <cstdint>

#include "platform/Thread.h"

/// Base of the synchronisation objects: a POSIX mutex, which the same thread may lock again.
class ZRSync {
 public:
  /// Reports a failure as a failed check.
  ZRSync();
  virtual ~ZRSync();
  ZRSync(const ZRSync&) = delete;
  ZRSync& operator=(const ZRSync&) = delete;

  /// No limit, where a time limit in milliseconds is asked for.
  static constexpr std::uint32_t kNoLimit = 0xFFFFFFFF;

 protected:
  /// Holds the object's mutex for a scope, in which the thread is cancelled only where it sleeps or waits.
  class Guard {
   public:
    explicit Guard(const ZRSync& sync) : _sync(sync) { pthread_mutex_lock(&_sync._posixMutex); }
    ~Guard() { pthread_mutex_unlock(&_sync._posixMutex); }
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;

   private:
    platform::DeferredCancellation _deferred;
    const ZRSync& _sync;
  };

  [[nodiscard]] pthread_mutex_t& posixMutex() const { return _posixMutex; }
  /// How the two steps of the creation went: errno values.
  [[nodiscard]] int attributesError() const { return _attributesError; }
  [[nodiscard]] int mutexError() const { return _mutexError; }
  /// Ends the mutex before its time, for a class that wants to know how that went: an errno value.
  int destroyMutex();

 private:
  int initialise();

  mutable pthread_mutex_t _posixMutex;
  int _attributesError = 0;
  int _mutexError = 0;
  bool _exists = false;
};

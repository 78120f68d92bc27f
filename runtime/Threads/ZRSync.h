#pragma once

#include <pthread.h>

#include <cstdint>

/// Base of the synchronisation objects: a POSIX mutex of its own, which the same thread may lock again.
class ZRSync {
 public:
  ZRSync();
  virtual ~ZRSync();
  ZRSync(const ZRSync&) = delete;
  ZRSync& operator=(const ZRSync&) = delete;

  /// No limit, where a time limit in milliseconds is asked for.
  static constexpr std::uint32_t kNoLimit = 0xFFFFFFFF;

 protected:
  /// Holds the object's mutex for a scope.
  class Guard {
   public:
    explicit Guard(const ZRSync& sync) : _sync(sync) { pthread_mutex_lock(&_sync._syncMutex); }
    ~Guard() { pthread_mutex_unlock(&_sync._syncMutex); }
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;

   private:
    const ZRSync& _sync;
  };

 private:
  mutable pthread_mutex_t _syncMutex;
};

#pragma once

#include <pthread.h>

#include <utility>

#include "platform/Thread.h"

namespace platform {

/// Tells the system where the calling thread may be cancelled from now on.
inline void setSystemCancellation(Cancellation wanted) {
  const Cancellation before = std::exchange(currentCancellation, wanted);
  int ignored = 0;
  if (wanted == Cancellation::never) {
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &ignored);
    return;
  }
  const bool atOnce = wanted == Cancellation::atOnce;
  pthread_setcanceltype(atOnce ? PTHREAD_CANCEL_ASYNCHRONOUS : PTHREAD_CANCEL_DEFERRED, &ignored);
  if (before == Cancellation::never) pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &ignored);
}

}  // namespace platform

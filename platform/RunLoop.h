#pragma once

#include "platform/Clock.h"

namespace platform {

/// Runs the calling thread's run loop once: lets what is under way on the thread (a download) deliver events,
/// returning after the first or at `deadline`. False, at once, when there is nothing to wait for.
bool runLoopOnce(Date deadline);

}  // namespace platform

#include "platform/RunLoop.h"

#import "platform/macos/Foundation.h"

#include "platform/AutoreleasePool.h"

namespace platform {

/// An exception that an event raises ends the wait, as its event may never come again.
bool runLoopOnce(Date deadline) {
  const AutoreleasePool pool;
  @try {
    return [[NSRunLoop currentRunLoop] runMode:NSDefaultRunLoopMode beforeDate:foundationDate(deadline)];
  } @catch (NSException*) {
    return false;
  }
}

}  // namespace platform

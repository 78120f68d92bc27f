#include "platform/AutoreleasePool.h"

#import <Foundation/Foundation.h>

namespace platform {

AutoreleasePool::AutoreleasePool() : _pool([[NSAutoreleasePool alloc] init]) {}

AutoreleasePool::~AutoreleasePool() {
  [static_cast<NSAutoreleasePool*>(_pool) drain];
}

}  // namespace platform

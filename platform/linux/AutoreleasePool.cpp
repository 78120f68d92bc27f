#include "platform/AutoreleasePool.h"

namespace platform {

AutoreleasePool::AutoreleasePool() : _pool(nullptr) {}
AutoreleasePool::~AutoreleasePool() = default;

}  // namespace platform

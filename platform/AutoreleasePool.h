#pragma once

namespace platform {

/// Lets go, at the end of its scope, of what the system's services have handed out on this thread without an
/// owner. Pools nest; one is ended on the thread that made it. It does nothing where no service does that.
class AutoreleasePool {
 public:
  AutoreleasePool();
  ~AutoreleasePool();
  AutoreleasePool(const AutoreleasePool&) = delete;
  AutoreleasePool& operator=(const AutoreleasePool&) = delete;

 private:
  [[maybe_unused]] void* _pool;
};

}  // namespace platform

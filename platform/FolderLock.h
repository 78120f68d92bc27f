#pragma once

#include <memory>
#include <string>

#include "platform/Error.h"

namespace platform {

/// An advisory lock between processes on a folder itself: it leaves no file behind, ends with the process
/// however that ends, and does not pass to the tools that the process starts. Who holds it keeps out only
/// those who ask for it. Two paths to one folder are one lock.
class FolderLock {
 public:
  FolderLock();
  ~FolderLock();
  FolderLock(FolderLock&&) noexcept;
  FolderLock& operator=(FolderLock&&) noexcept;

  /// Takes the lock; held until this object is destroyed. Does not wait. Fails: EWOULDBLOCK while another
  /// process (or another lock object) holds it; ENOENT without a folder; the system's error for a folder that
  /// cannot be read, or on a volume that knows no locks.
  Error tryLock(const std::string& folder);

 private:
  struct State;
  std::unique_ptr<State> _state;
};

}  // namespace platform

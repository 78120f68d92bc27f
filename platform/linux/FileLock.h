#pragma once

#include <string>

#include "platform/common/FileDescriptor.h"

namespace platform {

/// A lock between processes on a file of its own ("`folder`/.`name`.lock" for the file that it guards), held
/// for the length of a scope. Waits five seconds at most for another holder. What it guards can be replaced
/// while it is held; the lock's own file stays for ever.
class FileLock {
 public:
  explicit FileLock(const std::string& guardedFile);
  [[nodiscard]] bool isHeld() const { return _isHeld; }

 private:
  FileDescriptor _file;
  bool _isHeld = false;
};

}  // namespace platform

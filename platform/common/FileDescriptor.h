#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <utility>

namespace platform {

/// Owns an open file descriptor; closes it at the end of its scope.
class FileDescriptor {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int number) : _number(number) {}
  FileDescriptor(FileDescriptor&& other) noexcept : _number(std::exchange(other._number, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(_number, other._number);
    return *this;
  }
  ~FileDescriptor() { close(); }

  [[nodiscard]] bool isOpen() const { return _number >= 0; }
  [[nodiscard]] int get() const { return _number; }
  /// Gives the descriptor up to a caller that closes it.
  [[nodiscard]] int release() { return std::exchange(_number, -1); }
  /// Closes now; false when the system reports that what was written did not arrive.
  bool close() { return _number < 0 || ::close(std::exchange(_number, -1)) == 0; }

 private:
  int _number = -1;
};

/// Opens relative to `folder` (AT_FDCWD: the current one); never handed to a child.
[[nodiscard]] inline FileDescriptor openAt(int folder, const char* path, int flags, unsigned mode = 0) {
  return FileDescriptor(openat(folder, path, flags | O_CLOEXEC, mode));
}

}  // namespace platform

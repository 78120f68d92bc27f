#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

namespace platform {

/// Makes an item of the user's own that is write-protected writable for the length of a scope: the system
/// asks for that when such a folder gets another parent, and when an attribute is set.
class TemporaryWriteAccess {
 public:
  explicit TemporaryWriteAccess(std::string path);
  ~TemporaryWriteAccess();
  TemporaryWriteAccess(const TemporaryWriteAccess&) = delete;
  TemporaryWriteAccess& operator=(const TemporaryWriteAccess&) = delete;

  /// Whether there was anything to change, so that a second attempt is worth while.
  [[nodiscard]] bool isGranted() const { return _mode.has_value(); }
  /// The item is now found at `path`.
  void itemMovedTo(const std::string& path) { _path = path; }

 private:
  std::string _path;
  std::optional<mode_t> _mode;  ///< to be restored
};

}  // namespace platform

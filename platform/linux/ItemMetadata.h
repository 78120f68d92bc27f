#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "platform/Clock.h"
#include "platform/Error.h"

namespace platform {

/// Extended attributes that hold dates of an item, as ISO 8601 texts in UTC.
inline constexpr const char* kCreationDateAttribute = "user.vantora.creation-date";
inline constexpr const char* kLastUsedDateAttribute = "user.vantora.last-used-date";

/// The date in the attribute; none when it is absent, malformed, or the volume knows no attributes.
[[nodiscard]] std::optional<Date> dateAttribute(const std::string& path, const char* attribute);

/// Writes the attribute on the item itself, also when it is write-protected and the user's own.
Error setDateAttribute(const std::string& path, const char* attribute, Date date);

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

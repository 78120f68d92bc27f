#pragma once

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

}  // namespace platform

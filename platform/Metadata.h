#pragma once

#include <optional>
#include <string>

#include "platform/Clock.h"
#include "platform/Error.h"

/// The file metadata index: dates of application bundles.
namespace platform::metadata {

/// When the bundle was last opened; none when it never was, or that is not known.
[[nodiscard]] std::optional<Date> lastUsedDate(const std::string& path);

/// When the item came to this system. Set with FileManager::setAttributes; else the file system's own.
[[nodiscard]] std::optional<Date> creationDate(const std::string& path);

/// Records that the bundle was opened at `date`. Fails with POSIX ENOTSUP where the system alone does that.
Error setLastUsedDate(const std::string& path, Date date);

}  // namespace platform::metadata

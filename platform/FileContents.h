#pragma once

#include <cstdint>
#include <string>

#include "platform/Error.h"

/// Regular files, read and written whole. Errors are of the POSIX domain with a description that names the
/// path; opening what is no regular file never waits.
namespace platform {

/// Writes `bytes` to `path` so that at every moment, also after a crash, the path holds the old contents or
/// the new: a temporary file in the same folder, flushed to the volume, then renamed. Keeps the mode of a
/// file that exists; a new file gets 0644 less the process's mask.
[[nodiscard]] Error writeFileAtomically(const std::string& path, const std::string& bytes);

/// Reads a whole file. Fails with EFBIG, reading nothing, when it is larger than `limitBytes`.
[[nodiscard]] Error readFile(const std::string& path, std::uint64_t limitBytes, std::string& bytes);

}  // namespace platform

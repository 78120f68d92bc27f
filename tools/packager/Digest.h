#pragma once

#include <filesystem>
#include <string>

namespace packager {

/// The MD5 digest of a whole file as 32 lower-case hexadecimal digits. Throws std::runtime_error. Any thread.
[[nodiscard]] std::string md5OfFile(const std::filesystem::path& path);

}  // namespace packager

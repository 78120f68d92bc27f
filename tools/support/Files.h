#pragma once

#include <string>
#include <string_view>

/// Whole files. What cannot be done throws std::runtime_error, which names the file.
namespace tools {

[[nodiscard]] std::string readFile(const std::string& path);

/// Creates the folders above `path` that are missing; a file that is there is replaced.
void writeFile(const std::string& path, std::string_view bytes);

}  // namespace tools

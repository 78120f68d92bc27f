#pragma once

#include <string>

namespace test {

/// Writes an extended attribute of a file or folder; false when it cannot have one.
[[nodiscard]] bool setAttribute(const std::string& path, const char* name, const std::string& value);

/// Its value, of up to 64 bytes; empty when there is none.
[[nodiscard]] std::string attributeOf(const std::string& path, const char* name);

}  // namespace test

#pragma once

#include <string>
#include <vector>

namespace platform::process {

/// The entries of an environment as the C library keeps it, which ends with a null pointer.
[[nodiscard]] std::vector<std::string> entriesOf(const char* const* environment);

/// The environment of a tool, with a locale in which file names are UTF-8 and messages are English.
[[nodiscard]] std::vector<std::string> toolEnvironmentIn(const char* locale);

}  // namespace platform::process

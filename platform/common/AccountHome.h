#pragma once

#include <optional>
#include <string>

namespace platform {

/// The home folder that the system's user database gives the user.
[[nodiscard]] std::optional<std::string> accountHomeFolder();

}  // namespace platform

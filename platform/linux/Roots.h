#pragma once

#include <optional>
#include <string>

namespace platform {

/// What stands in front of the computer's own folders ("VANTORA_SYSTEM_ROOT", which works like "DESTDIR"),
/// without a trailing "/"; empty for the real ones. No value when the variable holds a relative path: falling
/// back on the real folders would touch what the variable was set to protect.
[[nodiscard]] std::optional<std::string> systemRoot();

/// The absolute path that a variable holds, without a trailing "/"; none when it holds no such path.
[[nodiscard]] std::optional<std::string> folderFromEnvironment(const char* variable);

/// "$`variable`" when it holds an absolute path, else "`home`/`fallback`"; none without a home folder.
[[nodiscard]] std::optional<std::string> baseFolder(const char* variable, const char* fallback);

}  // namespace platform

#pragma once

#include <string>
#include <string_view>

/// Names of what is half done: ".vantora-" and sixteen hexadecimal digits that nobody can foresee. An item of
/// such a name is never looked at as anything else; what a process that ended early left under one may be
/// removed by whoever comes next.
namespace platform {

/// A fresh name. That it is free is for its user to make sure (O_EXCL, RENAME_NOREPLACE).
[[nodiscard]] std::string hiddenName();

[[nodiscard]] bool isHiddenName(std::string_view name);

/// Whether an item of this name and mode is something half done: one of a hidden name, or, of the names that
/// earlier releases gave, a folder of six random characters for its owner alone, or a numbered file.
[[nodiscard]] bool isUnfinished(std::string_view name, unsigned mode);

}  // namespace platform

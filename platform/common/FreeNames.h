#pragma once

#include <string>

#include "platform/Error.h"

/// Names that nothing else has.
namespace platform {

/// Renames to a name that is free. False with errno set, EEXIST when it is taken by anything.
[[nodiscard]] bool renameToFreeName(const std::string& from, const std::string& to);

/// Makes a folder of a hidden name, mode 0700, in `parent`. `folder` is its path.
Error makeHiddenFolder(const std::string& parent, std::string& folder);

/// Renames an item, within its folder, to a hidden name. `hidden` is the new path.
Error renameToHiddenName(const std::string& path, std::string& hidden);

}  // namespace platform

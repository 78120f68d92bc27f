#pragma once

#include <functional>
#include <string>
#include <vector>

namespace platform {

/// Calls `take` with each name in the folder but "." and "..", in no order, and whether the entry may be a
/// folder or a link, as far as the folder itself tells. The descriptor's position is used up. False with
/// errno set when the names cannot be read.
[[nodiscard]] bool forEachEntry(int folder,
                                const std::function<void(const char* name, bool mayBeFolder)>& take);

/// The names in the folder without "." and "..", in no order. The descriptor's position is used up.
/// False with errno set when they cannot be read.
[[nodiscard]] bool namesInFolder(int folder, std::vector<std::string>& names);

}  // namespace platform

#pragma once

#include <string>
#include <vector>

#include "platform/Error.h"

namespace platform {

enum class Ownership {
  own,  ///< what is created belongs to the user who creates it
  keep  ///< as far as the process may give files away, they keep owner and group
};

/// Copies an item whole into `to`, which must not exist: contents, modes, times, extended attributes (those
/// that the target volume can hold), links as links. Sockets and devices are refused. After a failure nothing
/// is left at `to` (an EEXIST leaves what was there).
Error copyTree(const std::string& from, const std::string& to, Ownership ownership);

/// Removes an item with everything in it, of any depth, never following a link. Folders of the user's that
/// are write-protected are made writable first. Stops at the first item that cannot be removed.
Error removeTree(const std::string& path);

/// Fails when the folder that holds the item, or the item's flags, forbid its removal: asked before work that
/// would end half done.
Error checkRemovable(const std::string& path);

/// The names in the folder without "." and "..", in no order. The descriptor's position is used up.
/// False with errno set when they cannot be read.
[[nodiscard]] bool namesInFolder(int folder, std::vector<std::string>& names);

/// The folder part and the last component of a path ("." for a path without folder).
[[nodiscard]] std::string parentFolder(const std::string& path);
[[nodiscard]] std::string lastComponent(const std::string& path);

}  // namespace platform

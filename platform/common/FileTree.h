#pragma once

#include <string>

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

/// Removes an item with everything in it, of any depth, never following a link. A folder first gets a hidden
/// name, so that nobody ever sees it incomplete; it gets its name back when nothing of it could be removed.
/// Folders of the user's that are write-protected are made writable. Stops at the first item that cannot be
/// removed.
Error removeTree(const std::string& path);

/// Brings an item with everything in it onto the disk. A tree of many files costs a flush of its whole
/// volume.
Error makeTreeDurable(const std::string& path);

/// Fails when the folder that holds the item, or the item's flags, forbid its removal: asked before work that
/// would end half done.
Error checkRemovable(const std::string& path);

}  // namespace platform

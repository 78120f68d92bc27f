#pragma once

#include <string>

/// What each system has a call of its own for, as its backend makes it. Those that answer false set errno.
namespace platform {

/// Renames, in one step, to a name that is free; EEXIST when it is taken by anything, EXDEV on another
/// volume; EINVAL, ENOSYS or ENOTSUP on a volume that cannot do that in one step. The names are relative to
/// open folders (AT_FDCWD: the current one).
[[nodiscard]] bool renameToFreeName(int fromFolder, const char* from, int toFolder, const char* to);

/// Whether the item's own flags forbid that it is changed or removed.
[[nodiscard]] bool isLocked(const std::string& path);

/// Brings what an open file or folder holds onto the disk.
[[nodiscard]] bool flushed(int item);

/// Brings all that the volume of an open item holds onto the disk.
[[nodiscard]] bool flushedVolume(int item);

}  // namespace platform

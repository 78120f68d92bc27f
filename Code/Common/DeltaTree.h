#pragma once

#include "runtime/Code/ZRResult.h"
#include "runtime/Strings/ZRString.h"

/// @file
/// What a path inside an unpacked package really is. A package is somebody else's data: these tests look at
/// the entry itself, never at what a symbolic link makes of it, before anything is opened, run or changed
/// there.

enum class TreeEntry { nothing, file, folder, linkToFolder, otherLink, special };

/// The kind of the entry at `path`; `special` is a device, a pipe or a socket. A link that leads to nothing
/// is an `otherLink`. Not being able to look counts as `nothing`.
[[nodiscard]] TreeEntry treeEntry(const ZRString& path);

/// The absolute path without symbolic links and "..".
/// Fails: eNotFound and other results naming "realpath()".
ZRResult resolvePath(const ZRString& path, ZRString& resolved);

/// Whether `resolved` lies below `resolvedFolder`; both resolved.
[[nodiscard]] bool liesBelow(const ZRString& resolved, const ZRString& resolvedFolder);

/// `path` with a "/" at its end.
[[nodiscard]] ZRString withTrailingSlash(const ZRString& path);

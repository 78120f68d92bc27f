#pragma once

#include "runtime/Code/ZRResult.h"
#include "runtime/Strings/ZRString.h"

/// @file
/// What a path inside an unpacked package really is. A package is somebody else's data: these look at the
/// entry itself, not at what a symbolic link makes of it, before anything is opened, run or changed there.

enum class TreeEntry { nothing, file, folder, linkToFolder, otherLink, special };

/// The kind of the entry at `path`; `special` is a device, a pipe or a socket. A link that leads to nothing
/// is an `otherLink`. What cannot be examined counts as `nothing`.
[[nodiscard]] TreeEntry treeEntry(const ZRString& path);

/// The absolute path, free of symbolic links and "..".
/// Fails naming "realpath()", with eNotFound when there is nothing at the path.
ZRResult resolvePath(const ZRString& path, ZRString& resolved);

/// Whether `resolved` lies below `resolvedFolder`; both resolved.
[[nodiscard]] bool liesBelow(const ZRString& resolved, const ZRString& resolvedFolder);

/// The resolved path of a package's top folder.
/// Fails: eNoAccess when a link stands in its place; as `resolvePath`.
ZRResult resolveTreeTop(const ZRString& folder, ZRString& resolved);

/// Fails with eNoAccess when `path` is there and leads out of the tree.
ZRResult requireInside(const ZRString& path, const ZRString& resolvedTop);

/// `path` with a "/" at its end.
[[nodiscard]] ZRString withTrailingSlash(const ZRString& path);

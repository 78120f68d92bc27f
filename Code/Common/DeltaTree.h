#pragma once

#include <map>
#include <string>

#include "runtime/Code/ZRResult.h"
#include "runtime/Strings/ZRString.h"

/// @file
/// What a path inside an unpacked package really is. A package is somebody else's data: these look at the
/// entry itself, not at what a symbolic link makes of it, before anything is opened, run or changed there.

enum class TreeEntry { nothing, file, folder, linkToFolder, otherLink, special };

/// The kind of the entry at `path`; `special` is a device, a pipe or a socket. A link that leads to nothing
/// is an `otherLink`. What cannot be examined counts as `nothing`.
[[nodiscard]] TreeEntry treeEntry(const ZRString& path);

/// Whether the file at `path` has more than one name (hard links).
[[nodiscard]] bool hasOtherNames(const ZRString& path);

/// eNoAccess with the message that `path`, which may be anything a package brought, `why`.
ZRResult refusedEntry(const ZRString& path, const char* why);

/// What an unpacked archive may consist of: files, folders and links; no file sets the user or group that
/// runs it. Fails: eNoAccess, naming the first entry that is anything else or cannot be examined.
ZRResult requirePlainTree(const std::string& folder);

/// `path` with a "/" at its end.
[[nodiscard]] ZRString withTrailingSlash(const ZRString& path);

/// The folder of one package, and what in it is its own.
class DeltaTree {
 public:
  /// Takes the folder as the tree's top; before that nothing is inside.
  /// Fails: eNoAccess when a link stands in its place; eNotFound, naming "realpath()", when there is nothing.
  ZRResult open(const ZRString& folder);

  /// Fails with eNoAccess when there is something at `path` that lies outside.
  ZRResult requireInside(const ZRString& path) const;

  /// Whether `path`, or what a link there leads to, is a file inside. Quick for many paths in few folders,
  /// of which the answers hold while nobody changes them.
  [[nodiscard]] bool holdsFile(const ZRString& path);

 private:
  [[nodiscard]] bool holds(const ZRString& resolved) const;
  [[nodiscard]] bool holdsFolder(const ZRString& folder);

  ZRString _top;                         ///< absolute, free of symbolic links and ".."
  std::map<std::string, bool> _folders;  ///< whether each is inside, as far as that was asked
};

#include "Code/Common/DeltaTree.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <memory>

namespace {

bool leadsToFolder(const ZRString& link) {
  struct stat status {};
  return ::stat(link.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace

TreeEntry treeEntry(const ZRString& path) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0) return TreeEntry::nothing;
  if (S_ISREG(status.st_mode)) return TreeEntry::file;
  if (S_ISDIR(status.st_mode)) return TreeEntry::folder;
  if (!S_ISLNK(status.st_mode)) return TreeEntry::special;
  return leadsToFolder(path) ? TreeEntry::linkToFolder : TreeEntry::otherLink;
}

ZRResult resolvePath(const ZRString& path, ZRString& resolved) {
  const std::unique_ptr<char, decltype(&std::free)> text(::realpath(path.c_str(), nullptr), &std::free);
  if (!text) return ZRResult::fromSystemError("realpath()", errno);
  resolved = text.get();
  return ZRError::eNoError;
}

ZRResult resolveTreeTop(const ZRString& folder, ZRString& resolved) {
  ZRString itself = folder;
  itself.trimRight("/");  // with a "/" at the end a link would be looked through
  const TreeEntry entry = treeEntry(itself);
  if (entry == TreeEntry::linkToFolder || entry == TreeEntry::otherLink) {
    return ZRResult(ZRError::eNoAccess, "%s is a link", itself.c_str());
  }
  return resolvePath(folder, resolved);
}

ZRString withTrailingSlash(const ZRString& path) {
  return path.endsWith("/") ? path : path + "/";
}

ZRResult DeltaTree::requireInside(const ZRString& path) const {
  ZRString resolved;
  if (resolvePath(path, resolved).isFailure() || holds(resolved)) return ZRError::eNoError;
  return ZRResult(ZRError::eNoAccess, "%s leads out of %s", path.c_str(), _top.c_str());
}

bool DeltaTree::holdsFile(const ZRString& path) {
  const TreeEntry entry = treeEntry(path);
  if (entry == TreeEntry::file) {
    return holdsFolder(path.substr(0, static_cast<std::int32_t>(path.findLast('/'))));
  }
  ZRString resolved;
  return entry == TreeEntry::otherLink && resolvePath(path, resolved).isSuccess() && holds(resolved) &&
         treeEntry(resolved) == TreeEntry::file;
}

bool DeltaTree::holds(const ZRString& resolved) const {
  return resolved == _top || resolved.startsWith(withTrailingSlash(_top).view());
}

/// Resolving costs as much as hashing a small file, so a folder is resolved once for all its files.
bool DeltaTree::holdsFolder(const ZRString& folder) {
  if (_lastFolder == folder) return _lastFolderIsInside;
  ZRString resolved;
  _lastFolder = folder;
  _lastFolderIsInside = resolvePath(folder, resolved).isSuccess() && holds(resolved);
  return _lastFolderIsInside;
}

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

bool liesBelow(const ZRString& resolved, const ZRString& resolvedFolder) {
  return resolved.startsWith(withTrailingSlash(resolvedFolder).view());
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

ZRResult requireInside(const ZRString& path, const ZRString& resolvedTop) {
  ZRString resolved;
  if (resolvePath(path, resolved).isFailure() || liesBelow(resolved, resolvedTop)) return ZRError::eNoError;
  return ZRResult(ZRError::eNoAccess, "%s leads out of %s", path.c_str(), resolvedTop.c_str());
}

ZRString withTrailingSlash(const ZRString& path) {
  return path.endsWith("/") ? path : path + "/";
}

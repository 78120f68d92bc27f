#include "Code/Common/DeltaTree.h"

#include <fts.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <memory>

#include "platform/Path.h"
#include "platform/Printable.h"

namespace {

bool leadsToFolder(const ZRString& link) {
  struct stat status {};
  return ::stat(link.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

/// A folder comes twice, before and after what is in it.
bool isPlain(const FTSENT& entry) {
  switch (entry.fts_info) {
    case FTS_D:
    case FTS_DP:
    case FTS_SL:
    case FTS_SLNONE:
      return true;
    case FTS_F:
      return (entry.fts_statp->st_mode & (S_ISUID | S_ISGID)) == 0;
    default:
      return false;
  }
}

/// The absolute path, free of symbolic links and "..".
ZRResult resolvePath(const ZRString& path, ZRString& resolved) {
  const std::unique_ptr<char, decltype(&std::free)> text(::realpath(path.c_str(), nullptr), &std::free);
  if (!text) return ZRResult::fromSystemError("realpath()", errno);
  resolved = text.get();
  return ZRError::eNoError;
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

bool hasOtherNames(const ZRString& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0 && status.st_nlink > 1;
}

ZRResult refusedEntry(const ZRString& path, const char* why) {
  return ZRResult(ZRError::eNoAccess, "%s %s", platform::onOneLine(path.view()).c_str(), why);
}

ZRResult requirePlainTree(const std::string& folder) {
  std::string top = folder;
  const std::array<char*, 2> tops{top.data(), nullptr};
  const std::unique_ptr<FTS, int (*)(FTS*)> walk(::fts_open(tops.data(), FTS_PHYSICAL | FTS_NOCHDIR, nullptr),
                                                 &::fts_close);
  if (!walk) return ZRResult::fromSystemError("fts_open()", errno);
  errno = 0;
  while (const FTSENT* entry = ::fts_read(walk.get())) {
    if (!isPlain(*entry)) return refusedEntry(entry->fts_path, "is no plain file, folder or link");
    errno = 0;
  }
  return errno == 0 ? ZRResult() : ZRResult::fromSystemError("fts_read()", errno);
}

ZRString withTrailingSlash(const ZRString& path) {
  return ZRString(platform::withTrailingSlash(path.str()));
}

ZRResult DeltaTree::open(const ZRString& folder) {
  _folders.clear();
  ZRString itself = folder;
  itself.trimRight("/");  // with a "/" at the end a link would be looked through
  const TreeEntry entry = treeEntry(itself);
  if (entry == TreeEntry::linkToFolder || entry == TreeEntry::otherLink) {
    return refusedEntry(itself, "is a link");
  }
  return resolvePath(folder, _top);
}

ZRResult DeltaTree::requireInside(const ZRString& path) const {
  ZRString resolved;
  if (resolvePath(path, resolved).isFailure() || holds(resolved)) return ZRError::eNoError;
  return ZRResult(ZRError::eNoAccess, "%s leads out of %s", platform::onOneLine(path.view()).c_str(),
                  _top.c_str());
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
  return !_top.isEmpty() && (resolved == _top || resolved.startsWith(withTrailingSlash(_top).view()));
}

/// Resolving costs as much as hashing a small file, so a folder is resolved once for all its files.
bool DeltaTree::holdsFolder(const ZRString& folder) {
  const auto [entry, isNew] = _folders.try_emplace(folder.str(), false);
  ZRString resolved;
  if (isNew) entry->second = resolvePath(folder, resolved).isSuccess() && holds(resolved);
  return entry->second;
}

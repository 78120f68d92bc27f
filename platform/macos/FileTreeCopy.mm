#import "platform/macos/Foundation.h"

#include <fcntl.h>
#include <fts.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <functional>
#include <memory>

#include "platform/AutoreleasePool.h"
#include "platform/Path.h"
#include "platform/common/FileTree.h"
#include "platform/common/ItemChanges.h"
#include "platform/common/ItemStatus.h"

namespace platform {
namespace {

using Visit = std::function<Error(const FTSENT& item)>;

/// Visits each item of a tree, a folder before what is in it, until a visit fails. Links are not followed,
/// and nothing but folders is opened.
Error forEachItem(const std::string& path, const Visit& visit) {
  std::string top = path;
  char* const tops[] = {top.data(), nullptr};
  const std::unique_ptr<FTS, int (*)(FTS*)> walk(fts_open(tops, FTS_PHYSICAL | FTS_NOCHDIR, nullptr),
                                                 &fts_close);
  if (!walk) return posixError(errno, path);
  while (const FTSENT* item = fts_read(walk.get())) {
    if (item->fts_info == FTS_DP) continue;  // was visited before its contents
    if (item->fts_info == FTS_DC) return posixError(ELOOP, item->fts_path);
    const bool isKnown = item->fts_info != FTS_DNR && item->fts_info != FTS_NS && item->fts_info != FTS_ERR;
    if (!isKnown) return posixError(item->fts_errno, item->fts_path);
    if (auto error = visit(*item)) return error;
  }
  return errno == 0 ? Error{} : posixError(errno, path);
}

/// The file manager waits at a pipe for somebody who writes, and follows a copy into itself without end.
Error checkCopyable(const std::string& from, const std::string& to) {
  struct stat targetFolder {};
  if (stat(parentFolder(to).c_str(), &targetFolder) != 0) return posixError(errno, to);
  return forEachItem(from, [&targetFolder](const FTSENT& item) {
    const bool isFolder = S_ISDIR(item.fts_statp->st_mode);
    if (isFolder && isSameItem(*item.fts_statp, targetFolder)) return posixError(EINVAL, item.fts_path);
    const bool isCopied = isFolder || S_ISREG(item.fts_statp->st_mode) || S_ISLNK(item.fts_statp->st_mode);
    return isCopied ? Error{} : posixError(EOPNOTSUPP, item.fts_path);
  });
}

Error copyItem(const std::string& from, const std::string& to) {
  const AutoreleasePool pool;
  const std::string both = from + " -> " + to;
  @try {
    NSString* source = foundationPath(from);
    NSString* target = foundationPath(to);
    if (source == nil || target == nil) return posixError(EILSEQ, both);
    NSError* error = nil;
    if ([[NSFileManager defaultManager] copyItemAtPath:source toPath:target error:&error]) return {};
    return posixErrorOf(error, both);
  } @catch (NSException* exception) {
    return raisedError(exception, kPosixErrorDomain, EIO);
  }
}

/// An item that belonged to somebody else loses its set-id bits, and its lock.
Error takeItem(const FTSENT& item) {
  const struct stat& status = *item.fts_statp;
  if (status.st_uid == geteuid() && status.st_gid == getegid()) return {};
  if (!S_ISLNK(status.st_mode)) {
    if (auto error = setImmutable(item.fts_path, false)) return error;
  }
  const bool done = lchown(item.fts_path, geteuid(), getegid()) == 0 &&
                    (S_ISLNK(status.st_mode) ||
                     fchmodat(AT_FDCWD, item.fts_path, status.st_mode & 01777, AT_SYMLINK_NOFOLLOW) == 0);
  return done ? Error{} : posixError(errno, item.fts_path);
}

/// The file manager keeps owners and groups where it may: for the superuser, who is not to own them by
/// chance. Whoever else copies owns the copy.
Error takeOwnership(const std::string& copy) {
  return geteuid() == 0 ? forEachItem(copy, takeItem) : Error{};
}

/// The file manager copies locks as well. What cannot be unlocked the removal names.
Error removeCopy(const std::string& copy) {
  static_cast<void>(forEachItem(copy, [](const FTSENT& item) {
    static_cast<void>(setImmutable(item.fts_path, false));
    return Error{};
  }));
  return removeTree(copy);
}

}  // namespace

Error copyTree(const std::string& from, const std::string& to, Ownership ownership) {
  const std::string source = withoutTrailingSlashes(from);
  const std::string target = withoutTrailingSlashes(to);
  if (itemExists(target)) return posixError(EEXIST, target);
  if (auto error = checkCopyable(source, target)) return error;
  Error error = copyItem(source, target);
  if (!error.failed() && ownership == Ownership::own) error = takeOwnership(target);
  // What has come to stand there meanwhile is not ours.
  if (error.failed() && error.code != EEXIST && itemExists(target)) {
    if (auto leftover = removeCopy(target))
      error.description += " (left behind: " + leftover.description + ")";
  }
  return error;
}

}  // namespace platform

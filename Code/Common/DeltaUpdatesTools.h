#pragma once

#include <cstdint>

#include "runtime/Code/ZRResult.h"
#include "runtime/Strings/ZRString.h"
#include "runtime/Threads/ZRTask.h"

class ZRDynamicThreadPool;

/// @file
/// Turning an unpacked delta package into a build.
///
/// A delta package is a folder tree that mirrors the target bundle. Each file is there whole, or as a patch
/// named after it with ".bsdiff" appended, to be applied to the same-named file of an installed bundle; at
/// the top lies "FileCheckSums.txt", the MD5 digests of the finished files. Nothing in a package reaches a
/// file outside its own folder: what a symbolic link, a ".." or a device in the tree would lead to is
/// refused, never followed.

/// The name of the list of digests, at the top of a package until it has been checked.
inline constexpr const char* kCheckSumsName = "FileCheckSums.txt";

/// Applies every patch in `deltaFolder` to the files of `sourceFolder`, on the pool, and deletes each patch
/// that has been applied. Folders are walked one after the other; the patches of one folder run side by side.
/// After a failure the tree is of no more use, and tasks of it may still be queued or running: stop the pool
/// before deleting the tree. Fails: the error of the listing; of the first patch (in listing order) that
/// failed, "Process exit code = %d" when the patch tool refused it; eNoAccess for a tree that leads outside
/// itself; eBadParameter for a path that holds a double quote, which no command line can carry, and for a
/// null pool.
ZRResult applyPatch(const ZRString& deltaFolder, const ZRString& sourceFolder, ZRDynamicThreadPool* pool);

/// Checks every file of "FileCheckSums.txt" in `folder` on the pool, all of them also after a mismatch, and
/// deletes the list when all match. A line is a path relative to the folder, one blank and 32 lower-case
/// hexadecimal digits. No check is running any more when it answers. Fails: the open error of a missing list;
/// eTooLong for one of more than 16 MiB; eTooMany for more than 100,000 lines; eUnexpected for a line without
/// a blank; else the first failure in the order of the list: eNotFound "File %s not found", also for a path
/// that leads outside the folder or to something that is not a file, eUnexpected for another digest.
ZRResult verifyCheckSums(ZRString folder, ZRDynamicThreadPool* pool);

/// Makes the executables of a client bundle executable for all: patched files have lost that.
/// Fails at the first that is missing ("Process exit code = %d") or leads outside the folder (eNoAccess).
ZRResult setExeFileAttributes(ZRString bundleFolder);

/// Runs a command (split at blanks, double quotes honoured) and waits for its end, at most
/// `limitMilliseconds`; a command that takes longer is killed. Fails: eNullPointer without a process manager;
/// the error of the start; eTimeout; eSomeError "Process exit code = %d" for an exit code other than 0;
/// ZRProcessError::eSignaled.
ZRResult runCommand(const ZRString& commandLine, std::uint32_t limitMilliseconds);

/// One patch: runs its command, then deletes the patch file.
class PatchTask : public ZRTask {
 public:
  PatchTask(ZRString command, ZRString patchPath);
  ZRResult run(ZRDynamicPoolWorkerThread& worker) override;

 private:
  ZRString _command;
  ZRString _patchPath;
};

/// One check: compares the MD5 digest of a file with the expected text. A path that leads to no file of the
/// package's own (`Where::elsewhere`) is not opened and fails as a missing file does.
class CheckTask : public ZRTask {
 public:
  enum class Where { inTree, elsewhere };

  CheckTask(ZRString expectedDigest, ZRString filePath, Where where);
  ZRResult run(ZRDynamicPoolWorkerThread& worker) override;

 private:
  ZRString _expectedDigest;
  ZRString _filePath;
  Where _where;
};

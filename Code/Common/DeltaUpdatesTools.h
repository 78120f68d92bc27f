#pragma once

#include "runtime/Code/ZRResult.h"
#include "runtime/Strings/ZRString.h"

class ZRDynamicThreadPool;

/// @file
/// Turning an unpacked delta package (`DeltaPackageFormat.h`) into a build: patch, check, make executable.
///
/// Nothing in a package reaches a file outside its own folder: what a symbolic link, a ".." or a device in
/// the tree would lead to is refused, never followed.

/// Applies every patch in `deltaFolder` to the files of `sourceFolder`, on the pool, and deletes each patch
/// that has been applied. Folders are walked one after the other; the patches of one folder run side by side.
/// After a failure the tree is of no more use, and tasks of it may still be queued or running: stop the pool
/// before deleting the tree. Fails: the error of the listing; of the first patch (in listing order) that
/// failed, "Process exit code = %d" when the patch tool refused it; eNoAccess for a tree that leads outside
/// itself; eBadParameter for a path that holds a double quote, which no command line can carry, and for a
/// null pool.
ZRResult applyPatch(const ZRString& deltaFolder, const ZRString& sourceFolder, ZRDynamicThreadPool* pool);

/// Checks every file of the list of digests in `folder` on the pool, all of them also after a mismatch, and
/// deletes the list when all match. No check is running any more when it answers. Fails: eBadParameter for a
/// null pool; the open error of a missing list; eTooLong for one of more than 16 MiB; eTooMany for more than
/// 100,000 lines; eUnexpected for a line without a blank; else the first failure in the order of the list:
/// eNotFound "File %s not found", also for a path that leads outside the folder or to something that is not a
/// file, eUnexpected for another digest.
ZRResult verifyCheckSums(ZRString folder, ZRDynamicThreadPool* pool);

/// Makes the executables of a client bundle executable for all: patched files have lost that.
/// Fails at the first that is missing ("Process exit code = %d") or leads outside the folder (eNoAccess).
ZRResult setExeFileAttributes(ZRString bundleFolder);

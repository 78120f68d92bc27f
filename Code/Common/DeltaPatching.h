#pragma once

#include <utility>

#include "Code/Common/DeltaTree.h"
#include "runtime/Threads/ZRTask.h"

class ZRDynamicThreadPool;

/// One patch: runs its command, then deletes the patch file.
class PatchTask : public ZRTask {
 public:
  PatchTask(ZRString command, ZRString patchPath);
  ZRResult run(ZRDynamicPoolWorkerThread& worker) override;

 private:
  ZRString _command;
  ZRString _patchPath;
};

/// The walk through one package's tree. It never goes through a symbolic link: where one leads inside the
/// tree the walk comes anyway, and elsewhere the package has no business.
class TreePatcher {
 public:
  /// The pool outlives the patcher.
  TreePatcher(DeltaTree tree, ZRDynamicThreadPool& pool) : _tree(std::move(tree)), _pool(pool) {}

  /// Queues and awaits the patches of a folder, those of its sub-folders on the way; `sourceFolder` is its
  /// counterpart in the installed bundle. Fails: as `applyPatch`.
  ZRResult walk(const ZRString& deltaFolder, const ZRString& sourceFolder) const;

 private:
  const DeltaTree _tree;
  ZRDynamicThreadPool& _pool;
};

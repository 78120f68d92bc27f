#pragma once

#include "Code/Common/DeltaTree.h"
#include "Code/Common/TaskBatch.h"

class ZRFile;

/// @file
/// The list of digests at the top of a delta package.

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

/// Opens a list for reading. Fails: eNoAccess for what is not a file, the open error of a missing one, and
/// eTooLong for one of more than 16 MiB.
ZRResult openCheckSums(const ZRString& path, ZRFile& list);

/// Reads the list and queues a check for each line; paths are relative to `folder`, which ends in "/".
/// Fails: eUnexpected for a line without a blank, eTooMany for more than 100,000 lines, and as reading and
/// queueing; the checks of the lines before are queued then.
ZRResult queueChecks(ZRFile& list, const ZRString& folder, DeltaTree& tree, TaskBatch& checks);

#pragma once

#include "runtime/Code/ZRResult.h"
#include "runtime/Strings/ZRString.h"

/// Operations on folders. A failed system call gives the result of its errno value and names the call.
/// No run uses it.
class ZRDirectory {
 public:
  /// Creates one folder, mode 0777 less the process's mask.
  /// Fails: ePreconditionFailed for an empty path; naming "mkdir()", also when the folder exists.
  static ZRResult create(const ZRString& path);

  /// Removes the folder with everything in it; symbolic links are removed, never followed. What cannot be
  /// removed is logged and the rest is removed all the same. Fails: ePreconditionFailed for an empty path;
  /// naming "rmdir()" when the folder is still there.
  static ZRResult remove(const ZRString& path);

  /// eYes when there is a folder at the path (links are followed), else eNo.
  static ZRResult exists(const ZRString& path);

  /// The process's current folder. Fails naming "getcwd()".
  static ZRResult getCurrent(ZRString& path);
};

#pragma once

#include <string>

#include "platform/Error.h"
#include "platform/UrlLoading.h"

namespace platform {

/// Where a download goes: it is written under a hidden name beside the path that was asked for, where the
/// file appears when it is whole. Errors are of the URL domain, with the system's text in the description.
class DownloadTarget {
 public:
  void set(const std::string& path, bool overwrite);
  void setDeletesPartialFile(bool deletes) { _deletesPartialFile = deletes; }
  [[nodiscard]] bool deletesPartialFile() const { return _deletesPartialFile; }
  /// The path that was asked for.
  [[nodiscard]] const std::string& path() const { return _path; }

  /// Fails: cannotCreateFile when no path was set, or what is there may not be replaced; cannotOpenFile when
  /// the path is that of a folder.
  [[nodiscard]] Error check() const;
  /// A name to write under; another one each time.
  [[nodiscard]] std::string makeWritePath() const;
  /// Puts the file into its place, if that is still as it was asked for. Fails: cannotMoveFile.
  [[nodiscard]] Error commit(const std::string& writePath) const;
  /// Leaves an incomplete file at the path when that is wanted and the path is free. Whether it did.
  [[nodiscard]] bool keepPartial(const std::string& writePath) const;

  /// What a system call, which has set errno, could not do for `path()`.
  [[nodiscard]] Error failure(UrlErrorCode code) const;

 private:
  std::string _path;
  bool _overwrite = false;
  bool _deletesPartialFile = false;
};

}  // namespace platform

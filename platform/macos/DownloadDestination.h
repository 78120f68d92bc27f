#pragma once

#include <string>

#include "platform/Error.h"
#include "platform/common/DownloadTarget.h"

namespace platform {

/// The file that the system's service writes for a download's target, where it appears when it is whole, also
/// after a power cut. Errors are of the URL domain, with the system's text in the description.
class DownloadDestination {
 public:
  DownloadDestination() = default;
  DownloadDestination(const DownloadDestination&) = delete;
  DownloadDestination& operator=(const DownloadDestination&) = delete;
  /// Abandons what was not committed; the service writes no more by then.
  ~DownloadDestination();

  void setTarget(const std::string& path, bool overwrite) { _target.set(path, overwrite); }
  void setDeletesPartialFile(bool deletes) { _target.setDeletesPartialFile(deletes); }
  [[nodiscard]] const DownloadTarget& target() const { return _target; }

  /// Chooses the name to write under. Fails: as `DownloadTarget::check`.
  Error choose();
  /// Empty before.
  [[nodiscard]] const std::string& writePath() const { return _writePath; }
  /// The service has created the file, and calls it so.
  void didCreate(const std::string& writePath) { _writePath = writePath; }

  /// The file is now at the path of the target. Fails: cannotOpenFile, cannotWriteToFile, cannotMoveFile.
  Error commit();
  /// Removes the file, if there is one, or leaves what there is of it at the path of the target if that is
  /// free. Fails: cannotRemoveFile.
  Error abandon();

 private:
  DownloadTarget _target;
  std::string _writePath;  // empty when nothing is pending
};

}  // namespace platform

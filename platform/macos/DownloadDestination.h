#pragma once

#include <string>

#include "platform/Error.h"

namespace platform {

/// Where a download goes. The service writes the file; this says where: under a hidden name beside the path
/// that was asked for, where the file appears when it is whole, also after a power cut. Errors are of the URL
/// domain, with the system's text in the description.
class DownloadDestination {
 public:
  DownloadDestination() = default;
  DownloadDestination(const DownloadDestination&) = delete;
  DownloadDestination& operator=(const DownloadDestination&) = delete;
  /// Abandons what was not committed; the service writes no more by then.
  ~DownloadDestination();

  void set(const std::string& path, bool overwrite);
  void setDeletesPartialFile(bool deletes) { _deletesPartialFile = deletes; }
  [[nodiscard]] bool deletesPartialFile() const { return _deletesPartialFile; }
  /// The path that was asked for.
  [[nodiscard]] const std::string& path() const { return _path; }

  /// Chooses the name to write under. Fails: cannotCreateFile when no path was set, or what is there may not
  /// be replaced; cannotOpenFile when the path is that of a folder.
  Error choose();
  /// Empty before.
  [[nodiscard]] const std::string& writePath() const { return _writePath; }
  /// The service has created the file, and calls it so.
  void didCreate(const std::string& writePath) { _writePath = writePath; }

  /// The file is now at `path()`. Fails: cannotOpenFile, cannotWriteToFile, cannotMoveFile.
  Error commit();
  /// Removes the file, if there is one, or leaves what there is of it at a `path()` that is free. Fails:
  /// cannotRemoveFile.
  Error abandon();

 private:
  std::string _path;
  std::string _writePath;  // empty when nothing is pending
  bool _overwrite = false;
  bool _deletesPartialFile = false;
};

}  // namespace platform

#pragma once

#include <string>
#include <string_view>

#include "platform/Error.h"
#include "platform/common/FileDescriptor.h"

namespace platform {

/// The file that a download writes: under a hidden name beside its destination, where it appears when it is
/// whole, also after a power cut. Errors are of the URL domain, with the system's text in the description.
class DownloadFile {
 public:
  DownloadFile() = default;
  DownloadFile(const DownloadFile&) = delete;
  DownloadFile& operator=(const DownloadFile&) = delete;
  /// Abandons what was not committed.
  ~DownloadFile();

  void setDestination(const std::string& path, bool overwrite);
  void setDeletesPartialFile(bool deletes) { _deletesPartialFile = deletes; }
  [[nodiscard]] const std::string& path() const { return _path; }
  [[nodiscard]] bool isOpen() const { return _file.isOpen(); }

  /// Fails: cannotCreateFile, also when no destination was set or the file exists and may not be replaced;
  /// cannotOpenFile when the destination is a folder.
  Error create();
  /// Fails: cannotWriteToFile.
  Error write(std::string_view bytes);
  /// Closes the file; it is now at `path()`. Fails: cannotWriteToFile, cannotCloseFile,
  /// cannotMoveFile.
  Error commit();
  /// Closes the file, if one was created, and removes it, or leaves what there is of it at a `path()` that is
  /// free. Fails: cannotRemoveFile.
  Error abandon();

 private:
  std::string _path;
  std::string _writePath;
  FileDescriptor _file;
  bool _overwrite = false;
  bool _deletesPartialFile = false;
  bool _pending = false;  // created and neither committed nor abandoned
};

}  // namespace platform

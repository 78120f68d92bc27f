#pragma once

#include <string>
#include <string_view>

#include "platform/Error.h"
#include "platform/common/DownloadTarget.h"
#include "platform/common/FileDescriptor.h"

namespace platform {

/// The file that a download writes for its target, where it appears when it is whole, also after a power cut.
/// Errors are of the URL domain, with the system's text in the description.
class DownloadFile {
 public:
  DownloadFile() = default;
  DownloadFile(const DownloadFile&) = delete;
  DownloadFile& operator=(const DownloadFile&) = delete;
  /// Abandons what was not committed.
  ~DownloadFile();

  void setTarget(const std::string& path, bool overwrite) { _target.set(path, overwrite); }
  void setDeletesPartialFile(bool deletes) { _target.setDeletesPartialFile(deletes); }
  [[nodiscard]] const DownloadTarget& target() const { return _target; }
  [[nodiscard]] bool isOpen() const { return _file.isOpen(); }

  /// Fails: as `DownloadTarget::check`; cannotCreateFile.
  Error create();
  /// Fails: cannotWriteToFile.
  Error write(std::string_view bytes);
  /// Closes the file; it is now at the path of the target. Fails: cannotWriteToFile, cannotCloseFile,
  /// cannotMoveFile.
  Error commit();
  /// Closes the file, if one was created, and removes it, or leaves what there is of it at the path of the
  /// target if that is free. Fails: cannotRemoveFile.
  Error abandon();

 private:
  DownloadTarget _target;
  std::string _writePath;
  FileDescriptor _file;
  bool _pending = false;  // created and neither committed nor abandoned
};

}  // namespace platform

#pragma once

#include <string>

#include "platform/FileManager.h"

/// A fresh folder for work in progress, that only this run knows; removed with everything in it at the end of
/// the scope. Nothing that an archive brings can be in its place, and nothing in it is taken for anything
/// else.
class PrivateFolder {
 public:
  /// Makes the folder in `parent`; a failure is logged. `fileManager` outlives it.
  PrivateFolder(platform::FileManager& fileManager, const std::string& parent);
  /// A failed removal is logged; the next run tries again.
  ~PrivateFolder();
  PrivateFolder(const PrivateFolder&) = delete;
  PrivateFolder& operator=(const PrivateFolder&) = delete;

  [[nodiscard]] bool exists() const { return !_path.empty(); }
  [[nodiscard]] const std::string& path() const { return _path; }
  /// Removes it now, once.
  platform::Error remove();

 private:
  platform::FileManager& _fileManager;
  std::string _path;
};

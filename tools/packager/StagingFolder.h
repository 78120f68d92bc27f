#pragma once

#include <filesystem>

namespace packager {

/// A fresh folder beside what is being made, removed with everything in it at the end of the scope.
class StagingFolder {
 public:
  /// Throws PackagingError.
  explicit StagingFolder(const std::filesystem::path& parent);
  ~StagingFolder();
  StagingFolder(const StagingFolder&) = delete;
  StagingFolder& operator=(const StagingFolder&) = delete;

  [[nodiscard]] const std::filesystem::path& path() const { return _path; }

 private:
  std::filesystem::path _path;
};

}  // namespace packager

#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace tools {

/// A fresh folder (mode 0700) that is removed, with everything in it, at the end of its scope.
class TemporaryFolder {
 public:
  /// Its name is `prefix` and six random characters. Throws std::runtime_error.
  explicit TemporaryFolder(const std::filesystem::path& parent = std::filesystem::temp_directory_path(),
                           const std::string& prefix = "vantora-");
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  /// Absolute, without links and "..".
  [[nodiscard]] const std::string& path() const { return _path; }
  /// path() + "/" + name
  [[nodiscard]] std::string operator/(std::string_view name) const;

 private:
  std::string _path;
};

}  // namespace tools

#pragma once

#include <string>
#include <string_view>

namespace test {

/// A fresh folder that is removed, with everything in it, at the end of its scope.
class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  [[nodiscard]] const std::string& path() const { return _path; }
  /// path() + "/" + name
  [[nodiscard]] std::string operator/(std::string_view name) const;

 private:
  std::string _path;
};

/// Creates the folders above `path` that are missing and writes the file. Fails the test when it cannot.
void writeFile(const std::string& path, std::string_view bytes);
/// The whole file; fails the test when it cannot be read.
[[nodiscard]] std::string readFile(const std::string& path);
[[nodiscard]] bool exists(const std::string& path);
void makeFolder(const std::string& path);

}  // namespace test

#pragma once

#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

namespace staging {

/// A file in the temporary folder, removed at the end.
class TemporaryFile {
 public:
  TemporaryFile(const std::string& suffix, const std::string& content)
      : _path(std::filesystem::temp_directory_path() / ("vantora-staging-XXXXXX" + suffix)) {
    const int number = mkstemps(_path.data(), static_cast<int>(suffix.size()));
    if (number < 0) throw std::runtime_error("cannot create " + _path);
    ::close(number);
    if (!(std::ofstream(_path) << content << std::flush)) throw std::runtime_error("cannot write " + _path);
  }
  ~TemporaryFile() { ::unlink(_path.c_str()); }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  [[nodiscard]] const std::string& path() const { return _path; }

 private:
  std::string _path;
};

}  // namespace staging

#include "tests/support/TemporaryFolder.h"

#include <filesystem>

namespace test {

namespace fs = std::filesystem;

bool exists(const std::string& path) {
  std::error_code error;
  return fs::symlink_status(path, error).type() != fs::file_type::not_found;
}

void makeFolder(const std::string& path) {
  fs::create_directories(path);
}

}  // namespace test

#pragma once

#include <filesystem>
#include <string>

#include "tools/support/Files.h"
#include "tools/support/TemporaryFolder.h"

/// What cannot be written or read throws, and so fails the test.
namespace test {

using tools::readFile;
using tools::TemporaryFolder;
using tools::writeFile;

/// Whether there is an item at the path; a link counts, wherever it leads.
[[nodiscard]] inline bool exists(const std::string& path) {
  std::error_code error;
  return std::filesystem::symlink_status(path, error).type() != std::filesystem::file_type::not_found;
}

/// Makes the folders that are missing.
inline void makeFolder(const std::string& path) {
  std::filesystem::create_directories(path);
}

}  // namespace test

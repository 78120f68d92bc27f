#pragma once

#include <string>

#include "tools/support/Files.h"
#include "tools/support/TemporaryFolder.h"

/// What cannot be written or read throws, and so fails the test.
namespace test {

using tools::readFile;
using tools::TemporaryFolder;
using tools::writeFile;

/// Whether there is an item at the path; a link counts, wherever it leads.
[[nodiscard]] bool exists(const std::string& path);
/// Makes the folders that are missing.
void makeFolder(const std::string& path);

}  // namespace test

#include "tools/support/TemporaryFolder.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <system_error>

namespace tools {

namespace fs = std::filesystem;

TemporaryFolder::TemporaryFolder(const fs::path& parent, const std::string& prefix) {
  std::string pattern = (parent / (prefix + "XXXXXX")).string();
  if (mkdtemp(pattern.data()) == nullptr) {
    throw std::runtime_error("no folder can be made in " + parent.string() + ": " + std::strerror(errno));
  }
  _path = fs::canonical(pattern).string();
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;  // what was locked on purpose is for its user to unlock
  fs::remove_all(_path, ignored);
}

std::string TemporaryFolder::operator/(std::string_view name) const {
  return _path + "/" + std::string(name);
}

}  // namespace tools

#include "tools/packager/StagingFolder.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <system_error>

#include "tools/packager/Archive.h"

namespace packager {

StagingFolder::StagingFolder(const std::filesystem::path& parent) {
  std::string name = (parent / ".packaging-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) {
    throw PackagingError("no folder can be made in " + parent.string() + ": " + std::strerror(errno));
  }
  _path = name;
}

StagingFolder::~StagingFolder() {
  std::error_code ignored;  // what stays behind is hidden and harms nothing
  std::filesystem::remove_all(_path, ignored);
}

}  // namespace packager

#include "platform/common/AccountHome.h"

#include <pwd.h>
#include <unistd.h>

#include <array>

#include "platform/Path.h"

namespace platform {

std::optional<std::string> accountHomeFolder() {
  std::array<char, 16'384> buffer{};
  passwd entry{};
  passwd* found = nullptr;
  if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr ||
      found->pw_dir == nullptr || *found->pw_dir != '/') {
    return std::nullopt;
  }
  return withoutTrailingSlashes(found->pw_dir);
}

}  // namespace platform

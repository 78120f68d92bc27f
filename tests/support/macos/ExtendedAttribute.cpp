#include "tests/support/ExtendedAttribute.h"

#include <sys/xattr.h>

#include <array>

namespace test {

bool setAttribute(const std::string& path, const char* name, const std::string& value) {
  return setxattr(path.c_str(), name, value.data(), value.size(), 0, 0) == 0;
}

std::string attributeOf(const std::string& path, const char* name) {
  std::array<char, 64> value{};
  const ssize_t size = getxattr(path.c_str(), name, value.data(), value.size(), 0, 0);
  return size < 0 ? "" : std::string(value.data(), static_cast<std::size_t>(size));
}

}  // namespace test

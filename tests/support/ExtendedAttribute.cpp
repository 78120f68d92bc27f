#include "tests/support/ExtendedAttribute.h"

#include <sys/xattr.h>

#include <array>

// What macOS wants to know as well: a position in the value, and options.
#ifdef __APPLE__
#define POSITION , 0
#define POSITION_AND_OPTIONS , 0, 0
#else
#define POSITION
#define POSITION_AND_OPTIONS
#endif

namespace test {

bool setAttribute(const std::string& path, const char* name, const std::string& value) {
  return setxattr(path.c_str(), name, value.data(), value.size() POSITION, 0) == 0;
}

std::string attributeOf(const std::string& path, const char* name) {
  std::array<char, 64> value{};
  const ssize_t size = getxattr(path.c_str(), name, value.data(), value.size() POSITION_AND_OPTIONS);
  return size < 0 ? "" : std::string(value.data(), static_cast<std::size_t>(size));
}

}  // namespace test

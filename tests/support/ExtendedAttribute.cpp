#include "tests/support/ExtendedAttribute.h"

#include <sys/xattr.h>

#include <array>

namespace test {
namespace {

#ifdef __APPLE__  // asks for a position in the value as well
constexpr auto set = [](auto... what) { return setxattr(what..., 0, 0); };
constexpr auto get = [](auto... what) { return getxattr(what..., 0, 0); };
#else
constexpr auto set = [](auto... what) { return setxattr(what..., 0); };
constexpr auto get = [](auto... what) { return getxattr(what...); };
#endif

}  // namespace

bool setAttribute(const std::string& path, const char* name, const std::string& value) {
  return set(path.c_str(), name, value.data(), value.size()) == 0;
}

std::string attributeOf(const std::string& path, const char* name) {
  std::array<char, 64> value{};
  const ssize_t size = get(path.c_str(), name, value.data(), value.size());
  return size < 0 ? "" : std::string(value.data(), static_cast<std::size_t>(size));
}

}  // namespace test

#include "platform/linux/ItemMetadata.h"

#include <sys/xattr.h>

#include <array>
#include <cerrno>

#include "platform/common/TemporaryWriteAccess.h"

namespace platform {

std::optional<Date> dateAttribute(const std::string& path, const char* attribute) {
  std::array<char, 64> text{};
  const ssize_t size = getxattr(path.c_str(), attribute, text.data(), text.size());
  Date date;
  if (size <= 0 || !parseIso8601(std::string(text.data(), static_cast<std::size_t>(size)), date)) {
    return std::nullopt;
  }
  return date;
}

Error setDateAttribute(const std::string& path, const char* attribute, Date date) {
  const std::string text = formatIso8601(date);
  const auto set = [&] { return lsetxattr(path.c_str(), attribute, text.data(), text.size(), 0) == 0; };
  if (set()) return {};
  const int number = errno;
  if (number == EACCES) {
    const TemporaryWriteAccess access(path);
    if (access.isGranted() && set()) return {};
  }
  return posixError(number, path);
}

}  // namespace platform

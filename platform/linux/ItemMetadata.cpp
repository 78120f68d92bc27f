#include "platform/linux/ItemMetadata.h"

#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cerrno>

namespace platform {

TemporaryWriteAccess::TemporaryWriteAccess(std::string path) : _path(std::move(path)) {
  struct stat status {};
  if (lstat(_path.c_str(), &status) != 0 || S_ISLNK(status.st_mode) || status.st_uid != geteuid()) return;
  const mode_t mode = status.st_mode & 07777;
  if ((mode & S_IWUSR) == 0 && chmod(_path.c_str(), mode | S_IWUSR) == 0) _mode = mode;
}

TemporaryWriteAccess::~TemporaryWriteAccess() {
  if (_mode) chmod(_path.c_str(), *_mode);
}

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

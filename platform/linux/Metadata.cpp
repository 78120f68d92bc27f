#include "platform/Metadata.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "platform/linux/ItemMetadata.h"

namespace platform {
namespace {

std::optional<Date> birthTime(const std::string& path) {
  struct statx status {};
  if (statx(AT_FDCWD, path.c_str(), 0, STATX_BTIME, &status) != 0 || (status.stx_mask & STATX_BTIME) == 0) {
    return std::nullopt;
  }
  return Date(Seconds(static_cast<double>(status.stx_btime.tv_sec) + status.stx_btime.tv_nsec * 1e-9));
}

}  // namespace

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

namespace metadata {

std::optional<Date> lastUsedDate(const std::string& path) {
  return dateAttribute(path, kLastUsedDateAttribute);
}

std::optional<Date> creationDate(const std::string& path) {
  const auto date = dateAttribute(path, kCreationDateAttribute);
  return date ? date : birthTime(path);
}

Error setLastUsedDate(const std::string& path, Date date) {
  return setDateAttribute(path, kLastUsedDateAttribute, date);
}

}  // namespace metadata
}  // namespace platform

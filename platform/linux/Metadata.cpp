#include "platform/Metadata.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

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

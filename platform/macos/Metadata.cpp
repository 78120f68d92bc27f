#include "platform/Metadata.h"

#include <CoreServices/CoreServices.h>
#include <sys/stat.h>

#include <cerrno>

#include "platform/macos/CoreFoundation.h"

namespace platform {
namespace {

/// None for what the index does not know, and on a volume that has none.
std::optional<Date> indexedDate(const std::string& path, CFStringRef attribute) {
  const auto url = coreFolderUrl(path);
  const CFOwner<MDItemRef> item(url ? MDItemCreateWithURL(nullptr, url.get()) : nullptr);
  const CFOwner<CFTypeRef> date(item ? MDItemCopyAttribute(item.get(), attribute) : nullptr);
  if (!date || CFGetTypeID(date.get()) != CFDateGetTypeID()) return std::nullopt;
  return dateOf(static_cast<CFDateRef>(date.get()));
}

std::optional<Date> birthTime(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return std::nullopt;
  const timespec& birth = status.st_birthtimespec;
  return Date(Seconds(static_cast<double>(birth.tv_sec) + static_cast<double>(birth.tv_nsec) * 1e-9));
}

}  // namespace

namespace metadata {

std::optional<Date> lastUsedDate(const std::string& path) {
  return indexedDate(path, kMDItemLastUsedDate);
}

/// The index has it from the file system, which is asked where there is no index.
std::optional<Date> creationDate(const std::string& path) {
  const auto date = indexedDate(path, kMDItemFSCreationDate);
  return date ? date : birthTime(path);
}

/// The system alone records that it opens a bundle: no service of the index sets the date, and the attribute
/// that the system leaves on the item for itself is not for others to write.
Error setLastUsedDate(const std::string& path, Date /*date*/) {
  return posixError(ENOTSUP, path);
}

}  // namespace metadata
}  // namespace platform

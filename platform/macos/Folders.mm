#include "platform/Folders.h"

#include "platform/AutoreleasePool.h"
#include "platform/FileManager.h"
#include "platform/Path.h"
#import "platform/macos/Foundation.h"

namespace platform {
namespace {

/// The path as an answer; none for a text that names no absolute path.
std::optional<std::string> folderAt(NSString* path) {
  std::string text;
  @try {
    text = systemPath(path);
  } @catch (NSException* exception) {
    return std::nullopt;
  }
  if (!text.starts_with('/')) return std::nullopt;
  return withoutTrailingSlashes(std::move(text));
}

/// The first of the domain's folders of that kind.
std::optional<std::string> standardFolder(NSSearchPathDirectory kind, NSSearchPathDomainMask domain) {
  const AutoreleasePool pool;
  return folderAt([NSSearchPathForDirectoriesInDomains(kind, domain, YES) firstObject]);
}

}  // namespace

std::optional<std::string> homeFolder() {
  const AutoreleasePool pool;
  return folderAt(NSHomeDirectory());
}

std::optional<std::string> libraryFolder() {
  return standardFolder(NSLibraryDirectory, NSUserDomainMask);
}

/// Up to macOS 10.14 the system domain has the computer's folder, since then one of its own on a volume that
/// nothing is installed on.
std::optional<std::string> applicationsFolder(FolderDomain domain) {
  return standardFolder(NSApplicationDirectory,
                        domain == FolderDomain::user ? NSUserDomainMask : NSLocalDomainMask);
}

/// Since macOS 10.15 the system lies on a volume of its own, and all else on the data volume beside it.
std::string bootVolumeFolder() {
  constexpr const char* kDataVolume = "/System/Volumes/Data";
  return defaultFileManager().itemKind(kDataVolume) == ItemKind::folder ? kDataVolume : "/";
}

std::optional<std::string> desktopFolder() {
  return standardFolder(NSDesktopDirectory, NSUserDomainMask);
}

}  // namespace platform

#include "platform/Folders.h"

#include "platform/AutoreleasePool.h"
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

NSSearchPathDomainMask maskOf(FolderDomain domain) {
  switch (domain) {
    case FolderDomain::user:
      return NSUserDomainMask;
    case FolderDomain::local:
      return NSLocalDomainMask;
    case FolderDomain::system:
      break;
  }
  return NSSystemDomainMask;
}

}  // namespace

std::optional<std::string> homeFolder() {
  const AutoreleasePool pool;
  return folderAt(NSHomeDirectory());
}

std::optional<std::string> libraryFolder() {
  return standardFolder(NSLibraryDirectory, NSUserDomainMask);
}

std::optional<std::string> applicationsFolder(FolderDomain domain) {
  return standardFolder(NSApplicationDirectory, maskOf(domain));
}

std::string bootVolumeFolder() {
  return "/";
}

std::optional<std::string> desktopFolder() {
  return standardFolder(NSDesktopDirectory, NSUserDomainMask);
}

}  // namespace platform

#include "platform/Bundle.h"

#include <mach-o/dyld.h>

#include <climits>
#include <cstdlib>
#include <memory>

#include "platform/AutoreleasePool.h"
#include "platform/Path.h"
#import "platform/macos/Foundation.h"

namespace platform {
namespace {

/// The path as the program was started by it, which can lead over symbolic links.
std::string startedPath() {
  std::uint32_t size = PATH_MAX;
  std::string path(size, '\0');
  if (_NSGetExecutablePath(path.data(), &size) != 0) {
    path.resize(size);  // what it needs is told by the failure
    if (_NSGetExecutablePath(path.data(), &size) != 0) return {};
  }
  return path.c_str();
}

}  // namespace

// Through the file itself: the system's bundle objects keep what they once read, and tell no reason for a
// failure.
Error bundleInformation(const std::string& bundlePath, plist::Dictionary& information) {
  return plist::readDictionary(joinPath(bundlePath, "Contents/Info.plist"), information);
}

std::optional<std::string> mainBundleIdentifier() {
  const AutoreleasePool pool;
  NSString* identifier = [[NSBundle mainBundle] bundleIdentifier];
  return identifier != nil ? std::optional(utf8Text(identifier)) : std::nullopt;
}

std::string executablePath() {
  const std::string path = startedPath();
  const std::unique_ptr<char, decltype(&free)> resolved(realpath(path.c_str(), nullptr), &free);
  return resolved ? resolved.get() : path;  // unresolved when the file is gone
}

}  // namespace platform

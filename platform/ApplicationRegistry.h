#pragma once

#include <map>
#include <string>
#include <vector>

#include "platform/Error.h"

/// The registry of installed application bundles. It knows a bundle from the moment it is registered, finds
/// those in the usual places (the Applications folders and the Desktop, and one folder level below each) by
/// itself (links to bundles and folders too), follows a bundle that moved between those places, and forgets
/// one that is gone.
namespace platform::applications {

/// What a question about installed bundles found.
struct Found {
  std::vector<std::string> paths;
  /// False when there may be more: the registry, one of the usual places, or a bundle in it could not be
  /// read. What is not there at all is no such gap.
  bool sawEverything = true;
};

/// Paths of the bundles that declare the URL scheme (compared without regard to case; without "://"), in the
/// system's order of preference where it has one, else in registration order, newly found ones last in path
/// order. A known bundle that cannot be read now counts as what it was; links are followed.
[[nodiscard]] Found applicationsForUrlScheme(const std::string& scheme);

/// The same for a bundle identifier (compared without regard to case).
[[nodiscard]] Found applicationsForBundleIdentifier(const std::string& identifier);

/// The one bundle with that identifier that the system would open; at most one path.
[[nodiscard]] Found findApplication(const std::string& identifier);

/// As `applicationsForUrlScheme`, for `family` and every longer scheme that begins with it, in one look:
/// paths by scheme in lower case. A scheme that only bundles declare which do not declare `family` itself may
/// be left out. Does not tell whether everything was seen.
[[nodiscard]] std::map<std::string, std::vector<std::string>> applicationsByUrlScheme(
    const std::string& family);

/// Registers the bundle at `path`, or brings what is known of it up to date. Fails when there is no bundle
/// with a readable information dictionary at the path, or the registry cannot be written (domain OSStatus).
Error registerApplication(const std::string& path);

}  // namespace platform::applications

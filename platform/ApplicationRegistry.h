#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/Error.h"

/// The registry of installed application bundles. It knows a bundle from the moment it is registered, finds
/// those in the usual places (the Applications folders and the Desktop, and one folder level below each) by
/// itself, follows a bundle that moved between those places, and forgets one that is gone.
namespace platform::applications {

/// Paths of the bundles that declare the URL scheme (compared without regard to case; without "://"), in
/// registration order, newly found ones last in path order. An unreadable registry is an empty answer.
[[nodiscard]] std::vector<std::string> applicationsForUrlScheme(const std::string& scheme);

/// The same for a bundle identifier (compared without regard to case).
[[nodiscard]] std::vector<std::string> applicationsForBundleIdentifier(const std::string& identifier);

/// The one bundle with that identifier that the system would open.
[[nodiscard]] std::optional<std::string> findApplication(const std::string& identifier);

/// The URL schemes that the known bundles declare, in lower case, ascending, each once.
[[nodiscard]] std::vector<std::string> declaredUrlSchemes();

/// Registers the bundle at `path`, or brings what is known of it up to date. Fails when there is no bundle
/// with a readable information dictionary at the path, or the registry cannot be written (domain OSStatus).
Error registerApplication(const std::string& path);

}  // namespace platform::applications

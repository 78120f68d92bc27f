#include "platform/ApplicationRegistry.h"

#include <CoreServices/CoreServices.h>
#include <limits.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <optional>
#include <set>

#include "platform/Bundle.h"
#include "platform/Text.h"
#include "platform/common/BundleSchemes.h"
#include "platform/macos/CoreFoundation.h"

namespace platform::applications {
namespace {

constexpr OSStatus kFileNotFound = -43;

/// None for what is no scheme.
CFOwner<CFURLRef> urlOfScheme(const std::string& scheme) {
  const std::string url = scheme + "://";
  return CFOwner(CFURLCreateWithBytes(nullptr, coreBytes(url), static_cast<CFIndex>(url.size()),
                                      kCFStringEncodingUTF8, nullptr));
}

std::optional<std::string> pathOf(CFURLRef url) {
  std::array<UInt8, PATH_MAX> path{};
  if (CFURLGetFileSystemRepresentation(url, true, path.data(), PATH_MAX) == 0) return std::nullopt;
  return reinterpret_cast<const char*>(path.data());
}

/// The system may still know what was removed a moment ago.
bool isGone(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) != 0 && (errno == ENOENT || errno == ENOTDIR || errno == ELOOP);
}

void add(CFURLRef url, Found& found) {
  auto path = pathOf(url);
  if (!path) {
    found.sawEverything = false;
  } else if (!isGone(*path)) {
    found.paths.push_back(std::move(*path));
  }
}

Found foundAt(CFArrayRef urls) {
  Found found;
  for (CFIndex i = 0; i < CFArrayGetCount(urls); ++i)
    add(static_cast<CFURLRef>(CFArrayGetValueAtIndex(urls, i)), found);
  return found;
}

/// That there is no such application is an answer; any other error is none, and neither is silence.
Found foundNothing(CFIndex error) {
  return {{}, error == kLSApplicationNotFoundErr};
}

Found foundNothing(const CFOwner<CFErrorRef>& error) {
  return foundNothing(error ? CFErrorGetCode(error.get()) : 0);
}

/// The question for all of a URL's applications does not tell whether there are none or it failed; the one
/// for the first of them does.
Found foundNoneFor(CFURLRef url) {
  CFErrorRef error = nullptr;
  const CFOwner first(LSCopyDefaultApplicationURLForURL(url, kLSRolesAll, &error));
  const CFOwner owned(error);
  return first ? Found{{}, false} : foundNothing(owned);
}

std::vector<std::string> schemesOfBundle(const std::string& path) {
  plist::Dictionary information;
  if (bundleInformation(path, information)) return {};
  return urlSchemesOf(information);
}

}  // namespace

Found applicationsForUrlScheme(const std::string& scheme) {
  const auto url = urlOfScheme(scheme);
  if (!url) return {};
  const CFOwner urls(LSCopyApplicationURLsForURL(url.get(), kLSRolesAll));
  return urls ? foundAt(urls.get()) : foundNoneFor(url.get());
}

Found applicationsForBundleIdentifier(const std::string& identifier) {
  const auto text = coreText(identifier);
  if (!text) return {};
  CFErrorRef error = nullptr;
  const CFOwner urls(LSCopyApplicationURLsForBundleIdentifier(text.get(), &error));
  const CFOwner owned(error);
  return urls ? foundAt(urls.get()) : foundNothing(owned);
}

Found findApplication(const std::string& identifier) {
  const auto text = coreText(identifier);
  if (!text) return {};
  CFURLRef url = nullptr;
// Callers ask this where they take the system for one before macOS 10.10.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
  const OSStatus status = LSFindApplicationForInfo(kLSUnknownCreator, text.get(), nullptr, nullptr, &url);
#pragma clang diagnostic pop
  const CFOwner owned(url);
  if (status != 0 || !owned) return foundNothing(status);
  Found found;
  add(owned.get(), found);
  return found;
}

/// The system has no question for several schemes: the bundles that open `family` tell which there are.
std::map<std::string, std::vector<std::string>> applicationsByUrlScheme(const std::string& family) {
  const std::string wanted = lowerCase(family);
  std::set<std::string> schemes{wanted};
  for (const auto& path : applicationsForUrlScheme(wanted).paths)
    for (auto& scheme : schemesOfBundle(path))
      if (scheme.starts_with(wanted)) schemes.insert(std::move(scheme));
  std::map<std::string, std::vector<std::string>> found;
  for (const auto& scheme : schemes) {
    auto paths = applicationsForUrlScheme(scheme).paths;
    if (!paths.empty()) found.emplace(scheme, std::move(paths));
  }
  return found;
}

Error registerApplication(const std::string& path) {
  const auto url = coreFolderUrl(path);
  const OSStatus status = url ? LSRegisterURL(url.get(), true) : kFileNotFound;
  if (status == 0) return {};
  return {kOSStatusErrorDomain, status,
          path + ": The system did not register the item (error " + std::to_string(status) + ")."};
}

}  // namespace platform::applications

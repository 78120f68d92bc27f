#include "Code/MacOSX/VNTUpdate/BuildInventory.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>

#include "platform/ApplicationRegistry.h"
#include "platform/Bundle.h"
#include "platform/Folders.h"
#include "platform/Path.h"
#include "platform/PropertyList.h"
#include "runtime/Code/ZRLog.h"

namespace {

constexpr std::string_view kProduct = "Vantora";
/// The registry tells schemes in lower case.
constexpr std::string_view kProductScheme = "vantora";

/// Where copies of the client lie that nobody starts: the Trash, caches and containers, build output.
constexpr std::array<const char*, 5> kForeignPlaces = {
    "/.Trash/", "com.korvane.Vantora", "com.halvardonline.Vantora", "_output/Debug", "_output/Release"};

bool liesInForeignPlace(const std::string& path) {
  return std::any_of(kForeignPlaces.begin(), kForeignPlaces.end(),
                     [&path](const char* place) { return path.find(place) != std::string::npos; });
}

std::string schemeOf(std::uint32_t buildNumber) {
  return std::string(kProduct) + std::to_string(static_cast<std::int32_t>(buildNumber)) + "://";
}

/// The build that a scheme ("vantora7759") carries; none for another scheme, or a number written otherwise
/// than `schemeOf` writes it.
std::optional<std::uint32_t> buildOfScheme(std::string_view scheme) {
  if (!scheme.starts_with(kProductScheme)) return std::nullopt;
  const std::string_view digits = scheme.substr(kProductScheme.size());
  std::int32_t number = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (error != std::errc() || std::to_string(number) != digits) return std::nullopt;
  return static_cast<std::uint32_t>(number);
}

}  // namespace

Endpoints BuildInventory::installedEndpointsForScheme(const std::string& url) const {
  const auto found = platform::applications::applicationsForUrlScheme(url.substr(0, url.find(':')));
  return endpointsAmong({found.paths, found.sawEverything});
}

Endpoints BuildInventory::endpointsAmong(const Endpoints& found) const {
  Endpoints endpoints{{}, found.sawEverything};
  for (const auto& path : found.paths) {
    if (liesInForeignPlace(path)) continue;
    const auto kind = _fileManager.itemKind(path);
    // The registry has just seen it: what shows nothing now is out of sight.
    if (kind == platform::ItemKind::none) endpoints.sawEverything = false;
    if (kind == platform::ItemKind::folder && !isDeveloperBuild(path)) endpoints.paths.push_back(path);
  }
  return endpoints;
}

bool BuildInventory::isDeveloperBuild(const std::string& path) const {
  return _fileManager.itemKind(platform::joinPath(path, "Contents/Resources/developer_build")) !=
         platform::ItemKind::none;
}

Endpoints BuildInventory::allInstalledBuilds() const {
  return installedEndpointsForScheme(std::string(kProduct) + "://");
}

std::optional<std::string> BuildInventory::isInstalled(std::uint32_t buildNumber) const {
  const Endpoints endpoints = installedEndpointsForScheme(schemeOf(buildNumber));
  if (endpoints.paths.empty()) return std::nullopt;
  logFoundEndpoint(endpoints.paths.front());
  return endpoints.paths.front();
}

std::map<std::uint32_t, std::string> BuildInventory::installedPaths() const {
  std::map<std::uint32_t, std::string> paths;
  const auto product = platform::applications::applicationsByUrlScheme(std::string(kProductScheme));
  for (const auto& [scheme, found] : product) {
    const auto build = buildOfScheme(scheme);
    if (!build) continue;
    const Endpoints endpoints = endpointsAmong({found});
    if (!endpoints.paths.empty()) paths.emplace(*build, endpoints.paths.front());
  }
  return paths;
}

std::vector<std::uint32_t> BuildInventory::installedBuildNumbers() const {
  return buildNumbersOf(allInstalledBuilds());
}

std::int32_t BuildInventory::latestInstalledVersion(const Endpoints& endpoints) const {
  return latestOf(readVersions(endpoints));
}

bool BuildInventory::isActiveBuild(const UpdateInfo& info, std::uint32_t buildNumber) {
  return std::any_of(info.activeBuilds.begin(), info.activeBuilds.end(),
                     [buildNumber](const ActiveBuild& build) { return build.buildNumber == buildNumber; });
}

std::vector<std::string> BuildInventory::possibleInstallPaths() const {
  using platform::FolderDomain;
  std::vector<std::string> paths;
  for (const auto& path : {platform::applicationsFolder(FolderDomain::system),
                           platform::applicationsFolder(FolderDomain::user), platform::desktopFolder()}) {
    if (path) paths.push_back(*path);
  }
  return paths;
}

std::optional<std::string> BuildInventory::getOlderVersionsFolder() const {
  const std::string& folder = _settings.installationPath;
  if (folder.empty() || !_fileManager.isWritable(folder)) return std::nullopt;
  const std::string nested = platform::joinPath(folder, kProduct);
  if (_fileManager.isWritable(nested)) return nested;
  const auto error = _fileManager.createFolder(nested);
  if (!error.failed()) return nested;
  zrrt::log(ZRLogLevel::eError, "Creation of nested Applications folder failed: %s",
            error.description.c_str());
  return folder;
}

std::optional<std::string> bundleVersionText(const std::string& bundlePath) {
  platform::plist::Dictionary information;
  if (platform::bundleInformation(bundlePath, information).failed()) return std::nullopt;
  const auto* version = platform::plist::find(information, "CFBundleVersion");
  if (version == nullptr) return std::string();
  if (const auto* text = version->as<std::string>()) return *text;
  const auto number = version->integerValue();
  return number ? std::to_string(*number) : std::string();
}

std::optional<std::int32_t> bundleBuildNumber(const std::string& bundlePath) {
  return EndpointVersion{bundlePath, bundleVersionText(bundlePath)}.number();
}

std::optional<std::int32_t> EndpointVersion::number() const {
  if (!text) return std::nullopt;
  const auto number = platform::plist::Value(*text).integerValue();
  return static_cast<std::int32_t>(std::clamp<std::int64_t>(number.value_or(0), INT32_MIN, INT32_MAX));
}

std::vector<EndpointVersion> readVersions(const Endpoints& endpoints) {
  std::vector<EndpointVersion> versions;
  for (const auto& path : endpoints.paths)
    versions.push_back({path, bundleVersionText(path)});
  return versions;
}

std::int32_t latestOf(const std::vector<EndpointVersion>& versions) {
  std::int32_t latest = -1;
  for (const auto& version : versions)
    latest = std::max(latest, version.number().value_or(latest));
  return latest;
}

std::vector<std::uint32_t> buildNumbersOf(const Endpoints& endpoints) {
  std::vector<std::uint32_t> builds;
  for (const auto& endpoint : readVersions(endpoints)) {
    if (const auto number = endpoint.number()) builds.push_back(static_cast<std::uint32_t>(*number));
  }
  return builds;
}

void logFoundEndpoint(const std::string& path) {
  zrrt::log(ZRLogLevel::eDebug, "Found installed endpoint at '%s'.", path.c_str());
}

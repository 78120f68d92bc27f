#include "Code/MacOSX/VNTUpdate/BuildCleanup.h"

#include <algorithm>

#include "Code/Common/AgentVersion.h"
#include "Code/MacOSX/DeploymentUtilities.h"
#include "Code/MacOSX/VNTUpdate/UpdateSchedule.h"
#include "platform/Clock.h"
#include "platform/Folders.h"
#include "platform/Metadata.h"
#include "runtime/Code/ZRLog.h"

namespace {

constexpr const char* kAggressivelyCleanupKey = "AggressivelyCleanup";
constexpr const char* kPlainBundleName = "Vantora.app";

std::string parentOf(const std::string& path) {
  return path.substr(0, path.find_last_of('/'));
}

std::string nameOf(const std::string& path) {
  return path.substr(path.find_last_of('/') + 1);
}

std::string description(const std::optional<platform::Date>& date) {
  return date ? platform::describe(*date) : "(null)";
}

/// 0, which no volume has, when the item cannot be examined.
std::uint64_t volumeOf(const platform::FileManager& fileManager, const std::string& path) {
  std::uint64_t number = 0;
  return fileManager.fileSystemNumber(path, number).failed() ? 0 : number;
}

}  // namespace

void BuildCleanup::load() {
  _beAggressive = _preferences.boolean(kAggressivelyCleanupKey).value_or(true);
}

void BuildCleanup::cleanup() {
  moveBuildsToOlderVersionsFolder();
}

void BuildCleanup::moveBuildsToOlderVersionsFolder() {
  const Endpoints builds = _inventory.allInstalledBuilds();
  const std::string latest = std::to_string(_inventory.latestInstalledVersion(builds));
  const std::vector<std::string> locations =
      _beAggressive ? _inventory.possibleInstallPaths() : std::vector{_settings.installationPath};
  for (const auto& build : builds)
    if (isLoose(build, latest, locations)) moveBuildToOlderVersionsFolder(build);
  if (_beAggressive) endAggressiveGathering();
}

bool BuildCleanup::isLoose(const std::string& endpoint, const std::string& latest,
                           const std::vector<std::string>& locations) const {
  return nameOf(endpoint) != kPlainBundleName && bundleVersionText(endpoint) != latest &&
         isUrlOnPaths(endpoint, locations);
}

void BuildCleanup::endAggressiveGathering() {
  _preferences.setValue(kAggressivelyCleanupKey, false);
  // What is not kept only means that the next run looks everywhere once more.
  static_cast<void>(_preferences.save());
  _beAggressive = false;
}

void BuildCleanup::moveBuildToOlderVersionsFolder(const std::string& endpoint) {
  moveBuild(endpoint, _inventory.getOlderVersionsFolder().value_or(std::string()));
}

void BuildCleanup::moveBuild(const std::string& endpoint, const std::string& folder) {
  const std::string target = folder + "/" + nameOf(endpoint);
  if (_beAggressive && !folder.empty() && _fileManager.itemKind(target) != platform::ItemKind::none) {
    // A build that is where it belongs is no extra copy of itself.
    if (target != endpoint) removeExtraCopy(endpoint);
    return;
  }
  if (folder.empty() || endpoint.empty() || parentOf(endpoint) == folder) return;
  zrrt::log(ZRLogLevel::eDebug, "Moving build %s to %s", endpoint.c_str(), folder.c_str());
  const auto error = _fileManager.moveItem(endpoint, target);
  if (error.failed()) zrrt::log(ZRLogLevel::eError, "Error moving app: %s", error.description.c_str());
}

void BuildCleanup::removeExtraCopy(const std::string& endpoint) {
  zrrt::log(ZRLogLevel::eDebug, "We've already got a copy of %s, deleting extra at: %s",
            nameOf(endpoint).c_str(), endpoint.c_str());
  const auto error = _fileManager.removeItem(endpoint);
  if (error.failed()) zrrt::log(ZRLogLevel::eError, "Error removing app: %s", error.description.c_str());
}

bool BuildCleanup::isUrlOnPaths(const std::string& endpoint, const std::vector<std::string>& paths) {
  return std::find(paths.begin(), paths.end(), parentOf(endpoint)) != paths.end();
}

void BuildCleanup::removeUnusedBuilds(const Endpoints& endpoints) {
  zrrt::log(ZRLogLevel::eInformation, "Removing unused builds...");
  const std::int32_t latest = _inventory.latestInstalledVersion(endpoints);
  for (const auto& endpoint : endpoints) {
    if (isUnused(endpoint, latest) && _download.removeFile(endpoint)) {
      zrrt::log(ZRLogLevel::eDebug, "Successfully removed build at %s", endpoint.c_str());
    }
  }
}

bool BuildCleanup::isUnused(const std::string& endpoint, std::int32_t latest) const {
  const std::uint64_t bootVolume = volumeOf(_fileManager, platform::bootVolumeFolder());
  if (volumeOf(_fileManager, endpoint) != bootVolume) {
    zrrt::log(ZRLogLevel::eDebug, "Endpoint at '%s' is not installed on the boot volume, skipping.",
              endpoint.c_str());
    return false;
  }
  const auto created = platform::metadata::creationDate(endpoint);
  const auto lastUsed = platform::metadata::lastUsedDate(endpoint);
  if (bundleBuildNumber(endpoint) == latest) {
    zrrt::log(ZRLogLevel::eDebug, "Endpoint at '%s' is latest version (%d), skipping.", endpoint.c_str(),
              latest);
    return false;
  }
  if (lastUsed) {
    zrrt::log(ZRLogLevel::eDebug, "Endpoint at '%s': created %s, last used %s.", endpoint.c_str(),
              description(created).c_str(), description(lastUsed).c_str());
    return isOlderThan90Days(*lastUsed);
  }
  zrrt::log(ZRLogLevel::eDebug, "Endpoint at '%s': created %s, never used.", endpoint.c_str(),
            description(created).c_str());
  return created && isOlderThan90Days(*created);
}

void BuildCleanup::removeRetiredBuilds() {
  if (!_parser.isParsed || !hasUsableDelays(_parser.updaterSettings)) {
    zrrt::log(ZRLogLevel::eWarning,
              "Update info contains invalid settings, skipping removal of retired builds.");
    return;
  }
  zrrt::log(ZRLogLevel::eDebug, "Removing retired builds...");
  // Ranges may name billions of builds: only those that something is installed for are looked at.
  auto builds = _inventory.declaredBuilds();
  builds.push_back(kAgentBuildNumber);
  std::sort(builds.begin(), builds.end());
  builds.erase(std::unique(builds.begin(), builds.end()), builds.end());
  for (const auto& range : _parser.removeBuilds)
    removeRetiredRange(range, builds);
}

void BuildCleanup::removeRetiredRange(const BuildRange& range, const std::vector<std::uint32_t>& builds) {
  const auto first = std::lower_bound(builds.begin(), builds.end(), range.fromBuildNumber);
  for (auto build = first; build != builds.end() && *build <= range.toBuildNumber; ++build)
    removeRetiredBuild(*build);
}

void BuildCleanup::removeRetiredBuild(std::uint32_t build) {
  if (build == kAgentBuildNumber) {
    zrrt::log(ZRLogLevel::eDebug, "Build %d is the currently running VNTUpdate build, skipping...",
              static_cast<int>(build));
    return;
  }
  const auto path = _inventory.isInstalled(build);
  if (path && _download.removeFile(*path)) {
    zrrt::log(ZRLogLevel::eDebug, "Successfully removed build %d at %s", static_cast<int>(build),
              path->c_str());
  }
}

bool BuildCleanup::copyLatestBuildToInstallationFolder() {
  const std::int32_t latest = _inventory.latestInstalledVersion(_inventory.allInstalledBuilds());
  const std::string& folder = _settings.installationPath;
  const auto source = _inventory.isInstalled(static_cast<std::uint32_t>(latest));
  if (!source || folder.empty()) return true;
  if (installedBuildNumber(folder) != latest) {
    return duplicateAndSwap(static_cast<std::uint32_t>(latest), *source, folder, _fileManager);
  }
  zrrt::log(ZRLogLevel::eDebug, "Correct build already in 'plain' bundle at: %s", folder.c_str());
  return true;
}

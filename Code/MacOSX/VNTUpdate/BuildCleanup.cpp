#include "Code/MacOSX/VNTUpdate/BuildCleanup.h"

#include <algorithm>
#include <map>
#include <set>

#include "Code/Common/AgentVersion.h"
#include "Code/Common/DeltaTree.h"
#include "Code/MacOSX/DeploymentUtilities.h"
#include "Code/MacOSX/VNTUpdate/UpdateSchedule.h"
#include "platform/Clock.h"
#include "platform/Folders.h"
#include "platform/Metadata.h"
#include "platform/Path.h"
#include "runtime/Code/ZRLog.h"

namespace {

constexpr const char* kPlainBundleName = "Vantora.app";

std::string description(const std::optional<platform::Date>& date) {
  return date ? platform::describe(*date) : "(null)";
}

/// 0, which no volume has, when the item cannot be examined.
std::uint64_t volumeOf(const platform::FileManager& fileManager, const std::string& path) {
  std::uint64_t number = 0;
  return fileManager.fileSystemNumber(path, number).failed() ? 0 : number;
}

void logUnknownNumber(const std::string& endpoint) {
  zrrt::log(ZRLogLevel::eWarning, "Endpoint at '%s' does not tell its build number now, skipping.",
            endpoint.c_str());
}

}  // namespace

void BuildCleanup::cleanup() {
  moveBuildsToOlderVersionsFolder();
}

void BuildCleanup::moveBuildsToOlderVersionsFolder() {
  const auto builds = readVersions(_inventory.allInstalledBuilds());
  const std::string latest = std::to_string(latestOf(builds));
  const std::vector<std::string> locations =
      _beAggressive ? _inventory.possibleInstallPaths() : std::vector{_settings.installationPath};
  for (const auto& build : builds)
    if (isLoose(build, latest, locations)) moveBuildToOlderVersionsFolder(build.path);
  if (_beAggressive) endAggressiveGathering();
}

/// A link stays where it is: moved, it could lead elsewhere.
bool BuildCleanup::isLoose(const EndpointVersion& endpoint, const std::string& latest,
                           const std::vector<std::string>& locations) {
  return platform::lastComponent(endpoint.path) != kPlainBundleName && endpoint.text &&
         *endpoint.text != latest && isUrlOnPaths(endpoint.path, locations) &&
         treeEntry(endpoint.path) == TreeEntry::folder;
}

void BuildCleanup::endAggressiveGathering() {
  _preferences.setValue(preference::kAggressivelyCleanup, false);
  // What is not kept only means that the next run looks everywhere once more.
  static_cast<void>(_preferences.save());
  _beAggressive = false;
}

void BuildCleanup::moveBuildToOlderVersionsFolder(const std::string& endpoint) {
  moveBuild(endpoint, _inventory.getOlderVersionsFolder().value_or(std::string()));
}

void BuildCleanup::moveBuild(const std::string& endpoint, const std::string& folder) {
  const std::string target = platform::joinPath(folder, platform::lastComponent(endpoint));
  if (_beAggressive && !folder.empty() && _fileManager.itemKind(target) != platform::ItemKind::none) {
    // A build that is where it belongs is no extra copy of itself, under whatever name the folder goes.
    if (!_fileManager.isSameItem(target, endpoint)) removeExtraCopy(endpoint, target);
    return;
  }
  if (folder.empty() || endpoint.empty()) return;
  if (_fileManager.isSameItem(platform::parentFolder(endpoint), folder)) return;
  zrrt::log(ZRLogLevel::eDebug, "Moving build %s to %s", endpoint.c_str(), folder.c_str());
  const auto error = _fileManager.moveItem(endpoint, target);
  if (error.failed()) zrrt::log(ZRLogLevel::eError, "Error moving app: %s", error.description.c_str());
}

void BuildCleanup::removeExtraCopy(const std::string& endpoint, const std::string& copy) {
  const auto version = bundleVersionText(copy);
  if (!version || version->empty() || version != bundleVersionText(endpoint)) {
    zrrt::log(ZRLogLevel::eWarning, "What stands at %s is no copy of %s, leaving both", copy.c_str(),
              endpoint.c_str());
    return;
  }
  zrrt::log(ZRLogLevel::eDebug, "We've already got a copy of %s, deleting extra at: %s",
            platform::lastComponent(endpoint).c_str(), endpoint.c_str());
  const auto error = _fileManager.removeItem(endpoint);
  if (error.failed()) zrrt::log(ZRLogLevel::eError, "Error removing app: %s", error.description.c_str());
}

bool BuildCleanup::isUrlOnPaths(const std::string& endpoint, const std::vector<std::string>& paths) {
  return std::find(paths.begin(), paths.end(), platform::parentFolder(endpoint)) != paths.end();
}

void BuildCleanup::removeUnusedBuilds(const Endpoints& endpoints) {
  zrrt::log(ZRLogLevel::eInformation, "Removing unused builds...");
  const auto versions = readVersions(endpoints);
  const std::int32_t latest = latestOf(versions);
  for (const auto& endpoint : versions) {
    if (isUnused(endpoint, latest) && _store.removeFile(endpoint.path)) {
      zrrt::log(ZRLogLevel::eDebug, "Successfully removed build at %s", endpoint.path.c_str());
    }
  }
}

bool BuildCleanup::isUnused(const EndpointVersion& endpoint, std::int32_t latest) const {
  const std::string& path = endpoint.path;
  const std::uint64_t bootVolume = volumeOf(_fileManager, platform::bootVolumeFolder());
  if (volumeOf(_fileManager, path) != bootVolume) {
    zrrt::log(ZRLogLevel::eDebug, "Endpoint at '%s' is not installed on the boot volume, skipping.",
              path.c_str());
    return false;
  }
  const auto number = endpoint.number();
  if (!number) {
    logUnknownNumber(path);
    return false;
  }
  if (*number == latest) {
    zrrt::log(ZRLogLevel::eDebug, "Endpoint at '%s' is latest version (%d), skipping.", path.c_str(), latest);
    return false;
  }
  const auto created = platform::metadata::creationDate(path);
  const auto lastUsed = platform::metadata::lastUsedDate(path);
  if (lastUsed) {
    zrrt::log(ZRLogLevel::eDebug, "Endpoint at '%s': created %s, last used %s.", path.c_str(),
              description(created).c_str(), description(lastUsed).c_str());
    return isOlderThan90Days(*lastUsed);
  }
  zrrt::log(ZRLogLevel::eDebug, "Endpoint at '%s': created %s, never used.", path.c_str(),
            description(created).c_str());
  return created && isOlderThan90Days(*created);
}

void BuildCleanup::removeRetiredBuilds(const UpdateInfo& info) {
  if (!info.isParsed || !hasUsableDelays(info.updaterSettings)) {
    zrrt::log(ZRLogLevel::eWarning,
              "Update info contains invalid settings, skipping removal of retired builds.");
    return;
  }
  zrrt::log(ZRLogLevel::eDebug, "Removing retired builds...");
  const std::vector<Retired> retired = retiredBuilds(info);
  const auto kept = buildToKeep(info, retired);
  for (const auto& build : retired) {
    if (build.build != kept) {
      removeRetiredBuild(build);
    } else {
      zrrt::log(ZRLogLevel::eWarning, "Build %d is retired, but no other would be left. Keeping it at %s",
                build.build, build.path.c_str());
    }
  }
}

/// In the order of the document, each once. Ranges may name billions of builds: only those that something is
/// installed for, and the agent's own, are looked at.
std::vector<BuildCleanup::Retired> BuildCleanup::retiredBuilds(const UpdateInfo& info) const {
  std::map<std::int32_t, std::string> candidates;
  for (auto& [build, path] : _inventory.installedPaths())
    candidates.emplace(static_cast<std::int32_t>(build), path);
  candidates.emplace(static_cast<std::int32_t>(kAgentBuildNumber), std::string());
  std::vector<Retired> retired;
  for (const auto& range : info.removeBuilds) {
    const auto last = static_cast<std::int32_t>(range.toBuildNumber);
    auto next = candidates.lower_bound(static_cast<std::int32_t>(range.fromBuildNumber));
    while (last >= 0 && next != candidates.end() && next->first <= last) {
      retired.push_back({next->first, next->second});
      next = candidates.erase(next);
    }
  }
  return retired;
}

/// While an active build is missing somebody must stay: the newest of the retired ones, when there is no
/// other.
std::optional<std::int32_t> BuildCleanup::buildToKeep(const UpdateInfo& info,
                                                      const std::vector<Retired>& retired) const {
  const Endpoints endpoints = _inventory.allInstalledBuilds();
  const auto installed = buildNumbersOf(endpoints);
  const std::set<std::uint32_t> there(installed.begin(), installed.end());
  const auto isThere = [&there](const ActiveBuild& build) { return there.count(build.buildNumber) != 0; };
  if (std::all_of(info.activeBuilds.begin(), info.activeBuilds.end(), isThere)) return std::nullopt;

  std::set<std::string> going;
  std::optional<std::int32_t> newest;
  for (const auto& build : retired) {
    if (build.build == static_cast<std::int32_t>(kAgentBuildNumber)) continue;
    going.insert(build.path);
    newest = std::max(newest.value_or(build.build), build.build);
  }
  const bool isAnyLeft = std::any_of(endpoints.paths.begin(), endpoints.paths.end(),
                                     [&going](const std::string& path) { return going.count(path) == 0; });
  return isAnyLeft ? std::nullopt : newest;
}

void BuildCleanup::removeRetiredBuild(const Retired& retired) {
  if (retired.build == static_cast<std::int32_t>(kAgentBuildNumber)) {
    zrrt::log(ZRLogLevel::eDebug, "Build %d is the currently running VNTUpdate build, skipping...",
              retired.build);
    return;
  }
  logFoundEndpoint(retired.path);
  if (!bundleBuildNumber(retired.path)) return logUnknownNumber(retired.path);
  if (_store.removeFile(retired.path)) {
    zrrt::log(ZRLogLevel::eDebug, "Successfully removed build %d at %s", retired.build, retired.path.c_str());
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

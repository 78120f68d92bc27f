#include "Code/MacOSX/VNTUpdate/VNTUpdate.h"

#include <set>

#include "Code/Common/AgentVersion.h"
#include "Code/MacOSX/DeploymentUtilities.h"
#include "Code/MacOSX/MacMessengerUtilities.h"
#include "Code/MacOSX/VNTUpdate/Leftovers.h"
#include "platform/Folders.h"
#include "platform/Path.h"
#include "runtime/Code/ZRLog.h"

using platform::joinPath;

namespace {

/// None, logged, when one of them is missing.
bool chooseFolders(const platform::FileManager& fileManager, EngineSettings& settings) {
  const auto tempPath = MacMessengerUtilities::getTempFolder(fileManager);
  if (!tempPath) return false;
  const auto installationPath = findInstallationFolder(fileManager);
  if (!installationPath) return false;
  settings.tempPath = *tempPath;
  settings.installationPath = *installationPath;
  return true;
}

/// Everything that the engine goes by; none, logged, when something of it is missing.
std::optional<EngineSettings> gatherSettings(const platform::FileManager& fileManager,
                                             const AgentPreferences& preferences) {
  EngineSettings settings;
  if (!chooseFolders(fileManager, settings)) return std::nullopt;
  const auto nextCheck = preferences.date(preference::kNextUpdateCheck);
  if (!nextCheck) {
    zrrt::log(ZRLogLevel::eError, "Time for next update check not found in Preferences plist - aborting!");
    return std::nullopt;
  }
  settings.nextUpdateCheck = *nextCheck;
  settings.rescheduledUpdateChecks = preferences.integer(preference::kRescheduledUpdateChecks).value_or(0);
  settings.cleanupDownloadCache = preferences.integer(preference::kCleanupDownloadCache).value_or(1);
  settings.alwaysCheck = preferences.boolean(preference::kAlwaysCheck).value_or(false);
  settings.updateInfoURL = usableUpdateInfoURL(preferences.text(preference::kUpdateInfoURL));
  settings.userAgent = ZRString::format(64, "VNTUpdate/%u(Mac)", kAgentBuildNumber).str();
  settings.beAggressive = preferences.boolean(preference::kAggressivelyCleanup).value_or(true);
  return settings;
}

}  // namespace

std::unique_ptr<VNTUpdate> VNTUpdate::init() {
  return initWithFileManager(platform::defaultFileManager());
}

std::unique_ptr<VNTUpdate> VNTUpdate::initWithFileManager(platform::FileManager& fileManager) {
  auto preferences = AgentPreferences::read(fileManager);
  if (!preferences) return nullptr;
  auto settings = gatherSettings(fileManager, *preferences);
  if (!settings) return nullptr;
  return std::make_unique<VNTUpdate>(fileManager, std::move(*preferences), std::move(*settings));
}

void VNTUpdate::inheritLeftovers() {
  _ownsLeftovers = true;
  const std::string preferences = platform::parentFolder(_parts.preferences.plistPath());
  std::set<std::string> folders{_parts.settings.tempPath, preferences, joinPath(preferences, "ByHost")};
  auto places = _parts.inventory.possibleInstallPaths();
  places.push_back(_parts.settings.installationPath);
  if (const auto shared = platform::applicationsFolder(platform::FolderDomain::local))
    places.push_back(*shared);
  for (const auto& place : places)
    folders.insert({place, joinPath(place, "Vantora")});
  removeUnfinishedWork(_parts.fileManager, folders);
}

bool VNTUpdate::checkForUpdate() {
  const auto info = _parts.retrieval.getUpdateInfo();
  if (!info) {
    zrrt::log(ZRLogLevel::eError, "Unable to retrieve update info");
    return false;
  }
  if (_parts.schedule.isEnabled()) {
    _parts.deltaInstaller.downloadAndInstallActiveBuildsUsingDeltaUpdates(*info);
    _parts.cleanup.removeRetiredBuilds(*info);
    _parts.cleanup.cleanup();
    if (_ownsLeftovers && info->isParsed)
      removeUselessDownloads(_parts.fileManager, _parts.settings, *info,
                             _parts.inventory.installedBuildNumbers());
  }
  return true;
}

std::optional<platform::Url> VNTUpdate::replacementUrlForDestination(const std::string& destination) {
  const auto folder = makeReplacementFolder(_parts.fileManager, destination);
  return folder ? std::optional(platform::Url::forFile(*folder)) : std::nullopt;
}

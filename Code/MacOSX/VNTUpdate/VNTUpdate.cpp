#include "Code/MacOSX/VNTUpdate/VNTUpdate.h"

#include "Code/Common/AgentVersion.h"
#include "Code/MacOSX/DeploymentUtilities.h"
#include "Code/MacOSX/MacMessengerUtilities.h"
#include "Code/MacOSX/VNTUpdate/UnpackFolder.h"
#include "runtime/Code/ZRLog.h"

std::unique_ptr<VNTUpdate> VNTUpdate::init() {
  return initWithFileManager(platform::defaultFileManager());
}

std::unique_ptr<VNTUpdate> VNTUpdate::initWithFileManager(platform::FileManager& fileManager) {
  auto engine = std::make_unique<VNTUpdate>(Private{}, fileManager);
  return engine->load() ? std::move(engine) : nullptr;
}

VNTUpdate::VNTUpdate(Private, platform::FileManager& fileManager)
    : _fileManager(fileManager),
      _schedule(_preferences),
      _retrieval(_preferences, _schedule, _parser, _settings),
      _inventory(_fileManager, _settings, _parser),
      _download(_fileManager, _settings),
      _fullInstaller(_fileManager, _settings, _parser, _inventory, _download),
      _deltaInstaller(_settings, _parser, _inventory, _retrieval, _fullInstaller),
      _cleanup(_fileManager, _settings, _preferences, _parser, _inventory, _download),
      _messengerInstaller(_retrieval, _parser, _schedule, _settings.userAgent, _fileManager) {}

bool VNTUpdate::load() {
  if (!_preferences.load(_fileManager) || !chooseFolders() || !_schedule.load()) return false;
  _settings.cleanupDownloadCache = _preferences.integer("CleanupDownloadCache").value_or(1);
  _settings.userAgent = ZRString::format(64, "VNTUpdate/%u(Mac)", kAgentBuildNumber).str();
  _retrieval.load();
  _cleanup.load();
  // What an earlier package left behind must not lead anything outside that is written there in this run.
  static_cast<void>(removeLinksLeadingOutside(_fileManager, _settings.tempPath));
  return true;
}

bool VNTUpdate::chooseFolders() {
  const auto tempPath = MacMessengerUtilities::getTempFolder(_fileManager);
  if (!tempPath) return false;
  const auto installationPath = findInstallationFolder(_fileManager);
  if (!installationPath) return false;
  _settings.tempPath = *tempPath;
  _settings.installationPath = *installationPath;
  return true;
}

bool VNTUpdate::checkForUpdate() {
  if (!_retrieval.getUpdateInfo()) {
    zrrt::log(ZRLogLevel::eError, "Unable to retrieve update info");
    return false;
  }
  if (_schedule.isEnabled()) {
    _deltaInstaller.downloadAndInstallActiveBuildsUsingDeltaUpdates();
    _cleanup.removeRetiredBuilds();
    _cleanup.cleanup();
  }
  return true;
}

std::optional<platform::Url> VNTUpdate::replacementUrlForDestination(const std::string& destination) {
  const auto folder = makeReplacementFolder(_fileManager, destination);
  return folder ? std::optional(platform::Url::forFile(*folder)) : std::nullopt;
}

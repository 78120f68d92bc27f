#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "Code/Common/UpdateInfoParser.h"
#include "Code/MacOSX/VNTUpdate/AgentPreferences.h"
#include "Code/MacOSX/VNTUpdate/ArchiveDownload.h"
#include "Code/MacOSX/VNTUpdate/BuildCleanup.h"
#include "Code/MacOSX/VNTUpdate/BuildInventory.h"
#include "Code/MacOSX/VNTUpdate/DeltaInstaller.h"
#include "Code/MacOSX/VNTUpdate/EngineSettings.h"
#include "Code/MacOSX/VNTUpdate/FullInstaller.h"
#include "Code/MacOSX/VNTUpdate/MessengerInstaller.h"
#include "Code/MacOSX/VNTUpdate/UpdateInfoRetrieval.h"
#include "Code/MacOSX/VNTUpdate/UpdateSchedule.h"
#include "platform/FileManager.h"
#include "platform/Url.h"

/// The update engine: one object per run, owner of the parts that do the work. Main thread only.
class VNTUpdate {
  struct Private {};

 public:
  /// Null, logged, when the preference file, the temporary folder or an installation folder is missing.
  [[nodiscard]] static std::unique_ptr<VNTUpdate> init();
  /// `fileManager` outlives the engine.
  [[nodiscard]] static std::unique_ptr<VNTUpdate> initWithFileManager(platform::FileManager& fileManager);
  VNTUpdate(Private, platform::FileManager& fileManager);
  VNTUpdate(const VNTUpdate&) = delete;
  VNTUpdate& operator=(const VNTUpdate&) = delete;

  // The steps of a pass.
  void downloadAndInstall(std::uint32_t buildNumber) { _deltaInstaller.downloadAndInstall(buildNumber); }
  [[nodiscard]] Endpoints allInstalledBuilds() const { return _inventory.allInstalledBuilds(); }
  void removeUnusedBuilds(const Endpoints& endpoints) { _cleanup.removeUnusedBuilds(endpoints); }
  [[nodiscard]] bool downloadAndInstallMessengerApp() {
    return _messengerInstaller.downloadAndInstallMessengerApp();
  }
  [[nodiscard]] bool isTimeForUpdateCheck() { return _schedule.isTimeForUpdateCheck(); }
  /// The whole check. False, logged, when the update info cannot be had.
  bool checkForUpdate();
  void calculateNextUpdateCheck(std::int32_t mode) { _schedule.calculateNextUpdateCheck(mode); }
  [[nodiscard]] bool beAggressive() const { return _cleanup.beAggressive(); }
  void cleanup() { _cleanup.cleanup(); }

  /// A fresh folder, as a file URL, for an item that will replace the one at the path `destination`; none,
  /// logged, when it cannot be made. The caller removes it.
  [[nodiscard]] std::optional<platform::Url> replacementUrlForDestination(const std::string& destination);

  // The parts and their properties.
  [[nodiscard]] UpdateSchedule& schedule() { return _schedule; }
  [[nodiscard]] UpdateInfoRetrieval& retrieval() { return _retrieval; }
  [[nodiscard]] BuildInventory& inventory() { return _inventory; }
  [[nodiscard]] ArchiveDownload& archiveDownload() { return _download; }
  [[nodiscard]] FullInstaller& fullInstaller() { return _fullInstaller; }
  [[nodiscard]] DeltaInstaller& deltaInstaller() { return _deltaInstaller; }
  [[nodiscard]] BuildCleanup& buildCleanup() { return _cleanup; }
  [[nodiscard]] UpdateInfoParser& updateInfoParser() { return _parser; }

  [[nodiscard]] const std::string& installationPath() const { return _settings.installationPath; }
  void setInstallationPath(std::string path) { _settings.installationPath = std::move(path); }
  [[nodiscard]] const std::string& tempPath() const { return _settings.tempPath; }
  void setTempPath(std::string path) { _settings.tempPath = std::move(path); }
  [[nodiscard]] const std::string& userAgent() const { return _settings.userAgent; }
  void setUserAgent(std::string userAgent) { _settings.userAgent = std::move(userAgent); }
  [[nodiscard]] std::int32_t cleanupDownloadCache() const { return _settings.cleanupDownloadCache; }
  void setCleanupDownloadCache(std::int32_t value) { _settings.cleanupDownloadCache = value; }

 private:
  [[nodiscard]] bool load();
  [[nodiscard]] bool chooseFolders();

  platform::FileManager& _fileManager;
  AgentPreferences _preferences;
  EngineSettings _settings;
  UpdateInfoParser _parser;
  UpdateSchedule _schedule;
  UpdateInfoRetrieval _retrieval;
  BuildInventory _inventory;
  ArchiveDownload _download;
  FullInstaller _fullInstaller;
  DeltaInstaller _deltaInstaller;
  BuildCleanup _cleanup;
  MessengerInstaller _messengerInstaller;
};

#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "Code/MacOSX/VNTUpdate/EngineParts.h"
#include "platform/FileManager.h"
#include "platform/Url.h"

/// The update engine: one object per run, owner of the parts that do the work. Main thread only.
class VNTUpdate {
 public:
  /// Null, logged, when the preference file, the temporary folder or an installation folder is missing.
  [[nodiscard]] static std::unique_ptr<VNTUpdate> init();
  /// `fileManager` outlives the engine.
  [[nodiscard]] static std::unique_ptr<VNTUpdate> initWithFileManager(platform::FileManager& fileManager);
  VNTUpdate(platform::FileManager& fileManager, AgentPreferences preferences, EngineSettings settings)
      : _parts(fileManager, std::move(preferences), std::move(settings)) {}
  VNTUpdate(const VNTUpdate&) = delete;
  VNTUpdate& operator=(const VNTUpdate&) = delete;

  /// Removes what a run that was ended early left half done, and has the update check remove downloads that
  /// nobody will use. To be called only while no other run of the user is at work, and none can start.
  void inheritLeftovers();
  void downloadAndInstall(std::uint32_t buildNumber) {
    _parts.deltaInstaller.downloadAndInstall(buildNumber);
  }
  [[nodiscard]] Endpoints allInstalledBuilds() const { return _parts.inventory.allInstalledBuilds(); }
  void removeUnusedBuilds(const Endpoints& endpoints) { _parts.cleanup.removeUnusedBuilds(endpoints); }
  [[nodiscard]] bool downloadAndInstallMessengerApp() {
    return _parts.messengerInstaller.downloadAndInstallMessengerApp();
  }
  [[nodiscard]] bool isTimeForUpdateCheck() { return _parts.schedule.isTimeForUpdateCheck(); }
  /// The whole check. False, logged, when the update info cannot be had.
  bool checkForUpdate();
  void calculateNextUpdateCheck(std::int32_t mode) { _parts.schedule.calculateNextUpdateCheck(mode); }
  [[nodiscard]] bool beAggressive() const { return _parts.cleanup.beAggressive(); }
  void cleanup() { _parts.cleanup.cleanup(); }

  // What no run calls.

  /// A fresh folder, as a file URL, for an item that will replace the one at the path `destination`; none,
  /// logged, when it cannot be made. The caller removes it.
  [[nodiscard]] std::optional<platform::Url> replacementUrlForDestination(const std::string& destination);

 private:
  EngineParts _parts;
  bool _ownsLeftovers = false;
};

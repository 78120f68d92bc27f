#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Code/Common/UpdateInfo.h"
#include "Code/MacOSX/VNTUpdate/AgentPreferences.h"
#include "Code/MacOSX/VNTUpdate/ArchiveStore.h"
#include "Code/MacOSX/VNTUpdate/BuildInventory.h"
#include "Code/MacOSX/VNTUpdate/EngineSettings.h"
#include "platform/FileManager.h"

/// Keeps the installed builds in order. A failure is logged and the next build is treated all the same.
class BuildCleanup {
 public:
  BuildCleanup(platform::FileManager& fileManager, const EngineSettings& settings,
               AgentPreferences& preferences, const BuildInventory& inventory, const ArchiveStore& store)
      : _fileManager(fileManager),
        _settings(settings),
        _preferences(preferences),
        _inventory(inventory),
        _store(store),
        _beAggressive(settings.beAggressive) {}

  void cleanup();
  /// Gathers older builds that lie loose in the folder for installed builds. The newest, and "Vantora.app",
  /// stay.
  void moveBuildsToOlderVersionsFolder();
  void moveBuildToOlderVersionsFolder(const std::string& endpoint);
  /// `folder` empty: nothing is moved.
  void moveBuild(const std::string& endpoint, const std::string& folder);
  /// Whether the bundle's parent folder is one of `paths`.
  [[nodiscard]] static bool isUrlOnPaths(const std::string& endpoint, const std::vector<std::string>& paths);
  /// Removes the endpoints that were not used for 90 days; those of the newest build, those whose build
  /// number is not known and those on another volume than the system stay.
  void removeUnusedBuilds(const Endpoints& endpoints);
  /// Removes the first endpoint of each build that the update info retires, the agent's own excepted. While
  /// an active build is missing, the last build that is installed stays.
  void removeRetiredBuilds(const UpdateInfo& info);
  [[nodiscard]] bool beAggressive() const { return _beAggressive; }

  // What no run calls.

  /// Copies the newest build over the installation folder's "Vantora.app" unless that is the newest.
  [[nodiscard]] bool copyLatestBuildToInstallationFolder();
  void setBeAggressive(bool aggressive) { _beAggressive = aggressive; }

 private:
  /// An installed build that the update info retires.
  struct Retired {
    std::int32_t build;
    std::string path;
  };

  [[nodiscard]] std::vector<Retired> retiredBuilds(const UpdateInfo& info) const;
  [[nodiscard]] static bool isLoose(const EndpointVersion& endpoint, const std::string& latest,
                                    const std::vector<std::string>& locations);
  void endAggressiveGathering();
  void removeExtraCopy(const std::string& endpoint, const std::string& copy);
  [[nodiscard]] bool isUnused(const EndpointVersion& endpoint, std::int32_t latest) const;
  [[nodiscard]] std::optional<std::int32_t> buildToKeep(const UpdateInfo& info,
                                                        const std::vector<Retired>& retired) const;
  void removeRetiredBuild(const Retired& retired);

  platform::FileManager& _fileManager;
  const EngineSettings& _settings;
  AgentPreferences& _preferences;
  const BuildInventory& _inventory;
  const ArchiveStore& _store;
  bool _beAggressive;
};

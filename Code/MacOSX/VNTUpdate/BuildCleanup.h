#pragma once

#include <string>
#include <vector>

#include "Code/Common/UpdateInfoParser.h"
#include "Code/MacOSX/VNTUpdate/AgentPreferences.h"
#include "Code/MacOSX/VNTUpdate/ArchiveDownload.h"
#include "Code/MacOSX/VNTUpdate/BuildInventory.h"
#include "Code/MacOSX/VNTUpdate/EngineSettings.h"
#include "platform/FileManager.h"

/// Keeps the installed builds in order. A failure is logged and the next build is treated all the same.
class BuildCleanup {
 public:
  BuildCleanup(platform::FileManager& fileManager, const EngineSettings& settings,
               AgentPreferences& preferences, const UpdateInfoParser& parser, const BuildInventory& inventory,
               const ArchiveDownload& download)
      : _fileManager(fileManager),
        _settings(settings),
        _preferences(preferences),
        _parser(parser),
        _inventory(inventory),
        _download(download) {}

  /// Takes from the preferences whether the next gathering is to look everywhere.
  void load();

  void cleanup();
  /// Gathers older builds that lie loose in the folder for installed builds. The newest, and "Vantora.app",
  /// stay.
  void moveBuildsToOlderVersionsFolder();
  void moveBuildToOlderVersionsFolder(const std::string& endpoint);
  /// `folder` empty: nothing is moved.
  void moveBuild(const std::string& endpoint, const std::string& folder);
  /// Whether the bundle's parent folder is one of `paths`.
  [[nodiscard]] static bool isUrlOnPaths(const std::string& endpoint, const std::vector<std::string>& paths);
  /// Removes the endpoints that were not used for 90 days; those of the newest build and those on another
  /// volume than the system stay.
  void removeUnusedBuilds(const Endpoints& endpoints);
  /// Removes the first endpoint of each build that the update info retires, the agent's own excepted.
  void removeRetiredBuilds();
  /// Copies the newest build over the installation folder's "Vantora.app" unless that is the newest.
  [[nodiscard]] bool copyLatestBuildToInstallationFolder();

  [[nodiscard]] bool beAggressive() const { return _beAggressive; }
  void setBeAggressive(bool aggressive) { _beAggressive = aggressive; }

 private:
  [[nodiscard]] bool isLoose(const std::string& endpoint, const std::string& latest,
                             const std::vector<std::string>& locations) const;
  void endAggressiveGathering();
  void removeExtraCopy(const std::string& endpoint);
  [[nodiscard]] bool isUnused(const std::string& endpoint, std::int32_t latest) const;
  void removeRetiredRange(const BuildRange& range, const std::vector<std::uint32_t>& builds);
  void removeRetiredBuild(std::uint32_t build);

  platform::FileManager& _fileManager;
  const EngineSettings& _settings;
  AgentPreferences& _preferences;
  const UpdateInfoParser& _parser;
  const BuildInventory& _inventory;
  const ArchiveDownload& _download;
  bool _beAggressive = true;
};

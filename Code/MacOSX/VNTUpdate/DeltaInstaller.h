#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Code/Common/UpdateInfo.h"
#include "Code/MacOSX/VNTUpdate/ArchiveStore.h"
#include "Code/MacOSX/VNTUpdate/BuildInventory.h"
#include "Code/MacOSX/VNTUpdate/EndpointPlacement.h"
#include "Code/MacOSX/VNTUpdate/EngineSettings.h"
#include "Code/MacOSX/VNTUpdate/FullInstaller.h"
#include "Code/MacOSX/VNTUpdate/UpdateInfoRetrieval.h"

/// Installs builds by patching installed ones. Every operation logs its failures.
class DeltaInstaller {
 public:
  DeltaInstaller(platform::FileManager& fileManager, const EngineSettings& settings,
                 const BuildInventory& inventory, UpdateInfoRetrieval& retrieval, ArchiveStore& store,
                 const EndpointPlacement& placement, FullInstaller& fullInstaller)
      : _fileManager(fileManager),
        _settings(settings),
        _inventory(inventory),
        _retrieval(retrieval),
        _store(store),
        _placement(placement),
        _fullInstaller(fullInstaller) {}

  /// Installs every missing active build in the cheapest order, from a delta package where one fits, else
  /// whole.
  void downloadAndInstallActiveBuildsUsingDeltaUpdates(const UpdateInfo& info);
  /// Fetches the update info and installs one build from its smallest delta package that fits; never whole.
  void downloadAndInstall(std::uint32_t targetBuild);
  /// Turns the unpacked delta package into the bundle of the target build in the temporary folder: patched,
  /// verified, executable. After a failure the unpacked package is gone.
  [[nodiscard]] bool applyPatchFromBuild(const std::string& basePath, std::uint32_t sourceBuild,
                                         std::uint32_t targetBuild);
  [[nodiscard]] std::optional<std::string> getExtractedDeltaPath(std::uint32_t sourceBuild,
                                                                 std::uint32_t targetBuild) const;

 private:
  /// How a package that was tried ended.
  enum class Attempt { nextPackage, stop };
  /// The installed builds that a package may start from, with their paths.
  using Bases = std::map<std::uint32_t, std::string>;

  [[nodiscard]] bool installBuild(const ActiveBuild& build, const Bases& bases);
  [[nodiscard]] bool installFromPackage(const DeltaPackage& package, std::uint32_t targetBuild,
                                        const Bases& bases);
  [[nodiscard]] Attempt installAtOnce(const DeltaPackage& package, std::uint32_t targetBuild,
                                      const Bases& bases);
  [[nodiscard]] bool obtainPackage(const std::string& url, std::uint32_t sourceBuild,
                                   std::uint32_t targetBuild);
  [[nodiscard]] bool obtainPackageAtOnce(const DeltaPackage& package, std::uint32_t targetBuild);
  [[nodiscard]] bool installPatchedBuild(std::uint32_t targetBuild);
  [[nodiscard]] bool patchAndVerify(const std::string& folder, const std::string& basePath) const;
  [[nodiscard]] bool turnIntoBundle(const std::string& folder, std::uint32_t targetBuild) const;

  platform::FileManager& _fileManager;
  const EngineSettings& _settings;
  const BuildInventory& _inventory;
  UpdateInfoRetrieval& _retrieval;
  ArchiveStore& _store;
  const EndpointPlacement& _placement;
  FullInstaller& _fullInstaller;
};

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Code/Common/UpdateInfoParser.h"
#include "Code/MacOSX/VNTUpdate/BuildInventory.h"
#include "Code/MacOSX/VNTUpdate/EngineSettings.h"
#include "Code/MacOSX/VNTUpdate/FullInstaller.h"
#include "Code/MacOSX/VNTUpdate/UpdateInfoRetrieval.h"

/// Installs builds by patching installed ones. Every operation logs its failures.
class DeltaInstaller {
 public:
  DeltaInstaller(const EngineSettings& settings, UpdateInfoParser& parser, const BuildInventory& inventory,
                 UpdateInfoRetrieval& retrieval, FullInstaller& installer)
      : _settings(settings),
        _parser(parser),
        _inventory(inventory),
        _retrieval(retrieval),
        _installer(installer) {}

  /// Installs every missing active build in the cheapest order, from a delta package where one fits, else
  /// whole. The builds that are installed already leave the parsed update info.
  void downloadAndInstallActiveBuildsUsingDeltaUpdates();
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

  [[nodiscard]] std::vector<std::uint32_t> installedBuildNumbers() const;
  void removeInstalledBuilds(const std::vector<std::uint32_t>& installed);
  void installBuild(const ActiveBuild& build);
  [[nodiscard]] bool installFromPackage(const DeltaPackage& package, std::uint32_t targetBuild);
  [[nodiscard]] Attempt installAtOnce(const DeltaPackage& package, std::uint32_t targetBuild);
  [[nodiscard]] std::optional<std::string> baseForPackage(const DeltaPackage& package,
                                                          std::uint32_t targetBuild) const;
  /// Downloads and unpacks a package. Nothing of an earlier attempt gets in, and a failed one leaves nothing.
  [[nodiscard]] bool obtainPackage(const std::string& url, std::uint32_t sourceBuild,
                                   std::uint32_t targetBuild);
  [[nodiscard]] bool obtainPackageAtOnce(const DeltaPackage& package, std::uint32_t targetBuild);
  [[nodiscard]] bool installPatchedBuild(std::uint32_t targetBuild);
  [[nodiscard]] bool patchAndVerify(const std::string& folder, const std::string& basePath) const;
  [[nodiscard]] bool turnIntoBundle(const std::string& folder, std::uint32_t targetBuild) const;

  const EngineSettings& _settings;
  UpdateInfoParser& _parser;
  const BuildInventory& _inventory;
  UpdateInfoRetrieval& _retrieval;
  FullInstaller& _installer;
};

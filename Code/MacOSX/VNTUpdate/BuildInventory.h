#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Code/Common/UpdateInfoParser.h"
#include "Code/MacOSX/VNTUpdate/EngineSettings.h"
#include "platform/FileManager.h"

/// Paths of installed client bundles ("endpoints"), in the order of the application registry.
using Endpoints = std::vector<std::string>;

/// Which builds are installed. Nothing is kept: each question asks the application registry again.
class BuildInventory {
 public:
  BuildInventory(platform::FileManager& fileManager, const EngineSettings& settings,
                 const UpdateInfoParser& parser)
      : _fileManager(fileManager), _settings(settings), _parser(parser) {}

  /// The endpoints that open URLs of the scheme of `url` ("Vantora://"). What lies in the Trash, in a folder
  /// named by a bundle identifier or in a developer's build output is none.
  [[nodiscard]] Endpoints installedEndpointsForScheme(const std::string& url) const;
  [[nodiscard]] Endpoints allInstalledBuilds() const;
  /// The first endpoint that opens the URLs of that build; logged.
  [[nodiscard]] std::optional<std::string> isInstalled(std::uint32_t buildNumber) const;
  /// The builds that some bundle opens the URLs of, ascending: all for which `isInstalled` can have an
  /// answer.
  [[nodiscard]] std::vector<std::uint32_t> declaredBuilds() const;
  /// The highest build number among the endpoints; -1 when there are none.
  [[nodiscard]] std::int32_t latestInstalledVersion(const Endpoints& endpoints) const;
  /// Whether the update info lists the build as active.
  [[nodiscard]] bool isActiveBuild(std::uint32_t buildNumber) const;
  /// The folders where builds may lie: Applications of the system and of the user, the user's Desktop.
  [[nodiscard]] std::vector<std::string> possibleInstallPaths() const;
  /// The folder "Vantora" of the installation folder, made if need be; the installation folder itself when
  /// that fails (logged); none when that is not writable.
  [[nodiscard]] std::optional<std::string> getOlderVersionsFolder() const;

 private:
  [[nodiscard]] bool isEndpoint(const std::string& path) const;

  platform::FileManager& _fileManager;
  const EngineSettings& _settings;
  const UpdateInfoParser& _parser;
};

/// "CFBundleVersion" of the bundle as it is written; empty when there is none.
[[nodiscard]] std::string bundleVersionText(const std::string& bundlePath);
/// Its integer value; 0 when there is none.
[[nodiscard]] std::int32_t bundleBuildNumber(const std::string& bundlePath);

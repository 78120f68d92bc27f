#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Code/Common/UpdateInfo.h"
#include "Code/MacOSX/VNTUpdate/EngineSettings.h"
#include "platform/FileManager.h"

/// Installed client bundles ("endpoints").
struct Endpoints {
  std::vector<std::string> paths;  ///< in the order of the application registry
  bool sawEverything = true;       ///< false: there may be more, out of sight
};

/// Which builds are installed. Nothing is kept: each question asks the application registry again.
class BuildInventory {
 public:
  BuildInventory(platform::FileManager& fileManager, const EngineSettings& settings)
      : _fileManager(fileManager), _settings(settings) {}

  /// The endpoints that open URLs of the scheme of `url` ("Vantora://"). What lies in the Trash, in a folder
  /// named by a bundle identifier or in a developer's build output is none.
  [[nodiscard]] Endpoints installedEndpointsForScheme(const std::string& url) const;
  [[nodiscard]] Endpoints allInstalledBuilds() const;
  /// The first endpoint that opens the URLs of that build; logged.
  [[nodiscard]] std::optional<std::string> isInstalled(std::uint32_t buildNumber) const;
  /// Every build for which `isInstalled` has an answer, with that answer; not logged.
  [[nodiscard]] std::map<std::uint32_t, std::string> installedPaths() const;
  /// `buildNumbersOf` all installed endpoints.
  [[nodiscard]] std::vector<std::uint32_t> installedBuildNumbers() const;
  /// The folders where builds may lie: Applications of the system and of the user, the user's Desktop.
  [[nodiscard]] std::vector<std::string> possibleInstallPaths() const;
  /// The folder "Vantora" of the installation folder, made if need be; the installation folder itself when
  /// that fails (logged); none when that is not writable.
  [[nodiscard]] std::optional<std::string> getOlderVersionsFolder() const;

  // What no run calls.

  /// The highest build number known among the endpoints; -1 when there is none.
  [[nodiscard]] std::int32_t latestInstalledVersion(const Endpoints& endpoints) const;
  /// Whether the update info lists the build as active.
  [[nodiscard]] static bool isActiveBuild(const UpdateInfo& info, std::uint32_t buildNumber);

 private:
  /// Those of the registry's bundles that are endpoints.
  [[nodiscard]] Endpoints endpointsAmong(const Endpoints& found) const;
  [[nodiscard]] bool isDeveloperBuild(const std::string& path) const;

  platform::FileManager& _fileManager;
  const EngineSettings& _settings;
};

/// "CFBundleVersion" of the bundle as it is written, empty when its information dictionary has none; none
/// when there is no dictionary, or it cannot be read now.
[[nodiscard]] std::optional<std::string> bundleVersionText(const std::string& bundlePath);
/// Its integer value; 0 for a text that is no number.
[[nodiscard]] std::optional<std::int32_t> bundleBuildNumber(const std::string& bundlePath);

/// An endpoint and its "CFBundleVersion", read once: whoever decides about several goes by one reading of
/// each.
struct EndpointVersion {
  std::string path;
  std::optional<std::string> text;  ///< as `bundleVersionText`
  /// As `bundleBuildNumber`.
  [[nodiscard]] std::optional<std::int32_t> number() const;
};
[[nodiscard]] std::vector<EndpointVersion> readVersions(const Endpoints& endpoints);
/// The highest number known among them; -1 when there is none.
[[nodiscard]] std::int32_t latestOf(const std::vector<EndpointVersion>& versions);

/// The build numbers of the endpoints, as far as they are known, in their order.
[[nodiscard]] std::vector<std::uint32_t> buildNumbersOf(const Endpoints& endpoints);

/// Logs that an endpoint was looked for and found.
void logFoundEndpoint(const std::string& path);

#pragma once

#include <cstdint>
#include <vector>

#include "runtime/Strings/ZRString.h"

/// @file
/// The update info as values: what the JSON document "config.json" says about whether updates are enabled,
/// how often to check, which client builds are to be installed and removed, and where the Messenger comes
/// from. Lists are in the order of the document. Sizes are in bytes.

/// When a consumer of the document checks for updates.
struct UpdateSettings {
  bool enabled = false;
  std::int32_t minDelayInDays = -1;  ///< shortest delay between two checks
  std::int32_t maxDelayInDays = -1;  ///< longest delay, exclusive
};

/// A patch package that makes the build it belongs to out of an older one.
struct DeltaPackage {
  std::uint32_t fromBuildNumber = 0;
  ZRString windowsDownloadUrl;
  std::uint32_t windowsDownloadSize = 0;
  ZRString macDownloadUrl;  ///< empty: there is no package for macOS
  std::uint32_t macDownloadSize = 0;
};

/// A build that must be installed.
struct ActiveBuild {
  std::uint32_t buildNumber = 0xFFFFFFFF;
  ZRString windowsDownloadUrl;
  std::uint32_t windowsDownloadSize = 12000000;
  ZRString macDownloadUrl;
  std::uint32_t macDownloadSize = 12000000;
  std::vector<DeltaPackage> deltaPackages;
};

/// A range of builds that must be removed, both ends included. The ends are stored unsigned and read as
/// signed numbers.
struct BuildRange {
  std::uint32_t fromBuildNumber = 0xFFFFFFFF;
  std::uint32_t toBuildNumber = 0xFFFFFFFF;
};

/// Where the Messenger companion is downloaded.
struct MessengerDownload {
  ZRString windowsDownloadUrl;
  std::uint32_t windowsDownloadSize = 0;
  ZRString macDownloadUrl;
  std::uint32_t macDownloadSize = 0;
};

struct UpdateInfo {
  UpdateSettings updaterSettings;
  UpdateSettings activatorSettings;
  ZRString windowsDownloadUrlTemplate;
  ZRString macDownloadUrlTemplate;
  std::vector<ActiveBuild> activeBuilds;
  std::vector<BuildRange> removeBuilds;
  MessengerDownload messenger;
  bool isParsed = false;  ///< a whole document has been parsed
};

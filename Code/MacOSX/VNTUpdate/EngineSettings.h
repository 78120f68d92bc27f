#pragma once

#include <cstdint>
#include <string>

/// What the parts of the engine share and only its face changes.
struct EngineSettings {
  std::string installationPath;  ///< folder that builds are installed into; empty: none
  std::string tempPath;          ///< the agent's temporary folder
  std::string userAgent;         ///< "User-Agent" of every request
  /// Non-zero: a downloaded archive is removed once it has been unpacked.
  std::int32_t cleanupDownloadCache = 1;
};

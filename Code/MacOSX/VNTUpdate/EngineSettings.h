#pragma once

#include <cstdint>
#include <string>

#include "platform/Clock.h"

/// What the engine goes by, complete before it is made. Its parts only read it.
struct EngineSettings {
  std::string installationPath;  ///< folder that builds are installed into; empty: none
  std::string tempPath;          ///< the agent's temporary folder
  std::string userAgent;         ///< "User-Agent" of every request
  std::string updateInfoURL;     ///< where the update info is fetched, safe and trusted
  /// Non-zero: a downloaded archive is removed once it has been unpacked.
  std::int32_t cleanupDownloadCache = 1;
  platform::Date nextUpdateCheck{};
  std::int32_t rescheduledUpdateChecks = 0;
  bool alwaysCheck = false;
  bool beAggressive = true;
};

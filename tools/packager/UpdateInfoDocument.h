#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace packager {

/// Where something is downloaded from, and how many bytes it has.
struct Download {
  std::string url;
  std::uint32_t sizeBytes = 0;
};

struct SettingsEntry {
  bool enabled = true;
  std::int32_t minDelayInDays = 0;
  std::int32_t maxDelayInDays = 0;  ///< exclusive
};

struct DeltaEntry {
  std::uint32_t fromBuildNumber = 0;
  Download mac;
  Download windows;
};

struct BuildEntry {
  std::int32_t buildNumber = 0;
  Download mac;
  Download windows;
  std::vector<DeltaEntry> deltaPackages;
};

struct RangeEntry {
  std::int32_t fromBuildNumber = 0;
  std::int32_t toBuildNumber = 0;
};

struct MessengerEntry {
  Download mac;
  Download windows;
};

struct UrlTemplates {
  std::string mac;
  std::string windows;
};

/// The update info document ("config.json") as its publisher writes it. What has no value is left out.
struct UpdateInfoDocument {
  std::string newLocation;  ///< not empty: only a pointer to the real document
  std::optional<SettingsEntry> updaterSettings;
  std::optional<SettingsEntry> activatorSettings;
  std::optional<UrlTemplates> downloadUrlTemplates;
  std::vector<BuildEntry> activeBuilds;
  std::vector<RangeEntry> removeBuilds;
  std::optional<MessengerEntry> messenger;
};

/// The document as JSON text, UTF-8, two blanks a level, the same text for the same values.
[[nodiscard]] std::string toJson(const UpdateInfoDocument& document);

}  // namespace packager

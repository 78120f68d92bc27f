#pragma once

#include <cstdint>
#include <vector>

#include "runtime/Code/ZRResult.h"
#include "runtime/Strings/ZRString.h"

class ZRJsonValue;

/// @file
/// The update info: the JSON document, "config.json", that says whether updates are enabled, how often to
/// check, which client builds are to be installed and removed, and where the Messenger comes from. Sizes are
/// in bytes.

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
  std::vector<DeltaPackage> deltaPackages;  ///< in the order of the document
};

/// A range of builds that must be removed.
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

/// Turns the document into records. The records are read directly; lists are in the order of the document.
///
/// A parse that fails leaves the members that it had read with their new values, the lists with what had been
/// appended, and `isParsed` as it was.
class UpdateInfoParser {
 public:
  UpdateSettings updaterSettings;
  UpdateSettings activatorSettings;
  ZRString windowsDownloadUrlTemplate;
  ZRString macDownloadUrlTemplate;
  std::vector<ActiveBuild> activeBuilds;
  std::vector<BuildRange> removeBuilds;
  MessengerDownload messenger;
  bool isParsed = false;  ///< a whole document has been parsed

  /// Parses one document. A document that names a new location answers success with `newLocation` set (the
  /// URL of the real document) and touches nothing else; else `newLocation` is empty. Settings, URL templates
  /// and the Messenger's record are optional: a fault in them is only logged. Fails: eBadParameter for a null
  /// text; the JSON parser's result for a text that is not JSON; the getter's result for a malformed build or
  /// range.
  ZRResult parseText(const char* text, ZRString& newLocation);

  /// Reads and parses a local document; a new location in it is ignored, and an empty file changes nothing.
  /// Fails: as opening and reading the file (a missing one is not created); ePreconditionFailed for a file of
  /// more than 262144 bytes; as `parseText`.
  ZRResult parseFile(const ZRString& fileName);

 private:
  ZRResult readDownloadUrlTemplates(const ZRJsonValue& document);
  ZRResult readActiveBuilds(const ZRJsonValue& document, const char* text);
  ZRResult readRemoveBuilds(const ZRJsonValue& document, const char* text);
  ZRResult readMessenger(const ZRJsonValue& document);
};

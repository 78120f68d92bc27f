#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Code/MacOSX/VNTUpdate/EngineSettings.h"
#include "platform/FileManager.h"

/// Downloads archives of builds into the temporary folder and proves them with the digest published beside
/// them.
class ArchiveDownload {
 public:
  ArchiveDownload(platform::FileManager& fileManager, const EngineSettings& settings)
      : _fileManager(fileManager), _settings(settings) {}

  /// Downloads the archive and compares its digest with the one at `url` + ".md5". On success `path` is the
  /// archive; after a failure, which is logged, an archive that is not proved is gone.
  [[nodiscard]] bool safelyDownloadActiveBuild(std::uint32_t build, const std::string& url, std::string& path,
                                               bool isDelta);
  /// Downloads the archive, unless an earlier run left one.
  [[nodiscard]] bool downloadBuild(std::uint32_t build, const std::string& url, std::string& path,
                                   bool isDelta);
  /// The text of a published digest; none, logged, when it cannot be had.
  [[nodiscard]] std::optional<std::string> downloadChecksumFromUrl(const std::string& url) const;
  /// MD5 of a file, 32 lower-case hexadecimal digits.
  [[nodiscard]] std::optional<std::string> getChecksumFromFile(const std::string& path) const;
  /// Removes a file or a folder with everything in it; a failure is logged.
  bool removeFile(const std::string& path) const;

  [[nodiscard]] const std::string& localChecksum() const { return _localChecksum; }
  void setLocalChecksum(std::string checksum) { _localChecksum = std::move(checksum); }
  [[nodiscard]] const std::string& remoteChecksum() const { return _remoteChecksum; }
  void setRemoteChecksum(std::string checksum) { _remoteChecksum = std::move(checksum); }

 private:
  [[nodiscard]] bool verifyDownload(const std::string& path, const std::string& url);

  platform::FileManager& _fileManager;
  const EngineSettings& _settings;
  std::string _localChecksum;
  std::string _remoteChecksum;
};

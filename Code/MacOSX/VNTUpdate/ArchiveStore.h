#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Code/MacOSX/VNTUpdate/EngineSettings.h"
#include "platform/FileManager.h"

/// An archive that a server offers.
struct Archive {
  std::string url;
  std::string name;  ///< of the downloaded file in the temporary folder, with a leading "/"
  std::string item;  ///< the one folder in it that it is for, with a leading "/"
};

/// Gets archives into the temporary folder: downloads them, proves them with the digest published beside
/// them, and unpacks them. What an archive brings beside its item, or in another form than files, folders and
/// links, gets nowhere. Every operation logs its failures.
class ArchiveStore {
 public:
  ArchiveStore(platform::FileManager& fileManager, const EngineSettings& settings)
      : _fileManager(fileManager), _settings(settings) {}

  /// Downloads, proves and unpacks. The item is then in the temporary folder, unless the archive does not
  /// hold it in a form that may be used; nothing of an earlier attempt is. `build` is for the log.
  [[nodiscard]] bool downloadAndUnarchiveSingleBuild(std::uint32_t build, const Archive& archive);

  /// Downloads the archive and compares its digest with the one at its URL + ".md5". On success `path` is the
  /// archive; after a failure, one that is not proved is gone.
  [[nodiscard]] bool safelyDownloadActiveBuild(const Archive& archive, std::string& path);
  /// Downloads the archive, unless an earlier run left one.
  [[nodiscard]] bool downloadBuild(const Archive& archive, std::string& path);
  /// Unpacks the archive at `path` in a folder of its own, and moves `item` from there into the temporary
  /// folder. A package that cannot be unpacked whole fails; one without the item does not.
  [[nodiscard]] bool unarchiveEndpoint(const std::string& path, const std::string& item);

  enum class Fetched { failed, wasThere, downloaded };
  struct Download {
    double seconds = 0;  ///< of streaming
    std::uint64_t bytes = 0;
  };
  /// Downloads a file, unless there is one at `path`; what is there and is no file makes way.
  [[nodiscard]] Fetched fetch(const std::string& url, const std::string& path, Download& download) const;

  /// The text of a published digest.
  [[nodiscard]] std::optional<std::string> downloadChecksumFromUrl(const std::string& url) const;
  /// MD5 of a file, 32 lower-case hexadecimal digits.
  [[nodiscard]] std::optional<std::string> getChecksumFromFile(const std::string& path) const;
  /// Removes a file or a folder with everything in it.
  bool removeFile(const std::string& path) const;
  /// Makes sure that there is nothing at the path, not even a link to nowhere.
  [[nodiscard]] bool removeLeftover(const std::string& path) const;

  // What no run calls.

  /// The two digests that were compared last.
  [[nodiscard]] const std::string& localChecksum() const { return _localChecksum; }
  void setLocalChecksum(std::string checksum) { _localChecksum = std::move(checksum); }
  [[nodiscard]] const std::string& remoteChecksum() const { return _remoteChecksum; }
  void setRemoteChecksum(std::string checksum) { _remoteChecksum = std::move(checksum); }

 private:
  [[nodiscard]] bool verifyDownload(const std::string& path, const std::string& url);
  [[nodiscard]] bool unpackIn(const std::string& folder, const std::string& archive) const;
  [[nodiscard]] bool takeItem(const std::string& unpacked, const std::string& item) const;

  platform::FileManager& _fileManager;
  const EngineSettings& _settings;
  std::string _localChecksum;
  std::string _remoteChecksum;
};

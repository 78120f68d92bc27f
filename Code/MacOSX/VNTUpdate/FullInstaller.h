#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Code/Common/UpdateInfoParser.h"
#include "Code/MacOSX/VNTUpdate/ArchiveDownload.h"
#include "Code/MacOSX/VNTUpdate/BuildInventory.h"
#include "Code/MacOSX/VNTUpdate/EngineSettings.h"
#include "platform/FileManager.h"

/// Makes an installed endpoint of a full archive, and unpacks delta packages for those who patch. Every
/// operation logs its failures.
class FullInstaller {
 public:
  FullInstaller(platform::FileManager& fileManager, const EngineSettings& settings,
                const UpdateInfoParser& parser, const BuildInventory& inventory, ArchiveDownload& download)
      : _fileManager(fileManager),
        _settings(settings),
        _parser(parser),
        _inventory(inventory),
        _download(download) {}

  /// Installs each active build that is missing, in the order of the update info.
  void downloadAndInstallActiveBuilds();
  [[nodiscard]] bool downloadAndInstallSingleBuild(std::uint32_t build, const std::string& url);
  [[nodiscard]] bool downloadAndUnarchiveSingleBuild(std::uint32_t build, const std::string& url,
                                                     bool isDeltaUpdate);
  /// Unpacks an archive into the temporary folder.
  [[nodiscard]] bool unarchiveEndpoint(const std::string& archive);
  /// Makes sure that nothing is left of an earlier run at the path. False, logged, when it cannot be removed.
  [[nodiscard]] bool removeLeftover(const std::string& path);
  /// The unpacked bundle of the build, else the installed one.
  [[nodiscard]] std::optional<std::string> getExtractedEndpointPath(std::uint32_t build) const;
  /// Moves the unpacked bundle into the folder (none: fails) and registers it. A failed move removes the
  /// unpacked one.
  [[nodiscard]] bool installEndpoint(std::uint32_t build, const std::optional<std::string>& folder);

 private:
  [[nodiscard]] bool unpackDownload(std::uint32_t build, const std::string& archive, bool isDeltaUpdate);
  void registerEndpoint(const std::string& path);

  platform::FileManager& _fileManager;
  const EngineSettings& _settings;
  const UpdateInfoParser& _parser;
  const BuildInventory& _inventory;
  ArchiveDownload& _download;
};

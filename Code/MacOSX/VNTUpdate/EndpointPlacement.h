#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Code/MacOSX/VNTUpdate/ArchiveStore.h"
#include "Code/MacOSX/VNTUpdate/BuildInventory.h"
#include "Code/MacOSX/VNTUpdate/EngineSettings.h"
#include "platform/FileManager.h"

/// Puts a finished bundle from the temporary folder in its place among the installed builds. Every operation
/// logs its failures.
class EndpointPlacement {
 public:
  EndpointPlacement(platform::FileManager& fileManager, const EngineSettings& settings,
                    const BuildInventory& inventory, const ArchiveStore& store)
      : _fileManager(fileManager), _settings(settings), _inventory(inventory), _store(store) {}

  /// The unpacked bundle of the build, else the installed one.
  [[nodiscard]] std::optional<std::string> getExtractedEndpointPath(std::uint32_t build) const;
  /// Moves the bundle into the folder (none: fails), registers it and dates it. A failed move removes the
  /// unpacked one.
  [[nodiscard]] bool installEndpoint(std::uint32_t build, const std::optional<std::string>& folder) const;

 private:
  void registerEndpoint(const std::string& path) const;

  platform::FileManager& _fileManager;
  const EngineSettings& _settings;
  const BuildInventory& _inventory;
  const ArchiveStore& _store;
};

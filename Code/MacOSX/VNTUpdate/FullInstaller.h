#pragma once

#include <cstdint>
#include <string>

#include "Code/Common/UpdateInfo.h"
#include "Code/MacOSX/VNTUpdate/ArchiveStore.h"
#include "Code/MacOSX/VNTUpdate/BuildInventory.h"
#include "Code/MacOSX/VNTUpdate/EndpointPlacement.h"

/// Makes installed endpoints of full archives. Every operation logs its failures.
class FullInstaller {
 public:
  FullInstaller(const BuildInventory& inventory, ArchiveStore& store, const EndpointPlacement& placement)
      : _inventory(inventory), _store(store), _placement(placement) {}

  [[nodiscard]] bool downloadAndInstallSingleBuild(std::uint32_t build, const std::string& url);

  // What no run calls.

  /// Installs each active build that is missing, in the order of the update info.
  void downloadAndInstallActiveBuilds(const UpdateInfo& info);

 private:
  const BuildInventory& _inventory;
  ArchiveStore& _store;
  const EndpointPlacement& _placement;
};

#pragma once

#include <optional>
#include <string>

#include "Code/MacOSX/VNTUpdate/ArchiveStore.h"
#include "Code/MacOSX/VNTUpdate/EngineSettings.h"
#include "platform/FileManager.h"

class UpdateInfoRetrieval;
class UpdateSchedule;

/// Installs the Messenger from the address that the update info names.
class MessengerInstaller {
 public:
  /// Everything given outlives the installer. `retrieval` sets whether `schedule` is enabled.
  MessengerInstaller(platform::FileManager& fileManager, const EngineSettings& settings,
                     UpdateInfoRetrieval& retrieval, const UpdateSchedule& schedule,
                     const ArchiveStore& store)
      : _fileManager(fileManager),
        _settings(settings),
        _retrieval(retrieval),
        _schedule(schedule),
        _store(store) {}

  /// True when the Messenger was installed. An archive that an earlier attempt left is used as it is.
  [[nodiscard]] bool downloadAndInstallMessengerApp();

 private:
  /// The archive's path.
  [[nodiscard]] std::optional<std::string> obtainArchive(const std::string& address);

  platform::FileManager& _fileManager;
  const EngineSettings& _settings;
  UpdateInfoRetrieval& _retrieval;
  const UpdateSchedule& _schedule;
  const ArchiveStore& _store;
};

#pragma once

#include <optional>
#include <string>

#include "platform/FileManager.h"

class UpdateInfoParser;
class UpdateInfoRetrieval;
class UpdateSchedule;

/// Installs the Messenger from the address that the update info names.
class MessengerInstaller {
 public:
  /// Everything given outlives the installer. `retrieval` fills `updateInfo` and sets whether `schedule` is
  /// enabled.
  MessengerInstaller(UpdateInfoRetrieval& retrieval, const UpdateInfoParser& updateInfo,
                     const UpdateSchedule& schedule, const std::string& userAgent,
                     platform::FileManager& fileManager);

  /// True when the Messenger was installed. An archive that an earlier attempt left is used as it is.
  [[nodiscard]] bool downloadAndInstallMessengerApp();

 private:
  /// The archive's path.
  [[nodiscard]] std::optional<std::string> obtainArchive(const std::string& address);
  [[nodiscard]] bool downloadArchive(const std::string& address, const std::string& archive);

  UpdateInfoRetrieval& _retrieval;
  const UpdateInfoParser& _updateInfo;
  const UpdateSchedule& _schedule;
  const std::string& _userAgent;
  platform::FileManager& _fileManager;
};

#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/FileManager.h"
#include "platform/RunningApplications.h"

/// What is known of the Messenger, the companion chat application, and how its archive becomes an installed
/// application. Every failure is logged where it happens.
class MacMessengerUtilities {
 public:
  enum FolderOutcome { eCreated = 0, eExisted = 1, eFailed = 2 };

  /// The path of the installed Messenger, if there is any.
  [[nodiscard]] static std::optional<std::string> findMessenger();

  /// The agent's temporary folder, into which everything is downloaded, whether it exists or not; none
  /// without a Library folder.
  [[nodiscard]] static std::optional<std::string> downloadFolder();
  /// The same; none unless it is a folder that exists and is writable.
  [[nodiscard]] static std::optional<std::string> getTempFolder(const platform::FileManager& fileManager);

  /// Creates the folder and those above it that are missing.
  [[nodiscard]] static FolderOutcome makeFolderAtPath(platform::FileManager& fileManager,
                                                      const std::string& path);

  /// Unpacks the zip archive in `folder`. The archive is removed when that succeeded, and stays when it
  /// failed.
  [[nodiscard]] static bool unarchiveEndpoint(platform::FileManager& fileManager, const std::string& archive,
                                              const std::string& folder);

  /// The path of the folder's first item, by name.
  [[nodiscard]] static std::optional<std::string> firstItemInFolder(const platform::FileManager& fileManager,
                                                                    const std::string& folder);

  /// Whether the application is whole and signed by someone trusted. One that is not is deleted; one that
  /// could not be examined is left alone.
  [[nodiscard]] static bool digitalSignatureVerified(platform::FileManager& fileManager,
                                                     const std::string& application);

  /// Unpacks the archive in a folder of its own, verifies the application in it, moves it into the computer's
  /// or else the user's Applications folder, and registers it. False when it was not installed; also while
  /// there is anything named "SecretFilePath" beside the archive.
  [[nodiscard]] static bool unarchiveIntoApplicationsFolder(platform::FileManager& fileManager,
                                                            const std::string& archive);

  // What no run calls.

  [[nodiscard]] static std::vector<platform::RunningApplication> runningMessengerApps();
  [[nodiscard]] static bool isMessengerRunning();
  /// Whether the first running instance is the active application.
  [[nodiscard]] static bool isMessengerActive();
};

#pragma once

#include <optional>
#include <string>

#include "runtime/Code/ZRResult.h"

/// Where the programs of the product family keep their logs, and the start and stop of a program's log.
class HOLLogManager {
 public:
  HOLLogManager() = delete;

  /// The "Logs" folder of the user's Library folder; it need not exist.
  /// Fails: eSomeError when the user has no Library folder.
  static ZRResult logFolder(ZRString& folder);

  /// The folder of this process's logs, created when it is missing: below the log folder, a folder named by
  /// the bundle identifier and in it one named by the process number; for a program without a bundle
  /// identifier the log folder itself. Fails as `logFolder`, or with the code of the failed creation.
  static ZRResult processLogFolder(ZRString& folder);

  /// That path in its standard form: without empty, "." and ".." components and without a trailing "/".
  [[nodiscard]] static ZRString processLogFolderPath(const ZRString& logFolder,
                                                     const std::optional<std::string>& bundleIdentifier,
                                                     long processNumber);

  /// zrrt::startLog.
  static ZRResult startLog(const ZRString& path, bool truncate);
  /// zrrt::stopLog.
  static void stopLog() noexcept;
};

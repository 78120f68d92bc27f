#include "Shared/Code/MacOSX/HOLLogManager.h"

#include <unistd.h>

#include <string_view>

#include "platform/Bundle.h"
#include "platform/FileManager.h"
#include "platform/Folders.h"
#include "platform/Path.h"
#include "runtime/Code/ZRLog.h"
#include "runtime/Code/ZRPlatformError.h"

namespace {

/// Appends a component of an absolute path, as walking through it would.
void walk(std::string& path, std::string_view component) {
  if (component.empty() || component == ".") return;
  if (component == "..") {
    path.erase(path.empty() ? 0 : path.rfind('/'));
  } else {
    path.append("/").append(component);
  }
}

ZRString standardised(const ZRString& path) {
  std::string standard;
  for (const ZRString& component : path.split('/'))
    walk(standard, component.view());
  return ZRString(standard.empty() ? "/" : standard);
}

/// Forwards a failure, which is also logged here.
ZRResult reported(const ZRResult& result, const ZRLocation& location) {
  zrReport(ZRLogLevel::eError, result, "Error returned", location);
  return result;
}

}  // namespace

ZRResult HOLLogManager::logFolder(ZRString& folder) {
  const std::optional<std::string> library = platform::libraryFolder();
  folder = library ? ZRString(platform::joinPath(*library, "Logs")) : ZRString();
  if (folder.length() <= 1) return reported(ZRError::eSomeError, ZR_HERE);
  return ZRError::eNoError;
}

ZRString HOLLogManager::processLogFolderPath(const ZRString& logFolder,
                                             const std::optional<std::string>& bundleIdentifier,
                                             long processNumber) {
  ZRString path = logFolder;
  if (bundleIdentifier) path += ZRString("/" + *bundleIdentifier + "/" + std::to_string(processNumber));
  return standardised(path);
}

ZRResult HOLLogManager::processLogFolder(ZRString& folder) {
  ZRString logs;
  ZR_RETURN_FAILURE(logFolder(logs));
  folder = processLogFolderPath(logs, platform::mainBundleIdentifier(), ::getpid());
  const platform::Error error = platform::defaultFileManager().createFolder(folder.str());
  return reported(zrrt::resultOf(error, "createFolder"), ZR_HERE);
}

ZRResult HOLLogManager::startLog(const ZRString& path, bool truncate) {
  return zrrt::startLog(path, truncate);
}

void HOLLogManager::stopLog() noexcept {
  zrrt::stopLog();
}

#include "Code/MacOSX/VNTUpdate/FullInstaller.h"

#include <cerrno>

#include "Code/MacOSX/VNTUpdate/TemporaryNames.h"
#include "Code/MacOSX/VNTUpdate/UnpackFolder.h"
#include "platform/ApplicationRegistry.h"
#include "platform/Clock.h"
#include "platform/Task.h"
#include "runtime/Code/ZRLog.h"

namespace {

constexpr const char* kUnarchiveContext = "-[VNTUpdate unarchiveEndpoint:]";

void logLaunchFailure(const platform::LaunchException& exception) {
  zrrt::log(ZRLogLevel::eError, "%s - Unable to launch tar command.", kUnarchiveContext);
  zrrt::log(ZRLogLevel::eError, "%s - Exception Name  : %s", kUnarchiveContext, exception.name().c_str());
  zrrt::log(ZRLogLevel::eError, "%s - Exception Reason: %s", kUnarchiveContext, exception.reason().c_str());
}

}  // namespace

void FullInstaller::downloadAndInstallActiveBuilds() {
  for (const auto& build : _parser.activeBuilds) {
    if (_inventory.isInstalled(build.buildNumber)) continue;
    static_cast<void>(downloadAndInstallSingleBuild(build.buildNumber, build.macDownloadUrl.str()));
  }
}

bool FullInstaller::downloadAndInstallSingleBuild(std::uint32_t build, const std::string& url) {
  return downloadAndUnarchiveSingleBuild(build, url, false) &&
         installEndpoint(build, _inventory.getOlderVersionsFolder());
}

bool FullInstaller::downloadAndUnarchiveSingleBuild(std::uint32_t build, const std::string& url,
                                                    bool isDeltaUpdate) {
  zrrt::log(ZRLogLevel::eDebug, "Downloading build %d", static_cast<int>(build));
  if (!removeLinksLeadingOutside(_fileManager, _settings.tempPath)) return false;
  std::string archive;
  if (!_download.safelyDownloadActiveBuild(build, url, archive, isDeltaUpdate)) return false;
  const bool unpacked = unpackDownload(build, archive, isDeltaUpdate);
  if (_settings.cleanupDownloadCache != 0) _download.removeFile(archive);
  return unpacked;
}

bool FullInstaller::unpackDownload(std::uint32_t build, const std::string& archive, bool isDeltaUpdate) {
  const std::string bundle = _settings.tempPath + endpointName(build);
  if (!isDeltaUpdate && !removeLeftover(bundle)) return false;
  if (!unarchiveEndpoint(archive)) {
    if (!isDeltaUpdate) static_cast<void>(removeLeftover(bundle));
    zrrt::log(ZRLogLevel::eError, "Unable to extract endpoint to folder %s", _settings.tempPath.c_str());
    return false;
  }
  if (isDeltaUpdate || getExtractedEndpointPath(build)) return true;
  zrrt::log(ZRLogLevel::eError, "Unable to locate extracted endpoint!");
  return false;
}

bool FullInstaller::removeLeftover(const std::string& path) {
  return isAbsent(path) || _download.removeFile(path);
}

bool FullInstaller::unarchiveEndpoint(const std::string& archive) {
  zrrt::log(ZRLogLevel::eDebug, "Extracting endpoint archive at '%s'", archive.c_str());
  platform::Task tar;
  tar.launchPath = "/usr/bin/tar";
  tar.arguments = {"-x", "-f", archive};
  tar.currentFolder = _settings.tempPath;
  try {
    tar.launch();
  } catch (const platform::LaunchException& exception) {
    logLaunchFailure(exception);
    return false;
  }
  tar.waitUntilExit();
  if (tar.terminationStatus() == 0) return true;
  zrrt::log(ZRLogLevel::eError, "tar failed, exit code %d", tar.terminationStatus());
  return false;
}

std::optional<std::string> FullInstaller::getExtractedEndpointPath(std::uint32_t build) const {
  const std::string unpacked = _settings.tempPath + endpointName(build);
  // A link that a package brought along would install whatever it leads to.
  if (isRealFolder(unpacked)) return unpacked;
  const auto installed = _inventory.isInstalled(build);
  if (!installed) zrrt::log(ZRLogLevel::eError, "Unable to locate extracted endpoint in temp folder");
  return installed;
}

bool FullInstaller::installEndpoint(std::uint32_t build, const std::optional<std::string>& folder) {
  const auto source = getExtractedEndpointPath(build);
  if (!source) {
    zrrt::log(ZRLogLevel::eError, "Unable to locate extracted endpoint!");
    return false;
  }
  const std::string destination = folder.value_or(std::string()) + endpointName(build);
  const auto error = folder ? _fileManager.moveItem(*source, destination)
                            : platform::posixError(ENOENT, "folder for installed builds");
  if (error.failed()) {
    zrrt::log(ZRLogLevel::eError, "Unable to install endpoint to %s: %s", destination.c_str(),
              error.description.c_str());
    // An installed bundle that stood in for an unpacked one is not ours to lose.
    if (*source == _settings.tempPath + endpointName(build)) _download.removeFile(*source);
    return false;
  }
  registerEndpoint(destination);
  return true;
}

void FullInstaller::registerEndpoint(const std::string& path) {
  const auto registration = platform::applications::registerApplication(path);
  if (registration.failed()) {
    zrrt::log(ZRLogLevel::eWarning, "Unable to register endpoint at %s: %s", path.c_str(),
              registration.description.c_str());
  }
  zrrt::log(ZRLogLevel::eInformation, "Endpoint successfully installed to %s", path.c_str());
  platform::ItemAttributes attributes;
  attributes.creationDate = platform::now();
  const auto error = _fileManager.setAttributes(path, attributes);
  if (error.failed()) {
    zrrt::log(ZRLogLevel::eError, "Unable to update creation date of endpoint at %s: %s", path.c_str(),
              error.description.c_str());
  }
}

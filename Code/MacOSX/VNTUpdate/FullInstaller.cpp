#include "Code/MacOSX/VNTUpdate/FullInstaller.h"

#include "Code/MacOSX/VNTUpdate/TemporaryNames.h"
#include "runtime/Code/ZRLog.h"

void FullInstaller::downloadAndInstallActiveBuilds(const UpdateInfo& info) {
  for (const auto& build : info.activeBuilds) {
    if (_inventory.isInstalled(build.buildNumber)) continue;
    static_cast<void>(downloadAndInstallSingleBuild(build.buildNumber, build.macDownloadUrl.str()));
  }
}

bool FullInstaller::downloadAndInstallSingleBuild(std::uint32_t build, const std::string& url) {
  const Archive archive{.url = url, .name = fullArchiveName(build), .item = endpointName(build)};
  if (!_store.downloadAndUnarchiveSingleBuild(build, archive)) return false;
  if (!_placement.getExtractedEndpointPath(build)) {
    zrrt::log(ZRLogLevel::eError, "Unable to locate extracted endpoint!");
    return false;
  }
  return _placement.installEndpoint(build, _inventory.getOlderVersionsFolder());
}

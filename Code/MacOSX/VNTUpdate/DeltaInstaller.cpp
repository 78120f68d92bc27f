#include "Code/MacOSX/VNTUpdate/DeltaInstaller.h"

#include <algorithm>

#include "Code/Common/DeltaPlanner.h"
#include "Code/Common/DeltaUpdatesTools.h"
#include "Code/Common/ServerConfiguration.h"
#include "Code/MacOSX/VNTUpdate/TemporaryNames.h"
#include "Code/MacOSX/VNTUpdate/UnpackFolder.h"
#include "platform/Clock.h"
#include "runtime/Code/ZRLog.h"
#include "runtime/File/ZRDirectory.h"
#include "runtime/File/ZRFile.h"
#include "runtime/Threads/ZRDynamicThreadPool.h"

namespace {

constexpr std::size_t kPatchingThreads = 3;
constexpr std::uint32_t kPatchingIdleSeconds = 30;
/// Behind "https://": where the host begins.
constexpr std::size_t kHostPosition = 8;

std::string alternativeUrl(const std::string& url) {
  const auto path = url.find('/', kHostPosition);
  return path == std::string::npos ? std::string()
                                   : configuration::kAlternativeBuildServer + url.substr(path);
}

bool succeeded(const ZRResult& result, const ZRLocation& location) {
  zrReport(ZRLogLevel::eError, result, "Error returned", location);
  return result.isSuccess();
}

double secondsSince(std::chrono::milliseconds start) {
  return static_cast<float>((platform::clock().monotonic() - start).count()) / 1000.0F;
}

}  // namespace

void DeltaInstaller::downloadAndInstallActiveBuildsUsingDeltaUpdates() {
  if (_parser.activeBuilds.empty()) return;
  const auto installed = installedBuildNumbers();
  removeInstalledBuilds(installed);
  if (_parser.activeBuilds.empty()) return;
  DeltaPlan plan;
  static_cast<void>(planDeltaPath(_parser.activeBuilds, installed, plan));
  for (const std::uint32_t index : plan.order)
    installBuild(_parser.activeBuilds.at(index));
}

std::vector<std::uint32_t> DeltaInstaller::installedBuildNumbers() const {
  std::vector<std::uint32_t> builds;
  for (const auto& endpoint : _inventory.allInstalledBuilds())
    builds.push_back(static_cast<std::uint32_t>(bundleBuildNumber(endpoint)));
  return builds;
}

void DeltaInstaller::removeInstalledBuilds(const std::vector<std::uint32_t>& installed) {
  auto& builds = _parser.activeBuilds;
  const auto isInstalled = [&installed](const ActiveBuild& build) {
    return std::find(installed.begin(), installed.end(), build.buildNumber) != installed.end();
  };
  builds.erase(std::remove_if(builds.begin(), builds.end(), isInstalled), builds.end());
}

void DeltaInstaller::installBuild(const ActiveBuild& build) {
  const auto install = [&](const DeltaPackage& package) {
    return installFromPackage(package, build.buildNumber);
  };
  if (std::any_of(build.deltaPackages.begin(), build.deltaPackages.end(), install)) return;
  static_cast<void>(_installer.downloadAndInstallSingleBuild(build.buildNumber, build.macDownloadUrl.str()));
}

bool DeltaInstaller::installFromPackage(const DeltaPackage& package, std::uint32_t targetBuild) {
  const auto base = baseForPackage(package, targetBuild);
  if (!base || !obtainPackage(package.macDownloadUrl.str(), package.fromBuildNumber, targetBuild)) {
    return false;
  }
  if (!applyPatchFromBuild(*base, package.fromBuildNumber, targetBuild)) {
    zrrt::log(ZRLogLevel::eError, "apply patch failed!");
    return false;
  }
  return installPatchedBuild(targetBuild);
}

std::optional<std::string> DeltaInstaller::baseForPackage(const DeltaPackage& package,
                                                          std::uint32_t targetBuild) const {
  if (package.macDownloadUrl.isEmpty()) return std::nullopt;
  auto base = _inventory.isInstalled(package.fromBuildNumber);
  if (base) {
    zrrt::log(ZRLogLevel::eDebug, "Found existing build %d to install %d",
              static_cast<int>(package.fromBuildNumber), static_cast<int>(targetBuild));
  }
  return base;
}

bool DeltaInstaller::obtainPackage(const std::string& url, std::uint32_t sourceBuild,
                                   std::uint32_t targetBuild) {
  const std::string folder = _settings.tempPath + deltaFolderName(sourceBuild, targetBuild);
  if (!_installer.removeLeftover(folder)) return false;
  if (_installer.downloadAndUnarchiveSingleBuild(targetBuild, url, true)) return true;
  static_cast<void>(_installer.removeLeftover(folder));
  return false;
}

bool DeltaInstaller::installPatchedBuild(std::uint32_t targetBuild) {
  const auto folder = _inventory.getOlderVersionsFolder();
  if (_installer.installEndpoint(targetBuild, folder)) return true;
  zrrt::log(ZRLogLevel::eError, "Unable to install endpoint to folder %s", folder.value_or("(null)").c_str());
  return false;
}

void DeltaInstaller::downloadAndInstall(std::uint32_t targetBuild) {
  if (_inventory.isInstalled(targetBuild)) return;
  if (!_retrieval.getUpdateInfo()) {
    zrrt::log(ZRLogLevel::eError, "Unable to retrieve update info");
    return;
  }
  auto& builds = _parser.activeBuilds;
  const auto target = std::find_if(builds.begin(), builds.end(), [targetBuild](const ActiveBuild& build) {
    return build.buildNumber == targetBuild;
  });
  if (target == builds.end()) return;
  sortDeltaPackages(*target);
  for (const auto& package : target->deltaPackages)
    if (installAtOnce(package, targetBuild) == Attempt::stop) return;
}

DeltaInstaller::Attempt DeltaInstaller::installAtOnce(const DeltaPackage& package,
                                                      std::uint32_t targetBuild) {
  const auto base = baseForPackage(package, targetBuild);
  if (!base) return Attempt::nextPackage;
  if (!obtainPackageAtOnce(package, targetBuild)) return Attempt::stop;
  if (!applyPatchFromBuild(*base, package.fromBuildNumber, targetBuild)) return Attempt::nextPackage;
  static_cast<void>(installPatchedBuild(targetBuild));
  return Attempt::stop;
}

bool DeltaInstaller::obtainPackageAtOnce(const DeltaPackage& package, std::uint32_t targetBuild) {
  const std::string url = package.macDownloadUrl.str();
  const std::string alternative = alternativeUrl(url);
  return (!alternative.empty() && obtainPackage(alternative, package.fromBuildNumber, targetBuild)) ||
         obtainPackage(url, package.fromBuildNumber, targetBuild);
}

std::optional<std::string> DeltaInstaller::getExtractedDeltaPath(std::uint32_t sourceBuild,
                                                                 std::uint32_t targetBuild) const {
  std::string path = _settings.tempPath + deltaFolderName(sourceBuild, targetBuild);
  if (isRealFolder(path)) return path;
  zrrt::log(ZRLogLevel::eError, "Unable to locate extracted endpoint in temp folder");
  return std::nullopt;
}

bool DeltaInstaller::applyPatchFromBuild(const std::string& basePath, std::uint32_t sourceBuild,
                                         std::uint32_t targetBuild) {
  zrrt::logEntry(ZRLogLevel::eInformation, nullptr, "-[VNTUpdate applyPatchFromBuild:fromBuild:toBuild:]",
                 "%s, fromBuild: %d, toBuild %d", basePath.c_str(), static_cast<int>(sourceBuild),
                 static_cast<int>(targetBuild));
  const auto folder = getExtractedDeltaPath(sourceBuild, targetBuild);
  if (!folder) {
    zrrt::log(ZRLogLevel::eError, "Unable to locate extracted endpoint!");
    return false;
  }
  const bool done = patchAndVerify(*folder, basePath) && succeeded(setExeFileAttributes(*folder), ZR_HERE) &&
                    turnIntoBundle(*folder, targetBuild);
  if (!done) static_cast<void>(ZRDirectory::remove(*folder));
  return done;
}

bool DeltaInstaller::patchAndVerify(const std::string& folder, const std::string& basePath) const {
  const auto start = platform::clock().monotonic();
  // Its end waits for the tasks that run, so nothing works in the folder any more when this has returned.
  ZRDynamicThreadPool pool("Patching", kPatchingThreads, kPatchingThreads, kPatchingIdleSeconds);
  // Without a single worker (a system out of threads) a task would be waited for for ever.
  if (pool.liveThreads() == 0) return succeeded(ZRThreadError::eNotRunning, ZR_HERE);
  if (!succeeded(applyPatch(folder, basePath, &pool), ZR_HERE)) return false;
  const auto patched = platform::clock().monotonic();
  zrrt::log(ZRLogLevel::eStatus, "Patch time = %.2f s, using thread pool(%d, %d)", secondsSince(start),
            static_cast<int>(pool.minimumThreads()), static_cast<int>(pool.maximumThreads()));
  if (!succeeded(verifyCheckSums(folder, &pool), ZR_HERE)) return false;
  zrrt::log(ZRLogLevel::eStatus, "Checksum verificiation time = %.2f s", secondsSince(patched));
  return true;
}

bool DeltaInstaller::turnIntoBundle(const std::string& folder, std::uint32_t targetBuild) const {
  const std::string bundle = _settings.tempPath + endpointName(targetBuild);
  static_cast<void>(_installer.removeLeftover(bundle));
  return succeeded(ZRFile::rename(folder, bundle), ZR_HERE);
}

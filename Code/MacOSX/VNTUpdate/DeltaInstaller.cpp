#include "Code/MacOSX/VNTUpdate/DeltaInstaller.h"

#include <algorithm>
#include <iterator>
#include <set>

#include "Code/Common/DeltaPlanner.h"
#include "Code/Common/DeltaTree.h"
#include "Code/Common/DeltaUpdatesTools.h"
#include "Code/Common/ServerConfiguration.h"
#include "Code/MacOSX/VNTUpdate/TemporaryNames.h"
#include "platform/Clock.h"
#include "runtime/Code/ZRLog.h"
#include "runtime/Code/ZRPlatformError.h"
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

std::vector<ActiveBuild> missingBuilds(const std::vector<ActiveBuild>& builds,
                                       const std::vector<std::uint32_t>& installed) {
  const std::set<std::uint32_t> there(installed.begin(), installed.end());
  std::vector<ActiveBuild> missing;
  std::copy_if(builds.begin(), builds.end(), std::back_inserter(missing),
               [&there](const ActiveBuild& build) { return there.count(build.buildNumber) == 0; });
  return missing;
}

/// The endpoint that the package starts from; null when there is none.
const std::string* baseForPackage(const DeltaPackage& package, std::uint32_t targetBuild,
                                  const std::map<std::uint32_t, std::string>& bases) {
  if (package.macDownloadUrl.isEmpty()) return nullptr;
  const auto base = bases.find(package.fromBuildNumber);
  if (base == bases.end()) return nullptr;
  logFoundEndpoint(base->second);
  zrrt::log(ZRLogLevel::eDebug, "Found existing build %d to install %d",
            static_cast<int>(package.fromBuildNumber), static_cast<int>(targetBuild));
  return &base->second;
}

}  // namespace

void DeltaInstaller::downloadAndInstallActiveBuildsUsingDeltaUpdates(const UpdateInfo& info) {
  const auto installed = _inventory.installedBuildNumbers();
  std::vector<ActiveBuild> missing = missingBuilds(info.activeBuilds, installed);
  if (missing.empty()) return;
  DeltaPlan plan;
  static_cast<void>(planDeltaPath(missing, installed, plan));
  Bases bases = _inventory.installedPaths();
  for (const std::uint32_t index : plan.order) {
    if (installBuild(missing.at(index), bases)) bases = _inventory.installedPaths();
  }
}

bool DeltaInstaller::installBuild(const ActiveBuild& build, const Bases& bases) {
  const auto install = [&](const DeltaPackage& package) {
    return installFromPackage(package, build.buildNumber, bases);
  };
  return std::any_of(build.deltaPackages.begin(), build.deltaPackages.end(), install) ||
         _fullInstaller.downloadAndInstallSingleBuild(build.buildNumber, build.macDownloadUrl.str());
}

bool DeltaInstaller::installFromPackage(const DeltaPackage& package, std::uint32_t targetBuild,
                                        const Bases& bases) {
  const auto* base = baseForPackage(package, targetBuild, bases);
  if (base == nullptr || !obtainPackage(package.macDownloadUrl.str(), package.fromBuildNumber, targetBuild)) {
    return false;
  }
  if (!applyPatchFromBuild(*base, package.fromBuildNumber, targetBuild)) {
    zrrt::log(ZRLogLevel::eError, "apply patch failed!");
    return false;
  }
  return installPatchedBuild(targetBuild);
}

bool DeltaInstaller::obtainPackage(const std::string& url, std::uint32_t sourceBuild,
                                   std::uint32_t targetBuild) {
  const Archive archive{
      .url = url, .name = deltaArchiveName(targetBuild), .item = deltaFolderName(sourceBuild, targetBuild)};
  return _store.downloadAndUnarchiveSingleBuild(targetBuild, archive);
}

bool DeltaInstaller::installPatchedBuild(std::uint32_t targetBuild) {
  const auto folder = _inventory.getOlderVersionsFolder();
  if (_placement.installEndpoint(targetBuild, folder)) return true;
  zrrt::log(ZRLogLevel::eError, "Unable to install endpoint to folder %s", folder.value_or("(null)").c_str());
  return false;
}

void DeltaInstaller::downloadAndInstall(std::uint32_t targetBuild) {
  if (_inventory.isInstalled(targetBuild)) return;
  auto info = _retrieval.getUpdateInfo();
  if (!info) {
    zrrt::log(ZRLogLevel::eError, "Unable to retrieve update info");
    return;
  }
  auto& builds = info->activeBuilds;
  const auto target = std::find_if(builds.begin(), builds.end(), [targetBuild](const ActiveBuild& build) {
    return build.buildNumber == targetBuild;
  });
  if (target == builds.end()) return;
  sortDeltaPackages(*target);
  const Bases bases = _inventory.installedPaths();
  for (const auto& package : target->deltaPackages)
    if (installAtOnce(package, targetBuild, bases) == Attempt::stop) return;
}

DeltaInstaller::Attempt DeltaInstaller::installAtOnce(const DeltaPackage& package, std::uint32_t targetBuild,
                                                      const Bases& bases) {
  const auto* base = baseForPackage(package, targetBuild, bases);
  if (base == nullptr) return Attempt::nextPackage;
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
  if (treeEntry(path) == TreeEntry::folder) return path;
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
  if (!done) static_cast<void>(_store.removeLeftover(*folder));
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
  static_cast<void>(_store.removeLeftover(bundle));
  return succeeded(zrrt::resultOf(_fileManager.renameItem(folder, bundle), "rename()"), ZR_HERE);
}

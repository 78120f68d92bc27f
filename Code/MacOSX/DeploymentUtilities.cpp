#include "Code/MacOSX/DeploymentUtilities.h"

#include <limits>

#include "platform/Bundle.h"
#include "platform/Folders.h"
#include "platform/PropertyList.h"
#include "platform/Url.h"
#include "runtime/Code/ZRLog.h"

namespace {

constexpr const char* kBundleName = "/Vantora.app";
constexpr const char* kBackupName = "Vantora(old).app";
constexpr unsigned kBundlePermissions = 0755;

bool isUsable(const platform::FileManager& fileManager, const std::optional<std::string>& folder) {
  return folder && fileManager.isWritable(*folder) &&
         fileManager.itemKind(*folder) == platform::ItemKind::folder;
}

std::string urlText(const std::string& path) {
  return platform::Url::forFile(path).absoluteString();
}

/// Copies the application and makes the copy replaceable by its owner.
bool duplicate(std::uint32_t buildNumber, const std::string& source, const std::string& folder,
               platform::FileManager& fileManager) {
  zrrt::log(ZRLogLevel::eDebug, "Duplicating build %d to %s", static_cast<int>(buildNumber),
            urlText(folder).c_str());
  const std::string copy = folder + kBundleName;
  const auto copied = fileManager.copyItem(source, copy);
  if (copied.failed()) {
    zrrt::log(ZRLogLevel::eError, "Error duplicating latest app: %s", copied.description.c_str());
    return false;
  }
  platform::ItemAttributes attributes;
  attributes.immutable = false;
  attributes.permissions = kBundlePermissions;
  const auto reset = fileManager.setAttributes(copy, attributes);
  if (reset.failed()) {
    zrrt::log(ZRLogLevel::eError, "Couldn't reset file permissions: %s", reset.description.c_str());
  }
  return true;
}

bool swap(std::uint32_t buildNumber, const std::string& folder, const std::string& destination,
          platform::FileManager& fileManager) {
  zrrt::log(ZRLogLevel::eDebug, "Swapping app build %d to %s", static_cast<int>(buildNumber),
            urlText(destination).c_str());
  platform::ItemAttributes unlocked;
  unlocked.immutable = false;
  const auto reset = fileManager.setAttributes(destination, unlocked);
  if (reset.failed()) {
    zrrt::log(ZRLogLevel::eError, "Error resetting 'immutable' attribute of %s: %s", destination.c_str(),
              reset.description.c_str());
  }
  const auto replaced = fileManager.replaceItem(destination, folder + kBundleName, kBackupName);
  if (!replaced.failed()) return true;
  zrrt::log(ZRLogLevel::eError, "Error replacing app: %s (%zd)", replaced.description.c_str(),
            static_cast<ssize_t>(replaced.code));
  return false;
}

}  // namespace

std::optional<std::string> findInstallationFolder(const platform::FileManager& fileManager) {
  using platform::FolderDomain;
  auto folder = platform::applicationsFolder(FolderDomain::local);
  if (isUsable(fileManager, folder)) return folder;
  zrrt::log(ZRLogLevel::eWarning,
            "System Applications path not accessible, falling back on User Applications folder.");
  folder = platform::applicationsFolder(FolderDomain::user);
  if (isUsable(fileManager, folder)) return folder;
  zrrt::log(ZRLogLevel::eWarning, "User Applications path not accessible, falling back on Desktop folder.");
  folder = platform::desktopFolder();
  if (isUsable(fileManager, folder)) return folder;
  zrrt::log(ZRLogLevel::eError, "No suitable installation path found - aborting!");
  return std::nullopt;
}

std::int64_t installedBuildNumber(const std::string& folder) {
  platform::plist::Dictionary information;
  if (platform::bundleInformation(folder + kBundleName, information).failed()) {
    return std::numeric_limits<std::int64_t>::max();
  }
  const auto* version = platform::plist::find(information, "CFBundleVersion");
  return version != nullptr ? version->integerValue().value_or(0) : 0;
}

std::optional<std::string> makeReplacementFolder(platform::FileManager& fileManager,
                                                 const std::string& destination) {
  std::string folder;
  const auto error = fileManager.createReplacementFolder(destination, folder);
  if (!error.failed()) return folder;
  zrrt::log(ZRLogLevel::eError, "Error creating temporary directory: %s", error.description.c_str());
  return std::nullopt;
}

bool duplicateAndSwap(std::uint32_t buildNumber, const std::string& source,
                      const std::string& installationFolder, platform::FileManager& fileManager) {
  const std::string destination = installationFolder + kBundleName;
  const auto folder = makeReplacementFolder(fileManager, destination);
  if (!folder) return false;
  const bool swapped = duplicate(buildNumber, source, *folder, fileManager) &&
                       swap(buildNumber, *folder, destination, fileManager);
  // With it goes the temporary copy of a failed attempt; after a swap it is empty.
  const auto removed = fileManager.removeItem(*folder);
  if (removed.failed()) {
    zrrt::log(ZRLogLevel::eWarning, "Unable to remove temporary folder: %s", removed.description.c_str());
  }
  return swapped;
}

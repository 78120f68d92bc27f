#include "Code/MacOSX/MacMessengerUtilities.h"

#include <chrono>

#include "Code/Common/DeltaTree.h"
#include "Code/MacOSX/PrivateFolder.h"
#include "Code/MacOSX/ToolRun.h"
#include "platform/ApplicationRegistry.h"
#include "platform/CodeSignature.h"
#include "platform/Folders.h"
#include "platform/Path.h"
#include "platform/Printable.h"
#include "runtime/Applications/ZROsVersion.h"
#include "runtime/Code/ZRLog.h"

namespace {

using platform::Error;
using platform::FileManager;
using platform::FolderDomain;
using platform::ItemKind;
using platform::joinPath;

constexpr const char* kMessengerIdentifier = "com.korvane.vantora-messenger";
constexpr const char* kUnpackFolder = "/SecretFilePath";
constexpr std::chrono::seconds kUnzipLimit{600};
constexpr std::chrono::seconds kCodesignLimit{120};
constexpr const char* kGetTempFolder = "+[MacMessengerUtilities getTempFolder]";
constexpr const char* kMakeFolder = "+[MacMessengerUtilities makeFolderAtPath:]";
constexpr const char* kUnarchive = "+[MacMessengerUtilities unarchiveEndpoint:to:]";
constexpr const char* kVerify = "+[MacMessengerUtilities digitalSignatureVerified:]";
constexpr const char* kInstall = "+[MacMessengerUtilities unarchiveIntoApplicationsFolder:]";

/// Removes the item; a failure is logged with `format`, which takes its description.
[[gnu::format(printf, 4, 0)]] void removeLogged(FileManager& fileManager, const std::string& path,
                                                const char* function, const char* format) {
  if (const Error error = fileManager.removeItem(path)) {
    zrrt::logEntry(ZRLogLevel::eError, function, nullptr, format, error.description.c_str());
  }
}

std::vector<std::string> verificationArguments(const std::string& application) {
  if (isOsVersion(11, true)) return {"--verify", "--deep", "--strict=all", application};
  return {"--verify", "--deep", application};
}

/// The item's path in the folder; none when it could not be moved there.
std::optional<std::string> moveInto(FileManager& fileManager, const std::string& item,
                                    const std::optional<std::string>& folder) {
  if (!folder) return std::nullopt;
  std::string target = joinPath(*folder, platform::lastComponent(item));
  if (fileManager.moveItem(item, target).failed()) return std::nullopt;
  return target;
}

std::optional<std::string> moveIntoUsersApplications(FileManager& fileManager,
                                                     const std::string& application) {
  const auto folder = platform::applicationsFolder(FolderDomain::user);
  const bool exists = folder && MacMessengerUtilities::makeFolderAtPath(fileManager, *folder) !=
                                    MacMessengerUtilities::eFailed;
  auto installed = exists ? moveInto(fileManager, application, folder) : std::nullopt;
  if (!installed) {
    zrrt::logEntry(ZRLogLevel::eError, kInstall, nullptr,
                   "Moving the Messenger application into the \"~/Applications\" folder failed");
  }
  return installed;
}

std::optional<std::string> moveIntoApplications(FileManager& fileManager, const std::string& application) {
  auto installed = moveInto(fileManager, application, platform::applicationsFolder(FolderDomain::local));
  return installed ? installed : moveIntoUsersApplications(fileManager, application);
}

/// The application as the archive holds it, unpacked and verified.
std::optional<std::string> unpackApplication(FileManager& fileManager, const std::string& archive,
                                             const std::string& folder) {
  if (!MacMessengerUtilities::unarchiveEndpoint(fileManager, archive, folder)) return std::nullopt;
  auto application = MacMessengerUtilities::firstItemInFolder(fileManager, folder);
  if (!application) {
    zrrt::logEntry(ZRLogLevel::eError, kInstall, nullptr, "Unzip worked but found nothing!");
    return std::nullopt;
  }
  if (!MacMessengerUtilities::digitalSignatureVerified(fileManager, *application)) {
    zrrt::logEntry(ZRLogLevel::eError, kInstall, nullptr,
                   "Messenger application failed signature validation.");
    return std::nullopt;
  }
  return application;
}

}  // namespace

std::optional<std::string> MacMessengerUtilities::findMessenger() {
  using namespace platform::applications;
  auto found = isOsVersion(10, true) ? applicationsForBundleIdentifier(kMessengerIdentifier)
                                     : findApplication(kMessengerIdentifier);
  return found.paths.empty() ? std::nullopt : std::optional(std::move(found.paths.front()));
}

std::vector<platform::RunningApplication> MacMessengerUtilities::runningMessengerApps() {
  return platform::runningApplications(kMessengerIdentifier);
}

bool MacMessengerUtilities::isMessengerRunning() {
  return !runningMessengerApps().empty();
}

bool MacMessengerUtilities::isMessengerActive() {
  const auto running = runningMessengerApps();
  return !running.empty() && running.front().isActive;
}

std::optional<std::string> MacMessengerUtilities::downloadFolder() {
  const auto library = platform::libraryFolder();
  return library ? std::optional(joinPath(*library, "Application Support/KorvaneInc/Vantora")) : std::nullopt;
}

std::optional<std::string> MacMessengerUtilities::getTempFolder(const FileManager& fileManager) {
  auto folder = downloadFolder();
  if (!folder) {
    zrrt::logEntry(ZRLogLevel::eError, kGetTempFolder, nullptr, "Library path not found - aborting");
    return std::nullopt;
  }
  if (fileManager.itemKind(*folder) != ItemKind::folder) {
    zrrt::logEntry(ZRLogLevel::eError, kGetTempFolder, nullptr,
                   "Local download folder not found - aborting!");
    return std::nullopt;
  }
  if (!fileManager.isWritable(*folder)) {
    zrrt::logEntry(ZRLogLevel::eError, kGetTempFolder, nullptr,
                   "Local download folder inaccessible - aborting!");
    return std::nullopt;
  }
  return folder;
}

MacMessengerUtilities::FolderOutcome MacMessengerUtilities::makeFolderAtPath(FileManager& fileManager,
                                                                             const std::string& path) {
  if (fileManager.itemKind(path) != ItemKind::none) return eExisted;
  if (const Error error = fileManager.createFolder(path)) {
    zrrt::logEntry(ZRLogLevel::eError, kMakeFolder, nullptr, "Unable to create dir '%s': %s", path.c_str(),
                   error.description.c_str());
    return eFailed;
  }
  return eCreated;
}

bool MacMessengerUtilities::unarchiveEndpoint(FileManager& fileManager, const std::string& archive,
                                              const std::string& folder) {
  zrrt::logEntry(ZRLogLevel::eDebug, kUnarchive, nullptr, "Extracting endpoint archive at '%s'",
                 archive.c_str());
  const auto status = runTool({.name = "unzip",
                               .path = "/usr/bin/unzip",
                               .arguments = {"-q", archive},
                               .folder = folder,
                               .limit = kUnzipLimit},
                              kUnarchive);
  if (!status) return false;
  if (*status != 0) {
    zrrt::logEntry(ZRLogLevel::eError, kUnarchive, nullptr, "unzip failed, exit code %d", *status);
    return false;
  }
  removeLogged(fileManager, archive, kUnarchive, "Error removing messenger zip file: %s");
  return true;
}

std::optional<std::string> MacMessengerUtilities::firstItemInFolder(const FileManager& fileManager,
                                                                    const std::string& folder) {
  std::vector<std::string> names;
  if (fileManager.contentsOfFolder(folder, names).failed() || names.empty()) return std::nullopt;
  return joinPath(folder, names.front());
}

bool MacMessengerUtilities::digitalSignatureVerified(FileManager& fileManager,
                                                     const std::string& application) {
  zrrt::logEntry(ZRLogLevel::eDebug, kVerify, nullptr, "Verifying Digital Signature of '%s'",
                 platform::onOneLine(application).c_str());
  const auto status = runTool({.name = "codesign",
                               .path = platform::codeSignatureTool(),
                               .arguments = verificationArguments(application),
                               .limit = kCodesignLimit},
                              kVerify);
  if (!status) return false;
  if (*status != 0) {
    zrrt::logEntry(ZRLogLevel::eError, kVerify, nullptr, "failed, exit code %d", *status);
    removeLogged(fileManager, application, kVerify, "Error removing messenger application: %s");
    return false;
  }
  zrrt::logEntry(ZRLogLevel::eDebug, kVerify, nullptr, "Verifying Digital Signature Completed.");
  return true;
}

bool MacMessengerUtilities::unarchiveIntoApplicationsFolder(FileManager& fileManager,
                                                            const std::string& archive) {
  // What stands beside the archive under the unpack folder's name is somebody else's: ours are never there.
  const std::string parent = platform::parentFolder(archive);
  if (treeEntry(parent + kUnpackFolder) != TreeEntry::nothing) {
    zrrt::logEntry(ZRLogLevel::eWarning, kInstall, nullptr, "%s%s is in the way", parent.c_str(),
                   kUnpackFolder);
    return false;
  }
  PrivateFolder work(fileManager, parent);
  const std::string folder = work.path() + kUnpackFolder;
  if (!work.exists() || makeFolderAtPath(fileManager, folder) != eCreated) return false;
  const auto application = unpackApplication(fileManager, archive, folder);
  const auto installed = application ? moveIntoApplications(fileManager, *application) : std::nullopt;
  if (const Error error = work.remove()) {
    zrrt::logEntry(ZRLogLevel::eError, kInstall, nullptr, "Error removing the temp unzip dir: %s",
                   error.description.c_str());
  }
  if (!installed) return false;
  if (platform::applications::registerApplication(*installed).failed()) {
    zrrt::logEntry(ZRLogLevel::eError, kInstall, nullptr, "Could not register Messenger app.");
  }
  return true;
}

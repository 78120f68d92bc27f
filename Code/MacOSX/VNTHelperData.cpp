#include "Code/MacOSX/VNTHelperData.h"

#include "Code/Common/AgentVersion.h"
#include "Code/Common/DelayArithmetic.h"
#include "Code/Common/ServerConfiguration.h"
#include "Code/MacOSX/PreferenceKeys.h"
#include "Code/MacOSX/ProductSettings.h"
#include "platform/Clock.h"
#include "platform/Folders.h"
#include "platform/LaunchAgent.h"
#include "platform/Path.h"
#include "platform/Random.h"
#include "runtime/Code/ZRLog.h"

namespace plist = platform::plist;
using platform::joinPath;

namespace {

constexpr HelperNames kCurrent = {.displayName = "VNTUpdate",
                                  .launchAgentLabel = "com.korvane.Vantora.VNTUpdate",
                                  .launchAgentPlist = "LaunchAgents/com.korvane.Vantora.VNTUpdate.plist",
                                  .preferencesDomain = "com.korvane.VNTUpdate",
                                  .preferencesPlist = "Preferences/com.korvane.VNTUpdate.plist",
                                  .executableFolder = "Application Support/KorvaneInc/Vantora/VNTUpdate"};
constexpr HelperNames kOldBranded = {
    .displayName = "VNTUpdate (old-branded)",
    .launchAgentLabel = "com.halvardonline.Vantora.VNTUpdate",
    .launchAgentPlist = "LaunchAgents/com.halvardonline.Vantora.VNTUpdate.plist",
    .preferencesDomain = "com.halvardonline.VNTUpdate",
    .preferencesPlist = "Preferences/com.halvardonline.VNTUpdate.plist",
    .executableFolder = "Application Support/HalvardOnline/Vantora/VNTUpdate"};

bool exists(const std::string& path) {
  return platform::defaultFileManager().itemKind(path) != platform::ItemKind::none;
}

/// The preferences' date of the next check; one that is no date counts as missing.
platform::Date firstUpdateCheck(const plist::Dictionary& preferences) {
  const plist::Value* stored = plist::find(preferences, preference::kNextUpdateCheck);
  const auto* date = stored != nullptr ? stored->as<platform::Date>() : nullptr;
  if (date != nullptr) return *date;
  const auto delay = delaySeconds(1, 2, kSecondsPerDay, platform::random32());
  return platform::now() + platform::Seconds(delay);
}

void logBuildNumber(const char* name, const std::string& plistPath, int& buildNumber) {
  plist::Dictionary preferences;
  if (plist::readDictionary(plistPath, preferences)) {
    zrrt::logEntry(ZRLogLevel::eInformation, "isVNTHelperInstalled", nullptr,
                   "Error reading installed %s prefs at %s", name, plistPath.c_str());
    return;
  }
  const plist::Value* stored = plist::find(preferences, preference::kVNTBuildNumber);
  if (stored == nullptr) {
    zrrt::logEntry(ZRLogLevel::eInformation, "isVNTHelperInstalled", nullptr,
                   "%s prefs does not contain VNTBuildNumber", name);
    return;
  }
  buildNumber = static_cast<int>(stored->integerValue().value_or(0));
  zrrt::logEntry(ZRLogLevel::eInformation, "isVNTHelperInstalled", nullptr, "installed %s build is %d", name,
                 buildNumber);
}

ZRResult removeFile(platform::FileManager& fileManager, const std::string& path) {
  const auto error = fileManager.removeItem(path);
  if (!error.failed()) return ZRError::eNoError;
  zrrt::log(ZRLogLevel::eError, "%s - Unable to remove '%s': %s", "removeFile", path.c_str(),
            error.description.c_str());
  const ZRResult result(ZRError::eSomeError, "Unable to remove '%s': error code = %zd", path.c_str(),
                        static_cast<ssize_t>(error.code));
  zrReport(ZRLogLevel::eError, result, "Error returned", ZR_HERE);
  return result;
}

ZRResult removePreferencesAndExecutable(const VNTHelperData& helper, platform::FileManager& fileManager,
                                        const std::string& library) {
  if (removeFile(fileManager, joinPath(library, helper.preferencesPlist())).isFailure()) {
    zrrt::log(ZRLogLevel::eError, "unable to remove %s prefs plist", helper.displayName());
    return ZRError::eNoAccess;
  }
  if (removeFile(fileManager, joinPath(library, helper.executableFolder())).isFailure()) {
    zrrt::log(ZRLogLevel::eError, "unable to remove %s executable", helper.displayName());
    return ZRError::eNoAccess;
  }
  return ZRError::eNoError;
}

/// What the session keeps of the launch agent beside its plist. Without the plist it starts nothing, so what
/// cannot be removed is only litter. It takes its time, so it comes when the rest is done: a run that is
/// ended in the middle leaves an agent that nothing starts again, and that must be rare.
void removeRegistration(const VNTHelperData& helper) {
  const auto error = platform::removeLaunchAgent(helper.launchAgentLabel());
  if (!error.failed()) return;
  zrrt::logEntry(ZRLogLevel::eWarning, "uninstallVNTHelper", nullptr,
                 "unable to remove %s launch agent registration: %s", helper.displayName(),
                 error.description.c_str());
}

}  // namespace

VNTUpdateData::VNTUpdateData() : VNTUpdateData(kCurrent) {}

VNTUpdateOldBrandedData::VNTUpdateOldBrandedData() : VNTUpdateData(kOldBranded) {}

ZRResult VNTUpdateData::getHelperPrefs(const std::string& plistPath, plist::Dictionary& preferences) const {
  plist::Dictionary read;
  if (plist::readDictionary(plistPath, read)) {
    zrrt::log(ZRLogLevel::eError, "%s - Error reading prefs plist at %s", "getHelperPrefs",
              plistPath.c_str());
    return ZRError::eNotFound;
  }
  const platform::Date firstCheck = firstUpdateCheck(read);
  zrrt::log(ZRLogLevel::eInformation, "First Update Check at %s", platform::describe(firstCheck).c_str());
  ZRString url;
  if (readRegistryString(setting::kUpdateInfoURL, url).isFailure())
    url = configuration::kDefaultUpdateInfoUrl;
  read.insert_or_assign(preference::kNextUpdateCheck, firstCheck);
  read.insert_or_assign(preference::kUpdateInfoURL, url.str());
  read.insert_or_assign(preference::kVNTBuildNumber, static_cast<int>(kAgentBuildNumber));
  preferences = std::move(read);
  return ZRError::eNoError;
}

const VNTUpdateData gVNTUpdateData;
const VNTUpdateOldBrandedData gVNTUpdateOldBrandedData;

bool isVNTHelperInstalled(const VNTHelperData& helper, int& buildNumber) {
  buildNumber = -1;
  const char* name = helper.displayName();
  const auto library = platform::libraryFolder();
  if (!library) {
    zrrt::logEntry(ZRLogLevel::eError, "isVNTHelperInstalled", nullptr, "%s - Library path not found", name);
    return false;
  }
  const std::string plistPath = joinPath(*library, helper.preferencesPlist());
  if (!exists(joinPath(*library, helper.launchAgentPlist())) || !exists(plistPath) ||
      !exists(joinPath(*library, helper.executableFolder()))) {
    zrrt::logEntry(ZRLogLevel::eInformation, "isVNTHelperInstalled", nullptr, "%s is not installed", name);
    return false;
  }
  zrrt::logEntry(ZRLogLevel::eInformation, "isVNTHelperInstalled", nullptr, "%s is installed", name);
  logBuildNumber(name, plistPath, buildNumber);
  return true;
}

ZRResult uninstallVNTHelper(const VNTHelperData& helper, platform::FileManager& fileManager) {
  int buildNumber = 0;
  if (!isVNTHelperInstalled(helper, buildNumber)) return ZRError::eNoError;
  const auto library = platform::libraryFolder();
  if (!library) {
    zrrt::logEntry(ZRLogLevel::eError, "uninstallVNTHelper", nullptr, "Destination library path not found");
    return ZRError::eNotFound;
  }
  const char* name = helper.displayName();
  if (removeFile(fileManager, joinPath(*library, helper.launchAgentPlist())).isFailure()) {
    zrrt::log(ZRLogLevel::eError, "unable to remove %s launch agent plist", name);
    return ZRError::eNoAccess;
  }
  const ZRResult removed = removePreferencesAndExecutable(helper, fileManager, *library);
  removeRegistration(helper);
  if (removed.isSuccess()) zrrt::log(ZRLogLevel::eInformation, "%s has been uninstalled", name);
  return removed;
}

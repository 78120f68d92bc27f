#include "Code/MacOSX/VNTHelperData.h"

#include "Code/Common/AgentVersion.h"
#include "Code/Common/ServerConfiguration.h"
#include "Code/MacOSX/VNTUpdate/DelayArithmetic.h"
#include "platform/Clock.h"
#include "platform/Folders.h"
#include "platform/LaunchAgent.h"
#include "platform/Random.h"
#include "runtime/Code/ZRLog.h"
#include "runtime/Registry/ZRRegEntry.h"

namespace plist = platform::plist;

const VNTUpdateData gVNTUpdateData;
const VNTUpdateOldBrandedData gVNTUpdateOldBrandedData;

namespace {

constexpr const char* kNextUpdateCheckKey = "NextUpdateCheck";
constexpr const char* kBuildNumberKey = "VNTBuildNumber";
constexpr const char* kUpdateInfoUrlName = "UpdateInfoURL";
constexpr const char* kMessengerWasInstalledName = "MessengerWasInstalled";

bool exists(const std::string& path) {
  return platform::defaultFileManager().itemKind(path) != platform::ItemKind::none;
}

/// The preferences' date of the next check; one that is no date counts as missing.
platform::Date firstUpdateCheck(const plist::Dictionary& preferences) {
  const plist::Value* stored = plist::find(preferences, kNextUpdateCheckKey);
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
  const plist::Value* stored = plist::find(preferences, kBuildNumberKey);
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
  if (removeFile(fileManager, library + "/" + helper.preferencesPlist()).isFailure()) {
    zrrt::log(ZRLogLevel::eError, "unable to remove %s prefs plist", helper.displayName());
    return ZRError::eNoAccess;
  }
  if (removeFile(fileManager, library + "/" + helper.executableFolder()).isFailure()) {
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

/// Whether an administrator rolled this computer out.
bool isAdministrated() {
  ZRClearEntry entry;
  ZRString type;
  return entry.open(settingsKeyPath(configuration::kProductSuffix), ZRRegEntry::eAllUsersThisHost)
             .isSuccess() &&
         entry.getString("AdminType", type).isSuccess() && type == "ServerTQS";
}

ZRResult openSettings(ZRClearEntry& entry) {
  return entry.open(settingsKeyPath(configuration::kProductSuffix), ZRRegEntry::eCurrentUserThisHost);
}

}  // namespace

const char* VNTUpdateData::displayName() const {
  return "VNTUpdate";
}
const char* VNTUpdateData::launchAgentLabel() const {
  return "com.korvane.Vantora.VNTUpdate";
}
const char* VNTUpdateData::launchAgentPlist() const {
  return "LaunchAgents/com.korvane.Vantora.VNTUpdate.plist";
}
const char* VNTUpdateData::preferencesDomain() const {
  return "com.korvane.VNTUpdate";
}
const char* VNTUpdateData::preferencesPlist() const {
  return "Preferences/com.korvane.VNTUpdate.plist";
}
const char* VNTUpdateData::executableFolder() const {
  return "Application Support/KorvaneInc/Vantora/VNTUpdate";
}

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
  if (readRegistryString(kUpdateInfoUrlName, url).isFailure()) url = configuration::kDefaultUpdateInfoUrl;
  read.insert_or_assign(kNextUpdateCheckKey, firstCheck);
  read.insert_or_assign(kUpdateInfoUrlName, url.str());
  read.insert_or_assign(kBuildNumberKey, static_cast<int>(kAgentBuildNumber));
  preferences = std::move(read);
  return ZRError::eNoError;
}

const char* VNTUpdateOldBrandedData::displayName() const {
  return "VNTUpdate (old-branded)";
}
const char* VNTUpdateOldBrandedData::forwardedName() const {
  return displayName();
}
const char* VNTUpdateOldBrandedData::launchAgentLabel() const {
  return "com.halvardonline.Vantora.VNTUpdate";
}
const char* VNTUpdateOldBrandedData::launchAgentPlist() const {
  return "LaunchAgents/com.halvardonline.Vantora.VNTUpdate.plist";
}
const char* VNTUpdateOldBrandedData::preferencesDomain() const {
  return "com.halvardonline.VNTUpdate";
}
const char* VNTUpdateOldBrandedData::preferencesPlist() const {
  return "Preferences/com.halvardonline.VNTUpdate.plist";
}
const char* VNTUpdateOldBrandedData::executableFolder() const {
  return "Application Support/HalvardOnline/Vantora/VNTUpdate";
}

bool isVNTHelperInstalled(const VNTHelperData& helper, int& buildNumber) {
  buildNumber = -1;
  const char* name = helper.displayName();
  const auto library = platform::libraryFolder();
  if (!library) {
    zrrt::logEntry(ZRLogLevel::eError, "isVNTHelperInstalled", nullptr, "%s - Library path not found", name);
    return false;
  }
  const std::string plistPath = *library + "/" + helper.preferencesPlist();
  if (!exists(*library + "/" + helper.launchAgentPlist()) || !exists(plistPath) ||
      !exists(*library + "/" + helper.executableFolder())) {
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
  if (removeFile(fileManager, *library + "/" + helper.launchAgentPlist()).isFailure()) {
    zrrt::log(ZRLogLevel::eError, "unable to remove %s launch agent plist", name);
    return ZRError::eNoAccess;
  }
  const ZRResult removed = removePreferencesAndExecutable(helper, fileManager, *library);
  removeRegistration(helper);
  if (removed.isSuccess()) zrrt::log(ZRLogLevel::eInformation, "%s has been uninstalled", name);
  return removed;
}

ZRResult readRegistryString(const char* name, ZRString& value) {
  // Both kinds of computers read the user's value; the distinction is asked for and has no effect here.
  static_cast<void>(isAdministrated());
  ZRClearEntry entry;
  ZR_RETURN_FAILURE(openSettings(entry));
  return entry.getString(name, value);
}

ZRResult writeRegistryString(const char* name, const ZRString& value) {
  ZRClearEntry entry;
  ZR_RETURN_FAILURE(openSettings(entry));
  return entry.setString(name, value);
}

ZRResult getMessengerWasInstalled(bool& wasInstalled) {
  ZRClearEntry entry;
  ZR_RETURN_FAILURE(openSettings(entry));
  ZRString text;
  ZRResult result = entry.getString(kMessengerWasInstalledName, text);
  if (result.code() == ZRError::eNoError) wasInstalled = text == "true";
  if (result.code() != ZRError::eInvalidType) return result;
  // Other programs of the product store a boolean or a number.
  result = entry.getBoolean(kMessengerWasInstalledName, wasInstalled);
  if (result.code() != ZRError::eInvalidType) return result;
  double number = 0;
  result = entry.getNumber(kMessengerWasInstalledName, number);
  if (result.code() == ZRError::eNoError) wasInstalled = number != 0;
  return result;
}

ZRResult setMessengerWasInstalled(bool wasInstalled) {
  const ZRResult result = writeRegistryString(kMessengerWasInstalledName, wasInstalled ? "true" : "false");
  if (result.isFailure()) {
    zrrt::logEntry(ZRLogLevel::eError, "setMessengerWasInstalled", nullptr,
                   "failed to set MessengerWasInstalled");
  }
  return result;
}

ZRString settingsKeyPath(const ZRString& productSuffix) {
  const ZRString path = "Software/KorvaneInc/Vantora";
  return productSuffix.isEmpty() ? path : path + " " + productSuffix;
}

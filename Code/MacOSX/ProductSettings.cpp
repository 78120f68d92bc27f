#include "Code/MacOSX/ProductSettings.h"

#include "Code/Common/ServerConfiguration.h"
#include "runtime/Code/ZRLog.h"
#include "runtime/Registry/ZRRegEntry.h"

namespace {

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
  ZRResult result = entry.getString(setting::kMessengerWasInstalled, text);
  if (result.code() == ZRError::eNoError) wasInstalled = text == "true";
  if (result.code() != ZRError::eInvalidType) return result;
  // Other programs of the product store a boolean or a number.
  result = entry.getBoolean(setting::kMessengerWasInstalled, wasInstalled);
  if (result.code() != ZRError::eInvalidType) return result;
  double number = 0;
  result = entry.getNumber(setting::kMessengerWasInstalled, number);
  if (result.code() == ZRError::eNoError) wasInstalled = number != 0;
  return result;
}

ZRResult setMessengerWasInstalled(bool wasInstalled) {
  const ZRResult result =
      writeRegistryString(setting::kMessengerWasInstalled, wasInstalled ? "true" : "false");
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

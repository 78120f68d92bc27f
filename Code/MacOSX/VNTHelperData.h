#pragma once

#include <string>

#include "platform/FileManager.h"
#include "platform/PropertyList.h"
#include "runtime/Code/ZRResult.h"

/// An identity under which a helper is installed in the user's Library folder: a launch agent, a preferences
/// file and a folder with the executable. Paths are relative to the Library folder.
class VNTHelperData {
 public:
  virtual ~VNTHelperData() = default;
  [[nodiscard]] virtual const char* displayName() const = 0;
  /// The name under which other programs show the helper: its display name, unless an identity has another.
  [[nodiscard]] virtual const char* forwardedName() const { return displayName(); }
  [[nodiscard]] virtual const char* launchAgentLabel() const = 0;
  [[nodiscard]] virtual const char* launchAgentPlist() const = 0;
  [[nodiscard]] virtual const char* preferencesDomain() const = 0;
  [[nodiscard]] virtual const char* preferencesPlist() const = 0;
  [[nodiscard]] virtual const char* executableFolder() const = 0;
  /// The preferences in the file at `plistPath`, completed: a first check in one to two days unless there is
  /// a date, the address of the update info, and the build number of this agent. Writes nothing. Fails:
  /// eNotFound when the file cannot be read.
  virtual ZRResult getHelperPrefs(const std::string& plistPath,
                                  platform::plist::Dictionary& preferences) const = 0;
  [[nodiscard]] virtual bool isInstalledPerUser() const = 0;
};

/// The current identity.
class VNTUpdateData : public VNTHelperData {
 public:
  [[nodiscard]] const char* displayName() const override;
  [[nodiscard]] const char* launchAgentLabel() const override;
  [[nodiscard]] const char* launchAgentPlist() const override;
  [[nodiscard]] const char* preferencesDomain() const override;
  [[nodiscard]] const char* preferencesPlist() const override;
  [[nodiscard]] const char* executableFolder() const override;
  ZRResult getHelperPrefs(const std::string& plistPath,
                          platform::plist::Dictionary& preferences) const override;
  [[nodiscard]] bool isInstalledPerUser() const override { return true; }
};

/// What releases under the maker's former name left behind.
class VNTUpdateOldBrandedData : public VNTUpdateData {
 public:
  [[nodiscard]] const char* displayName() const override;
  [[nodiscard]] const char* forwardedName() const override;
  [[nodiscard]] const char* launchAgentLabel() const override;
  [[nodiscard]] const char* launchAgentPlist() const override;
  [[nodiscard]] const char* preferencesDomain() const override;
  [[nodiscard]] const char* preferencesPlist() const override;
  [[nodiscard]] const char* executableFolder() const override;
};

extern const VNTUpdateData gVNTUpdateData;
extern const VNTUpdateOldBrandedData gVNTUpdateOldBrandedData;

/// Whether launch agent, preferences file and executable folder all exist. `buildNumber` is what the
/// preferences file says, -1 when it says nothing.
[[nodiscard]] bool isVNTHelperInstalled(const VNTHelperData& helper, int& buildNumber);

/// Removes launch agent, preferences file and executable folder, in this order and up to the first failure. A
/// helper that is not (wholly) installed is left alone, with success. With the launch agent goes what the
/// session keeps of it; that this fails is logged and stops nothing.
/// Fails: eNotFound without a Library folder; eNoAccess when an item cannot be removed.
ZRResult uninstallVNTHelper(const VNTHelperData& helper,
                            platform::FileManager& fileManager = platform::defaultFileManager());

/// A text of the product's settings (current user, current host).
/// Fails: eNotFound, eInvalidType.
ZRResult readRegistryString(const char* name, ZRString& value);
/// Fails: eIOError when the preferences service could not write.
ZRResult writeRegistryString(const char* name, const ZRString& value);

/// Whether the Messenger was installed or found once. `wasInstalled` is set only with eNoError.
/// Fails: eNotFound, eInvalidType.
ZRResult getMessengerWasInstalled(bool& wasInstalled);
/// A failure is logged here.
ZRResult setMessengerWasInstalled(bool wasInstalled);

/// The settings' key path: "Software/KorvaneInc/Vantora", then a blank and the suffix unless it is empty.
[[nodiscard]] ZRString settingsKeyPath(const ZRString& productSuffix);

#pragma once

#include <string>

#include "platform/FileManager.h"
#include "platform/PropertyList.h"
#include "runtime/Code/ZRResult.h"

/// The texts of an identity. Paths are relative to the user's Library folder.
struct HelperNames {
  const char* displayName;
  const char* launchAgentLabel;
  const char* launchAgentPlist;
  const char* preferencesDomain;
  const char* preferencesPlist;
  const char* executableFolder;
};

/// An identity under which a helper is installed in the user's Library folder: a launch agent, a preferences
/// file and a folder with the executable.
class VNTHelperData {
 public:
  virtual ~VNTHelperData() = default;
  [[nodiscard]] virtual const char* displayName() const { return _names.displayName; }
  [[nodiscard]] virtual const char* launchAgentLabel() const { return _names.launchAgentLabel; }
  [[nodiscard]] virtual const char* launchAgentPlist() const { return _names.launchAgentPlist; }
  [[nodiscard]] virtual const char* preferencesPlist() const { return _names.preferencesPlist; }
  [[nodiscard]] virtual const char* executableFolder() const { return _names.executableFolder; }
  /// The preferences in the file at `plistPath`, completed: a first check in one to two days unless there is
  /// a date, the address of the update info, and the build number of this agent. Writes nothing. Fails:
  /// eNotFound when the file cannot be read.
  virtual ZRResult getHelperPrefs(const std::string& plistPath,
                                  platform::plist::Dictionary& preferences) const = 0;

  // What no run calls.

  /// The name under which other programs show the helper.
  [[nodiscard]] virtual const char* forwardedName() const { return displayName(); }
  [[nodiscard]] virtual const char* preferencesDomain() const { return _names.preferencesDomain; }
  [[nodiscard]] virtual bool isInstalledPerUser() const = 0;

 protected:
  /// `names` outlives it.
  explicit VNTHelperData(const HelperNames& names) : _names(names) {}

 private:
  const HelperNames& _names;
};

/// The current identity.
class VNTUpdateData : public VNTHelperData {
 public:
  VNTUpdateData();
  ZRResult getHelperPrefs(const std::string& plistPath,
                          platform::plist::Dictionary& preferences) const override;
  [[nodiscard]] bool isInstalledPerUser() const override { return true; }

 protected:
  using VNTHelperData::VNTHelperData;
};

/// What releases under the maker's former name left behind.
class VNTUpdateOldBrandedData : public VNTUpdateData {
 public:
  VNTUpdateOldBrandedData();
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

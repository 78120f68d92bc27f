#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "platform/Preferences.h"
#include "runtime/Code/ZRMemBlock.h"
#include "runtime/Code/ZRResult.h"
#include "runtime/Threads/ZRMutex.h"

/// An open key of the settings registry: named values under a path "Software/<company>/<product>/...", kept
/// in the system preferences service. One mutex of the process serialises all reads and writes of all
/// entries.
///
/// Reading never creates anything. All reading operations fail with eNotFound (no such value), eInvalidType
/// (a value of another type, or a number that the asked type cannot hold exactly) or eNotInitialized (the
/// entry is not open).
class ZRRegEntry {
 public:
  /// Whose values: any other number than 0 and 2 means the current user on this host.
  enum Scope : std::uint32_t {
    eAllUsersThisHost = 0,
    eCurrentUserThisHost = 1,
    eAllUsersAnyHost = 2,
  };

  virtual ~ZRRegEntry() = default;
  ZRRegEntry(const ZRRegEntry&) = delete;
  ZRRegEntry& operator=(const ZRRegEntry&) = delete;

  /// Maps the path onto an application of the preferences service and a prefix of its keys:
  /// "Software/KorvaneInc/Vantora/Sub/Key" onto "com.korvane.Vantora" and "Sub/Key". Creates nothing.
  ZRResult open(const ZRString& keyPath, std::uint32_t scope);

  [[nodiscard]] const ZRString& keyPath() const { return _keyPath; }
  [[nodiscard]] std::uint32_t scope() const { return _scope; }
  [[nodiscard]] const ZRString& application() const { return _application; }
  [[nodiscard]] const ZRString& keyPrefix() const { return _keyPrefix; }

  /// T is one of std::int32_t, std::uint32_t, std::int64_t, std::uint64_t, float and double. `value` is set
  /// on success only.
  template <typename T>
  ZRResult getNumber(const ZRString& name, T& value) const;
  /// `value` is set on success only.
  ZRResult getBoolean(const ZRString& name, bool& value) const;
  /// `value` is `defaultValue` after a failure.
  ZRResult getString(const ZRString& name, ZRString& value, const ZRString& defaultValue = {}) const;

  /// Stores the value where other processes see it at once.
  /// Fails: eIOError when the preferences service could not write; eNotInitialized.
  ZRResult setValue(const ZRString& name, const platform::plist::Value& value);
  ZRResult setString(const ZRString& name, const ZRString& value);

  // What no run calls.
  /// The lines of a string value; none after a failure.
  ZRResult getStringList(const ZRString& name, std::vector<ZRString>& values) const;
  /// `value` is `defaultValue` after a failure.
  ZRResult getData(const ZRString& name, ZRMemBlock& value, const ZRMemBlock& defaultValue = {}) const;
  /// Always eNoError, also for a value that is not there; what the preferences service could not write is
  /// logged.
  ZRResult deleteValue(const ZRString& name);

  /// The names of this key's own values, and the names of the keys below it, in ascending order.
  ZRResult enumerateValues(std::vector<ZRString>& names) const;
  ZRResult enumerateKeys(std::vector<ZRString>& names) const;

 protected:
  using StoredValue = std::optional<platform::plist::Value>;

  ZRRegEntry() = default;

  /// How a value is kept under a preferences key. Called with the registry mutex held.
  [[nodiscard]] virtual StoredValue readStored(const std::string& key,
                                               const platform::preferences::Scope& scope) const = 0;
  /// No value removes it.
  virtual void writeStored(const std::string& key, const StoredValue& value,
                           const platform::preferences::Scope& scope) = 0;

  /// "Mutex to protect registry file": around every read and write.
  [[nodiscard]] static ZRThreadMutex& registryMutex();
  /// "Mutex to protect cached system bound key": for entries that encrypt what they store.
  [[nodiscard]] static ZRThreadMutex& systemBoundKeyMutex();

 private:
  [[nodiscard]] std::string preferencesKey(const ZRString& name) const;
  ZRResult read(const ZRString& name, StoredValue& value) const;
  ZRResult write(const ZRString& name, const StoredValue& value);
  [[nodiscard]] std::vector<ZRString> keysBelowPrefix() const;
  void mapKeyPath();
  [[nodiscard]] bool mapBelowRoot();

  ZRString _keyPath;
  std::uint32_t _scope = eCurrentUserThisHost;
  ZRString _application;
  platform::preferences::Scope _preferences;  ///< the application again, with user and host of the scope
  ZRString _keyPrefix;
};

/// The entry that stores its values as they are, not encrypted.
class ZRClearEntry final : public ZRRegEntry {
 public:
  ZRClearEntry() = default;

 protected:
  [[nodiscard]] StoredValue readStored(const std::string& key,
                                       const platform::preferences::Scope& scope) const override;
  void writeStored(const std::string& key, const StoredValue& value,
                   const platform::preferences::Scope& scope) override;
};

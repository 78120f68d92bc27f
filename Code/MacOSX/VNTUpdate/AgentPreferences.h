#pragma once

#include <optional>
#include <string>

#include "Code/MacOSX/PreferenceKeys.h"
#include "platform/Clock.h"
#include "platform/FileManager.h"
#include "platform/PropertyList.h"

/// The agent's preference file, as a whole in memory. What the agent does not know in it survives every save.
class AgentPreferences {
 public:
  /// Reads the preference file of the user's Library folder. None, logged, when there is none or it cannot
  /// be read.
  [[nodiscard]] static std::optional<AgentPreferences> read(const platform::FileManager& fileManager);

  [[nodiscard]] const std::string& plistPath() const { return _plistPath; }
  [[nodiscard]] const platform::plist::Dictionary& params() const { return _params; }

  /// The values; none, with a warning in the log, when a value has another type.
  [[nodiscard]] std::optional<platform::Date> date(const char* key) const;
  [[nodiscard]] std::optional<std::string> text(const char* key) const;
  [[nodiscard]] std::optional<std::int32_t> integer(const char* key) const;
  [[nodiscard]] std::optional<bool> boolean(const char* key) const;

  /// Not written before `save`.
  void setValue(const std::string& key, platform::plist::Value value);
  /// Writes the file atomically.
  platform::Error save() const;

 private:
  /// The value as `of` takes it; none, with a warning in the log, when that has no answer.
  template <typename Answer>
  [[nodiscard]] std::optional<Answer> value(const char* key,
                                            std::optional<Answer> (*of)(const platform::plist::Value&)) const;

  AgentPreferences(std::string plistPath, platform::plist::Dictionary params)
      : _plistPath(std::move(plistPath)), _params(std::move(params)) {}

  std::string _plistPath;
  platform::plist::Dictionary _params;
};

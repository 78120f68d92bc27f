#pragma once

#include <optional>
#include <string>

#include "Code/Common/UpdateInfoParser.h"
#include "Code/MacOSX/VNTUpdate/AgentPreferences.h"
#include "Code/MacOSX/VNTUpdate/EngineSettings.h"
#include "Code/MacOSX/VNTUpdate/UpdateSchedule.h"

/// Gets the update info document.
class UpdateInfoRetrieval {
 public:
  UpdateInfoRetrieval(AgentPreferences& preferences, UpdateSchedule& schedule, const EngineSettings& settings)
      : _preferences(preferences),
        _schedule(schedule),
        _settings(settings),
        _updateInfoURL(settings.updateInfoURL) {}

  /// What the document says: the file "config.json" of the temporary folder, else what the server answers,
  /// over one redirect at most. A document from the server also sets the schedule. None, logged with the
  /// reason, when there is no usable document.
  [[nodiscard]] std::optional<UpdateInfo> getUpdateInfo();

  // What no run calls.

  [[nodiscard]] const std::string& updateInfoURL() const { return _updateInfoURL; }
  void setUpdateInfoURL(std::string url) { _updateInfoURL = std::move(url); }

 private:
  enum class Answer { document, redirect, failure };

  [[nodiscard]] bool useLocalDocument();
  [[nodiscard]] Answer fetchDocument(bool redirected, std::string& newLocation);
  [[nodiscard]] std::optional<std::string> downloadDocument() const;
  [[nodiscard]] Answer parseDocument(const std::string& body, std::string& newLocation);
  void rememberLocation();
  void adoptSettings();

  AgentPreferences& _preferences;
  UpdateSchedule& _schedule;
  const EngineSettings& _settings;
  UpdateInfoParser _parser;
  std::string _updateInfoURL;
};

/// The address to ask, of the one stored in the preferences (none: there is none): one that may not be used
/// is replaced by the default, which is logged.
[[nodiscard]] std::string usableUpdateInfoURL(const std::optional<std::string>& stored);

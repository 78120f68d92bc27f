#pragma once

#include <optional>
#include <string>

#include "Code/Common/UpdateInfoParser.h"
#include "Code/MacOSX/VNTUpdate/AgentPreferences.h"
#include "Code/MacOSX/VNTUpdate/EngineSettings.h"
#include "Code/MacOSX/VNTUpdate/UpdateSchedule.h"

/// Gets the update info document into the parser.
class UpdateInfoRetrieval {
 public:
  UpdateInfoRetrieval(AgentPreferences& preferences, UpdateSchedule& schedule, UpdateInfoParser& parser,
                      const EngineSettings& settings)
      : _preferences(preferences), _schedule(schedule), _parser(parser), _settings(settings) {}

  /// Takes the address from the preferences; one that may not be used is replaced by the default for this
  /// run.
  void load();

  /// Whether the parser holds a usable document: the file "config.json" of the temporary folder, else what
  /// the server answers, over one redirect at most. A document from the server also sets the schedule. The
  /// answer no is logged with its reason.
  [[nodiscard]] bool getUpdateInfo();

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
  UpdateInfoParser& _parser;
  const EngineSettings& _settings;
  std::string _updateInfoURL;
};

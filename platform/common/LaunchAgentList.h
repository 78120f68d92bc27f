#pragma once

#include <string>

#include "platform/LaunchAgent.h"
#include "platform/PropertyList.h"

/// The property list of a launch agent. Its keys are those of launchd.plist(5).
namespace platform {

/// Whether the text can be a label: it names files.
[[nodiscard]] bool isAgentLabel(const std::string& text);

/// Whether the text can stand in a property list and on one line of a configuration file as it is.
[[nodiscard]] bool isPlainText(const std::string& text);

/// Whether the agent can be written: a label, an absolute program path, plain arguments, an interval.
[[nodiscard]] bool isValidAgent(const LaunchAgent& agent);

[[nodiscard]] plist::Value agentList(const LaunchAgent& agent);

}  // namespace platform

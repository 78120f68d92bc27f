#include "platform/common/LaunchAgentList.h"

#include <algorithm>
#include <cctype>

#include "platform/common/PropertyListFormats.h"

namespace platform {
namespace {

constexpr std::int64_t kReadCorruptError = 3840;

Error malformedAgent(const std::string& path) {
  return {kCocoaErrorDomain, kReadCorruptError, path + ": The property list describes no launch agent."};
}

bool readArguments(const plist::Dictionary& list, std::vector<std::string>& arguments) {
  const plist::Value* words = plist::find(list, "ProgramArguments");
  if (words != nullptr) {
    const auto* array = words->as<plist::Array>();
    if (array == nullptr) return false;
    for (const auto& word : *array) {
      const auto* text = word.as<std::string>();
      if (text == nullptr) return false;
      arguments.push_back(*text);
    }
  }
  if (const plist::Value* program = plist::find(list, "Program")) {
    const auto* text = program->as<std::string>();
    if (text == nullptr) return false;
    arguments.resize(std::max<std::size_t>(1, arguments.size()));
    arguments.front() = *text;
  }
  return !arguments.empty();
}

bool readAgent(const plist::Dictionary& list, LaunchAgent& agent) {
  const plist::Value* label = plist::find(list, "Label");
  const auto* labelText = label != nullptr ? label->as<std::string>() : nullptr;
  if (labelText == nullptr || !readArguments(list, agent.arguments)) return false;
  agent.label = *labelText;
  const plist::Value* interval = plist::find(list, "StartInterval");
  const auto* seconds = interval != nullptr ? interval->as<std::int64_t>() : nullptr;
  if (seconds != nullptr) agent.interval = std::chrono::seconds(*seconds);
  return interval == nullptr || (seconds != nullptr && *seconds > 0);
}

}  // namespace

bool isAgentLabel(const std::string& text) {
  const auto isAllowed = [](char c) {
    return isalnum(static_cast<unsigned char>(c)) != 0 || c == '.' || c == '_' || c == '-';
  };
  return !text.empty() && text.front() != '.' && std::all_of(text.begin(), text.end(), isAllowed);
}

bool isPlainText(const std::string& text) {
  return plist::xmlText(text) == text && std::none_of(text.begin(), text.end(), [](char c) {
           return static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
         });
}

bool isValidAgent(const LaunchAgent& agent) {
  return isAgentLabel(agent.label) && !agent.arguments.empty() && agent.arguments.front().starts_with('/') &&
         std::all_of(agent.arguments.begin(), agent.arguments.end(), isPlainText) &&
         agent.interval.count() > 0;
}

plist::Value agentList(const LaunchAgent& agent) {
  plist::Array arguments(agent.arguments.begin(), agent.arguments.end());
  return plist::Dictionary{{"Label", agent.label},
                           {"ProgramArguments", std::move(arguments)},
                           {"StartInterval", static_cast<std::int64_t>(agent.interval.count())},
                           {"RunAtLoad", true}};
}

Error readLaunchAgent(const std::string& path, LaunchAgent& agent) {
  plist::Dictionary list;
  if (auto error = plist::readDictionary(path, list)) return error;
  LaunchAgent found;
  if (!readAgent(list, found)) return malformedAgent(path);
  agent = std::move(found);
  return {};
}

}  // namespace platform

#include "platform/LaunchAgent.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>

#include "platform/FileContents.h"
#include "platform/FileManager.h"
#include "platform/Folders.h"
#include "platform/Path.h"
#include "platform/Process.h"
#include "platform/PropertyList.h"
#include "platform/common/PropertyListFormats.h"
#include "platform/linux/Roots.h"

namespace platform {
namespace {

constexpr std::chrono::seconds kManagerLimit{10};
constexpr std::int64_t kReadCorruptError = 3840;

/// The files of one agent.
struct AgentFiles {
  std::string plist;
  std::string service;
  std::string timer;
  std::string timerLink;  ///< makes the user manager start the timer with the session
};

/// Text that both the plist and a line of a unit file hold as it is.
bool isPlainText(const std::string& text) {
  return plist::xmlText(text) == text && std::none_of(text.begin(), text.end(), [](char c) {
           return static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
         });
}

/// A label names files and units.
bool isLabel(const std::string& text) {
  const auto isAllowed = [](char c) {
    return isalnum(static_cast<unsigned char>(c)) != 0 || c == '.' || c == '_' || c == '-';
  };
  return !text.empty() && text.front() != '.' && std::all_of(text.begin(), text.end(), isAllowed);
}

Error filesOf(const std::string& label, AgentFiles& files) {
  if (!isLabel(label)) return posixError(EINVAL, label);
  const auto library = libraryFolder();
  const auto configuration = baseFolder("XDG_CONFIG_HOME", ".config");
  if (!library || !configuration) return posixError(ENOENT, label);
  const std::string units = joinPath(*configuration, "systemd/user/");
  files = {joinPath(*library, "LaunchAgents/" + label + ".plist"), units + label + ".service",
           units + label + ".timer", units + "timers.target.wants/" + label + ".timer"};
  return {};
}

plist::Value plistOf(const LaunchAgent& agent) {
  plist::Array arguments(agent.arguments.begin(), agent.arguments.end());
  return plist::Dictionary{{"Label", agent.label},
                           {"ProgramArguments", std::move(arguments)},
                           {"StartInterval", static_cast<std::int64_t>(agent.interval.count())},
                           {"RunAtLoad", true}};
}

/// In a unit file "%" begins a specifier.
std::string withoutSpecifiers(const std::string& text) {
  std::string result;
  for (const char c : text) {
    if (c == '%') result += '%';
    result += c;
  }
  return result;
}

/// One word of a command line in a unit file, where "$" begins a variable.
std::string quotedWord(const std::string& text) {
  std::string result = "\"";
  for (const char c : withoutSpecifiers(text)) {
    if (c == '"' || c == '\\') result += '\\';
    if (c == '$') result += '$';
    result += c;
  }
  return result + "\"";
}

std::string serviceUnit(const LaunchAgent& agent, const AgentFiles& files) {
  // A unit's own program may not have every name that a file can have; the shell's argument may.
  std::string command = R"(/bin/sh -c "exec \"$$0\" \"$$@\"")";
  for (const auto& argument : agent.arguments)
    command += " " + quotedWord(argument);
  // Without its plist the agent counts as removed, as it does where the plist itself is what starts it.
  return "[Unit]\nDescription=" + agent.label + "\nConditionPathExists=" + withoutSpecifiers(files.plist) +
         "\n\n[Service]\nType=oneshot\nExecStart=" + command + "\n";
}

std::string timerUnit(const LaunchAgent& agent) {
  return "[Unit]\nDescription=" + agent.label +
         "\n\n[Timer]\nOnActiveSec=1s\nOnUnitActiveSec=" + std::to_string(agent.interval.count()) +
         "s\nUnit=" + agent.label + ".service\n\n[Install]\nWantedBy=timers.target\n";
}

Error writeInFolder(const std::string& path, const std::string& text) {
  if (auto error = defaultFileManager().createFolder(parentFolder(path))) return error;
  return writeFileAtomically(path, text);
}

Error removeIfThere(const std::string& path) {
  return unlink(path.c_str()) == 0 || errno == ENOENT || errno == ENOTDIR ? Error{} : posixError(errno, path);
}

Error linkTimer(const AgentFiles& files) {
  if (auto error = defaultFileManager().createFolder(parentFolder(files.timerLink))) return error;
  if (auto error = removeIfThere(files.timerLink)) return error;
  const std::string target = "../" + lastComponent(files.timer);
  return symlink(target.c_str(), files.timerLink.c_str()) == 0 ? Error{} : posixError(errno, files.timerLink);
}

/// Whether a user manager runs that reads the files which are written here: it goes by the account's home
/// folder, whatever this process's environment says.
bool isManagerReachable() {
  const char* runtimeFolder = getenv("XDG_RUNTIME_DIR");
  return runtimeFolder != nullptr && homeFolder() == accountHomeFolder() &&
         access(joinPath(runtimeFolder, "systemd/private").c_str(), W_OK) == 0;
}

/// The files decide at the next session in any case, so an outcome has no bearing here.
void tellManager(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), {"--user", "--quiet", "--no-block"});
  process::SpawnRequest request;
  request.path = "systemctl";
  request.arguments = std::move(arguments);
  request.environment = process::currentEnvironment();
  request.searchPath = true;
  process::ProcessId child = 0;
  if (process::spawn(request, child)) return;
  process::WaitOutcome outcome = process::WaitOutcome::timedOut;
  const Error error = process::waitForExit(child, kManagerLimit, outcome);
  if (error || outcome == process::WaitOutcome::timedOut) static_cast<void>(process::sendKill(child));
  while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
  }
}

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

Error installLaunchAgent(const LaunchAgent& agent) {
  AgentFiles files;
  if (auto error = filesOf(agent.label, files)) return error;
  const bool valid = !agent.arguments.empty() && agent.arguments.front().starts_with('/') &&
                     std::all_of(agent.arguments.begin(), agent.arguments.end(), isPlainText) &&
                     isPlainText(files.plist) && agent.interval.count() > 0;
  if (!valid) return posixError(EINVAL, agent.label);

  if (auto error = writeInFolder(files.service, serviceUnit(agent, files))) return error;
  if (auto error = writeInFolder(files.timer, timerUnit(agent))) return error;
  if (auto error = linkTimer(files)) return error;
  if (auto error = defaultFileManager().createFolder(parentFolder(files.plist))) return error;
  if (auto error = plist::write(files.plist, plistOf(agent))) return error;
  if (isManagerReachable()) {
    tellManager({"daemon-reload"});
    tellManager({"restart", agent.label + ".timer"});
  }
  return {};
}

Error removeLaunchAgent(const std::string& label) {
  AgentFiles files;
  if (auto error = filesOf(label, files)) return error;
  Error first;
  for (const auto& path : {files.plist, files.timerLink, files.timer, files.service}) {
    const Error error = removeIfThere(path);
    if (!first.failed()) first = error;
  }
  if (isManagerReachable()) {
    tellManager({"stop", label + ".timer"});
    tellManager({"daemon-reload"});
  }
  return first;
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

#include "platform/LaunchAgent.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "platform/FileContents.h"
#include "platform/FileManager.h"
#include "platform/Path.h"
#include "platform/common/LaunchAgentFiles.h"
#include "platform/common/LaunchAgentList.h"
#include "platform/linux/Roots.h"

namespace platform {
namespace {

/// The files of one agent.
struct AgentFiles {
  std::string plist;
  std::string service;
  std::string timer;
  std::string timerLink;  ///< makes the user manager start the timer with the session
};

Error filesOf(const std::string& label, AgentFiles& files) {
  std::string plist;
  if (auto error = findAgentList(label, plist)) return error;
  const auto configuration = baseFolder("XDG_CONFIG_HOME", ".config");
  if (!configuration) return posixError(ENOENT, label);
  const std::string units = joinPath(*configuration, "systemd/user/");
  files = {plist, units + label + ".service", units + label + ".timer",
           units + "timers.target.wants/" + label + ".timer"};
  return {};
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
    command += ' ' + quotedWord(argument);
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

Error linkTimer(const AgentFiles& files) {
  if (auto error = defaultFileManager().createFolder(parentFolder(files.timerLink))) return error;
  if (auto error = removeIfThere(files.timerLink)) return error;
  const std::string target = "../" + lastComponent(files.timer);
  return symlink(target.c_str(), files.timerLink.c_str()) == 0 ? Error{} : posixError(errno, files.timerLink);
}

/// Whether a user manager runs that reads the files which are written here.
bool isManagerReachable() {
  const char* runtimeFolder = getenv("XDG_RUNTIME_DIR");
  return runtimeFolder != nullptr && isReadBySession() &&
         access(joinPath(runtimeFolder, "systemd/private").c_str(), W_OK) == 0;
}

void tellUserManager(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), {"--user", "--quiet", "--no-block"});
  process::SpawnRequest request;
  request.path = "systemctl";
  request.arguments = std::move(arguments);
  request.environment = process::currentEnvironment();
  request.searchPath = true;
  tellManager(request);
}

}  // namespace

Error installLaunchAgent(const LaunchAgent& agent) {
  AgentFiles files;
  if (auto error = filesOf(agent.label, files)) return error;
  if (!isValidAgent(agent) || !isPlainText(files.plist)) return posixError(EINVAL, agent.label);

  if (auto error = writeInFolder(files.service, serviceUnit(agent, files))) return error;
  if (auto error = writeInFolder(files.timer, timerUnit(agent))) return error;
  if (auto error = linkTimer(files)) return error;
  if (auto error = writeAgentList(files.plist, agent)) return error;
  if (isManagerReachable()) {
    tellUserManager({"daemon-reload"});
    tellUserManager({"restart", agent.label + ".timer"});
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
    tellUserManager({"stop", label + ".timer"});
    tellUserManager({"daemon-reload"});
  }
  return first;
}

}  // namespace platform

#include "platform/LaunchAgent.h"

#include <spawn.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "platform/common/LaunchAgentFiles.h"
#include "platform/common/LaunchAgentList.h"

namespace platform {
namespace {

constexpr const char* kLaunchctl = "/bin/launchctl";

/// Has launchd forget the agent ($1, of the domain $3) once it does not run: what launchd forgets, it ends,
/// and that may be the caller. A plist that is there again ($2) is another installation's. It goes on after
/// the caller, which only waits for it to be under way.
constexpr const char* kForgetOnceEnded = R"((
  while [ ! -e "$2" ] && job=$(/bin/launchctl list "$1"); do
    case $job in
      *'"PID" ='*) sleep 2 ;;
      *) exec /bin/launchctl bootout "$3/$1" ;;
    esac
  done
) &)";

/// The user's graphical session, as launchd names it.
std::string sessionDomain() {
  return "gui/" + std::to_string(getuid());
}

void runTool(const char* path, std::vector<std::string> arguments, const process::StreamPlan& streams) {
  process::SpawnRequest request;
  request.path = path;
  request.arguments = std::move(arguments);
  request.environment = process::toolEnvironment();
  request.streams = streams;
  tellManager(request);
}

void load(const std::string& label, const std::string& plist) {
  runTool(kLaunchctl, {"bootout", sessionDomain() + "/" + label}, process::kNullStreams);
  runTool(kLaunchctl, {"bootstrap", sessionDomain(), plist}, process::kNullStreams);
}

/// In a process group of its own: launchd ends what is left of an agent's when the agent has ended.
void forgetOnceEnded(const std::string& label, const std::string& plist) {
  process::StreamPlan streams = process::kNullStreams;
  streams.flags = POSIX_SPAWN_SETPGROUP;
  runTool("/bin/sh", {"-c", kForgetOnceEnded, "sh", label, plist, sessionDomain()}, streams);
}

}  // namespace

Error installLaunchAgent(const LaunchAgent& agent) {
  std::string plist;
  if (auto error = findAgentList(agent.label, plist)) return error;
  if (!isValidAgent(agent) || !isPlainText(plist)) return posixError(EINVAL, agent.label);
  if (auto error = writeAgentList(plist, agent)) return error;
  if (isReadBySession()) load(agent.label, plist);
  return {};
}

Error removeLaunchAgent(const std::string& label) {
  std::string plist;
  if (auto error = findAgentList(label, plist)) return error;
  Error removed = removeIfThere(plist);
  if (isReadBySession()) forgetOnceEnded(label, plist);
  return removed;
}

}  // namespace platform

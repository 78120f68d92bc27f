#include "platform/common/LaunchAgentFiles.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

#include "platform/FileManager.h"
#include "platform/Folders.h"
#include "platform/Path.h"
#include "platform/PropertyList.h"
#include "platform/common/AccountHome.h"
#include "platform/common/LaunchAgentList.h"

namespace platform {
namespace {

constexpr std::chrono::seconds kManagerLimit{10};

}  // namespace

Error findAgentList(const std::string& label, std::string& path) {
  if (!isAgentLabel(label)) return posixError(EINVAL, label);
  const auto library = libraryFolder();
  if (!library) return posixError(ENOENT, label);
  path = joinPath(*library, "LaunchAgents/" + label + ".plist");
  return {};
}

Error writeAgentList(const std::string& path, const LaunchAgent& agent) {
  if (auto error = defaultFileManager().createFolder(parentFolder(path))) return error;
  return plist::write(path, agentList(agent));
}

Error removeIfThere(const std::string& path) {
  return unlink(path.c_str()) == 0 || errno == ENOENT || errno == ENOTDIR ? Error{} : posixError(errno, path);
}

bool isReadBySession() {
  return homeFolder() == accountHomeFolder();
}

void tellManager(const process::SpawnRequest& tool) {
  process::ProcessId child = 0;
  if (process::spawn(tool, child)) return;
  process::WaitOutcome outcome = process::WaitOutcome::timedOut;
  const Error error = process::waitForExit(child, kManagerLimit, outcome);
  if (error || outcome == process::WaitOutcome::timedOut) static_cast<void>(process::sendKill(child));
  while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
  }
}

}  // namespace platform

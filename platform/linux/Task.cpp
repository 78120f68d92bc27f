#include "platform/Task.h"

#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <cerrno>
#include <thread>
#include <utility>

#include "platform/Error.h"

namespace platform {
namespace {

[[noreturn]] void refuseLaunch(const std::string& what, int error) {
  throw LaunchException("NSInvalidArgumentException", posixError(error, what).description);
}

/// A folder is told apart from the tool here: after the spawn both are just "not found".
void requireFolder(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) refuseLaunch(path, errno);
  if (!S_ISDIR(status.st_mode)) refuseLaunch(path, ENOTDIR);
}

}  // namespace

LaunchException::LaunchException(std::string name, std::string reason)
    : _name(std::move(name)), _reason(std::move(reason)) {}

Task::Task(std::string toolPath, std::vector<std::string> toolArguments)
    : launchPath(std::move(toolPath)), arguments(std::move(toolArguments)) {}

Task::~Task() {
  if (!isRunning()) return;
  ::kill(_pid, SIGKILL);
  waitUntilExit();
}

void Task::launch() {
  if (_pid >= 0) throw LaunchException("NSInvalidArgumentException", "task already launched");
  if (!currentFolder.empty()) requireFolder(currentFolder);
  process::SpawnRequest request;
  request.path = launchPath;
  request.arguments = arguments;
  request.environment = environment;
  request.workingFolder = currentFolder;
  request.streams = process::kNullStreams;
  process::ProcessId child = -1;
  if (const auto failure = process::spawn(request, child)) refuseLaunch(launchPath, failure.number);
  _pid = child;
}

bool Task::isRunning() {
  if (_pid >= 0 && !_ended) collect(false);
  return _pid >= 0 && !_ended;
}

void Task::waitUntilExit() {
  if (_pid >= 0 && !_ended) collect(true);
}

bool Task::waitForExit(std::chrono::milliseconds limit) {
  if (!isRunning()) return true;
  process::WaitOutcome outcome = process::WaitOutcome::timedOut;
  const auto failure = process::waitForExit(_pid, limit, outcome);
  // Without a watch (no descriptor is free, say) the time is spent asleep.
  const bool isUnwatched = failure ? failure.number != ESRCH : outcome == process::WaitOutcome::unexpected;
  if (isUnwatched) std::this_thread::sleep_for(limit);
  return !isRunning();
}

void Task::terminate() {
  if (isRunning()) ::kill(_pid, SIGTERM);
}

void Task::collect(bool wait) {
  int status = 0;
  pid_t collected;
  do {
    collected = ::waitpid(_pid, &status, wait ? 0 : WNOHANG);
  } while (collected < 0 && errno == EINTR);
  if (collected == 0) return;
  _ended = true;
  // Somebody else collected it: how it ended is not known, so it did not end well.
  _status = collected < 0 ? 255 : WIFSIGNALED(status) ? WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace platform

#include "platform/Task.h"

#include <signal.h>
#include <sys/wait.h>

#include <cerrno>
#include <thread>
#include <utility>

#include "platform/Error.h"
#include "platform/common/TaskLaunch.h"

namespace platform {

/// The child process from the launch on.
struct Task::Child {
  process::ProcessId pid = -1;
  int status = 0;
  bool hasEnded = false;

  void collect(bool wait);
};

void Task::Child::collect(bool wait) {
  int ending = 0;
  pid_t collected;
  do {
    collected = ::waitpid(pid, &ending, wait ? 0 : WNOHANG);
  } while (collected < 0 && errno == EINTR);
  if (collected == 0) return;
  hasEnded = true;
  // Somebody else collected it: how it ended is not known, so it did not end well.
  status = collected < 0 ? 255 : WIFSIGNALED(ending) ? WTERMSIG(ending) : WEXITSTATUS(ending);
}

Task::Task(std::string toolPath, std::vector<std::string> toolArguments)
    : launchPath(std::move(toolPath)), arguments(std::move(toolArguments)) {}

Task::~Task() {
  if (!isRunning()) return;
  ::kill(_child->pid, SIGKILL);
  waitUntilExit();
}

void Task::launch() {
  if (_child) throw LaunchException("NSInvalidArgumentException", "task already launched");
  if (!currentFolder.empty()) requireFolder(currentFolder);
  process::SpawnRequest request;
  request.path = launchPath;
  request.arguments = arguments;
  request.environment = environment;
  request.workingFolder = currentFolder;
  request.streams = process::kNullStreams;
  auto child = std::make_unique<Child>();
  if (const Error error = process::spawn(request, child->pid)) {
    refuseLaunch(launchPath, static_cast<int>(error.code));
  }
  _child = std::move(child);
}

bool Task::isRunning() {
  if (_child && !_child->hasEnded) _child->collect(false);
  return _child && !_child->hasEnded;
}

void Task::waitUntilExit() {
  if (_child && !_child->hasEnded) _child->collect(true);
}

bool Task::waitForExit(std::chrono::milliseconds limit) {
  if (!isRunning()) return true;
  process::WaitOutcome outcome = process::WaitOutcome::timedOut;
  const Error error = process::waitForExit(_child->pid, limit, outcome);
  // Without a watch (no descriptor is free, say) the time is spent asleep.
  const bool isUnwatched = error ? error.code != ESRCH : outcome == process::WaitOutcome::unexpected;
  if (isUnwatched) std::this_thread::sleep_for(limit);
  return !isRunning();
}

void Task::terminate() {
  if (isRunning()) ::kill(_child->pid, SIGTERM);
}

int Task::terminationStatus() const {
  return _child ? _child->status : 0;
}

}  // namespace platform

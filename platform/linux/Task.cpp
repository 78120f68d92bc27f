#include "platform/Task.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

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

/// What the child does before it becomes the tool. The first step that cannot be noted is kept as the error.
class FileActions {
 public:
  FileActions() { note(posix_spawn_file_actions_init(&_actions)); }
  ~FileActions() { posix_spawn_file_actions_destroy(&_actions); }
  FileActions(const FileActions&) = delete;
  FileActions& operator=(const FileActions&) = delete;

  void nullDevice(int target, int mode) {
    note(posix_spawn_file_actions_addopen(&_actions, target, "/dev/null", mode, 0));
  }
  void changeFolder(const std::string& path) {
    note(posix_spawn_file_actions_addchdir_np(&_actions, path.c_str()));
  }
  void closeTheRest() { note(posix_spawn_file_actions_addclosefrom_np(&_actions, STDERR_FILENO + 1)); }
  [[nodiscard]] const posix_spawn_file_actions_t* get() const { return &_actions; }
  [[nodiscard]] int error() const { return _error; }

 private:
  void note(int error) {
    if (_error == 0) _error = error;
  }

  posix_spawn_file_actions_t _actions;
  int _error = 0;
};

}  // namespace

LaunchException::LaunchException(std::string name, std::string reason)
    : _name(std::move(name)), _reason(std::move(reason)) {}

void Task::launch() {
  if (_pid >= 0) throw LaunchException("NSInvalidArgumentException", "task already launched");
  FileActions actions;
  if (withoutInput) actions.nullDevice(STDIN_FILENO, O_RDONLY);
  if (discardsOutput) {
    actions.nullDevice(STDOUT_FILENO, O_WRONLY);
    actions.nullDevice(STDERR_FILENO, O_WRONLY);
  }
  if (!currentFolder.empty()) {
    requireFolder(currentFolder);
    actions.changeFolder(currentFolder);
  }
  actions.closeTheRest();
  if (actions.error() != 0) refuseLaunch(launchPath, actions.error());

  std::vector<std::string> texts{launchPath};
  texts.insert(texts.end(), arguments.begin(), arguments.end());
  std::vector<char*> pointers;
  for (std::string& text : texts)
    pointers.push_back(text.data());
  pointers.push_back(nullptr);

  pid_t child = -1;
  const int error = posix_spawn(&child, launchPath.c_str(), actions.get(), nullptr, pointers.data(), environ);
  if (error != 0) refuseLaunch(launchPath, error);
  _pid = child;
}

bool Task::isRunning() {
  if (_pid >= 0 && !_ended) collect(false);
  return _pid >= 0 && !_ended;
}

void Task::waitUntilExit() {
  if (_pid >= 0 && !_ended) collect(true);
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

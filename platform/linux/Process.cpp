#include "platform/Process.h"

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <memory>

#include "platform/common/FileDescriptor.h"
#include "platform/common/ProcessEnvironment.h"
#include "platform/common/ProcessSpawn.h"
#include "platform/common/ProcessWait.h"
#include "platform/common/Timespec.h"

namespace platform::process {
namespace {

/// One descriptor may serve as output and as error; a standard one that was filled before is not a spare
/// copy.
bool isNeededLater(const StreamPlan& plan, int target) {
  const int descriptor = plan.descriptors[static_cast<std::size_t>(target)];
  const auto later = plan.descriptors.begin() + target + 1;
  return descriptor <= target ||
         std::find(later, plan.descriptors.end(), descriptor) != plan.descriptors.end();
}

Error fill(int target, const StreamPlan& plan, FileActions& actions) {
  const int descriptor = plan.descriptors[static_cast<std::size_t>(target)];
  if (descriptor == target) return {};
  if (descriptor == -1) return actions.close(target);
  if (descriptor == kNullDevice) return actions.openNullDevice(target);
  if (Error error = actions.duplicate(descriptor, target)) return error;
  return isNeededLater(plan, target) ? Error{} : actions.close(descriptor);
}

Error fillStreams(const StreamPlan& plan, FileActions& actions) {
  for (int target = 0; target < static_cast<int>(plan.descriptors.size()); ++target) {
    if (Error error = fill(target, plan, actions)) return error;
  }
  return {};
}

Error changeFolder(const std::string& path, FileActions& actions) {
  return systemCallError("posix_spawn_file_actions_addchdir_np",
                         posix_spawn_file_actions_addchdir_np(actions.get(), path.c_str()));
}

Error closeTheRest(FileActions& actions) {
  return systemCallError("posix_spawn_file_actions_addclose",
                         posix_spawn_file_actions_addclosefrom_np(actions.get(), kFirstOwnDescriptor));
}

Error prepare(const SpawnRequest& request, FileActions& actions, SpawnAttributes& attributes) {
  if (Error error = actions.initialised()) return error;
  if (Error error = attributes.initialised()) return error;
  if (Error error = attributes.set(flagsOf(request))) return error;
  if (request.streams) {
    if (Error error = fillStreams(*request.streams, actions)) return error;
  }
  if (!request.workingFolder.empty()) {
    if (Error error = changeFolder(request.workingFolder, actions)) return error;
  }
  return closeTheRest(actions);
}

Error spawnRunning(const SpawnRequest& request, const ProgramVectors& vectors, ProcessId& child) {
  FileActions actions;
  SpawnAttributes attributes;
  if (Error error = prepare(request, actions, attributes)) return error;
  return spawnProgram(request, vectors, actions, attributes, child);
}

// -------------------------------------------------------------------------------------- suspended start

// What follows runs in the child of a fork, where only calls are safe that a signal handler may make.

bool openNullDevice(int target) {
  const int opened = ::open(kNullPath, O_RDWR | O_CLOEXEC);
  if (opened < 0) return false;
  if (opened == target) return ::fcntl(target, F_SETFD, 0) == 0;
  const bool placed = ::dup2(opened, target) == target;
  ::close(opened);
  return placed;
}

/// posix_spawn refuses a descriptor that is not open, and so does this.
bool arrangeStreams(const StreamPlan& plan) {
  for (int target = 0; target < static_cast<int>(plan.descriptors.size()); ++target) {
    const int descriptor = plan.descriptors[static_cast<std::size_t>(target)];
    if (descriptor == target) continue;
    if (descriptor == -1) {
      ::close(target);
    } else if (descriptor == kNullDevice) {
      if (!openNullDevice(target)) return false;
    } else if (::dup2(descriptor, target) < 0) {
      return false;
    }
  }
  return true;
}

/// The attributes that the flags select hold their defaults: a process group of its own, the real user.
bool applyFlags(std::uint16_t flags) {
  return ((flags & POSIX_SPAWN_SETSID) == 0 || ::setsid() >= 0) &&
         ((flags & POSIX_SPAWN_SETPGROUP) == 0 || ::setpgid(0, 0) == 0) &&
         ((flags & POSIX_SPAWN_RESETIDS) == 0 || (::setegid(::getgid()) == 0 && ::seteuid(::getuid()) == 0));
}

void resetSignals() {
  for (int signal = 1; signal < NSIG; ++signal)
    ::signal(signal, SIG_DFL);  // fails for those that nobody can change
  sigset_t none;
  sigemptyset(&none);
  ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

/// Answers only when the program could not be executed.
void executeTraced(const SpawnRequest& request, const ProgramVectors& vectors) {
  resetSignals();
  if (request.streams && !(applyFlags(request.streams->flags) && arrangeStreams(*request.streams))) return;
  if (!request.workingFolder.empty() && ::chdir(request.workingFolder.c_str()) != 0) return;
  ::close_range(kFirstOwnDescriptor, ~0U, CLOSE_RANGE_CLOEXEC);
  if (::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) return;
  if (request.searchPath) {
    ::execvpe(request.path.c_str(), vectors.arguments.data(), vectors.environment.data());
  } else {
    ::execve(request.path.c_str(), vectors.arguments.data(), vectors.environment.data());
  }
}

[[noreturn]] void becomeTracedProgram(const SpawnRequest& request, const ProgramVectors& vectors,
                                      int reportTo) {
  // The plan may fill a standard descriptor, and the report must not be in its place.
  reportTo = ::fcntl(reportTo, F_DUPFD_CLOEXEC, kFirstOwnDescriptor);
  executeTraced(request, vectors);
  const int error = errno;
  static_cast<void>(::write(reportTo, &error, sizeof error) == 0);  // nobody is left to tell if this fails
  ::_exit(127);
}

int waitForChild(ProcessId child, int& status) {
  int collected;
  do {
    collected = ::waitpid(child, &status, 0);
  } while (collected < 0 && errno == EINTR);
  return collected;
}

/// The errno value that the child reported; 0 when the exec closed the pipe.
int readExecError(int pipe) {
  int error = 0;
  ssize_t bytes;
  do {
    bytes = ::read(pipe, &error, sizeof error);
  } while (bytes < 0 && errno == EINTR);
  return bytes == static_cast<ssize_t>(sizeof error) ? error : 0;
}

/// The same flags are refused as for a program that runs at once.
Error checkFlags(std::uint16_t flags) {
  SpawnAttributes attributes;
  if (Error error = attributes.initialised()) return error;
  return attributes.set(flags);
}

/// Lets a traced child go, stopped; one that cannot be is ended.
Error detachStopped(ProcessId child) {
  if (::ptrace(PTRACE_DETACH, child, nullptr, SIGSTOP) == 0) return {};
  const int error = errno;
  int status = 0;
  ::kill(child, SIGKILL);
  waitForChild(child, status);
  return systemCallError("posix_spawn", error);
}

/// The program is executed under trace, so that it stops before its first instruction, and let go stopped.
Error spawnStopped(const SpawnRequest& request, const ProgramVectors& vectors, ProcessId& child) {
  if (Error error = checkFlags(flagsOf(request))) return error;
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) return systemCallError("posix_spawn", errno);
  const FileDescriptor readEnd(ends[0]);
  FileDescriptor writeEnd(ends[1]);
  const pid_t forked = ::fork();
  if (forked < 0) return systemCallError("posix_spawn", errno);
  if (forked == 0) becomeTracedProgram(request, vectors, ends[1]);

  writeEnd.close();
  const int execError = readExecError(readEnd.get());
  int status = 0;
  waitForChild(forked, status);
  if (execError != 0) return systemCallError("posix_spawn", execError);
  if (!WIFSTOPPED(status)) return systemCallError("posix_spawn", ECHILD);
  child = forked;
  return detachStopped(forked);
}

bool isNumber(const char* text) {
  return *text != '\0' && std::all_of(text, text + std::char_traits<char>::length(text),
                                      [](char c) { return c >= '0' && c <= '9'; });
}

}  // namespace

Error spawn(const SpawnRequest& request, ProcessId& child) {
  const ProgramVectors vectors(request);
  return request.startSuspended ? spawnStopped(request, vectors, child)
                                : spawnRunning(request, vectors, child);
}

Error waitForExit(ProcessId child, std::optional<std::chrono::milliseconds> limit, WaitOutcome& outcome) {
  const FileDescriptor watch(static_cast<int>(::syscall(SYS_pidfd_open, child, 0)));
  if (watch.get() < 0) {
    const bool isAboutProcess = errno == ESRCH || errno == EINVAL;
    return systemCallError(isAboutProcess ? "kevent" : "kqueue", errno);
  }
  const Deadline deadline = deadlineAfter(limit);
  pollfd entry{watch.get(), POLLIN, 0};
  const timespec time = limit ? toTimespec(*limit) : timespec{};
  int ready;
  do {
    ready = ::ppoll(&entry, 1, limit ? &time : nullptr, nullptr);
  } while (ready < 0 && errno == EINTR);
  if (ready < 0) return systemCallError("kevent", errno);
  if (ready == 0) {
    outcome = WaitOutcome::timedOut;
  } else if ((entry.revents & POLLIN) == 0) {
    outcome = WaitOutcome::unexpected;
  } else {
    // A tracer (a debugger, say) learns of the end first, and the child is ours only when it lets it go.
    outcome = waitForCollection(P_PIDFD, static_cast<id_t>(watch.get()), deadline);
  }
  return {};
}

Error listProcesses(std::vector<ProcessId>& processes) {
  const std::unique_ptr<DIR, int (*)(DIR*)> folder(::opendir("/proc"), ::closedir);
  if (!folder) return systemCallError("sysctl", errno);
  processes.clear();
  while (const dirent* entry = ::readdir(folder.get())) {
    if (isNumber(entry->d_name))
      processes.push_back(static_cast<ProcessId>(std::strtol(entry->d_name, nullptr, 10)));
  }
  return {};
}

Error executablePath(ProcessId process, std::string& path) {
  std::string buffer(PATH_MAX, '\0');
  const std::string link = "/proc/" + std::to_string(process) + "/exe";
  const ssize_t length = ::readlink(link.c_str(), buffer.data(), buffer.size());
  if (length < 0) return systemCallError("proc_pidpath", errno == ENOENT ? ESRCH : errno);
  path = buffer.substr(0, static_cast<std::size_t>(length));
  return {};
}

std::vector<std::string> currentEnvironment() {
  return entriesOf(environ);
}

std::vector<std::string> toolEnvironment() {
  return toolEnvironmentIn("C.UTF-8");
}

}  // namespace platform::process

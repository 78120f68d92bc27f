#include "platform/Process.h"

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <memory>
#include <thread>

#include "platform/common/FileDescriptor.h"

namespace platform::process {
namespace {

constexpr int kFirstOwnDescriptor = 3;
constexpr const char* kNullPath = "/dev/null";
constexpr auto kTracerPause = std::chrono::milliseconds(1);

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts)
    pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

/// The argument and environment vectors of a new program; they own their texts.
struct ProgramVectors {
  explicit ProgramVectors(const SpawnRequest& request) : environmentTexts(request.environment) {
    argumentTexts.push_back(request.path);
    argumentTexts.insert(argumentTexts.end(), request.arguments.begin(), request.arguments.end());
    arguments = pointersTo(argumentTexts);
    environment = pointersTo(environmentTexts);
  }

  std::vector<std::string> argumentTexts;
  std::vector<std::string> environmentTexts;
  std::vector<char*> arguments;
  std::vector<char*> environment;
};

// ------------------------------------------------------------------------------------------- posix_spawn

class FileActions {
 public:
  FileActions() : _initError(posix_spawn_file_actions_init(&_actions)) {}
  ~FileActions() {
    if (_initError == 0) posix_spawn_file_actions_destroy(&_actions);
  }
  FileActions(const FileActions&) = delete;
  FileActions& operator=(const FileActions&) = delete;

  [[nodiscard]] Error initialised() const {
    return systemCallError("posix_spawn_file_actions_init", _initError);
  }

  Error add(const StreamPlan& plan) {
    for (int target = 0; target < static_cast<int>(plan.descriptors.size()); ++target) {
      if (Error error = fill(target, plan)) return error;
    }
    return {};
  }

  Error changeFolder(const std::string& path) {
    return systemCallError("posix_spawn_file_actions_addchdir_np",
                           posix_spawn_file_actions_addchdir_np(&_actions, path.c_str()));
  }

  Error closeTheRest() {
    const int error = posix_spawn_file_actions_addclosefrom_np(&_actions, kFirstOwnDescriptor);
    return systemCallError("posix_spawn_file_actions_addclose", error);
  }

  [[nodiscard]] const posix_spawn_file_actions_t* get() const { return &_actions; }

 private:
  /// One descriptor may serve as output and as error; a standard one that was filled before is not a spare
  /// copy.
  static bool isNeededLater(const StreamPlan& plan, int target) {
    const int descriptor = plan.descriptors[static_cast<std::size_t>(target)];
    const auto later = plan.descriptors.begin() + target + 1;
    return descriptor <= target ||
           std::find(later, plan.descriptors.end(), descriptor) != plan.descriptors.end();
  }

  Error fill(int target, const StreamPlan& plan) {
    const int descriptor = plan.descriptors[static_cast<std::size_t>(target)];
    if (descriptor == target) return {};
    if (descriptor == -1) return close(target);
    if (descriptor == kNullDevice) {
      const int error = posix_spawn_file_actions_addopen(&_actions, target, kNullPath, O_RDWR, 0);
      return systemCallError("posix_spawn_file_actions_addopen", error);
    }
    if (const int error = posix_spawn_file_actions_adddup2(&_actions, descriptor, target)) {
      return systemCallError("posix_spawn_file_actions_adddup2", error);
    }
    return isNeededLater(plan, target) ? Error{} : close(descriptor);
  }

  Error close(int descriptor) {
    return systemCallError("posix_spawn_file_actions_addclose",
                           posix_spawn_file_actions_addclose(&_actions, descriptor));
  }

  posix_spawn_file_actions_t _actions;
  int _initError;
};

class SpawnAttributes {
 public:
  SpawnAttributes() : _initError(posix_spawnattr_init(&_attributes)) {}
  ~SpawnAttributes() {
    if (_initError == 0) posix_spawnattr_destroy(&_attributes);
  }
  SpawnAttributes(const SpawnAttributes&) = delete;
  SpawnAttributes& operator=(const SpawnAttributes&) = delete;

  [[nodiscard]] Error initialised() const { return systemCallError("posix_spawnattr_init", _initError); }

  /// The flags of a plan, and signals as a new program expects them.
  Error set(std::uint16_t flags) {
    sigset_t signals;
    sigfillset(&signals);
    if (const int error = posix_spawnattr_setsigdefault(&_attributes, &signals)) {
      return systemCallError("posix_spawnattr_setsigdefault", error);
    }
    sigemptyset(&signals);
    if (const int error = posix_spawnattr_setsigmask(&_attributes, &signals)) {
      return systemCallError("posix_spawnattr_setsigmask", error);
    }
    const int all = flags | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK;
    return systemCallError("posix_spawnattr_setflags",
                           posix_spawnattr_setflags(&_attributes, static_cast<short>(all)));
  }
  [[nodiscard]] const posix_spawnattr_t* get() const { return &_attributes; }

 private:
  posix_spawnattr_t _attributes;
  int _initError;
};

std::uint16_t flagsOf(const SpawnRequest& request) {
  return request.streams ? request.streams->flags : std::uint16_t{0};
}

Error prepare(const SpawnRequest& request, FileActions& actions, SpawnAttributes& attributes) {
  if (Error error = actions.initialised()) return error;
  if (Error error = attributes.initialised()) return error;
  if (Error error = attributes.set(flagsOf(request))) return error;
  if (request.streams) {
    if (Error error = actions.add(*request.streams)) return error;
  }
  if (!request.workingFolder.empty()) {
    if (Error error = actions.changeFolder(request.workingFolder)) return error;
  }
  return actions.closeTheRest();
}

Error spawnRunning(const SpawnRequest& request, ProgramVectors& vectors, ProcessId& child) {
  FileActions actions;
  SpawnAttributes attributes;
  if (Error error = prepare(request, actions, attributes)) return error;
  const auto spawnFunction = request.searchPath ? posix_spawnp : posix_spawn;
  return systemCallError("posix_spawn",
                         spawnFunction(&child, request.path.c_str(), actions.get(), attributes.get(),
                                       vectors.arguments.data(), vectors.environment.data()));
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

timespec toTimespec(std::chrono::milliseconds duration) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(duration);
  const std::chrono::nanoseconds rest = duration - seconds;
  return {static_cast<time_t>(seconds.count()), static_cast<long>(rest.count())};
}

/// Whether the end of a process whose watch is ready can be collected. What is no child of ours has nothing
/// to be collected.
bool isCollectable(int watch) {
  siginfo_t end{};
  int answer;
  do {
    answer = ::waitid(P_PIDFD, static_cast<id_t>(watch), &end, WEXITED | WNOWAIT | WNOHANG);
  } while (answer != 0 && errno == EINTR);
  return answer != 0 || end.si_pid != 0;
}

/// A tracer (a debugger, say) learns of the end first, and the child is ours only when it lets it go.
WaitOutcome waitForTracer(int watch, std::optional<std::chrono::steady_clock::time_point> deadline) {
  while (!isCollectable(watch)) {
    if (deadline && std::chrono::steady_clock::now() >= *deadline) return WaitOutcome::timedOut;
    std::this_thread::sleep_for(kTracerPause);
  }
  return WaitOutcome::exited;
}

bool isNumber(const char* text) {
  return *text != '\0' && std::all_of(text, text + std::char_traits<char>::length(text),
                                      [](char c) { return c >= '0' && c <= '9'; });
}

}  // namespace

Error spawn(const SpawnRequest& request, ProcessId& child) {
  ProgramVectors vectors(request);
  return request.startSuspended ? spawnStopped(request, vectors, child)
                                : spawnRunning(request, vectors, child);
}

Error waitForExit(ProcessId child, std::optional<std::chrono::milliseconds> limit, WaitOutcome& outcome) {
  const FileDescriptor watch(static_cast<int>(::syscall(SYS_pidfd_open, child, 0)));
  if (watch.get() < 0) {
    const bool isAboutProcess = errno == ESRCH || errno == EINVAL;
    return systemCallError(isAboutProcess ? "kevent" : "kqueue", errno);
  }
  std::optional<std::chrono::steady_clock::time_point> deadline;
  if (limit) deadline = std::chrono::steady_clock::now() + *limit;
  pollfd entry{watch.get(), POLLIN, 0};
  const timespec time = limit ? toTimespec(*limit) : timespec{};
  int ready;
  do {
    ready = ::ppoll(&entry, 1, limit ? &time : nullptr, nullptr);
  } while (ready < 0 && errno == EINTR);
  if (ready < 0) return systemCallError("kevent", errno);
  outcome = ready == 0                      ? WaitOutcome::timedOut
            : (entry.revents & POLLIN) != 0 ? waitForTracer(watch.get(), deadline)
                                            : WaitOutcome::unexpected;
  return {};
}

Error sendKill(ProcessId process) {
  return systemCallError("kill", ::kill(process, SIGKILL) == 0 ? 0 : errno);
}

Error sendContinue(ProcessId process) {
  return systemCallError("kill", ::kill(process, SIGCONT) == 0 ? 0 : errno);
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
  std::vector<std::string> entries;
  for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry)
    entries.emplace_back(*entry);
  return entries;
}

std::vector<std::string> toolEnvironment() {
  std::vector<std::string> entries{"PATH=/usr/bin:/bin:/usr/sbin:/sbin", "LC_ALL=C.UTF-8"};
  for (const char* name : {"HOME", "USER", "LOGNAME", "TMPDIR"}) {
    if (const char* value = std::getenv(name)) entries.push_back(std::string(name) + "=" + value);
  }
  return entries;
}

void settleSignals() {
  ::signal(SIGPIPE, SIG_IGN);
  ::signal(SIGXFSZ, SIG_IGN);
  ::signal(SIGCHLD, SIG_DFL);
}

void openStandardStreams() {
  for (int stream = 0; stream < kFirstOwnDescriptor; ++stream) {
    if (::fcntl(stream, F_GETFD) >= 0) continue;
    // The lowest free number is this one. Where there is no null device, any descriptor keeps its place.
    if (::open(kNullPath, O_RDWR) < 0) static_cast<void>(::open("/", O_RDONLY));
  }
}

}  // namespace platform::process

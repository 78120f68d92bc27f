#include "platform/Process.h"

#include <crt_externs.h>
#include <fcntl.h>
#include <libproc.h>
#include <signal.h>
#include <sys/event.h>
#include <sys/sysctl.h>

#include <array>
#include <cerrno>
#include <thread>

#include "platform/common/FileDescriptor.h"
#include "platform/common/ProcessEnvironment.h"
#include "platform/common/ProcessSpawn.h"
#include "platform/common/ProcessWait.h"
#include "platform/common/Timespec.h"

// The working folder of one thread: since macOS 10.12, but declared in no header.
extern "C" int pthread_chdir_np(const char* path);
extern "C" int pthread_fchdir_np(int folder);

namespace platform::process {
namespace {

constexpr int kProcessWideFolder = -1;
constexpr auto kPauseAfterExit = std::chrono::milliseconds(1);

// ------------------------------------------------------------------------------------------------ spawn

/// A stream that stays what it is must be named; one that is not open has nothing to stay.
Error keepStream(int target, FileActions& actions) {
  if (::fcntl(target, F_GETFD) < 0) return {};
  return systemCallError("posix_spawn_file_actions_addinherit_np",
                         posix_spawn_file_actions_addinherit_np(actions.get(), target));
}

/// What no action fills does not reach the child, and neither does what an action has duplicated.
Error fill(int target, int descriptor, FileActions& actions) {
  if (descriptor == -1) return {};
  if (descriptor == target) return keepStream(target, actions);
  if (descriptor == kNullDevice) return actions.openNullDevice(target);
  return actions.duplicate(descriptor, target);
}

Error fillStreams(const StreamPlan& plan, FileActions& actions) {
  for (int target = 0; target < kFirstOwnDescriptor; ++target) {
    if (Error error = fill(target, plan.descriptors[static_cast<std::size_t>(target)], actions)) return error;
  }
  return {};
}

std::uint16_t allFlagsOf(const SpawnRequest& request) {
  const int suspended = request.startSuspended ? POSIX_SPAWN_START_SUSPENDED : 0;
  return static_cast<std::uint16_t>(flagsOf(request) | POSIX_SPAWN_CLOEXEC_DEFAULT | suspended);
}

Error prepare(const SpawnRequest& request, FileActions& actions, SpawnAttributes& attributes) {
  if (Error error = actions.initialised()) return error;
  if (Error error = attributes.initialised()) return error;
  if (Error error = attributes.set(allFlagsOf(request))) return error;
  return fillStreams(request.streams.value_or(StreamPlan()), actions);
}

/// The calling thread's working folder for a scope. A child begins in the folder of the thread that starts
/// it; a file action for that is not there before macOS 10.15.
class ThreadFolder {
 public:
  /// An empty path: the folder stays the process's.
  explicit ThreadFolder(const std::string& path) {
    if (path.empty()) return;
    _isSet = pthread_chdir_np(path.c_str()) == 0;
    if (!_isSet) _error = errno;
  }
  ~ThreadFolder() {
    if (_isSet) pthread_fchdir_np(kProcessWideFolder);
  }
  ThreadFolder(const ThreadFolder&) = delete;
  ThreadFolder& operator=(const ThreadFolder&) = delete;

  [[nodiscard]] Error entered() const { return systemCallError("posix_spawn", _error); }

 private:
  bool _isSet = false;
  int _error = 0;
};

// ------------------------------------------------------------------------------------------------- wait

int watchEnd(int queue, ProcessId child) {
  const struct kevent change { static_cast<uintptr_t>(child), EVFILT_PROC, EV_ADD, NOTE_EXIT, 0, nullptr };
  int answer;
  do {
    answer = ::kevent(queue, &change, 1, nullptr, 0, nullptr);
  } while (answer < 0 && errno == EINTR);
  return answer < 0 ? errno : 0;
}

/// Whether a process that can be watched no more has left an end that nobody has collected. What is no child
/// of ours is still found by a signal then.
bool hasUncollectedEnd(ProcessId process) {
  return collectionOf(P_PID, static_cast<id_t>(process)) != Collection::notOurs ||
         (process > 0 && ::kill(process, 0) == 0);
}

/// The number of events (0: the limit has passed), or -1 with errno set. A signal restarts the wait.
int nextEvent(int queue, std::optional<std::chrono::milliseconds> limit, struct kevent& event) {
  const timespec time = limit ? toTimespec(*limit) : timespec{};
  int count;
  do {
    count = ::kevent(queue, nullptr, 0, &event, 1, limit ? &time : nullptr);
  } while (count < 0 && errno == EINTR);
  return count;
}

// ------------------------------------------------------------------------------------------------- list

/// The processes as the kernel lists them; false with errno set. There may be more of them at each look.
bool readProcessList(std::vector<kinfo_proc>& list) {
  std::array<int, 3> name{CTL_KERN, KERN_PROC, KERN_PROC_ALL};
  for (;;) {
    std::size_t size = 0;
    if (::sysctl(name.data(), name.size(), nullptr, &size, nullptr, 0) != 0) return false;
    list.resize(size / sizeof(kinfo_proc) + list.size() / 8 + 1);
    size = list.size() * sizeof(kinfo_proc);
    const bool isRead = ::sysctl(name.data(), name.size(), list.data(), &size, nullptr, 0) == 0;
    if (isRead) list.resize(size / sizeof(kinfo_proc));
    if (isRead || errno != ENOMEM) return isRead;
  }
}

}  // namespace

Error spawn(const SpawnRequest& request, ProcessId& child) {
  const ProgramVectors vectors(request);
  FileActions actions;
  SpawnAttributes attributes;
  if (Error error = prepare(request, actions, attributes)) return error;
  const ThreadFolder folder(request.workingFolder);
  if (Error error = folder.entered()) return error;
  return spawnProgram(request, vectors, actions, attributes, child);
}

Error waitForExit(ProcessId child, std::optional<std::chrono::milliseconds> limit, WaitOutcome& outcome) {
  const auto process = static_cast<id_t>(child);
  const Deadline deadline = deadlineAfter(limit);
  const FileDescriptor queue(::kqueue());
  if (!queue.isOpen()) return systemCallError("kqueue", errno);
  if (const int error = watchEnd(queue.get(), child)) {
    if (error != ESRCH || !hasUncollectedEnd(child)) return systemCallError("kevent", error);
    outcome = waitForCollection(P_PID, process, deadline);
    return {};
  }
  struct kevent event {};
  const int count = nextEvent(queue.get(), limit, event);
  if (count < 0) return systemCallError("kevent", errno);
  if (count == 0) {
    outcome = WaitOutcome::timedOut;
  } else if ((event.fflags & NOTE_EXIT) == 0) {
    outcome = WaitOutcome::unexpected;
  } else {
    std::this_thread::sleep_for(kPauseAfterExit);  // the event comes before the end can be collected
    outcome = waitForCollection(P_PID, process, deadline);
  }
  return {};
}

Error listProcesses(std::vector<ProcessId>& processes) {
  std::vector<kinfo_proc> list;
  if (!readProcessList(list)) return systemCallError("sysctl", errno);
  processes.clear();
  for (const kinfo_proc& entry : list)
    processes.push_back(entry.kp_proc.p_pid);
  return {};
}

Error executablePath(ProcessId process, std::string& path) {
  std::string buffer(PROC_PIDPATHINFO_MAXSIZE, '\0');
  errno = 0;
  const int length = ::proc_pidpath(process, buffer.data(), static_cast<std::uint32_t>(buffer.size()));
  if (length <= 0) return systemCallError("proc_pidpath", errno != 0 ? errno : ENOENT);
  path = buffer.substr(0, static_cast<std::size_t>(length));
  return {};
}

std::vector<std::string> currentEnvironment() {
  return entriesOf(*::_NSGetEnviron());
}

/// The locale is the one that every installation has.
std::vector<std::string> toolEnvironment() {
  return toolEnvironmentIn("en_US.UTF-8");
}

}  // namespace platform::process

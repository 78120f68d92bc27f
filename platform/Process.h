#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/Error.h"

/// Child processes, as the kernel knows them. Errors are of the POSIX domain and name the call that failed.
namespace platform::process {

using ProcessId = std::int32_t;

/// In a stream plan: the null device.
inline constexpr int kNullDevice = -2;

/// What a child gets as its standard input, output and error: a descriptor of this process, kNullDevice, or
/// -1 for none. A descriptor is duplicated onto 0, 1 or 2 in the child and then closed there.
struct StreamPlan {
  std::uint16_t flags = 0;  ///< posix_spawn attribute flags
  std::array<int, 3> descriptors{0, 1, 2};
};

/// The streams of a tool: there is nothing to read, and nobody reads what it writes.
inline constexpr StreamPlan kNullStreams{0, {kNullDevice, kNullDevice, kNullDevice}};

struct SpawnRequest {
  std::string path;                      ///< a relative one begins at the working folder
  std::vector<std::string> arguments;    ///< without the program path itself
  std::vector<std::string> environment;  ///< "NAME=VALUE" entries, the child's whole environment
  std::string workingFolder;             ///< empty: this process's
  std::optional<StreamPlan> streams;
  bool startSuspended = false;  ///< the child runs nothing of the new program until it gets SIGCONT
  bool searchPath = false;      ///< look `path` up in PATH when it holds no "/"
};

/// Starts a child. That the program cannot be executed (missing, not executable; its working folder cannot be
/// entered) is reported here, also for a suspended start. Descriptors of this process that are not in the
/// plan do not reach the child (0, 1, 2 do when there is no plan). Whatever this process does with signals,
/// the child starts with none blocked and none ignored. Any thread; the cost does not grow with this
/// process's memory, except that of a suspended start.
Error spawn(const SpawnRequest& request, ProcessId& child);

enum class WaitOutcome {
  exited,
  timedOut,
  unexpected,  ///< the system told of something else than the end
};

/// Waits until `child` has ended (it need not be this process's child) or `limit` has passed (none: no
/// limit). An ended child that nobody has collected yet counts as ended at once. Does not collect the exit
/// status, but answers "exited" for a child only when `waitpid` has it at once (the end of a traced child is
/// first its tracer's; where the system tells of the end too early, the wait goes on until then). A signal
/// restarts the wait with the full limit. Any thread; takes no lock. Fails: "kqueue" when no watch can be
/// made; "kevent" when it cannot be set on the process (ESRCH: it is gone).
Error waitForExit(ProcessId child, std::optional<std::chrono::milliseconds> limit, WaitOutcome& outcome);

/// Sends SIGKILL ("kill" fails).
Error sendKill(ProcessId process);
/// Sends SIGCONT ("kill" fails).
Error sendContinue(ProcessId process);

/// The running processes.
Error listProcesses(std::vector<ProcessId>& processes);
/// Absolute path of a process's executable ("proc_pidpath" fails).
Error executablePath(ProcessId process, std::string& path);

/// This process's environment as "NAME=VALUE" entries.
[[nodiscard]] std::vector<std::string> currentEnvironment();

/// The environment for a tool, built up from nothing, so that no variable of the user's session changes what
/// it does: a fixed PATH, a locale in which file names are UTF-8 and messages are English, and of this
/// process HOME, USER, LOGNAME and TMPDIR as far as they are set.
[[nodiscard]] std::vector<std::string> toolEnvironment();

/// To be called at the start of a program, whatever it inherited: writing to a closed pipe, and beyond the
/// limit of a file's size, is an error of that call (SIGPIPE, SIGXFSZ), and the ends of children are kept for
/// their parent (SIGCHLD).
void settleSignals();

/// To be called at the start of a program, before it opens anything: standard streams that are closed are
/// opened on the null device, so that no file of the program takes their place.
void openStandardStreams();

}  // namespace platform::process

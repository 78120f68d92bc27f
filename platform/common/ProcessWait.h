#pragma once

#include <sys/wait.h>

#include <chrono>
#include <optional>

#include "platform/Process.h"

/// The steps of waiting for a process that do not depend on how a system tells of its end.
namespace platform::process {

/// The end of a time limit; none without a limit.
using Deadline = std::optional<std::chrono::steady_clock::time_point>;
[[nodiscard]] Deadline deadlineAfter(std::optional<std::chrono::milliseconds> limit);

/// Whether `waitpid` would collect a child's end now.
enum class Collection {
  possible,
  tooEarly,  ///< it runs, or somebody else learns of its end first
  notOurs,   ///< it is no child of this process, or was collected
};
[[nodiscard]] Collection collectionOf(idtype_t kind, id_t process);

/// To be called once the system has told of the end: waits on until the child can be collected (exited), or
/// the deadline has passed (timedOut). What is no child of ours has nothing to be collected.
[[nodiscard]] WaitOutcome waitForCollection(idtype_t kind, id_t process, Deadline deadline);

}  // namespace platform::process

#include "platform/common/ProcessWait.h"

#include <cerrno>
#include <thread>

namespace platform::process {
namespace {

constexpr auto kPause = std::chrono::milliseconds(1);

}  // namespace

Deadline deadlineAfter(std::optional<std::chrono::milliseconds> limit) {
  return limit ? Deadline(std::chrono::steady_clock::now() + *limit) : std::nullopt;
}

Collection collectionOf(idtype_t kind, id_t process) {
  siginfo_t end{};
  int answer;
  do {
    answer = ::waitid(kind, process, &end, WEXITED | WNOWAIT | WNOHANG);
  } while (answer != 0 && errno == EINTR);
  if (answer != 0) return Collection::notOurs;
  return end.si_pid != 0 ? Collection::possible : Collection::tooEarly;
}

WaitOutcome waitForCollection(idtype_t kind, id_t process, Deadline deadline) {
  while (collectionOf(kind, process) == Collection::tooEarly) {
    if (deadline && std::chrono::steady_clock::now() >= *deadline) return WaitOutcome::timedOut;
    std::this_thread::sleep_for(kPause);
  }
  return WaitOutcome::exited;
}

}  // namespace platform::process

#include "Code/MacOSX/AgentLock.h"

#include <cerrno>

#include "Code/MacOSX/MacMessengerUtilities.h"
#include "platform/Clock.h"
#include "runtime/Code/ZRLog.h"
#include "runtime/Threads/ZRThread.h"

namespace {

constexpr std::uint32_t kPauseMs = 100;

/// Whether no run of the user can take the lock: the folder may not be read, or its volume knows no locks.
bool meansNoLocks(std::int64_t number) {
  return number == EACCES || number == EBADF || number == EINVAL || number == ENOLCK || number == ENOSYS ||
         number == ENOTSUP;
}

/// Without the lock, for another reason than that somebody has it.
OtherRuns goOnWithout(const platform::Error& error) {
  // What is missing is told by who needs it.
  if (error.code == ENOENT || error.code == ENOTDIR) return OtherRuns::notExcluded;
  if (meansNoLocks(error.code)) {
    zrrt::log(ZRLogLevel::eWarning, "VNTUpdate: Unable to lock out other runs: %s",
              error.description.c_str());
    return OtherRuns::notExcluded;
  }
  zrrt::log(ZRLogLevel::eWarning,
            "VNTUpdate: Unable to tell whether another run is at work: %s. Leaving everything as it is.",
            error.description.c_str());
  return OtherRuns::atWork;
}

}  // namespace

OtherRuns lockOutOtherAgents(platform::FolderLock& lock, std::chrono::milliseconds limit) {
  const auto folder = MacMessengerUtilities::downloadFolder();
  if (!folder) return OtherRuns::notExcluded;
  const auto start = platform::clock().monotonic();
  for (bool isFirst = true;; isFirst = false) {
    const auto error = lock.tryLock(*folder);
    if (!error.failed()) return OtherRuns::lockedOut;
    if (error.code != EWOULDBLOCK) return goOnWithout(error);
    if (isFirst)
      zrrt::log(ZRLogLevel::eInformation, "VNTUpdate: Another run is at work, waiting for its end.");
    if (platform::clock().monotonic() - start >= limit) break;
    static_cast<void>(ZRThread::sleep(kPauseMs));
  }
  zrrt::log(ZRLogLevel::eWarning, "VNTUpdate: Another run is still at work. Leaving everything to it.");
  return OtherRuns::atWork;
}

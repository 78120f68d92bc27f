#include "Code/MacOSX/AgentLock.h"

#include <cerrno>

#include "Code/MacOSX/MacMessengerUtilities.h"
#include "platform/Clock.h"
#include "runtime/Code/ZRLog.h"
#include "runtime/Threads/ZRThread.h"

namespace {

constexpr std::uint32_t kPauseMs = 100;

/// Why the lock was not taken, other than that somebody has it.
void logUnavailable(const platform::Error& error) {
  if (error.code == ENOENT || error.code == ENOTDIR) return;  // what is missing is told by who needs it
  zrrt::log(ZRLogLevel::eWarning, "Unable to lock out other runs of VNTUpdate: %s",
            error.description.c_str());
}

}  // namespace

bool lockOutOtherAgents(platform::FolderLock& lock, std::chrono::milliseconds limit) {
  const auto folder = MacMessengerUtilities::downloadFolder();
  if (!folder) return true;
  const auto start = platform::clock().monotonic();
  for (bool isFirst = true;; isFirst = false) {
    const auto error = lock.tryLock(*folder);
    if (error.failed() && error.code != EWOULDBLOCK) logUnavailable(error);
    if (error.code != EWOULDBLOCK) return true;
    if (isFirst)
      zrrt::log(ZRLogLevel::eInformation, "VNTUpdate: Another run is at work, waiting for its end.");
    if (platform::clock().monotonic() - start >= limit) break;
    static_cast<void>(ZRThread::sleep(kPauseMs));
  }
  zrrt::log(ZRLogLevel::eWarning, "VNTUpdate: Another run is still at work. Leaving everything to it.");
  return false;
}

#include "platform/Process.h"

#include <fcntl.h>
#include <signal.h>

#include <cerrno>

#include "platform/common/ProcessSpawn.h"

namespace platform::process {

Error sendKill(ProcessId process) {
  return systemCallError("kill", ::kill(process, SIGKILL) == 0 ? 0 : errno);
}

Error sendContinue(ProcessId process) {
  return systemCallError("kill", ::kill(process, SIGCONT) == 0 ? 0 : errno);
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

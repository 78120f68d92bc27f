#include "tools/packager/Program.h"

#include <sys/wait.h>

#include <cerrno>
#include <cstring>

#include "platform/Process.h"
#include "tools/packager/Archive.h"

namespace packager {

namespace {

int waitForStatus(platform::process::ProcessId child) {
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) throw PackagingError(std::string("waitpid: ") + std::strerror(errno));
  }
  return status;
}

}  // namespace

void runProgram(const std::string& path, std::vector<std::string> arguments) {
  platform::process::SpawnRequest request;
  request.path = path;
  request.arguments = std::move(arguments);
  request.environment = {"PATH=/usr/bin:/bin", "LC_ALL=C"};
  platform::process::ProcessId child = 0;
  if (const auto failure = platform::process::spawn(request, child)) {
    throw PackagingError(path + " cannot be started: " + std::strerror(failure.number));
  }
  const int status = waitForStatus(child);
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return;
  throw PackagingError(path + (WIFEXITED(status)
                                   ? " failed with exit code " + std::to_string(WEXITSTATUS(status))
                                   : " was ended by signal " + std::to_string(WTERMSIG(status))));
}

}  // namespace packager

#include "tools/support/Program.h"

#include <sys/wait.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "platform/Process.h"

namespace tools {

namespace process = platform::process;

namespace {

process::ProcessId start(const Program& program) {
  process::SpawnRequest request;
  request.path = program.path;
  request.arguments = program.arguments;
  request.workingFolder = program.workingFolder;
  for (const auto& [name, value] : program.environment)
    request.environment.push_back(name + "=" + value);
  process::ProcessId child = 0;
  if (const auto error = process::spawn(request, child)) {
    throw std::runtime_error(program.path + " cannot be started: " + error.description);
  }
  return child;
}

}  // namespace

int exitStatusOf(const Program& program) {
  const process::ProcessId child = start(program);
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) throw std::runtime_error(std::string("waitpid: ") + std::strerror(errno));
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

void runProgram(const Program& program) {
  if (const int status = exitStatusOf(program); status != 0) {
    throw std::runtime_error(program.path + " failed with exit status " + std::to_string(status));
  }
}

}  // namespace tools

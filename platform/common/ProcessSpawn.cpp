#include "platform/common/ProcessSpawn.h"

#include <fcntl.h>
#include <signal.h>

namespace platform::process {
namespace {

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts)
    pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

}  // namespace

ProgramVectors::ProgramVectors(const SpawnRequest& request) : environmentTexts(request.environment) {
  argumentTexts.push_back(request.path);
  argumentTexts.insert(argumentTexts.end(), request.arguments.begin(), request.arguments.end());
  arguments = pointersTo(argumentTexts);
  environment = pointersTo(environmentTexts);
}

Error FileActions::initialised() const {
  return systemCallError("posix_spawn_file_actions_init", _initError);
}

Error FileActions::openNullDevice(int target) {
  return systemCallError("posix_spawn_file_actions_addopen",
                         posix_spawn_file_actions_addopen(&_actions, target, kNullPath, O_RDWR, 0));
}

Error FileActions::duplicate(int descriptor, int target) {
  return systemCallError("posix_spawn_file_actions_adddup2",
                         posix_spawn_file_actions_adddup2(&_actions, descriptor, target));
}

Error FileActions::close(int descriptor) {
  return systemCallError("posix_spawn_file_actions_addclose",
                         posix_spawn_file_actions_addclose(&_actions, descriptor));
}

Error SpawnAttributes::initialised() const {
  return systemCallError("posix_spawnattr_init", _initError);
}

Error SpawnAttributes::set(std::uint16_t flags) {
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

std::uint16_t flagsOf(const SpawnRequest& request) {
  return request.streams ? request.streams->flags : std::uint16_t{0};
}

Error spawnProgram(const SpawnRequest& request, const ProgramVectors& vectors, FileActions& actions,
                   const SpawnAttributes& attributes, ProcessId& child) {
  const auto spawnFunction = request.searchPath ? posix_spawnp : posix_spawn;
  return systemCallError("posix_spawn",
                         spawnFunction(&child, request.path.c_str(), actions.get(), attributes.get(),
                                       vectors.arguments.data(), vectors.environment.data()));
}

}  // namespace platform::process

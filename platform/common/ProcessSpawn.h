#pragma once

#include <spawn.h>

#include <cstdint>
#include <string>
#include <vector>

#include "platform/Process.h"

/// What posix_spawn is given, owned by its scope. What cannot be made or extended is reported as the error of
/// the call that failed.
namespace platform::process {

inline constexpr int kFirstOwnDescriptor = 3;
inline constexpr const char* kNullPath = "/dev/null";

/// The argument and environment vectors of a new program; they own their texts.
struct ProgramVectors {
  explicit ProgramVectors(const SpawnRequest& request);
  ProgramVectors(const ProgramVectors&) = delete;
  ProgramVectors& operator=(const ProgramVectors&) = delete;

  std::vector<std::string> argumentTexts;
  std::vector<std::string> environmentTexts;
  std::vector<char*> arguments;
  std::vector<char*> environment;
};

/// What the child does with its descriptors before it becomes the program, in the order of the calls.
class FileActions {
 public:
  FileActions() : _initError(posix_spawn_file_actions_init(&_actions)) {}
  ~FileActions() {
    if (_initError == 0) posix_spawn_file_actions_destroy(&_actions);
  }
  FileActions(const FileActions&) = delete;
  FileActions& operator=(const FileActions&) = delete;

  [[nodiscard]] Error initialised() const;
  Error openNullDevice(int target);
  Error duplicate(int descriptor, int target);
  Error close(int descriptor);

  [[nodiscard]] posix_spawn_file_actions_t* get() { return &_actions; }

 private:
  posix_spawn_file_actions_t _actions;
  int _initError;
};

class SpawnAttributes {
 public:
  SpawnAttributes() : _initError(posix_spawnattr_init(&_attributes)) {}
  ~SpawnAttributes() {
    if (_initError == 0) posix_spawnattr_destroy(&_attributes);
  }
  SpawnAttributes(const SpawnAttributes&) = delete;
  SpawnAttributes& operator=(const SpawnAttributes&) = delete;

  [[nodiscard]] Error initialised() const;
  /// The flags, and signals as a new program expects them.
  Error set(std::uint16_t flags);

  [[nodiscard]] const posix_spawnattr_t* get() const { return &_attributes; }

 private:
  posix_spawnattr_t _attributes;
  int _initError;
};

/// The flags of the request's stream plan.
[[nodiscard]] std::uint16_t flagsOf(const SpawnRequest& request);

/// Starts the program.
Error spawnProgram(const SpawnRequest& request, const ProgramVectors& vectors, FileActions& actions,
                   const SpawnAttributes& attributes, ProcessId& child);

}  // namespace platform::process

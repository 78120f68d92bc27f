#pragma once

#include <chrono>

#include "platform/FolderLock.h"

/// How long a run waits for another one of the same user.
inline constexpr std::chrono::minutes kOtherRunLimit{10};

/// What is known about other runs of the same user.
enum class OtherRuns {
  lockedOut,    ///< none is at work, and none will be for as long as the lock is held
  notExcluded,  ///< the agent's folder is missing or unreadable, or its volume knows no locks
  atWork        ///< one is at work, or it cannot be told that none is
};

/// Takes the lock that keeps a second agent of the user out: on the agent's own folder, held for as long as
/// `lock` is. Waits `limit` at the longest while another one is at work. Logs what the run goes on without,
/// and why it does not go on.
[[nodiscard]] OtherRuns lockOutOtherAgents(platform::FolderLock& lock, std::chrono::milliseconds limit);

#pragma once

#include <chrono>

#include "platform/FolderLock.h"

/// How long a run waits for another one of the same user.
inline constexpr std::chrono::minutes kOtherRunLimit{10};

/// Takes the lock that keeps a second agent of the user out: on the agent's own folder, held for as long as
/// `lock` is. Waits `limit` at the longest while another one is at work. False, logged, when that one is
/// still at work then. Without the folder there is nothing to keep apart; on a volume that knows no locks the
/// run goes on with a warning.
[[nodiscard]] bool lockOutOtherAgents(platform::FolderLock& lock, std::chrono::milliseconds limit);

#pragma once

#include <cstdint>

/// The build number of this agent, fixed when it is built.
inline constexpr std::uint32_t kAgentBuildNumber = 7759;

#pragma once

#include <array>
#include <string>

namespace platform {

/// Names the calling thread by `set`, the system's call, with what the system takes of the name, which
/// refuses longer ones whole. Threads that run short tasks are named often, and what is left of the name
/// seldom changes: a name that the thread has is not set again.
template <std::size_t kLongestName, typename Set>
void setThreadName(const std::string& name, Set set) {
  thread_local std::array<char, kLongestName + 1> current{};
  std::array<char, kLongestName + 1> cut{};
  name.copy(cut.data(), kLongestName);
  if (cut != current && set(cut.data()) == 0) current = cut;
}

}  // namespace platform

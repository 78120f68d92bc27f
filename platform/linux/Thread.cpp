#include "platform/Thread.h"

#include <pthread.h>
#include <unistd.h>

namespace platform {

void setCurrentThreadName(const std::string& name) {
  constexpr std::size_t kLongestName = 15;  // a longer one is refused whole
  pthread_setname_np(pthread_self(), name.substr(0, kLongestName).c_str());
}

std::uint64_t currentThreadNumber() {
  thread_local const auto number = static_cast<std::uint64_t>(gettid());
  return number;
}

}  // namespace platform

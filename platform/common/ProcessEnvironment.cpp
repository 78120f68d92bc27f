#include "platform/common/ProcessEnvironment.h"

#include <cstdlib>

namespace platform::process {

std::vector<std::string> entriesOf(const char* const* environment) {
  std::vector<std::string> entries;
  for (const char* const* entry = environment; entry != nullptr && *entry != nullptr; ++entry)
    entries.emplace_back(*entry);
  return entries;
}

std::vector<std::string> toolEnvironmentIn(const char* locale) {
  std::vector<std::string> entries{"PATH=/usr/bin:/bin:/usr/sbin:/sbin", std::string("LC_ALL=") + locale};
  for (const char* name : {"HOME", "USER", "LOGNAME", "TMPDIR"}) {
    if (const char* value = std::getenv(name)) entries.push_back(std::string(name) + "=" + value);
  }
  return entries;
}

}  // namespace platform::process

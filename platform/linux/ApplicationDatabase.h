#pragma once

#include <functional>
#include <string>
#include <vector>

#include "platform/linux/ApplicationScan.h"

namespace platform::applications {

enum class DatabaseStatus {
  ok,
  corrupt,     ///< it holds something that is no registry
  unavailable  ///< it cannot be opened, read or written, or a newer program's form is in it
};

/// Reads the known applications in registration order; none, with ok, when there is no database yet.
[[nodiscard]] DatabaseStatus loadApplications(const std::string& path,
                                              std::vector<Application>& applications);

/// Changes the applications; answers whether there is anything to write.
using Update = std::function<bool(std::vector<Application>& applications)>;

/// Reads the applications, has them changed and writes them, as one transaction between all processes. Makes
/// the database when there is none, and makes it anew when it is corrupt (the old one is kept under
/// "`path`.corrupt"). Waits five seconds at most for another writer. False when nothing could be written.
[[nodiscard]] bool updateApplications(const std::string& path, const Update& update);

}  // namespace platform::applications

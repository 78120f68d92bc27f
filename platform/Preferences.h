#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/PropertyList.h"

/// The system preferences service: named values per application, user and host, kept between runs and seen by
/// other processes as soon as they are synchronised.
namespace platform::preferences {

enum class User { current, any };
enum class Host { current, any };

/// Where a value lives. Current user on any host is the user's common preferences of the application.
struct Scope {
  std::string application;  ///< the application identifier, for instance "com.korvane.Vantora"
  User user = User::current;
  Host host = Host::current;
};

/// The value of `key`; none when it is absent or the scope's store cannot be read.
[[nodiscard]] std::optional<plist::Value> copyValue(const std::string& key, const Scope& scope);

/// Sets `key` (no value: removes it). Visible to `copyValue` in this process at once, and to others after
/// `synchronize`. Of dates whole seconds are kept. A value that the service cannot hold (a reference number,
/// on macOS a date after the year 9999) is not set, and the next `synchronize` answers false.
void setValue(const std::string& key, const std::optional<plist::Value>& value, const Scope& scope);

/// Writes what `setValue` changed in the application's scopes, atomically, keeping what others changed in the
/// meantime under other keys. Answers false when a store could not be found or written or holds something
/// unreadable (it is then left as it is, and the changes are dropped).
bool synchronize(const std::string& application);

/// The keys of a scope in ascending byte order.
[[nodiscard]] std::vector<std::string> copyKeyList(const Scope& scope);

}  // namespace platform::preferences

#include "platform/Preferences.h"

#include <CoreFoundation/CoreFoundation.h>

#include <algorithm>
#include <map>
#include <mutex>
#include <set>

#include "platform/common/PropertyListFormats.h"
#include "platform/macos/CoreFoundation.h"

namespace platform::preferences {
namespace {

/// What an application's scopes have to be told at the next `synchronize`.
struct Changes {
  std::set<std::pair<User, Host>> scopes;
  bool isLost = false;  ///< one did not reach the service
};

/// The changes that no `synchronize` has written yet, by application.
class PendingChanges {
 public:
  static PendingChanges& instance() {
    static PendingChanges pending;
    return pending;
  }

  void add(const Scope& scope, bool isAccepted) {
    const std::lock_guard lock(_mutex);
    Changes& changes = _applications[scope.application];
    changes.scopes.emplace(scope.user, scope.host);
    if (!isAccepted) changes.isLost = true;
  }

  [[nodiscard]] Changes take(const std::string& application) {
    const std::lock_guard lock(_mutex);
    auto node = _applications.extract(application);
    return node.empty() ? Changes() : std::move(node.mapped());
  }

 private:
  std::mutex _mutex;
  std::map<std::string, Changes> _applications;
};

CFStringRef nameOf(User user) {
  return user == User::current ? kCFPreferencesCurrentUser : kCFPreferencesAnyUser;
}

CFStringRef nameOf(Host host) {
  return host == Host::current ? kCFPreferencesCurrentHost : kCFPreferencesAnyHost;
}

/// The application as the service knows it; none for a name that it would take as the path of a file.
CFOwner<CFStringRef> applicationName(const std::string& application) {
  if (application.empty() || application.find_first_of(std::string_view("/\0", 2)) != std::string::npos)
    return {};
  return coreText(application);
}

/// A key that is no UTF-8 is looked for as it was stored.
CFOwner<CFStringRef> keyName(const std::string& key) {
  return coreText(plist::xmlText(key));
}

/// False when the service could not be told.
bool store(const std::string& key, const std::optional<plist::Value>& value, const Scope& scope) {
  const auto application = applicationName(scope.application);
  const auto name = keyName(key);
  const auto object = value ? coreValue(*value) : CFOwner<CFPropertyListRef>();
  if (!application || !name || (value && !object)) return false;
  CFPreferencesSetValue(name.get(), object.get(), application.get(), nameOf(scope.user), nameOf(scope.host));
  return true;
}

std::vector<std::string> textsOf(CFArrayRef array) {
  std::vector<std::string> texts;
  for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) {
    if (auto text = utf8Text(static_cast<CFStringRef>(CFArrayGetValueAtIndex(array, i))))
      texts.push_back(std::move(*text));
  }
  return texts;
}

}  // namespace

std::optional<plist::Value> copyValue(const std::string& key, const Scope& scope) {
  const auto application = applicationName(scope.application);
  const auto name = keyName(key);
  if (!application || !name) return std::nullopt;
  const CFOwner value(
      CFPreferencesCopyValue(name.get(), application.get(), nameOf(scope.user), nameOf(scope.host)));
  return valueOf(value.get());
}

void setValue(const std::string& key, const std::optional<plist::Value>& value, const Scope& scope) {
  PendingChanges::instance().add(scope, store(key, value, scope));
}

bool synchronize(const std::string& application) {
  const Changes changes = PendingChanges::instance().take(application);
  const auto name = applicationName(application);
  if (!name) return changes.scopes.empty();
  bool allWritten = !changes.isLost;
  // Each changed scope tells for itself; the call for the whole application need not tell of the scopes that
  // this user may not write.
  for (const auto& [user, host] : changes.scopes) {
    if (CFPreferencesSynchronize(name.get(), nameOf(user), nameOf(host)) == 0) allWritten = false;
  }
  return CFPreferencesAppSynchronize(name.get()) != 0 && allWritten;
}

std::vector<std::string> copyKeyList(const Scope& scope) {
  const auto application = applicationName(scope.application);
  if (!application) return {};
  const CFOwner keys(CFPreferencesCopyKeyList(application.get(), nameOf(scope.user), nameOf(scope.host)));
  if (!keys) return {};
  auto texts = textsOf(keys.get());
  std::sort(texts.begin(), texts.end());
  return texts;
}

}  // namespace platform::preferences

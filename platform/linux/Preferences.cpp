#include "platform/Preferences.h"

#include <cerrno>
#include <map>
#include <mutex>

#include "platform/FileContents.h"
#include "platform/FileManager.h"
#include "platform/Folders.h"
#include "platform/Path.h"
#include "platform/linux/FileLock.h"
#include "platform/linux/Roots.h"

namespace platform::preferences {
namespace {

using Changes = std::map<std::string, std::optional<plist::Value>>;

constexpr std::uint64_t kMaxHostBytes = 256;

/// What `setValue` changed and no `synchronize` has written yet, by application and store.
class PendingChanges {
 public:
  static PendingChanges& instance() {
    static PendingChanges pending;
    return pending;
  }

  void set(const std::string& application, const std::string& store, const std::string& key,
           const std::optional<plist::Value>& value) {
    const std::lock_guard lock(_mutex);
    _stores[application][store][key] = value;
  }

  [[nodiscard]] Changes in(const std::string& application, const std::string& store) {
    const std::lock_guard lock(_mutex);
    const auto stores = _stores.find(application);
    if (stores == _stores.end()) return {};
    const auto changes = stores->second.find(store);
    return changes == stores->second.end() ? Changes() : changes->second;
  }

  [[nodiscard]] std::map<std::string, Changes> take(const std::string& application) {
    const std::lock_guard lock(_mutex);
    auto node = _stores.extract(application);
    return node.empty() ? std::map<std::string, Changes>() : std::move(node.mapped());
  }

 private:
  std::mutex _mutex;
  std::map<std::string, std::map<std::string, Changes>> _stores;
};

/// The machine's identity, "localhost" on a machine that has none. No value when it cannot be told which of
/// the two holds: a store under the wrong name would never be found again.
std::optional<std::string> hostName() {
  std::string text;
  const Error error = readFile("/etc/machine-id", kMaxHostBytes, text);
  if (error.failed() && error.code != ENOENT) return std::nullopt;
  text.erase(text.find_last_not_of(" \n") + 1);
  const bool isId = !text.empty() && text.find_first_not_of("0123456789abcdefABCDEF-") == std::string::npos;
  return isId ? text : "localhost";
}

bool isFileName(const std::string& name) {
  return !name.empty() && name.find('/') == std::string::npos && name.find('\0') == std::string::npos;
}

/// The file of a scope; none for a name that no file can have, a user without a home folder, or a host whose
/// identity cannot be read.
std::optional<std::string> storeOf(const Scope& scope) {
  if (!isFileName(scope.application)) return std::nullopt;
  const auto folder = scope.user == User::current ? libraryFolder() : systemRoot();
  if (!folder) return std::nullopt;
  const bool thisHost = scope.host == Host::current;
  if (scope.user == User::any) {
    const char* place = thisHost ? "Library/Preferences/" : "Network/Library/Preferences/";
    return joinPath(*folder, place + scope.application + ".plist");
  }
  if (!thisHost) return joinPath(*folder, "Preferences/" + scope.application + ".plist");
  const auto host = hostName();
  if (!host) return std::nullopt;
  return joinPath(*folder, "Preferences/ByHost/" + scope.application + "." + *host + ".plist");
}

/// A store that is not there yet is an empty one. False when it cannot be read.
bool readStore(const std::string& store, plist::Dictionary& values) {
  const Error error = plist::readDictionary(store, values);
  return !error || (error.domain == kPosixErrorDomain && error.code == ENOENT);
}

void applyChanges(const Changes& changes, plist::Dictionary& values) {
  for (const auto& [key, value] : changes) {
    if (value) {
      values.insert_or_assign(key, *value);
    } else {
      values.erase(key);
    }
  }
}

bool writeChanges(const std::string& store, const Changes& changes) {
  if (defaultFileManager().createFolder(parentFolder(store)).failed()) return false;
  const FileLock lock(store);
  plist::Dictionary before;
  if (!lock.isHeld() || !readStore(store, before)) return false;
  plist::Dictionary after = before;
  applyChanges(changes, after);
  return after == before || !plist::write(store, after).failed();
}

plist::Dictionary currentValues(const Scope& scope) {
  plist::Dictionary values;
  const auto store = storeOf(scope);
  // An unreadable store counts as empty here; `synchronize` is where that is told.
  if (!store || !readStore(*store, values)) values.clear();
  if (store) applyChanges(PendingChanges::instance().in(scope.application, *store), values);
  return values;
}

}  // namespace

std::optional<plist::Value> copyValue(const std::string& key, const Scope& scope) {
  const plist::Dictionary values = currentValues(scope);
  const plist::Value* value = plist::find(values, key);
  return value != nullptr ? std::optional(*value) : std::nullopt;
}

void setValue(const std::string& key, const std::optional<plist::Value>& value, const Scope& scope) {
  // A scope without a file keeps its changes under no name, so that `synchronize` fails for them.
  PendingChanges::instance().set(scope.application, storeOf(scope).value_or(std::string()), key, value);
}

bool synchronize(const std::string& application) {
  bool allWritten = true;
  for (const auto& [store, changes] : PendingChanges::instance().take(application)) {
    if (store.empty() || !writeChanges(store, changes)) allWritten = false;
  }
  return allWritten;
}

std::vector<std::string> copyKeyList(const Scope& scope) {
  std::vector<std::string> keys;
  for (const auto& [key, value] : currentValues(scope))
    keys.push_back(key);
  return keys;
}

}  // namespace platform::preferences

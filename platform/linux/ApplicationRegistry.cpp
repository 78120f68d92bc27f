#include "platform/ApplicationRegistry.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <map>
#include <set>

#include "platform/FileManager.h"
#include "platform/linux/ApplicationDatabase.h"
#include "platform/linux/ApplicationScan.h"
#include "platform/linux/Bundles.h"
#include "platform/linux/Roots.h"

namespace platform::applications {
namespace {

using Applications = std::vector<Application>;

constexpr std::int64_t kFileNotFound = -43;
constexpr std::int64_t kNotAnApplication = -10811;
constexpr std::int64_t kRegistryUnavailable = -10822;

std::optional<std::string> databasePath() {
  const auto folder = baseFolder("XDG_DATA_HOME", ".local/share");
  if (!folder) return std::nullopt;
  return *folder + "/vantora/applications.sqlite3";
}

/// Brings what is known in line with what is there. An application is first looked for by its folder's
/// identity, wherever it moved, then at its old path, where another copy may have replaced it.
class Reconciliation {
 public:
  explicit Reconciliation(const Applications& known) : _known(known), _now(known.size()) {
    for (const auto& application : known)
      look(application.path);
    for (const auto& path : scanUsualPlaces())
      if (look(path)) _scanned.push_back(path);
  }

  Applications run() {
    for (std::size_t i = 0; i < _known.size(); ++i)
      findByIdentity(i);
    for (std::size_t i = 0; i < _known.size(); ++i)
      if (!_now[i]) claim(i, _known[i].path);
    Applications result;
    for (auto& application : _now)
      if (application) result.push_back(std::move(*application));
    for (const auto& path : _scanned)
      addNew(path, result);
    return result;
  }

 private:
  /// Examines the path once; whether there is an application.
  bool look(const std::string& path) {
    const auto [entry, isNew] = _present.try_emplace(path);
    if (isNew) entry->second = examine(path, _known);
    if (isNew && entry->second) _paths.emplace(entry->second->identity, path);
    return entry->second.has_value();
  }

  void findByIdentity(std::size_t index) {
    const Application& known = _known[index];
    const auto& there = _present.at(known.path);
    if (there && there->identity == known.identity) return claim(index, known.path);
    // The number of a folder that is gone may be in use again for another one.
    const auto [first, last] = _paths.equal_range(known.identity);
    for (auto candidate = first; candidate != last; ++candidate) {
      const auto& moved = _present.at(candidate->second);
      if (moved->identifier == known.identifier && moved->version == known.version) {
        return claim(index, candidate->second);
      }
    }
  }

  /// One path is one application, and so is one folder.
  void claim(std::size_t index, const std::string& path) {
    const auto& application = _present.at(path);
    if (!application || !_claimed.insert(application->identity).second) return;
    _now[index] = application;
  }

  void addNew(const std::string& path, Applications& result) {
    const auto& application = _present.at(path);
    if (_claimed.insert(application->identity).second) result.push_back(*application);
  }

  const Applications& _known;
  std::vector<std::optional<Application>> _now;  ///< by the index of the known one
  std::map<std::string, std::optional<Application>> _present;
  std::multimap<Identity, std::string> _paths;
  std::vector<std::string> _scanned;
  std::set<Identity> _claimed;
};

/// Whether anything changed.
bool reconcile(Applications& applications) {
  Applications result = Reconciliation(applications).run();
  const bool changed = result != applications;
  applications = std::move(result);
  return changed;
}

/// What cannot be read or stored costs the order of registration, not the answer.
Applications currentApplications() {
  Applications applications;
  const auto database = databasePath();
  if (database) static_cast<void>(loadApplications(*database, applications));
  if (!reconcile(applications) || !database) return applications;
  static_cast<void>(updateApplications(*database, [&applications](Applications& stored) {
    const bool changed = reconcile(stored);
    applications = stored;
    return changed;
  }));
  return applications;
}

template <typename Matches>
std::vector<std::string> pathsOf(Matches matches) {
  std::vector<std::string> paths;
  for (const auto& application : currentApplications())
    if (matches(application)) paths.push_back(application.path);
  return paths;
}

std::string absolutePath(const std::string& path) {
  if (path.starts_with('/')) return withoutTrailingSlashes(path);
  std::array<char, PATH_MAX> folder{};
  const char* current = getcwd(folder.data(), folder.size());
  return withoutTrailingSlashes((current != nullptr ? std::string(current) : std::string()) + "/" + path);
}

/// A known application keeps its place in the order. Answers whether anything changed.
bool enter(const Application& application, Applications& known) {
  const auto isSame = [&](const Application& other) { return other.identity == application.identity; };
  const auto isReplaced = [&](const Application& other) { return other.path == application.path; };
  const Applications before = known;
  auto place = std::find_if(known.begin(), known.end(), isSame);
  if (place == known.end()) place = std::find_if(known.begin(), known.end(), isReplaced);
  if (place == known.end()) place = known.insert(known.end(), application);
  *place = application;
  const auto index = place - known.begin();
  for (auto i = static_cast<std::ptrdiff_t>(known.size()) - 1; i >= 0; --i) {
    if (i != index && isReplaced(known[static_cast<std::size_t>(i)])) known.erase(known.begin() + i);
  }
  return known != before;
}

Error registrationError(std::int64_t code, const std::string& path, const char* what) {
  return {kOSStatusErrorDomain, code, path + ": " + what};
}

}  // namespace

std::vector<std::string> applicationsForUrlScheme(const std::string& scheme) {
  const std::string wanted = withoutCase(scheme);
  return pathsOf([&wanted](const Application& application) {
    return std::binary_search(application.schemes.begin(), application.schemes.end(), wanted);
  });
}

std::vector<std::string> applicationsForBundleIdentifier(const std::string& identifier) {
  const std::string wanted = withoutCase(identifier);
  return pathsOf([&wanted](const Application& application) { return application.identifier == wanted; });
}

std::optional<std::string> findApplication(const std::string& identifier) {
  const auto paths = applicationsForBundleIdentifier(identifier);
  return paths.empty() ? std::nullopt : std::optional(paths.front());
}

std::vector<std::string> declaredUrlSchemes() {
  std::set<std::string> schemes;
  for (const auto& application : currentApplications())
    schemes.insert(application.schemes.begin(), application.schemes.end());
  return {schemes.begin(), schemes.end()};
}

Error registerApplication(const std::string& path) {
  const std::string bundle = absolutePath(path);
  if (defaultFileManager().itemKind(bundle) == ItemKind::none) {
    return registrationError(kFileNotFound, path, "There is no such item.");
  }
  const auto application = examine(bundle, {});
  if (!application) {
    return registrationError(kNotAnApplication, path, "The item is no application bundle.");
  }
  const auto database = databasePath();
  const auto update = [&application](Applications& known) { return enter(*application, known); };
  const bool stored = database && updateApplications(*database, update);
  return stored
             ? Error{}
             : registrationError(kRegistryUnavailable, path, "The application registry cannot be written.");
}

}  // namespace platform::applications

#include "platform/ApplicationRegistry.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <map>
#include <set>

#include "platform/FileManager.h"
#include "platform/Path.h"
#include "platform/Text.h"
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
  return joinPath(*folder, "vantora/applications.sqlite3");
}

/// Brings what is known in line with what is there. An application is first looked for by its folder's
/// identity, wherever it moved, then at its old path, where another copy may have replaced it. One that
/// cannot be examined now stays what it was.
class Reconciliation {
 public:
  explicit Reconciliation(const Applications& known) : _known(known), _now(known.size()) {
    for (const auto& application : known)
      look(application.path);
    const UsualPlaces places = scanUsualPlaces();
    if (!places.sawEverything) _sawEverything = false;
    for (const auto& path : places.bundles)
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
  [[nodiscard]] bool sawEverything() const { return _sawEverything; }

 private:
  /// Examines the path once; whether there is an application.
  bool look(const std::string& path) {
    const auto [entry, isNew] = _present.try_emplace(path);
    Examination& there = entry->second;
    if (isNew) there = examine(path, _known);
    if (isNew && there.application) _paths.emplace(there.application->identity, path);
    if (!there.isSeen) _sawEverything = false;
    return there.application.has_value();
  }

  void findByIdentity(std::size_t index) {
    const Application& known = _known[index];
    const Examination& there = _present.at(known.path);
    if (there.application && there.application->identity == known.identity) return claim(index, known.path);
    if (!there.isSeen) return keep(index);
    // The number of a folder that is gone may be in use again for another one.
    const auto [first, last] = _paths.equal_range(known.identity);
    for (auto candidate = first; candidate != last; ++candidate) {
      const auto& moved = _present.at(candidate->second).application;
      if (moved->identifier == known.identifier && moved->version == known.version) {
        return claim(index, candidate->second);
      }
    }
  }

  /// One path is one application, and so is one folder.
  void claim(std::size_t index, const std::string& path) {
    const auto& application = _present.at(path).application;
    if (!application || !_claimed.insert(application->identity).second) return;
    _now[index] = application;
  }

  void keep(std::size_t index) {
    if (_claimed.insert(_known[index].identity).second) _now[index] = _known[index];
  }

  void addNew(const std::string& path, Applications& result) {
    const auto& application = _present.at(path).application;
    if (_claimed.insert(application->identity).second) result.push_back(*application);
  }

  const Applications& _known;
  std::vector<std::optional<Application>> _now;  ///< by the index of the known one
  std::map<std::string, Examination> _present;
  std::multimap<Identity, std::string> _paths;
  std::vector<std::string> _scanned;
  std::set<Identity> _claimed;
  bool _sawEverything = true;
};

/// The applications that there are, as far as they can be seen.
struct View {
  Applications applications;
  bool sawEverything = true;
};

/// Answers whether anything changed.
bool reconcile(View& view) {
  Reconciliation reconciliation(view.applications);
  Applications result = reconciliation.run();
  view.sawEverything = reconciliation.sawEverything();
  const bool changed = result != view.applications;
  view.applications = std::move(result);
  return changed;
}

/// What cannot be stored costs the order of registration, not the answer. What cannot be read may have known
/// of bundles elsewhere.
View currentView() {
  View view;
  const auto database = databasePath();
  const DatabaseStatus loaded =
      database ? loadApplications(*database, view.applications) : DatabaseStatus::ok;
  const bool changed = reconcile(view);
  if (database && changed && loaded != DatabaseStatus::unavailable) {
    static_cast<void>(updateApplications(*database, [&view](Applications& stored) {
      View fresh{.applications = stored};
      const bool isNews = reconcile(fresh);
      view = fresh;
      stored = std::move(fresh.applications);
      return isNews;
    }));
  }
  if (loaded != DatabaseStatus::ok) view.sawEverything = false;
  return view;
}

template <typename Matches>
Found find(Matches matches) {
  View view = currentView();
  Found found;
  found.sawEverything = view.sawEverything;
  for (auto& application : view.applications)
    if (matches(application)) found.paths.push_back(std::move(application.path));
  return found;
}

std::string absolutePath(const std::string& path) {
  if (path.starts_with('/')) return withoutTrailingSlashes(path);
  std::array<char, PATH_MAX> folder{};
  const char* current = getcwd(folder.data(), folder.size());
  return withoutTrailingSlashes(joinPath(current != nullptr ? current : "", path));
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

Found applicationsForUrlScheme(const std::string& scheme) {
  const std::string wanted = lowerCase(scheme);
  return find([&wanted](const Application& application) {
    return std::binary_search(application.schemes.begin(), application.schemes.end(), wanted);
  });
}

Found applicationsForBundleIdentifier(const std::string& identifier) {
  const std::string wanted = lowerCase(identifier);
  return find([&wanted](const Application& application) { return application.identifier == wanted; });
}

Found findApplication(const std::string& identifier) {
  Found found = applicationsForBundleIdentifier(identifier);
  if (found.paths.size() > 1) found.paths.resize(1);
  return found;
}

std::map<std::string, std::vector<std::string>> applicationsByUrlScheme(const std::string& family) {
  const std::string wanted = lowerCase(family);
  std::map<std::string, std::vector<std::string>> found;
  for (const auto& application : currentView().applications)
    for (const auto& scheme : application.schemes)
      if (scheme.starts_with(wanted)) found[scheme].push_back(application.path);
  return found;
}

Error registerApplication(const std::string& path) {
  const std::string bundle = absolutePath(path);
  if (defaultFileManager().itemKind(bundle) == ItemKind::none) {
    return registrationError(kFileNotFound, path, "There is no such item.");
  }
  const auto application = examine(bundle, {}).application;
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

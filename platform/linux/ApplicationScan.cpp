#include "platform/linux/ApplicationScan.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <set>
#include <string_view>

#include "platform/Bundle.h"
#include "platform/Folders.h"
#include "platform/linux/Bundles.h"
#include "platform/linux/FileDescriptor.h"
#include "platform/linux/FileTree.h"

namespace platform::applications {
namespace {

std::int64_t nanoseconds(const timespec& time) {
  return static_cast<std::int64_t>(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
}

Identity identityOf(const struct stat& status) {
  return {status.st_dev, status.st_ino};
}

Fingerprint fingerprintOf(const struct stat& status) {
  return {identityOf(status), nanoseconds(status.st_mtim), nanoseconds(status.st_ctim), status.st_size};
}

std::string textOf(const plist::Dictionary& dictionary, const std::string& key) {
  const plist::Value* value = plist::find(dictionary, key);
  const auto* text = value != nullptr ? value->as<std::string>() : nullptr;
  return text != nullptr ? *text : std::string();
}

const plist::Array& arrayOf(const plist::Dictionary& dictionary, const std::string& key) {
  static const plist::Array kNone;
  const plist::Value* value = plist::find(dictionary, key);
  const auto* array = value != nullptr ? value->as<plist::Array>() : nullptr;
  return array != nullptr ? *array : kNone;
}

std::vector<std::string> schemesOf(const plist::Dictionary& information) {
  std::set<std::string> schemes;
  for (const auto& type : arrayOf(information, "CFBundleURLTypes")) {
    const auto* dictionary = type.as<plist::Dictionary>();
    if (dictionary == nullptr) continue;
    for (const auto& scheme : arrayOf(*dictionary, "CFBundleURLSchemes")) {
      const auto* text = scheme.as<std::string>();
      if (text != nullptr && text->find('\n') == std::string::npos) schemes.insert(withoutCase(*text));
    }
  }
  return {schemes.begin(), schemes.end()};
}

bool readInformation(Application& application) {
  const auto information = bundleInformation(application.path);
  if (!information) return false;
  application.identifier = withoutCase(textOf(*information, "CFBundleIdentifier"));
  application.version = textOf(*information, "CFBundleVersion");
  application.schemes = schemesOf(*information);
  return true;
}

bool takeInformation(const std::vector<Application>& known, Application& application) {
  const auto source = std::find_if(known.begin(), known.end(), [&](const Application& candidate) {
    return candidate.information == application.information;
  });
  if (source == known.end()) return false;
  application.identifier = source->identifier;
  application.version = source->version;
  application.schemes = source->schemes;
  return true;
}

bool isBundleName(std::string_view name) {
  return name.ends_with(".app");
}

bool isFolder(int parent, const std::string& name) {
  struct stat status {};
  return fstatat(parent, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(status.st_mode);
}

void scanFolder(int parent, const std::string& path, int levels, std::vector<std::string>& bundles) {
  const FileDescriptor folder = openAt(parent, path.c_str(), O_RDONLY | O_DIRECTORY);
  std::vector<std::string> names;
  if (!folder.isOpen() || !namesInFolder(folder.get(), names)) return;
  for (const auto& name : names) {
    if (name.front() == '.' || !isFolder(folder.get(), name)) continue;
    const std::string item = path + "/" + name;
    if (isBundleName(name)) {
      bundles.push_back(item);
    } else if (levels > 0) {
      scanFolder(parent, item, levels - 1, bundles);
    }
  }
}

}  // namespace

std::optional<Application> examine(const std::string& path, const std::vector<Application>& known) {
  struct stat folder {};
  struct stat information {};
  if (stat(path.c_str(), &folder) != 0 || !S_ISDIR(folder.st_mode) ||
      stat((path + "/Contents/Info.plist").c_str(), &information) != 0) {
    return std::nullopt;
  }
  Application application;
  application.path = path;
  application.identity = identityOf(folder);
  application.information = fingerprintOf(information);
  const bool isRead = takeInformation(known, application) || readInformation(application);
  return isRead ? std::optional(std::move(application)) : std::nullopt;
}

std::vector<std::string> scanUsualPlaces() {
  std::vector<std::string> bundles;
  for (const auto& place :
       {applicationsFolder(FolderDomain::local), applicationsFolder(FolderDomain::user), desktopFolder()}) {
    if (place) scanFolder(AT_FDCWD, *place, 1, bundles);
  }
  std::sort(bundles.begin(), bundles.end());
  return bundles;
}

}  // namespace platform::applications

#include "platform/linux/ApplicationScan.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <string_view>

#include "platform/Bundle.h"
#include "platform/Clock.h"
#include "platform/Folders.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "platform/common/BundleSchemes.h"
#include "platform/common/FileDescriptor.h"
#include "platform/common/FolderEntries.h"
#include "platform/linux/Bundles.h"

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

/// Whether the number of a failed call means that there is nothing, as opposed to something out of sight.
bool isAbsence(std::int64_t number) {
  return number == ENOENT || number == ENOTDIR || number == ELOOP;
}

std::string textOf(const plist::Dictionary& dictionary, const std::string& key) {
  const plist::Value* value = plist::find(dictionary, key);
  const auto* text = value != nullptr ? value->as<std::string>() : nullptr;
  return text != nullptr ? *text : std::string();
}

Error readInformation(Application& application) {
  plist::Dictionary information;
  if (auto error = bundleInformation(application.path, information)) return error;
  application.identifier = lowerCase(textOf(information, "CFBundleIdentifier"));
  application.version = textOf(information, "CFBundleVersion");
  application.schemes = urlSchemesOf(information);
  return {};
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

/// Whether an information dictionary that makes no sense is all that there will be: not that of a bundle that
/// was read before, nor one that is just being written.
bool isHopeless(const Application& application, const std::vector<Application>& known) {
  constexpr std::chrono::hours kWritingLimit{24};
  const Seconds changed = std::chrono::nanoseconds(application.information.changed);
  return now().time_since_epoch() - changed > kWritingLimit &&
         std::none_of(known.begin(), known.end(),
                      [&](const Application& candidate) { return candidate.path == application.path; });
}

bool isBundleName(std::string_view name) {
  return name.ends_with(".app");
}

/// The walk through the usual places.
class Scan {
 public:
  void scanFolder(const std::string& path, int levels) {
    const FileDescriptor folder = openAt(AT_FDCWD, path.c_str(), O_RDONLY | O_DIRECTORY);
    if (!folder.isOpen()) return note(errno);
    const auto take = [&](const char* name, bool mayBeFolder) {
      if (name[0] != '.' && mayBeFolder) scanEntry(folder.get(), path, name, levels);
    };
    if (!forEachEntry(folder.get(), take)) note(errno);
  }
  UsualPlaces result() {
    std::sort(_found.bundles.begin(), _found.bundles.end());
    return std::move(_found);
  }

 private:
  void scanEntry(int folder, const std::string& path, const std::string& name, int levels) {
    struct stat status {};
    if (fstatat(folder, name.c_str(), &status, 0) != 0) return note(errno);
    if (!S_ISDIR(status.st_mode)) return;
    if (isBundleName(name)) {
      _found.bundles.push_back(joinPath(path, name));
    } else if (levels > 0) {
      scanFolder(joinPath(path, name), levels - 1);
    }
  }

  void note(int number) {
    if (!isAbsence(number)) _found.sawEverything = false;
  }

  UsualPlaces _found;
};

Examination failedExamination(std::int64_t number) {
  return {std::nullopt, isAbsence(number)};
}

}  // namespace

Examination examine(const std::string& path, const std::vector<Application>& known) {
  struct stat folder {};
  struct stat information {};
  if (stat(path.c_str(), &folder) != 0) return failedExamination(errno);
  if (!S_ISDIR(folder.st_mode)) return {};
  if (stat(informationPath(path).c_str(), &information) != 0) return failedExamination(errno);
  Application application;
  application.path = path;
  application.identity = identityOf(folder);
  application.information = fingerprintOf(information);
  if (!takeInformation(known, application)) {
    if (const auto error = readInformation(application)) {
      if (error.domain == kPosixErrorDomain) return failedExamination(error.code);
      return {std::nullopt, isHopeless(application, known)};
    }
  }
  return {std::move(application), true};
}

UsualPlaces scanUsualPlaces() {
  Scan scan;
  for (const auto& place :
       {applicationsFolder(FolderDomain::local), applicationsFolder(FolderDomain::user), desktopFolder()}) {
    if (place) scan.scanFolder(*place, 1);
  }
  return scan.result();
}

}  // namespace platform::applications

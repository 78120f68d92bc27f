#include "runtime/Applications/ZROsVersion.h"

#include "platform/SystemVersion.h"
#include "runtime/Code/ZRLog.h"
#include "runtime/Threads/ZRMutex.h"

namespace {

struct OsVersion {
  int major = 0;
  int minor = 0;
  int bugFix = 0;
};

bool readComponent(platform::VersionComponent component, const char* failure, int& number) {
  if (platform::systemVersion(component, number)) return true;
  zrrt::log(ZRLogLevel::eWarning, "%s", failure);
  return false;
}

bool readVersion(OsVersion& version) {
  using platform::VersionComponent;
  return readComponent(VersionComponent::major, "Gestalt failed to fetch SystemVersionMajor.",
                       version.major) &&
         readComponent(VersionComponent::minor, "Gestalt failed to fetch SystemVersionMinor.",
                       version.minor) &&
         readComponent(VersionComponent::bugFix, "Gestalt failed to fetch SystemVersionBugFix.",
                       version.bugFix);
}

/// Kept for the life of the program once it could be read.
bool cachedVersion(OsVersion& version) {
  static ZRThreadMutex mutex("Thread Mutex");
  static OsVersion cached;
  static bool isRead = false;
  const ZRMutex::Guard guard(mutex);
  if (!isRead) isRead = readVersion(cached);
  version = cached;
  return isRead;
}

}  // namespace

bool matchesOsVersion(std::int32_t systemMajor, std::int32_t systemMinor, std::int32_t minor, bool orLater) {
  if (systemMajor < 10) return false;
  return orLater ? systemMinor >= minor : systemMinor == minor;
}

bool isOsVersion(std::int32_t minor, bool orLater) {
  OsVersion version;
  return cachedVersion(version) && matchesOsVersion(version.major, version.minor, minor, orLater);
}

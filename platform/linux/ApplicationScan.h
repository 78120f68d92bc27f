#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace platform::applications {

/// A file or folder, wherever it is moved on its volume.
struct Identity {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  auto operator<=>(const Identity&) const = default;
};

/// Changes whenever the file's contents do. The change time counts besides the modification time: unpacked
/// files of two builds may well agree in all else, even in a reused inode number.
struct Fingerprint {
  Identity identity;
  std::int64_t modified = 0;  ///< nanoseconds since 1970
  std::int64_t changed = 0;   ///< nanoseconds since 1970
  std::int64_t size = 0;      ///< bytes
  auto operator<=>(const Fingerprint&) const = default;
};

/// What the registry knows of one bundle.
struct Application {
  std::string path;
  Identity identity;
  Fingerprint information;           ///< of the information dictionary's file when it was read
  std::string identifier;            ///< without case
  std::string version;               ///< the bundle's version text
  std::vector<std::string> schemes;  ///< without case
  bool operator==(const Application&) const = default;
};

/// What stands at a path.
struct Examination {
  std::optional<Application> application;
  bool isSeen = true;  ///< false: it could not be told whether there is an application
};

/// The bundle at the path as it is now; none when there is no folder with an information dictionary.
/// What one of `known` has read from the very same dictionary is taken from there.
[[nodiscard]] Examination examine(const std::string& path, const std::vector<Application>& known);

/// The bundle folders in the usual places and one folder level below each, in path order; links to folders
/// count as folders, hidden ones are left out.
struct UsualPlaces {
  std::vector<std::string> bundles;
  bool sawEverything = true;
};
[[nodiscard]] UsualPlaces scanUsualPlaces();

}  // namespace platform::applications

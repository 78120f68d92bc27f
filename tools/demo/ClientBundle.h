#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace demo {

/// Files of this machine that stand in for the contents of a real client: the same list each time.
class Payload {
 public:
  /// Nothing: a bundle is then a few small files.
  Payload() = default;
  /// Takes files below `folder` in path order, none larger than a megabyte, until `totalBytes` are reached.
  Payload(const std::filesystem::path& folder, std::uint64_t totalBytes);

  [[nodiscard]] const std::vector<std::filesystem::path>& files() const { return _files; }

 private:
  std::vector<std::filesystem::path> _files;
};

/// Makes a client bundle of a build: information dictionary with the plain URL scheme and the one of the
/// build, the executables of a client, and the payload, in which a few files differ from those of every other
/// build.
void makeClientBundle(const std::filesystem::path& bundle, std::uint32_t build, const Payload& payload);

/// Makes the companion application's bundle.
void makeMessengerBundle(const std::filesystem::path& bundle);

}  // namespace demo

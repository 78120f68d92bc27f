#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tools/demo/ClientBundle.h"
#include "tools/packager/UpdateInfoDocument.h"

namespace demo {

/// The maker's side: bundles of builds, their archives and delta packages, laid out as the server serves
/// them.
class Releases {
 public:
  /// `folder` keeps bundles and archives between runs: what is there already is not made again.
  Releases(std::filesystem::path folder, std::string downloadHost);

  /// Makes the build's bundle and its full archive.
  void addBuild(std::uint32_t build, const Payload& payload);
  /// Makes the package that turns one build into another.
  void addDelta(std::uint32_t from, std::uint32_t to);
  /// Makes the Messenger's zip archive, its bundle signed with the certificate for staging.
  void addMessenger();

  /// A document that lists these builds, with every delta package that leads to one of them.
  [[nodiscard]] packager::UpdateInfoDocument document(const std::vector<std::uint32_t>& activeBuilds) const;
  [[nodiscard]] packager::MessengerEntry messenger() const;
  /// The certificate that the Messenger is signed with.
  [[nodiscard]] std::filesystem::path signingCertificate() const { return identity() / "certificate.pem"; }

  [[nodiscard]] std::filesystem::path bundle(std::uint32_t build) const;
  /// The folder that the download host serves.
  [[nodiscard]] std::filesystem::path served() const { return _folder / "served"; }
  [[nodiscard]] std::uint64_t fullSize(std::uint32_t build) const { return _fullSizes.at(build); }

 private:
  [[nodiscard]] std::filesystem::path identity() const { return _folder / "identity"; }
  [[nodiscard]] packager::Download download(const std::string& name) const;

  std::filesystem::path _folder;
  std::string _host;
  std::map<std::uint32_t, std::uint64_t> _fullSizes;
  std::vector<std::pair<std::uint32_t, std::uint32_t>> _deltas;
};

}  // namespace demo

#pragma once

#include <string>

#include "tests/agent/AgentHome.h"
#include "tools/packager/Archive.h"
#include "tools/packager/DeltaPackage.h"
#include "tools/packager/Digest.h"
#include "tools/packager/UpdateInfoDocument.h"
#include "tools/staging/StagingServer.h"

namespace test {

inline constexpr const char* kUpdateHost = "updates.vantora.example";
inline constexpr const char* kUpdatePath = "/vntupdater/live/config.json";
inline constexpr const char* kBuildHost = "downloads.vantora-storage.example";

/// A maker's servers and what is published there, and the environment in which clients find them.
class MakerSite {
 public:
  explicit MakerSite(const Sandbox& sandbox)
      : _folder(sandbox.folder() / "maker"), _environment(ScopedEnvironment::with(server.environment())) {
    makeFolder(published());
    server.serveFolder(kBuildHost, published());
    server.serve(kUpdateHost, kUpdatePath, staging::Reply::fromFile(published() + "/config.json"));
    document.updaterSettings =
        packager::SettingsEntry{.enabled = true, .minDelayInDays = 3, .maxDelayInDays = 4};
  }

  [[nodiscard]] std::string published() const { return _folder + "/published"; }
  [[nodiscard]] static std::string url(const std::string& name) {
    return std::string("https://") + kBuildHost + "/" + name;
  }

  /// Publishes the full archive of a build and lists it as active.
  packager::BuildEntry& addBuild(std::uint32_t build) {
    const std::string name = 'b' + std::to_string(build) + ".tar";
    const auto file = packager::makeFullArchive(bundle(build), build, published() + "/" + name);
    auto& entry = document.activeBuilds.emplace_back();
    entry.buildNumber = static_cast<std::int32_t>(build);
    entry.mac = download(name, file);
    return entry;
  }
  /// Publishes a delta package for the build.
  void addDelta(packager::BuildEntry& target, std::uint32_t source) {
    const auto build = static_cast<std::uint32_t>(target.buildNumber);
    const std::string name = 'd' + std::to_string(source) + "_" + std::to_string(build) + ".tar";
    const auto package = packager::makeDeltaPackage({.sourceBundle = bundle(source),
                                                     .targetBundle = bundle(build),
                                                     .sourceBuild = source,
                                                     .targetBuild = build,
                                                     .archive = published() + "/" + name,
                                                     .jobs = 1});
    auto& entry = target.deltaPackages.emplace_back();
    entry.fromBuildNumber = source;
    entry.mac = download(name, package.archive);
  }
  /// The maker's own copy of a stock endpoint.
  [[nodiscard]] std::string bundle(std::uint32_t build) const {
    std::string path = _folder + "/bundles/Vantora (" + std::to_string(build) + ").app";
    if (!exists(path)) makeEndpoint(_folder + "/bundles", build);
    return path;
  }
  /// Publishes an archive of the items (as arguments of tar, quoted) in `folder`, with its digest.
  void publishArchive(const std::string& name, const std::string& folder, const std::string& items) const {
    const std::string archive = published() + "/" + name;
    ASSERT_EQ(std::system(("tar -cf '" + archive + "' -C '" + folder + "' " + items).c_str()), 0);
    writeFile(archive + ".md5", packager::md5OfFile(archive) + "\n");
  }
  /// Puts the document where agents look for it, and beside the archives.
  void publish() const { writeFile(published() + "/config.json", packager::toJson(document)); }
  /// The requests so far, as paths.
  [[nodiscard]] std::vector<std::string> requestedPaths() const {
    std::vector<std::string> paths;
    for (const auto& request : server.requests())
      paths.push_back(request.path);
    return paths;
  }

  staging::Server server;
  packager::UpdateInfoDocument document;

 private:
  static packager::Download download(const std::string& name, const packager::PublishedFile& file) {
    return {.url = url(name), .sizeBytes = static_cast<std::uint32_t>(file.sizeBytes)};
  }

  std::string _folder;
  ScopedEnvironment _environment;
};

/// An engine on a computer that reaches a maker's site.
class StagedHome : public EngineHome {
 public:
  MakerSite site{sandbox()};
};

}  // namespace test

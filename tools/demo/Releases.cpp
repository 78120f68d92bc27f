#include "tools/demo/Releases.h"

#include "tools/codesign/Signer.h"
#include "tools/packager/Archive.h"
#include "tools/packager/DeltaPackage.h"
#include "tools/support/Program.h"

namespace demo {
namespace {

namespace fs = std::filesystem;

std::string fullName(std::uint32_t build) {
  return "vantora-" + std::to_string(build) + ".tar.gz";
}

std::string deltaName(std::uint32_t from, std::uint32_t to) {
  return "vantora-" + std::to_string(from) + "-" + std::to_string(to) + ".tar.gz";
}

constexpr const char* kMessengerName = "messenger.zip";

void zipFolder(const fs::path& parent, const std::string& name, const fs::path& archive) {
  tools::runProgram({.path = "/usr/bin/zip",
                     .arguments = {"-q", "-r", "-y", "-X", archive.string(), name},
                     .workingFolder = parent.string()});
}

}  // namespace

Releases::Releases(fs::path folder, std::string downloadHost)
    : _folder(std::move(folder)), _host(std::move(downloadHost)) {
  fs::create_directories(served());
}

fs::path Releases::bundle(std::uint32_t build) const {
  return _folder / "bundles" / ("Vantora (" + std::to_string(build) + ").app");
}

void Releases::addBuild(std::uint32_t build, const Payload& payload) {
  const fs::path archive = served() / fullName(build);
  if (!fs::exists(archive.string() + ".md5")) {
    fs::remove_all(bundle(build));
    makeClientBundle(bundle(build), build, payload);
    packager::makeFullArchive(bundle(build), build, archive);
  }
  _fullSizes[build] = fs::file_size(archive);
}

void Releases::addDelta(std::uint32_t from, std::uint32_t to) {
  const fs::path archive = served() / deltaName(from, to);
  if (!fs::exists(archive.string() + ".md5")) {
    packager::makeDeltaPackage({.sourceBundle = bundle(from),
                                .targetBundle = bundle(to),
                                .sourceBuild = from,
                                .targetBuild = to,
                                .archive = archive});
  }
  _deltas.emplace_back(from, to);
}

void Releases::addMessenger() {
  // Made anew each time: a certificate does not last.
  const fs::path bundle = _folder / "bundles" / "Vantora Messenger.app";
  fs::remove_all(bundle);
  fs::remove(served() / kMessengerName);
  codesign::writeIdentity(identity(), codesign::makeSigningIdentity("Vantora staging"));
  makeMessengerBundle(bundle);
  codesign::signBundle(bundle, codesign::readIdentity(identity()));
  zipFolder(bundle.parent_path(), bundle.filename().string(), served() / kMessengerName);
}

packager::Download Releases::download(const std::string& name) const {
  return {"https://" + _host + "/" + name, static_cast<std::uint32_t>(fs::file_size(served() / name))};
}

packager::UpdateInfoDocument Releases::document(const std::vector<std::uint32_t>& activeBuilds) const {
  packager::UpdateInfoDocument document;
  document.updaterSettings =
      packager::SettingsEntry{.enabled = true, .minDelayInDays = 1, .maxDelayInDays = 2};
  for (const std::uint32_t build : activeBuilds) {
    packager::BuildEntry entry{.buildNumber = static_cast<std::int32_t>(build),
                               .mac = download(fullName(build)),
                               .windows = {},
                               .deltaPackages = {}};
    for (const auto& [from, to] : _deltas) {
      if (to == build) entry.deltaPackages.push_back({from, download(deltaName(from, to)), {}});
    }
    document.activeBuilds.push_back(entry);
  }
  return document;
}

packager::MessengerEntry Releases::messenger() const {
  return {.mac = download(kMessengerName), .windows = {}};
}

}  // namespace demo

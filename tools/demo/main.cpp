// Shows the agent at work: a maker who publishes builds, a user's computer, and the agent that ships, run by
// its launch agent, in between. Everything happens below one folder.

#include <cstdio>
#include <filesystem>
#include <map>
#include <set>

#include "platform/Bundle.h"
#include "tools/demo/Releases.h"
#include "tools/demo/Stage.h"
#include "tools/staging/StagingServer.h"

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr const char* kUpdates = "updates.vantora.example";
constexpr const char* kDocument = "/vntupdater/live/config.json";
constexpr const char* kDownloads = "downloads.vantora-storage.example";

constexpr std::uint32_t kOld = 7701;    // what the user once installed by hand
constexpr std::uint32_t kLoose = 7745;  // what somebody left on the Desktop
constexpr std::uint32_t kA = 7740;
constexpr std::uint32_t kB = 7750;
constexpr std::uint32_t kC = 7755;
constexpr std::uint32_t kD = 7758;
constexpr std::uint64_t kBuildBytes = 48'000'000;

double megabytes(std::uint64_t bytes) {
  return static_cast<double>(bytes) / 1e6;
}

void printHeading(const char* text) {
  std::printf("\n\033[1m%s\033[0m\n", text);
}

/// One run of the agent and what came of it.
class Scene {
 public:
  Scene(demo::Stage& stage, demo::Releases& releases, staging::Server& server)
      : _stage(stage), _releases(releases), _server(server) {}

  void play(const char* heading, const packager::UpdateInfoDocument& document) {
    printHeading(heading);
    _server.serve(kUpdates, kDocument, staging::Reply::text(packager::toJson(document)));
    _stage.makeCheckDue();
    printBuilds("installed before", _stage.installedBuilds());
    const std::set<std::uint32_t> before = buildNumbers();
    const std::size_t firstRequest = _server.requests().size();

    const int status = _stage.runLaunchAgent(_server.environment());

    printBuilds("installed after", _stage.installedBuilds());
    printFetched(firstRequest, before);
    printLog();
    std::printf("  exit status %d\n", status);
    if (status != 0) _failed = true;
  }

  /// Whether a run did not end as it should, or the builds are not the expected ones now.
  [[nodiscard]] bool endedWith(const std::set<std::uint32_t>& expected) const {
    return !_failed && buildNumbers() == expected;
  }

 private:
  [[nodiscard]] std::set<std::uint32_t> buildNumbers() const {
    std::set<std::uint32_t> numbers;
    for (const demo::InstalledBuild& installed : _stage.installedBuilds())
      numbers.insert(installed.build);
    return numbers;
  }

  void printBuilds(const char* what, const std::vector<demo::InstalledBuild>& builds) const {
    std::printf("  %s:\n", what);
    for (const demo::InstalledBuild& installed : builds) {
      std::printf("    %u  %s\n", installed.build,
                  fs::relative(installed.path, _stage.home().parent_path()).c_str());
    }
  }

  void printFetched(std::size_t firstRequest, const std::set<std::uint32_t>& before) const {
    std::printf("  fetched:\n");
    std::uint64_t fetched = 0;
    const auto requests = _server.requests();
    for (std::size_t i = firstRequest; i < requests.size(); ++i) {
      const staging::Request& request = requests[i];
      std::printf("    %d  https://%s%s  %.3f MB\n", request.status, request.host.c_str(),
                  request.path.c_str(), megabytes(request.bodyBytes));
      if (request.host == kDownloads) fetched += request.bodyBytes;
    }
    std::uint64_t full = 0;
    for (const std::uint32_t build : buildNumbers()) {
      if (before.count(build) == 0) full += _releases.fullSize(build);
    }
    if (full != 0) {
      std::printf("  downloaded %.2f MB; the new builds' full archives are %.2f MB (%.1f %%)\n",
                  megabytes(fetched), megabytes(full),
                  100.0 * static_cast<double>(fetched) / static_cast<double>(full));
    }
  }

  /// The lines that a person would look for: not the debug ones.
  void printLog() const {
    std::printf("  log (%s, without debug lines):\n",
                fs::relative(_stage.log(), _stage.home().parent_path()).c_str());
    bool isShown = true;
    for (const std::string& line : _stage.newLogLines()) {
      const bool isContinued = line.empty() || line.front() == '\t';
      if (!isContinued) isShown = line.find(" PST d: ") == std::string::npos;
      if (isShown) std::printf("    %s\n", line.c_str());
    }
  }

  demo::Stage& _stage;
  demo::Releases& _releases;
  staging::Server& _server;
  bool _failed = false;
};

void publish(demo::Releases& releases) {
  printHeading("The maker publishes (kept for the next time)");
  const demo::Payload payload(kBuildBytes);
  for (const std::uint32_t build : {kOld, kA, kLoose, kB, kC, kD}) {
    releases.addBuild(build, payload);
    std::printf("  build %u: full archive of %.2f MB\n", build, megabytes(releases.fullSize(build)));
  }
  for (const auto& [from, to] : {std::pair{kA, kB}, std::pair{kB, kC}, std::pair{kC, kD}}) {
    releases.addDelta(from, to);
    std::printf("  build %u from %u: delta package\n", to, from);
  }
  releases.addMessenger();
}

int show(const fs::path& folder) {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  demo::Releases releases(folder / "published", kDownloads);
  publish(releases);

  demo::Stage stage(folder / "sandbox");
  stage.installAgent(fs::path(platform::executablePath()).parent_path(), releases.signingCertificate());
  stage.placeBuild(releases.bundle(kOld), stage.applications(), 24h);

  staging::Server server;
  server.serveFolder(kDownloads, releases.served().string());
  Scene scene(stage, releases, server);

  scene.play("1. One build is missing: a full archive", releases.document({kA}));
  scene.play("2. The next build is a small step: a delta package", releases.document({kA, kB}));
  scene.play("3. Two builds are missing: the order that downloads least", releases.document({kD, kC}));

  packager::UpdateInfoDocument last = releases.document({kB, kC, kD});
  last.removeBuilds = {{7700, 7705}};
  last.messenger = releases.messenger();
  stage.setLastUsed(kA, 100 * 24h);
  stage.placeBuild(releases.bundle(kLoose), stage.desktop(), 24h);
  stage.setPreference("AggressivelyCleanup", true);
  stage.askForMessenger();
  scene.play("4. Keeping order: unused, retired and loose builds, and the Messenger", last);

  const bool messengerInstalled = fs::exists(stage.applications() / "Vantora Messenger.app");
  std::printf("\nMessenger %s\n", messengerInstalled ? "installed" : "MISSING");
  const bool asExpected = messengerInstalled && scene.endedWith({kLoose, kB, kC, kD});
  std::printf("%s\nThe log is %s\n", asExpected ? "All as expected." : "NOT as expected.",
              stage.log().c_str());
  return asExpected ? 0 : 1;
}

}  // namespace

int main(int argc, char* argv[]) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s <folder for everything>\n", argv[0]);
    return 2;
  }
  try {
    return show(fs::absolute(argv[1]));
  } catch (const std::exception& exception) {
    std::fprintf(stderr, "the demonstration failed: %s\n", exception.what());
    return 1;
  }
}

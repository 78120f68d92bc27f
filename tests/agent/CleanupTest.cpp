#include <gtest/gtest.h>

#include "platform/ApplicationRegistry.h"
#include "platform/Metadata.h"
#include "tests/agent/AgentHome.h"

namespace {

namespace fs = std::filesystem;
using platform::Seconds;

class CleanupTest : public ::testing::Test, public test::EngineHome {
 protected:
  static constexpr double kDay = 86'400;

  /// An endpoint created and last used (negative: never) so many days ago.
  std::string makeAged(std::uint32_t build, double created, double lastUsed) {
    return aged(test::makeEndpoint(olderVersions(), build), created, lastUsed);
  }
  std::string aged(std::string path, double created, double lastUsed) {
    platform::ItemAttributes attributes;
    attributes.creationDate = clock.now() - Seconds(created * kDay);
    EXPECT_FALSE(platform::defaultFileManager().setAttributes(path, attributes));
    if (lastUsed >= 0) {
      EXPECT_FALSE(platform::metadata::setLastUsedDate(path, clock.now() - Seconds(lastUsed * kDay)));
    }
    return path;
  }
  void setRetired(std::vector<BuildRange> ranges) {
    engine().updateInfoParser().removeBuilds = std::move(ranges);
    engine().updateInfoParser().updaterSettings = {true, 1, 2};
    engine().updateInfoParser().isParsed = true;
  }
  std::vector<std::string> linesWith(const std::string& text) const {
    std::vector<std::string> found;
    for (const auto& line : log.lines())
      if (line.find(text) != std::string::npos) found.push_back(line);
    return found;
  }

  test::FixedClock clock;
};

TEST_F(CleanupTest, UnusedBuildsGoAfterNinetyDays) {
  struct Case {
    std::uint32_t build;
    double created, lastUsed;
    bool kept;
  };
  const Case cases[] = {{1, 89, -1, true}, {2, 90, -1, false}, {3, 400, 89, true}, {4, 1, 90, false},
                        {5, 400, 0, true}, {6, -1, -1, true},  {9, 400, 400, true}};  // the latest
  for (const Case& c : cases)
    makeAged(c.build, c.created, c.lastUsed);
  const std::string twin = applications() + "/Other name.app";
  test::makeBundle(twin, {.build = 9});
  aged(twin, 400, -1);

  engine().removeUnusedBuilds(engine().allInstalledBuilds());

  for (const Case& c : cases)
    EXPECT_EQ(test::exists(installed(c.build)), c.kept) << c.build;
  EXPECT_TRUE(test::exists(twin));
  EXPECT_TRUE(
      log.contains("d: ", "Endpoint at '" + installed(4) +
                              "': created 2026-11-14 18:17:26 +0000, last used 2026-08-17 18:17:26 +0000."))
      << log.text();
  EXPECT_TRUE(log.contains(
      "d: ", "Endpoint at '" + installed(2) + "': created 2026-08-17 18:17:26 +0000, never used."));
  EXPECT_TRUE(log.contains("d: ", "Endpoint at '" + twin + "' is latest version (9), skipping."));
  EXPECT_TRUE(log.contains("d: ", "Successfully removed build at " + installed(2)));
}

/// Has one item on another volume, and one that cannot be removed.
class TwoVolumes : public platform::FileManager {
 public:
  platform::Error fileSystemNumber(const std::string& path, std::uint64_t& number) const override {
    const auto error = FileManager::fileSystemNumber(path, number);
    if (path.ends_with("(1).app")) ++number;
    return error;
  }
  platform::Error removeItem(const std::string& path) override {
    return path.ends_with("(2).app") ? platform::posixError(EPERM, path) : FileManager::removeItem(path);
  }
};

TEST_F(CleanupTest, OtherVolumesAreLeftAloneAndAFailureDoesNotStopTheWalk) {
  TwoVolumes manager;
  otherFileManager = &manager;
  for (const std::uint32_t build : {1U, 2U, 3U, 4U})
    makeAged(build, 400, 400);
  engine().removeUnusedBuilds(engine().allInstalledBuilds());
  EXPECT_TRUE(test::exists(installed(1)));
  EXPECT_TRUE(log.contains(
      "d: ", "Endpoint at '" + installed(1) + "' is not installed on the boot volume, skipping."));
  EXPECT_TRUE(test::exists(installed(2)));
  EXPECT_TRUE(log.contains("E: ", "Unable to remove file at " + installed(2) + ": "));
  EXPECT_FALSE(test::exists(installed(3)));
}

TEST_F(CleanupTest, RetiredRangesOfAnyWidthInTheOrderOfCounting) {
  for (const std::uint32_t build : {5U, 70U, 7759U, 8000U, 2147483647U})
    test::makeEndpoint(olderVersions(), build);
  setRetired({{9, 6}, {6, 8000}, {8000, 2147483647}, {0, 5}});
  engine().buildCleanup().removeRetiredBuilds();
  EXPECT_EQ(engine().allInstalledBuilds(), Endpoints{installed(7759)});
  const auto lines = linesWith("build");
  std::vector<std::string> removed;
  for (const auto& line : lines)
    if (line.find("Successfully") != std::string::npos || line.find("currently") != std::string::npos) {
      removed.push_back(line.substr(line.find("> ") + 2, line.find(" at ") - line.find("> ") - 2));
    }
  EXPECT_EQ(removed, (std::vector<std::string>{
                         "Successfully removed build 70",
                         "Build 7759 is the currently running VNTUpdate build, skipping...",
                         "Successfully removed build 8000", "Successfully removed build 2147483647",
                         "Successfully removed build 5"}))
      << log.text();
}

TEST_F(CleanupTest, OneEndpointOfARetiredBuildAtATime) {
  test::makeEndpoint(olderVersions(), 5);
  test::makeEndpoint(applications(), 5);
  setRetired({{5, 5}});
  engine().buildCleanup().removeRetiredBuilds();
  EXPECT_EQ(engine().allInstalledBuilds().size(), 1U);
  setRetired({{0, 10}, {0, 10}});
  engine().buildCleanup().removeRetiredBuilds();
  EXPECT_TRUE(engine().allInstalledBuilds().empty());
}

TEST_F(CleanupTest, NothingIsRetiredWithoutValidSettings) {
  const std::string path = test::makeEndpoint(olderVersions(), 5);
  const UpdateSettings bad[] = {{true, -1, -1}, {true, 2, 2}, {true, 0, 0}};
  for (const auto& settings : bad) {
    setRetired({{5, 5}});
    engine().updateInfoParser().updaterSettings = settings;
    engine().buildCleanup().removeRetiredBuilds();
  }
  setRetired({{5, 5}});
  engine().updateInfoParser().isParsed = false;
  engine().buildCleanup().removeRetiredBuilds();
  EXPECT_TRUE(test::exists(path));
  EXPECT_TRUE(
      log.contains("W: ", "Update info contains invalid settings, skipping removal of retired builds."));
}

TEST_F(CleanupTest, AggressiveGatheringOnce) {
  const std::string desktop = sandbox().home() + "/Desktop";
  test::makeBundle(applications() + "/Vantora.app", {.build = 1});
  test::makeEndpoint(applications(), 2);
  test::makeEndpoint(desktop, 3);
  test::makeEndpoint(olderVersions(), 3);
  test::makeEndpoint(desktop, 9);                   // the latest
  test::makeEndpoint(applications() + "/Mine", 4);  // in no install location
  engine().cleanup();
  for (const std::uint32_t build : {2U, 3U})
    EXPECT_TRUE(test::exists(installed(build))) << log.text();
  EXPECT_FALSE(test::exists(desktop + "/Vantora (3).app"));
  EXPECT_TRUE(log.contains("d: ", "We've already got a copy of Vantora (3).app, deleting extra at: " +
                                      desktop + "/Vantora (3).app"));
  EXPECT_TRUE(
      log.contains("d: ", "Moving build " + applications() + "/Vantora (2).app to " + olderVersions()));
  EXPECT_TRUE(test::exists(desktop + "/Vantora (9).app"));
  EXPECT_TRUE(test::exists(applications() + "/Vantora.app"));
  EXPECT_TRUE(test::exists(applications() + "/Mine/Vantora (4).app"));
  EXPECT_EQ(*preference("AggressivelyCleanup"), platform::plist::Value(false));
  EXPECT_FALSE(engine().beAggressive());

  test::makeEndpoint(desktop, 5);
  test::makeEndpoint(applications(), 6);
  test::makeEndpoint(applications(), 2);  // its place is taken
  engine().cleanup();
  EXPECT_TRUE(test::exists(desktop + "/Vantora (5).app"));
  EXPECT_TRUE(test::exists(installed(6)));
  EXPECT_TRUE(test::exists(applications() + "/Vantora (2).app"));
  EXPECT_TRUE(log.contains("E: ", "Error moving app: ")) << log.text();
}

/// As on a volume where the folder for installed builds cannot be made: builds belong beside the plain
/// bundle.
class NoNewFolders : public platform::FileManager {
 public:
  platform::Error createFolder(const std::string& path) override { return platform::posixError(EROFS, path); }
};

TEST_F(CleanupTest, ABuildInItsPlaceIsNoCopyOfItself) {
  NoNewFolders manager;
  otherFileManager = &manager;
  const std::string path = test::makeEndpoint(applications(), 2);
  test::makeEndpoint(applications(), 9);
  engine().cleanup();
  EXPECT_TRUE(test::exists(path));
}

TEST_F(CleanupTest, PlainBundleBecomesTheLatestBuild) {
  EXPECT_TRUE(engine().buildCleanup().copyLatestBuildToInstallationFolder());
  test::makeEndpoint(olderVersions(), 4);
  test::makeEndpoint(olderVersions(), 8);
  test::makeBundle(applications() + "/Vantora.app", {.build = 4, .schemes = {{"Vantora"}}});
  EXPECT_TRUE(engine().buildCleanup().copyLatestBuildToInstallationFolder());
  EXPECT_EQ(bundleBuildNumber(applications() + "/Vantora.app"), 8);
  EXPECT_TRUE(engine().buildCleanup().copyLatestBuildToInstallationFolder());
  EXPECT_TRUE(log.contains("d: ", "Correct build already in 'plain' bundle at: " + applications()))
      << log.text();
}

}  // namespace

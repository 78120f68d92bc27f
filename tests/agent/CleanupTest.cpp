#include <gtest/gtest.h>

#include <chrono>

#include "platform/ApplicationRegistry.h"
#include "platform/Metadata.h"
#include "tests/agent/AgentHome.h"

namespace {

namespace fs = std::filesystem;
using platform::Seconds;
using Call = test::FaultyFileManager::Call;

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
  void removeUnused() { engine().removeUnusedBuilds(engine().allInstalledBuilds()); }
  void removeRetired(std::vector<BuildRange> ranges, const std::vector<std::uint32_t>& active = {}) {
    UpdateInfo info;
    info.removeBuilds = std::move(ranges);
    for (const std::uint32_t build : active)
      info.activeBuilds.emplace_back().buildNumber = build;
    info.updaterSettings = retirementSettings;
    info.isParsed = true;
    parts().cleanup.removeRetiredBuilds(info);
  }
  UpdateSettings retirementSettings{true, 1, 2};

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
  removeUnused();
  for (const Case& c : cases)
    EXPECT_EQ(test::exists(installed(c.build)), c.kept) << c.build;
  EXPECT_TRUE(test::exists(twin));
  EXPECT_LOGGED(log, "d: ",
                "Endpoint at '" + installed(4) +
                    "': created 2026-11-14 18:17:26 +0000, last used 2026-08-17 18:17:26 +0000.");
  EXPECT_LOGGED(log,
                "d: ", "Endpoint at '" + installed(2) + "': created 2026-08-17 18:17:26 +0000, never used.");
  EXPECT_LOGGED(log, "d: ", "Date is 90.000000 days in the past!");
  EXPECT_LOGGED(log, "d: ", "Endpoint at '" + twin + "' is latest version (9), skipping.");
  EXPECT_LOGGED(log, "d: ", "Successfully removed build at " + installed(2));
}

TEST_F(CleanupTest, WhatDoesNotTellItsNumberIsNotOld) {
  struct Case {
    std::uint32_t unreadable;
    std::vector<bool> kept;  ///< of the builds 1, 2 and 3
  };
  const Case cases[] = {{1, {true, false, true}}, {2, {false, true, true}}, {3, {false, true, true}}};
  for (const Case& c : cases) {
    for (const std::uint32_t build : {1U, 2U, 3U})
      makeAged(build, 400, 400);
    const Endpoints seen = engine().allInstalledBuilds();
    ASSERT_EQ(seen.paths.size(), 3U);
    test::writeFile(installed(c.unreadable) + "/Contents/Info.plist", "");  // being replaced just now
    engine().removeUnusedBuilds(seen);
    EXPECT_EQ(
        (std::vector{test::exists(installed(1)), test::exists(installed(2)), test::exists(installed(3))}),
        c.kept)
        << log.text();
    EXPECT_LOGGED(log,
                  "W: ", "Endpoint at '" + installed(c.unreadable) + "' does not tell its build number now");
    fs::remove_all(olderVersions());
  }
}

TEST_F(CleanupTest, OtherVolumesAreLeftAloneAndAFailureDoesNotStopTheWalk) {
  fileManager.elsewhere = "(1).app";
  fileManager.fail(Call::remove, "(2).app");
  for (const std::uint32_t build : {1U, 2U, 3U, 4U})
    makeAged(build, 400, 400);
  removeUnused();
  EXPECT_TRUE(test::exists(installed(1)));
  EXPECT_LOGGED(log,
                "d: ", "Endpoint at '" + installed(1) + "' is not installed on the boot volume, skipping.");
  EXPECT_TRUE(test::exists(installed(2)));
  EXPECT_LOGGED(log, "E: ", "Unable to remove file at " + installed(2) + ": ");
  EXPECT_FALSE(test::exists(installed(3)));
}

TEST_F(CleanupTest, RetiredRangesOfAnyWidthInTheOrderOfCounting) {
  for (const std::uint32_t build : {5U, 70U, 7759U, 8000U, 2147483647U})
    test::makeEndpoint(olderVersions(), build);
  removeRetired({{9, 6}, {0, 0xFFFFFFFF}, {6, 8000}, {8000, 2147483647}, {0, 5}});
  EXPECT_EQ(engine().allInstalledBuilds().paths, std::vector{installed(7759)});
  std::vector<std::string> removed;
  for (const auto& line : log.lines())
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

TEST_F(CleanupTest, ManyRangesTakeNoTime) {
  test::makeEndpoint(olderVersions(), 3);
  std::vector<BuildRange> ranges(100'000, BuildRange{0, 1});
  ranges.push_back({3, 3});
  const auto start = std::chrono::steady_clock::now();
  removeRetired(std::move(ranges));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
  EXPECT_FALSE(test::exists(installed(3)));
}

TEST_F(CleanupTest, OneEndpointOfARetiredBuildAtATime) {
  test::makeEndpoint(olderVersions(), 5);
  test::makeEndpoint(applications(), 5);
  removeRetired({{5, 5}, {5, 5}});
  EXPECT_EQ(engine().allInstalledBuilds().paths.size(), 1U);
  removeRetired({{0, 10}});
  EXPECT_TRUE(engine().allInstalledBuilds().paths.empty());
}

TEST_F(CleanupTest, TheLastBuildStaysWhileAnActiveOneIsMissing) {
  struct Case {
    std::vector<std::uint32_t> active;
    std::vector<BuildRange> retired;
    std::vector<bool> kept;  ///< of the builds 1 and 2
  };
  const Case cases[] = {{{9}, {{0, 5}}, {false, true}},
                        {{9}, {{2, 2}}, {true, false}},
                        {{2}, {{0, 1}}, {false, true}},
                        {{}, {{0, 5}}, {false, false}}};
  for (const Case& c : cases) {
    test::makeEndpoint(olderVersions(), 1);
    test::makeEndpoint(olderVersions(), 2);
    log.clear();
    removeRetired(c.retired, c.active);
    EXPECT_EQ((std::vector{test::exists(installed(1)), test::exists(installed(2))}), c.kept) << log.text();
    EXPECT_EQ(log.contains("W: ", "Build 2 is retired, but no other would be left. Keeping it at "),
              c.active == std::vector{9U} && c.kept[1]);
    fs::remove_all(olderVersions());
  }
}

TEST_F(CleanupTest, NothingIsRetiredWithoutValidSettings) {
  test::makeEndpoint(olderVersions(), 5);
  for (const UpdateSettings& bad : {UpdateSettings{true, -1, -1}, {true, 2, 2}, {true, 0, 0}}) {
    retirementSettings = bad;
    removeRetired({{5, 5}});
  }
  EXPECT_TRUE(test::exists(installed(5)));
  EXPECT_LOGGED(log, "W: ", "Update info contains invalid settings, skipping removal of retired builds.");
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
  EXPECT_LOGGED(
      log, "d: ",
      "We've already got a copy of Vantora (3).app, deleting extra at: " + desktop + "/Vantora (3).app");
  EXPECT_LOGGED(log, "d: ", "Moving build " + applications() + "/Vantora (2).app to " + olderVersions());
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
  EXPECT_LOGGED(log, "E: ", "Error moving app: ");
}

TEST_F(CleanupTest, WhatIsNoCopyCostsNoBuild) {
  const std::string desktop = sandbox().home() + "/Desktop";
  test::makeEndpoint(applications(), 9);
  const std::string linked = test::makeEndpoint(sandbox().folder() / "far", 4);
  for (const std::uint32_t build : {2U, 3U})
    test::makeEndpoint(desktop, build);
  fs::create_directory_symlink(linked, desktop + "/Vantora (4).app");
  test::makeFolder(installed(2));
  test::makeBundle(installed(3), {.build = 1});
  engine().cleanup();
  for (const char* name : {"/Vantora (2).app", "/Vantora (3).app", "/Vantora (4).app"}) {
    EXPECT_TRUE(test::exists(desktop + name)) << log.text();
  }
  EXPECT_LOGGED(log, "W: ", "What stands at " + installed(2) + " is no copy of " + desktop);
}

TEST_F(CleanupTest, ABuildInItsPlaceIsNoCopyOfItself) {
  const std::string path = test::makeEndpoint(applications(), 2);
  test::makeEndpoint(applications(), 9);
  fileManager.fail(Call::create);  // builds belong beside the plain bundle
  engine().cleanup();
  EXPECT_TRUE(test::exists(path));
  fileManager.heal();
  // Two names of one folder.
  fs::create_directory_symlink(applications(), olderVersions());
  test::EngineParts(fileManager, settings).cleanup.cleanup();
  fs::remove(olderVersions());
  fs::create_directory_symlink(applications(), sandbox().home() + "/Applications");
  test::EngineParts(fileManager, settings).cleanup.cleanup();
  EXPECT_TRUE(test::exists(path) || test::exists(installed(2))) << log.text();
  EXPECT_TRUE(test::exists(applications() + "/Vantora (9).app"));
}

}  // namespace

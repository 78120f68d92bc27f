#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

#include "Code/Common/DelayArithmetic.h"
#include "platform/Metadata.h"
#include "tests/agent/AgentHome.h"

namespace {

namespace fs = std::filesystem;
using test::Builds;
using ::testing::ContainsRegex;
using Call = test::FaultyFileManager::Call;

class CleanupTest : public ::testing::Test, public test::EngineHome {
 protected:
  [[nodiscard]] platform::Date daysAgo(double days) const {
    return clock.now() - platform::Seconds(days * kSecondsPerDay);
  }
  /// The endpoint was created and last used (negative: never) so many days ago.
  void age(const std::string& path, double created, double lastUsed) {
    platform::ItemAttributes attributes;
    attributes.creationDate = daysAgo(created);
    EXPECT_FALSE(fileManager.setAttributes(path, attributes));
    if (lastUsed < 0) return;
    EXPECT_FALSE(platform::metadata::setLastUsedDate(path, daysAgo(lastUsed)));
  }
  void installAged(const Builds& aged, double created, double lastUsed) {
    install(aged);
    for (const std::uint32_t build : aged)
      age(installed(build), created, lastUsed);
  }
  Endpoints installedBuilds() { return parts().inventory.allInstalledBuilds(); }
  void removeUnused() { parts().cleanup.removeUnusedBuilds(installedBuilds()); }
  void removeRetired(std::vector<BuildRange> ranges, const Builds& active = {},
                     UpdateSettings delays = {true, 1, 2}) {
    UpdateInfo info;
    info.removeBuilds = std::move(ranges);
    for (const std::uint32_t build : active)
      info.activeBuilds.emplace_back().buildNumber = build;
    info.updaterSettings = delays;
    info.isParsed = true;
    parts().cleanup.removeRetiredBuilds(info);
  }
  const std::string desktop = sandbox().home() + "/Desktop";
  test::FixedClock clock;
};

TEST_F(CleanupTest, UnusedBuildsGoAfterNinetyDays) {
  installAged({1}, 89, -1);
  installAged({2}, 90, -1);
  installAged({3}, 400, 89);
  installAged({4}, 1, 90);
  installAged({9}, 400, 400);  // the newest
  const std::string twin = applications() + "/Other name.app";
  test::makeBundle(twin, {.build = 9});
  age(twin, 400, -1);
  removeUnused();
  EXPECT_EQ(builds(), (Builds{1, 3, 9})) << log.text();
  EXPECT_TRUE(test::exists(twin));
}

TEST_F(CleanupTest, WhatDoesNotTellItsNumberIsNotOld) {
  const std::pair<std::uint32_t, Builds> kUnreadableAndKept[] = {{1, {1, 3}}, {2, {2, 3}}, {3, {2, 3}}};
  for (const auto& [unreadable, kept] : kUnreadableAndKept) {
    installAged({1, 2, 3}, 400, 400);
    const Endpoints seen = installedBuilds();
    test::writeFile(installed(unreadable) + "/Contents/Info.plist", "");  // being replaced just now
    parts().cleanup.removeUnusedBuilds(seen);
    EXPECT_EQ(builds(), kept) << log.text();
    fs::remove_all(olderVersions());
  }
  EXPECT_LOGGED(log, "W: ", "Endpoint at '" + installed(2) + "' does not tell its build number now");
}

TEST_F(CleanupTest, OtherVolumesAreLeftAloneAndAFailureDoesNotStopTheWalk) {
  fileManager.elsewhere = "(1).app";
  fileManager.fail(Call::remove, "(2).app");
  installAged({1, 2, 3, 4}, 400, 400);
  removeUnused();
  EXPECT_EQ(builds(), (Builds{1, 2, 4}));
  EXPECT_LOGGED(log, "E: ", "Unable to remove file at " + installed(2) + ": ");
}

TEST_F(CleanupTest, RetiredRangesOfAnyWidthAndNumberInTheOrderOfCounting) {
  install({5, 70, 7759, 8000, 2147483647});
  std::vector<BuildRange> ranges = {{9, 6}, {0, 0xFFFFFFFF}, {6, 8000}, {8000, 2147483647}};
  ranges.insert(ranges.end(), 100'000, BuildRange{0, 1});
  ranges.push_back({0, 5});
  const auto start = std::chrono::steady_clock::now();
  removeRetired(std::move(ranges));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
  EXPECT_EQ(builds(), Builds{7759});
  EXPECT_THAT(log.text(), ContainsRegex("build 70 at .*Build 7759 is the currently running VNTUpdate build, "
                                        "skipping.*build 8000 at .*build 2147483647 at .*build 5 at"));
}

TEST_F(CleanupTest, OneEndpointOfARetiredBuildAtATime) {
  install({5});
  test::makeEndpoint(applications(), 5);
  removeRetired({{5, 5}, {5, 5}});
  EXPECT_EQ(installedBuilds().paths.size(), 1U);
  removeRetired({{5, 5}}, {}, {true, 2, 2});
  EXPECT_EQ(installedBuilds().paths.size(), 1U);
  EXPECT_LOGGED(log, "W: ", "Update info contains invalid settings, skipping removal of retired builds.");
}

TEST_F(CleanupTest, TheLastBuildStaysWhileAnActiveOneIsMissing) {
  struct Case {
    Builds active;
    BuildRange retired;
    Builds left;
  };
  const Case cases[] = {{{9}, {0, 5}, {2}}, {{9}, {2, 2}, {1}}, {{2}, {0, 1}, {2}}, {{}, {0, 5}, {}}};
  for (const Case& c : cases) {
    install({1, 2});
    removeRetired({c.retired}, c.active);
    EXPECT_EQ(builds(), c.left) << log.text();
    fs::remove_all(olderVersions());
  }
  EXPECT_LOGGED(log, "W: ", "Build 2 is retired, but no other would be left. Keeping it at " + installed(2));
}

TEST_F(CleanupTest, GathersFromEverywhereOnce) {
  test::makeBundle(applications() + "/Vantora.app", {.build = 1});
  test::makeEndpoint(applications(), 2);
  test::makeEndpoint(applications() + "/Mine", 4);  // in no install location
  install({3});
  for (const std::uint32_t build : {3U, 9U})  // an extra copy, and the newest
    test::makeEndpoint(desktop, build);
  parts().cleanup.cleanup();
  EXPECT_EQ(builds(), (Builds{2, 3})) << log.text();
  EXPECT_EQ(namesIn(desktop), test::Names{"Vantora (9).app"});
  EXPECT_EQ(namesIn(applications()), (test::Names{"Mine", "Vantora", "Vantora.app"}));
  EXPECT_LOGGED(log, "d: ", "We've already got a copy of Vantora (3).app, deleting extra at: " + desktop);
  EXPECT_EQ(*preference("AggressivelyCleanup"), platform::plist::Value(false));

  test::makeEndpoint(applications(), 2);  // its place is taken
  test::makeEndpoint(applications(), 6);
  test::makeEndpoint(desktop, 5);
  parts().cleanup.cleanup();
  EXPECT_EQ(builds(), (Builds{2, 3, 6}));
  EXPECT_EQ(installedBuilds().paths.size(), 8U) << "nothing else went";
  EXPECT_LOGGED(log, "E: ", "Error moving app: ");
}

TEST_F(CleanupTest, WhatIsNoCopyCostsNoBuild) {
  test::makeEndpoint(applications(), 9);
  for (const std::uint32_t build : {2U, 3U})
    test::makeEndpoint(desktop, build);
  fs::create_directory_symlink(test::makeEndpoint(sandbox().folder() / "far", 4),
                               desktop + "/Vantora (4).app");
  test::makeFolder(installed(2));
  test::makeBundle(installed(3), {.build = 1});
  parts().cleanup.cleanup();
  EXPECT_EQ(namesIn(desktop).size(), 3U) << log.text();
  EXPECT_LOGGED(log, "W: ", "What stands at " + installed(2) + " is no copy of " + desktop);
}

TEST_F(CleanupTest, ABuildInItsPlaceIsNoCopyOfItself) {
  const std::string path = test::makeEndpoint(applications(), 2);
  test::makeEndpoint(applications(), 9);
  fileManager.fail(Call::create);  // builds belong beside the plain bundle
  parts().cleanup.cleanup();
  EXPECT_TRUE(test::exists(path));
  fileManager.heal();
  // Two names of one folder.
  for (const std::string& name : {olderVersions(), sandbox().home() + "/Applications"}) {
    fs::remove(olderVersions());
    fs::create_directory_symlink(applications(), name);
    makeParts()->cleanup.cleanup();
  }
  EXPECT_TRUE(test::exists(path) || test::exists(installed(2))) << log.text();
  EXPECT_TRUE(test::exists(applications() + "/Vantora (9).app"));
}

}  // namespace

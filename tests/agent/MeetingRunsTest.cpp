#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/agent/AgentProcess.h"
#include "tests/agent/StagedHome.h"

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using Names = std::vector<std::string>;

/// Runs that meet another one, end early or fail in the middle, on a computer where build 2 is installed, 5
/// is to come from a delta package, 6 whole, and 1 has to go.
class MeetingRuns : public ::testing::Test, public test::StagedHome {
 protected:
  MeetingRuns() {
    site.addDelta(site.addBuild(5), 2);
    site.addBuild(6);
    site.document.removeBuilds = {{.fromBuildNumber = 0, .toBuildNumber = 1}};
    site.publish();
    installOldBuilds();
  }
  void installOldBuilds() const {
    fs::remove_all(applications());
    test::makeEndpoint(applications(), 1);
    test::makeEndpoint(applications(), 2);
    setPreferences({{"NextUpdateCheck", platform::now()}, {"AlwaysCheck", true}});
  }
  /// What lies among the applications is whole, whatever it is.
  void expectWholeBuilds() const {
    for (const auto& folder : {applications(), olderVersions()}) {
      if (!test::exists(folder)) continue;
      for (const std::uint32_t build : {1U, 2U, 5U, 6U}) {
        const std::string path = folder + "/Vantora (" + std::to_string(build) + ").app";
        if (test::exists(path)) test::expectSameTree(path, site.bundle(build));
      }
    }
  }
  /// The builds are what the document says, gathered, and nothing else is there.
  void expectDone() const {
    expectWholeBuilds();
    EXPECT_EQ(namesIn(applications()), Names{"Vantora"});
    EXPECT_EQ(namesIn(olderVersions()), (Names{"Vantora (2).app", "Vantora (5).app", "Vantora (6).app"}));
    EXPECT_EQ(leftovers(), Names());
    EXPECT_EQ(namesIn(library() + "/Preferences").front(), "com.korvane.VNTUpdate.plist");
  }
  const test::AgentProcess process{*this, VNTUPDATE_PROGRAM};
};

TEST_F(MeetingRuns, TwoAtOnceInstallEachBuildOnceAndWhole) {
  for (const std::string name : {"d2_5.tar.md5", "b6.tar.md5"}) {
    const auto digest = staging::Reply::text(test::readFile(site.published() + "/" + name));
    site.server.serve(test::kBuildHost, "/" + name, digest.trickling(5ms));
  }
  const auto first = process.start();
  const auto second = process.start();
  for (const auto* agent : {&first, &second}) {
    ASSERT_TRUE((*agent)->waitForExit(60s));
    EXPECT_EQ((*agent)->terminationStatus(), 0);
  }
  expectDone();
  EXPECT_EQ(site.requestedPaths().size(), 6U) << "two documents, two archives with their digests";
  const std::string text = process.logged();
  EXPECT_NE(text.find("Another run is at work, waiting for its end."), std::string::npos) << text;
  EXPECT_EQ(text.find("E: "), std::string::npos) << text;
  std::istringstream lines(test::readFile(process.logPath()));
  std::size_t activations = 0;
  for (std::string line; std::getline(lines, line);) {
    if (line.find("VNTUpdate activated at") != std::string::npos) ++activations;
    const std::size_t mark = line.starts_with("\xEF\xBB\xBF") ? 3 : 0;
    EXPECT_TRUE(line.starts_with('\t') || line.find(" PST ") == mark + 23) << line;
  }
  EXPECT_EQ(activations, 2U) << "lines were lost";
}

TEST_F(MeetingRuns, AKillAtAnyMomentLeavesNothingTornAndNothingBehind) {
  constexpr int kMoments = 12;
  const auto start = std::chrono::steady_clock::now();
  ASSERT_EQ(process.run(), 0);
  const std::chrono::nanoseconds whole = std::chrono::steady_clock::now() - start;
  for (int moment = 0; moment <= kMoments; ++moment) {
    const auto delay = std::chrono::duration_cast<std::chrono::milliseconds>(whole * moment / kMoments);
    SCOPED_TRACE(delay.count());
    installOldBuilds();
    static_cast<void>(process.start()->waitForExit(delay));  // what has not ended is killed
    expectWholeBuilds();
    EXPECT_EQ(process.run(), 0);
    expectDone();
    if (HasFailure()) FAIL() << process.logged();
    fs::remove(process.logPath());
  }
}

TEST_F(MeetingRuns, AFailureOfAnyChangeIsMendedByTheNextRun) {
  bool hasFailed = true;
  for (unsigned n = 1; hasFailed; ++n) {
    SCOPED_TRACE(n);
    installOldBuilds();
    fileManager.failNth(n, n % 2 == 0 ? ENOSPC : EIO);
    static_cast<void>(VNTUpdate::initWithFileManager(fileManager)->checkForUpdate());
    hasFailed = fileManager.changes() >= n;
    expectWholeBuilds();
    fileManager.heal();
    EXPECT_EQ(process.run(), 0);
    expectDone();
    if (HasFailure()) FAIL() << log.text() << process.logged();
  }
}

TEST_F(MeetingRuns, WhatEarlierRunsLeftGoes) {
  const std::string home = sandbox().home();
  const std::string preferences = library() + "/Preferences";
  for (const std::string& folder : {tempPath(), applications(), olderVersions(), preferences,
                                    preferences + "/ByHost", home + "/Desktop", home + "/Applications"}) {
    test::writeFile(folder + "/.vantora-AbC123/Vantora (6).app/x", "of a move");
    fs::permissions(folder + "/.vantora-AbC123", fs::perms(0700));
    test::writeFile(folder + "/.vantora-4711-2", "of an atomic write");
    test::writeFile(folder + "/.vantora-notes of mine", "the user's");
    test::writeFile(folder + "/.vantora-settings", "the user's");
  }
  for (const char* name : {"/VNT_Mac_x86_b1", "/VNT_Mac_x86_b5", "/VNT_Mac_x86_b5_delta", "/1_2/Contents/x",
                           "/2_5/FileCheckSums.txt", "/Vantora (1).app/x", "/Vantora (6).app/x"})
    test::writeFile(tempPath() + name, "left");
  for (const char* name : {"/VNT_Mac_x86_b01", "/VNT_Mac_x86_b5_deltas", "/1_2_3", "/2024_2025/x",
                           "/Vantora (x).app", "/VNT_Mac_x86_b4/x", "/Vantora (4).app"})
    test::writeFile(tempPath() + name, "the user's");
  test::writeFile(tempPath() + "/.vantora-zzzzzz", "a word's length");

  EXPECT_EQ(process.run(), 0);
  const Names users = {".vantora-notes of mine", ".vantora-settings"};
  EXPECT_EQ(namesIn(home + "/Desktop"), users) << process.logged();
  EXPECT_EQ(namesIn(home + "/Applications"), users);
  EXPECT_EQ(namesIn(preferences + "/ByHost"), users);
  const Names expected = {".vantora-notes of mine",
                          ".vantora-settings",
                          ".vantora-zzzzzz",
                          "1_2_3",
                          "2024_2025",
                          "VNT_Mac_x86_b01",
                          "VNT_Mac_x86_b4",
                          "VNT_Mac_x86_b5_deltas",
                          "Vantora (4).app",
                          "Vantora (x).app"};
  EXPECT_EQ(leftovers(), expected);
  expectWholeBuilds();
  EXPECT_TRUE(test::exists(installed(6)));
}

TEST_F(MeetingRuns, ArchivesOfWantedBuildsAreKeptForTheNextRun) {
  site.server.serve(test::kBuildHost, "/b6.tar.md5", staging::Reply::text(""));
  setPreferences({{"NextUpdateCheck", platform::now()}, {"CleanupDownloadCache", 0}});
  for (const char* name : {"/VNT_Mac_x86_b1", "/VNT_Mac_x86_b2", "/VNT_Mac_x86_b5"})
    test::writeFile(tempPath() + name, "left");
  EXPECT_EQ(process.run(), 0);
  EXPECT_EQ(leftovers(), (Names{"VNT_Mac_x86_b5", "VNT_Mac_x86_b5_delta"})) << process.logged();
}

struct PackageCase {
  const char* name;
  const char* published;
};
const PackageCase kPackages[] = {{"full", "b6.tar"}, {"delta", "d2_5.tar"}};

TEST_F(MeetingRuns, WhatAPackageBringsBesideItsItemGetsNowhere) {
  for (const PackageCase& package : kPackages) {
    SCOPED_TRACE(package.name);
    const std::string work = sandbox().folder() / package.name;
    test::makeFolder(work);
    const std::string unpack =
        "tar -xf '" + site.published() + "/" + package.published + "' -C '" + work + "'";
    ASSERT_EQ(std::system(unpack.c_str()), 0);
    for (const char* name :
         {"/VNTUpdate/VNTUpdate", "/Vantora_Messenger.zip", "/SecretFilePath/x", "/VNT_Mac_x86_b9",
          "/.vantora-AbC123/x", "/share/vantora/signing-certificates/evil.pem"})
      test::writeFile(work + name, "evil");
    test::writeFile(work + "/config.json", R"({"removeBuilds":[{"fromBuildNumber":0,"toBuildNumber":9}]})");
    test::makeEndpoint(work, 9);
    fs::create_hard_link(work + "/VNTUpdate/VNTUpdate", work + "/VNTUpdate/other");
    site.publishArchive(package.published, work, ".");
  }
  EXPECT_EQ(process.run(), 0);
  expectDone();
  EXPECT_EQ(namesIn(tempPath() + "/VNTUpdate"), Names{"VNTUpdate"});
  EXPECT_EQ(test::readFile(executable()), "the agent");
}

TEST_F(MeetingRuns, WhatTheUserKeepsInTheTemporaryFolderStaysAsItIs) {
  const std::string elsewhere = sandbox().folder() / "elsewhere";
  fs::rename(tempPath() + "/VNTUpdate", elsewhere);
  fs::create_directory_symlink(elsewhere, tempPath() + "/VNTUpdate");
  fs::create_symlink("nowhere", tempPath() + "/dangling");
  fs::create_directory_symlink("/", tempPath() + "/computer");
  test::makeFolder(tempPath() + "/closed");
  fs::permissions(tempPath() + "/closed", fs::perms(0300));
  EXPECT_EQ(process.runAsOrdinaryUser(), 0);
  EXPECT_EQ(leftovers(), (Names{"closed", "computer", "dangling"})) << process.logged();
  EXPECT_EQ(test::readFile(executable()), "the agent");
  EXPECT_EQ(fs::status(tempPath() + "/closed").permissions(), fs::perms(0300));
  EXPECT_TRUE(test::exists(installed(5)) && test::exists(installed(6))) << process.logged();
}

}  // namespace

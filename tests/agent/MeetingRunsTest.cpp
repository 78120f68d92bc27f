#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>

#include "tests/agent/AgentProcess.h"
#include "tests/agent/StagedHome.h"
#include "tools/support/Listener.h"

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using test::Builds;
using test::Names;
using ::testing::ContainsRegex;
using ::testing::HasSubstr;
using ::testing::Not;

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
    EXPECT_EQ(builds(), (Builds{2, 5, 6}));
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
  ASSERT_TRUE(first->waitForExit(60s) && second->waitForExit(60s));
  EXPECT_EQ(first->terminationStatus(), 0);
  EXPECT_EQ(second->terminationStatus(), 0);
  expectDone();
  EXPECT_EQ(site.requestedPaths().size(), 6U) << "two documents, two archives with their digests";
  const std::string text = process.logged();
  EXPECT_THAT(text, HasSubstr("Another run is at work, waiting for its end."));
  EXPECT_THAT(text, Not(HasSubstr("E: ")));
  EXPECT_THAT(text, ContainsRegex("VNTUpdate activated.*VNTUpdate activated")) << "lines were lost";
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
    const auto failing = VNTUpdate::initWithFileManager(fileManager);
    failing->inheritLeftovers();
    failing->removeUnusedBuilds(failing->allInstalledBuilds());
    static_cast<void>(failing->checkForUpdate());
    hasFailed = fileManager.changes() >= n;
    expectWholeBuilds();
    fileManager.heal();
    EXPECT_EQ(process.run(), 0);
    expectDone();
    if (HasFailure()) FAIL() << log.text() << process.logged();
  }
}

TEST_F(MeetingRuns, WithoutThreadsToPatchWithTheBuildComesWhole) {
  EXPECT_EQ(process.runWithLimit("-s 1000000000"), 0);  // no thread gets its stack
  expectDone();
  EXPECT_THAT(process.logged(), HasSubstr("apply patch failed!"));
}

TEST_F(MeetingRuns, RedirectsOfTrustedServersLeadAnywhere) {
  const Names files = {"/config.json", "/d2_5.tar", "/d2_5.tar.md5", "/b6.tar", "/b6.tar.md5"};
  std::size_t asked = 0;
  const tools::Listener plain(0, [&](int client) {
    const std::string body = test::readFile(site.published() + files.at(asked++));
    const std::string answer =
        "HTTP/1.0 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
    std::array<char, 4096> request{};
    EXPECT_GT(read(client, request.data(), request.size()), 0);
    EXPECT_EQ(write(client, answer.data(), answer.size()), static_cast<ssize_t>(answer.size()));
    close(client);
  });
  const auto away = staging::Reply::redirect("http://127.0.0.1:" + std::to_string(plain.port()) + "/");
  site.server.serve(test::kUpdateHost, test::kUpdatePath, away);
  for (std::size_t i = 1; i < files.size(); ++i)
    site.server.serve(test::kBuildHost, files[i], away);
  EXPECT_EQ(process.run(), 0);
  expectDone();
  EXPECT_FALSE(preference("UpdateInfoURL")) << "nothing of it is remembered";
}

TEST_F(MeetingRuns, PreferencesThatCannotBeWrittenStopNothing) {
  setPreferences({{"NextUpdateCheck", platform::now()}});
  const std::string before = test::readFile(plistPath());
  fs::permissions(library() + "/Preferences", fs::perms(0555));
  for (const std::size_t requests : {5U, 6U}) {  // the next run looks again, and finds all there
    EXPECT_EQ(process.runAsOrdinaryUser(), 0);
    expectDone();
    EXPECT_EQ(site.requestedPaths().size(), requests) << process.logged();
  }
  EXPECT_EQ(test::readFile(plistPath()), before);
  fs::permissions(library() + "/Preferences", fs::perms(0755));
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
  const Names users = {".vantora-notes of mine", ".vantora-settings"};
  Names usersDownloads = {".vantora-zzzzzz",       "1_2_3",           "VNT_Mac_x86_b01",
                          "VNT_Mac_x86_b5_deltas", "Vantora (4).app", "Vantora (x).app"};
  for (const std::string& name : usersDownloads)
    test::writeFile(tempPath() + "/" + name, "the user's");
  for (const char* folder : {"2024_2025", "VNT_Mac_x86_b4"})
    test::writeFile(tempPath() + "/" + usersDownloads.emplace_back(folder) + "/x", "the user's");

  EXPECT_EQ(process.run(), 0);
  EXPECT_EQ(namesIn(home + "/Desktop"), users) << process.logged();
  EXPECT_EQ(namesIn(home + "/Applications"), users);
  EXPECT_EQ(namesIn(preferences + "/ByHost"), users);
  usersDownloads.insert(usersDownloads.end(), users.begin(), users.end());
  EXPECT_THAT(leftovers(), ::testing::UnorderedElementsAreArray(usersDownloads));
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

TEST_F(MeetingRuns, WhatAPackageBringsBesideItsItemGetsNowhere) {
  for (const std::string package : {"b6.tar", "d2_5.tar"}) {
    const std::string work = sandbox().folder() / package;
    test::makeFolder(work);
    const std::string unpack = "tar -xf '" + site.published() + "/" + package + "' -C '" + work + "'";
    ASSERT_EQ(std::system(unpack.c_str()), 0);
    for (const char* name :
         {"/VNTUpdate/VNTUpdate", "/Vantora_Messenger.zip", "/SecretFilePath/x", "/VNT_Mac_x86_b9",
          "/.vantora-AbC123/x", "/share/vantora/signing-certificates/evil.pem"})
      test::writeFile(work + name, "evil");
    test::writeFile(work + "/config.json", R"({"removeBuilds":[{"fromBuildNumber":0,"toBuildNumber":9}]})");
    test::makeEndpoint(work, 9);
    fs::create_hard_link(work + "/VNTUpdate/VNTUpdate", work + "/VNTUpdate/other");
    site.publishArchive(package, work, ".");
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
  EXPECT_EQ(builds(), (Builds{2, 5, 6})) << process.logged();
}

}  // namespace

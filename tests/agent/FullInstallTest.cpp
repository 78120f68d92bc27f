#include <gtest/gtest.h>
#include <sys/stat.h>

#include <functional>

#include "platform/Metadata.h"
#include "tests/agent/StagedHome.h"

namespace {

namespace fs = std::filesystem;
using staging::Reply;
using test::Builds;
using test::Names;

class FullInstallTest : public ::testing::Test, public test::StagedHome {
 protected:
  bool install(std::uint32_t build) {
    return parts().fullInstaller.downloadAndInstallSingleBuild(
        build, test::MakerSite::url('b' + std::to_string(build) + ".tar"));
  }
  const std::string work = sandbox().folder() / "work";
  const std::string outside = sandbox().folder() / "outside";
};

TEST_F(FullInstallTest, OnlyAProvedArchiveOfATrustedServerIsUnpacked) {
  site.addBuild(4);
  const std::string digest = test::readFile(site.published() + "/b4.tar.md5");
  const std::string good = test::MakerSite::url("b4.tar");
  struct Case {
    std::string url;
    Reply digest;
    const char* message;
  };
  const char* const kNoMatch = "Unable to verify MD5 checksum for downloaded endpoint - no match!";
  const char* const kNoDigest = "Unable to download MD5 checksum for downloaded endpoint";
  const Case cases[] = {
      {good, Reply::withStatus(404, "not found"), kNoMatch},
      {good, Reply::text(" aa\ni: forged line\n"), kNoMatch},
      {good, Reply::text(digest + std::string(5 << 10, ' ')), kNoDigest},
      {good, Reply::text(digest + "\xFF"), kNoDigest},
      {good, Reply::text(""), kNoDigest},
      {"http" + good.substr(5), Reply::text(digest), "The url scheme 'http' is not safe. Aborting the"},
      {"https://evil.example/b4.tar", Reply::text(digest), "Server 'evil.example' is not trusted. Aborting"},
      {good.substr(0, good.rfind('/')), Reply::text(digest), "' names no file. Aborting the download."}};
  for (const Case& c : cases) {
    site.server.serve(test::kBuildHost, "/b4.tar.md5", c.digest);
    log.clear();
    EXPECT_FALSE(parts().fullInstaller.downloadAndInstallSingleBuild(4, c.url)) << c.url;
    EXPECT_LOGGED(log, "E: ", c.message);
    EXPECT_NOT_LOGGED(log, "", "\ni: forged");
    EXPECT_EQ(leftovers(), Names());
  }
  EXPECT_EQ(builds(), Builds());
  site.server.serve(test::kBuildHost, "/b4.tar.md5", Reply::text(" \r\n" + digest + " \n"));
  EXPECT_TRUE(install(4)) << log.text();
}

TEST_F(FullInstallTest, AnArchiveOfAnEarlierRunIsUsedAndKeptWhenAsked) {
  settings.cleanupDownloadCache = 0;
  site.addBuild(4);
  const std::string archive = tempPath() + "/VNT_Mac_x86_b4";
  fs::copy_file(site.published() + "/b4.tar", archive);
  const test::FixedClock clock;
  EXPECT_TRUE(install(4)) << log.text();
  EXPECT_LOGGED(log, "d: ", "Downloaded endpoint already found at " + archive);
  EXPECT_EQ(site.requestedPaths(), Names{"/b4.tar.md5"});
  EXPECT_TRUE(test::exists(archive));
  EXPECT_EQ(platform::metadata::creationDate(installed(4)), clock.now());
  test::writeFile(archive, "stale");
  EXPECT_FALSE(install(4));
  EXPECT_FALSE(test::exists(archive));
}

TEST_F(FullInstallTest, WhatStoodInAPlaceBeforeDoesNotGetIn) {
  test::makeFolder(outside);
  site.addBuild(4);
  const std::string archive = tempPath() + "/VNT_Mac_x86_b4";
  const std::string bundle = tempPath() + "/Vantora (4).app";
  const std::function<void()> leaves[] = {[&] { test::writeFile(bundle + "/Contents/stale", "x"); },
                                          [&] { fs::create_symlink(outside, bundle); },
                                          [&] { fs::create_symlink(outside + "/archive", archive); },
                                          [&] { ASSERT_EQ(mkfifo(archive.c_str(), 0600), 0); }};
  for (const auto& leave : leaves) {
    leave();
    EXPECT_TRUE(install(4)) << log.text();
    test::expectSameTree(installed(4), site.bundle(4));
    EXPECT_TRUE(fs::is_empty(outside));
    EXPECT_EQ(leftovers(), Names());
    fs::remove_all(installed(4));
  }
  test::makeBundle(installed(4), {.build = 3});  // somebody else's, in the final place
  EXPECT_FALSE(install(4));
  EXPECT_LOGGED(log, "E: ", "Unable to install endpoint to " + installed(4) + ": ");
  EXPECT_EQ(bundleBuildNumber(installed(4)), 3);
  EXPECT_EQ(leftovers(), Names());
}

TEST_F(FullInstallTest, AnInstalledBuildStandsInAndIsNeverLost) {
  test::makeEndpoint(applications(), 4);
  test::makeFolder(olderVersions());
  EXPECT_TRUE(parts().placement.installEndpoint(4, olderVersions())) << log.text();
  EXPECT_EQ(namesIn(applications()), Names{"Vantora"});
  EXPECT_FALSE(parts().placement.installEndpoint(4, olderVersions()));
  EXPECT_FALSE(parts().placement.installEndpoint(4, std::nullopt));
  EXPECT_EQ(builds(), Builds{4});
}

/// Shell commands that change the bundle $B before it is put into the archive.
const char* const kRefused[] = {R"(mv "$B" 'Vantora (5).app')", R"(mv "$B" real; ln -s real "$B")",
                                R"(rm -r "$B"; touch "$B")", R"(mkfifo "$B/Contents/x")",
                                R"(chmod 4755 "$B/Contents/MacOS/Vantora")"};
const char* const kTaken[] = {R"(rm "$B/Contents/Info.plist")",
                              R"(sed -i 's,<string>4<,<string>5<,' "$B/Contents/Info.plist")"};

TEST_F(FullInstallTest, WhatMayBeInABundle) {
  const auto installChanged = [this](const std::string& command) {
    const std::string bundle = test::makeEndpoint(work, 4);
    EXPECT_EQ(std::system(("cd '" + work + "'; B='" + bundle + "'; " + command).c_str()), 0);
    site.publishArchive("b4.tar", work, ".");
    fs::remove_all(work);
    const bool isInstalled = install(4);
    EXPECT_EQ(builds(), isInstalled ? Builds{4} : Builds()) << command;
    EXPECT_EQ(leftovers(), Names()) << command;
    fs::remove_all(olderVersions());
    return isInstalled;
  };
  for (const char* command : kRefused)
    EXPECT_FALSE(installChanged(command)) << command;
  EXPECT_LOGGED(log, "E: ", "Unable to locate extracted endpoint!");
  EXPECT_NOT_LOGGED(log, "W: ", "");
  for (const char* command : kTaken) {
    log.clear();
    EXPECT_TRUE(installChanged(command)) << command;
    EXPECT_LOGGED(log, "W: ", "does not say that it is build 4");
  }
  test::writeFile(site.published() + "/b4.tar", "no archive at all");
  test::writeFile(site.published() + "/b4.tar.md5", packager::md5OfFile(site.published() + "/b4.tar"));
  EXPECT_FALSE(install(4));
  EXPECT_LOGGED(log, "E: ", "Unable to extract endpoint to folder " + tempPath());
}

TEST_F(FullInstallTest, NothingInAnArchiveIsWrittenElsewhere) {
  test::makeFolder(outside);
  test::writeFile(work + "/in/file", "x");
  for (const std::string& target : {std::string("../climbed"), std::string("../../climbed"), outside}) {
    site.publishArchive("b4.tar", work, "-P --transform='s,^in," + target + ",' in");
    EXPECT_FALSE(install(4));
    EXPECT_TRUE(fs::is_empty(outside));
    EXPECT_EQ(leftovers(), Names());
    EXPECT_FALSE(test::exists(tempPath() + "/../climbed"));
  }
}

}  // namespace

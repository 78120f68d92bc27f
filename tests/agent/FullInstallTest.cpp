#include <gtest/gtest.h>

#include <cstdlib>

#include "Code/MacOSX/VNTUpdate/UnpackFolder.h"
#include "platform/Metadata.h"
#include "tests/agent/StagedHome.h"

namespace {

namespace fs = std::filesystem;
using staging::Reply;

class FullInstallTest : public ::testing::Test, public test::StagedHome {
 protected:
  bool install(std::uint32_t build) {
    return engine().fullInstaller().downloadAndInstallSingleBuild(
        build, test::MakerSite::url("b" + std::to_string(build) + ".tar"));
  }
  /// Publishes an archive made of the files below `folder`, with its digest.
  void publishArchive(const std::string& name, const std::string& folder, const std::string& members) {
    const std::string archive = site.published() + "/" + name;
    ASSERT_EQ(std::system(("tar -cf '" + archive + "' -C '" + folder + "' " + members).c_str()), 0);
    test::writeFile(archive + ".md5", *engine().archiveDownload().getChecksumFromFile(archive) + "\n");
  }
  /// What lies in the temporary folder beside the agent.
  std::vector<std::string> leftovers() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(tempPath()))
      if (entry.path().filename() != "VNTUpdate") names.push_back(entry.path().filename());
    return names;
  }
};

TEST_F(FullInstallTest, MissingActiveBuildsAreInstalled) {
  site.addBuild(4);
  site.addBuild(6);
  site.addBuild(5);
  test::makeEndpoint(olderVersions(), 6);
  site.publish();
  site.server.expect({{test::kUpdateHost, test::kUpdatePath},
                      {test::kBuildHost, "/b4.tar"},
                      {test::kBuildHost, "/b4.tar.md5"},
                      {test::kBuildHost, "/b5.tar"},
                      {test::kBuildHost, "/b5.tar.md5"}});
  const test::FixedClock clock;
  ASSERT_TRUE(engine().retrieval().getUpdateInfo());
  engine().fullInstaller().downloadAndInstallActiveBuilds();
  EXPECT_TRUE(site.server.unexpectedRequests().empty());
  EXPECT_TRUE(site.server.missingRequests().empty());
  for (const std::uint32_t build : {4U, 5U}) {
    EXPECT_EQ(engine().inventory().isInstalled(build), installed(build)) << log.text();
    EXPECT_EQ(test::readFile(installed(build) + "/Contents/MacOS/Vantora"),
              test::readFile(site.bundle(build) + "/Contents/MacOS/Vantora"));
    EXPECT_EQ(platform::metadata::creationDate(installed(build)), clock.now());
  }
  EXPECT_TRUE(log.contains("i: ", "Endpoint successfully installed to " + installed(4)));
  EXPECT_TRUE(leftovers().empty());
}

TEST_F(FullInstallTest, OnlyAProvedArchiveIsUnpacked) {
  site.addBuild(4);
  const std::string digest = test::readFile(site.published() + "/b4.tar.md5");
  std::string upper = digest;
  for (char& c : upper)
    c = static_cast<char>(std::toupper(c));
  struct Case {
    Reply reply;
    const char* message;
  };
  const Case cases[] = {
      {Reply::text(upper), "Unable to verify MD5 checksum for downloaded endpoint - no match!"},
      {Reply::withStatus(404, "not found"),
       "Unable to verify MD5 checksum for downloaded endpoint - no match!"},
      {Reply::text(""), "Unable to download MD5 checksum for downloaded endpoint"}};
  for (const Case& c : cases) {
    site.server.serve(test::kBuildHost, "/b4.tar.md5", c.reply);
    EXPECT_FALSE(install(4));
    EXPECT_TRUE(log.contains("E: ", c.message)) << log.text();
    EXPECT_TRUE(leftovers().empty());
  }
  EXPECT_TRUE(engine().allInstalledBuilds().empty());
  EXPECT_EQ(engine().archiveDownload().localChecksum() + "\n", digest);
}

TEST_F(FullInstallTest, ABrokenDownloadLeavesNothing) {
  site.addBuild(4);
  site.server.serve(test::kBuildHost, "/b4.tar",
                    Reply::fromFile(site.published() + "/b4.tar").endingAfter(300, staging::Ending::reset));
  EXPECT_FALSE(install(4));
  EXPECT_TRUE(log.contains("E: ", "Download failed")) << log.text();
  EXPECT_TRUE(leftovers().empty());
}

TEST_F(FullInstallTest, AnArchiveOfAnEarlierRunIsUsedAndKeptWhenAsked) {
  setPreferences({{"NextUpdateCheck", platform::now()}, {"CleanupDownloadCache", 0}});
  site.addBuild(4);
  const std::string archive = tempPath() + "/VNT_Mac_x86_b4";
  fs::copy_file(site.published() + "/b4.tar", archive);
  EXPECT_TRUE(install(4)) << log.text();
  EXPECT_TRUE(log.contains("d: ", "Downloaded endpoint already found at " + archive));
  EXPECT_EQ(site.requestedPaths(), std::vector<std::string>{"/b4.tar.md5"});
  EXPECT_TRUE(test::exists(archive));
  test::writeFile(archive, "stale");
  EXPECT_FALSE(install(4));
  EXPECT_FALSE(test::exists(archive));
}

TEST_F(FullInstallTest, WhatUnpacksToSomethingElseIsNotInstalled) {
  publishArchive("b4.tar", site.bundle(5) + "/..", "'Vantora (5).app'");
  EXPECT_FALSE(install(4));
  EXPECT_TRUE(log.contains("E: ", "Unable to locate extracted endpoint in temp folder")) << log.text();
  EXPECT_TRUE(log.contains("E: ", "Unable to locate extracted endpoint!"));
  test::writeFile(site.published() + "/b6.tar", "no archive at all");
  test::writeFile(site.published() + "/b6.tar.md5",
                  *engine().archiveDownload().getChecksumFromFile(site.published() + "/b6.tar"));
  EXPECT_FALSE(install(6));
  EXPECT_TRUE(log.contains("E: ", "tar failed, exit code 2")) << log.text();
  EXPECT_TRUE(log.contains("E: ", "Unable to extract endpoint to folder " + tempPath()));
  EXPECT_FALSE(test::exists(tempPath() + "/VNT_Mac_x86_b6"));
}

TEST_F(FullInstallTest, ATakenPlaceKeepsWhatIsThere) {
  site.addBuild(4);
  test::makeBundle(installed(4), {.build = 3});
  EXPECT_FALSE(install(4));
  EXPECT_TRUE(log.contains("E: ", "Unable to install endpoint to " + installed(4) + ": ")) << log.text();
  EXPECT_EQ(bundleBuildNumber(installed(4)), 3);
  EXPECT_TRUE(leftovers().empty());
}

TEST_F(FullInstallTest, AnInstalledBuildStandsInAndIsNeverLost) {
  const std::string loose = test::makeEndpoint(applications(), 4);
  test::makeFolder(olderVersions());
  EXPECT_TRUE(engine().fullInstaller().installEndpoint(4, olderVersions())) << log.text();
  EXPECT_FALSE(test::exists(loose));
  EXPECT_TRUE(test::exists(installed(4)));
  EXPECT_FALSE(engine().fullInstaller().installEndpoint(4, olderVersions()));
  EXPECT_FALSE(engine().fullInstaller().installEndpoint(4, std::nullopt));
  EXPECT_TRUE(test::exists(installed(4)));
}

TEST_F(FullInstallTest, StaleFilesOfAnInterruptedRunDoNotGetIn) {
  site.addBuild(4);
  test::writeFile(tempPath() + "/Vantora (4).app/Contents/stale", "x");
  EXPECT_TRUE(install(4)) << log.text();
  EXPECT_FALSE(test::exists(installed(4) + "/Contents/stale"));
}

TEST_F(FullInstallTest, NothingInAnArchiveWritesOutside) {
  const std::string outside = sandbox().folder() / "outside";
  const std::string work = sandbox().folder() / "work";
  test::makeFolder(outside);
  test::makeFolder(work);
  fs::create_symlink(outside + "/messenger", tempPath() + "/Vantora_Messenger.zip");
  static_cast<void>(engine());
  EXPECT_FALSE(fs::is_symlink(tempPath() + "/Vantora_Messenger.zip"));
  // Links that a package of this run left behind: beside a bundle, in one, and in the archive's own place.
  fs::create_symlink(outside, tempPath() + "/Vantora (4).app");
  fs::create_symlink(outside + "/archive", tempPath() + "/VNT_Mac_x86_b4");
  test::makeFolder(tempPath() + "/left");
  fs::create_symlink(outside, tempPath() + "/left/deep");
  fs::create_symlink("left", tempPath() + "/harmless");
  test::writeFile(work + "/left/deep/written", "x");
  fs::create_directory_symlink(site.bundle(4), work + "/Vantora (4).app");
  publishArchive("b4.tar", work, "left 'Vantora (4).app'");
  EXPECT_FALSE(install(4));
  EXPECT_TRUE(fs::is_empty(outside)) << log.text();
  EXPECT_TRUE(log.contains(
      "W: ", "Removed link at " + tempPath() + "/left/deep, which leads out of the temporary folder"));
  EXPECT_TRUE(fs::is_symlink(tempPath() + "/harmless"));
  EXPECT_TRUE(test::exists(tempPath() + "/left/deep/written"));
  EXPECT_FALSE(test::exists(installed(4))) << "installed what a link led to";

  // Names that climb, or are absolute, are the unpacking tool's to refuse.
  test::writeFile(work + "/in/file", "x");
  publishArchive("b4.tar", work + "/in", "-P --transform='s,^,../climbed/,' file");
  EXPECT_FALSE(install(4));
  publishArchive("b4.tar", work, "-P --transform='s,^in," + outside + ",' in");
  EXPECT_FALSE(install(4));
  EXPECT_TRUE(fs::is_empty(outside));
  EXPECT_FALSE(test::exists(tempPath() + "/../climbed"));
}

}  // namespace

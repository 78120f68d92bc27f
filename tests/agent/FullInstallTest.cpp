#include <gtest/gtest.h>
#include <sys/stat.h>

#include <functional>

#include "platform/Metadata.h"
#include "tests/agent/StagedHome.h"

namespace {

namespace fs = std::filesystem;
using staging::Reply;

class FullInstallTest : public ::testing::Test, public test::StagedHome {
 protected:
  bool install(std::uint32_t build) {
    return parts().fullInstaller.downloadAndInstallSingleBuild(
        build, test::MakerSite::url("b" + std::to_string(build) + ".tar"));
  }
  const std::string work = sandbox().folder() / "work";
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
  parts().fullInstaller.downloadAndInstallActiveBuilds(parts().retrieval.getUpdateInfo().value());
  EXPECT_TRUE(site.server.unexpectedRequests().empty());
  EXPECT_TRUE(site.server.missingRequests().empty());
  for (const std::uint32_t build : {4U, 5U}) {
    EXPECT_EQ(parts().inventory.isInstalled(build), installed(build)) << log.text();
    EXPECT_EQ(test::readFile(installed(build) + "/Contents/MacOS/Vantora"),
              test::readFile(site.bundle(build) + "/Contents/MacOS/Vantora"));
    EXPECT_EQ(platform::metadata::creationDate(installed(build)), clock.now());
  }
  EXPECT_LOGGED(log, "i: ", "Endpoint successfully installed to " + installed(4));
  EXPECT_EQ(leftovers(), std::vector<std::string>());
}

TEST_F(FullInstallTest, OnlyAProvedArchiveOfATrustedServerIsUnpacked) {
  site.addBuild(4);
  const std::string digest = test::readFile(site.published() + "/b4.tar.md5");
  std::string upper = digest;
  for (char& c : upper)
    c = static_cast<char>(std::toupper(c));
  const std::string good = test::MakerSite::url("b4.tar");
  struct Case {
    std::string url;
    Reply digest;
    const char* message;
  };
  const char* const kNoMatch = "Unable to verify MD5 checksum for downloaded endpoint - no match!";
  const char* const kNoDigest = "Unable to download MD5 checksum for downloaded endpoint";
  const Case cases[] = {
      {good, Reply::text(upper), kNoMatch},
      {good, Reply::withStatus(404, "not found"), kNoMatch},
      {good, Reply::text(" aa\ni: forged line\n"), kNoMatch},
      {good, Reply::text(digest + std::string(5 << 10, ' ')), kNoDigest},
      {good, Reply::text(digest + "\xFF"), kNoDigest},
      {good, Reply::text(""), kNoDigest},
      {"http" + good.substr(5), Reply::text(digest),
       "The url scheme 'http' is not safe. Aborting the download."},
      {"https://a.vantora.example.evil.example/b4.tar", Reply::text(digest),
       "Server 'a.vantora.example.evil.example' is not trusted. Aborting the download."},
      {"https://evil.example\\.vantora.example/x", Reply::text(digest), "Aborting the download."},
      {good.substr(0, good.rfind('/')), Reply::text(digest), "' names no file. Aborting the download."}};
  for (const Case& c : cases) {
    site.server.serve(test::kBuildHost, "/b4.tar.md5", c.digest);
    log.clear();
    EXPECT_FALSE(parts().fullInstaller.downloadAndInstallSingleBuild(4, c.url)) << c.url;
    EXPECT_LOGGED(log, "E: ", c.message);
    EXPECT_EQ(leftovers(), std::vector<std::string>());
    EXPECT_EQ(log.text().find("\ni: forged"), std::string::npos);
  }
  for (const auto& request : site.server.requests())
    EXPECT_EQ(request.host, test::kBuildHost);
  EXPECT_FALSE(test::exists(installed(4)));
  site.server.serve(test::kBuildHost, "/b4.tar.md5", Reply::text(" \r\n" + digest + " \n"));
  EXPECT_TRUE(install(4)) << log.text();
}

TEST_F(FullInstallTest, AnArchiveOfAnEarlierRunIsUsedAndKeptWhenAsked) {
  settings.cleanupDownloadCache = 0;
  site.addBuild(4);
  const std::string archive = tempPath() + "/VNT_Mac_x86_b4";
  fs::copy_file(site.published() + "/b4.tar", archive);
  EXPECT_TRUE(install(4)) << log.text();
  EXPECT_LOGGED(log, "d: ", "Downloaded endpoint already found at " + archive);
  EXPECT_EQ(site.requestedPaths(), std::vector<std::string>{"/b4.tar.md5"});
  EXPECT_TRUE(test::exists(archive));
  test::writeFile(archive, "stale");
  EXPECT_FALSE(install(4));
  EXPECT_FALSE(test::exists(archive));
}

TEST_F(FullInstallTest, WhatStoodInAPlaceBeforeDoesNotGetIn) {
  const std::string outside = sandbox().folder() / "outside";
  test::makeFolder(outside);
  site.addBuild(4);
  const std::function<void()> leaves[] = {
      [&] { test::writeFile(tempPath() + "/Vantora (4).app/Contents/stale", "x"); },
      [&] { fs::create_symlink(outside, tempPath() + "/Vantora (4).app"); },
      [&] { fs::create_symlink(outside + "/archive", tempPath() + "/VNT_Mac_x86_b4"); },
      [&] { ASSERT_EQ(mkfifo((tempPath() + "/VNT_Mac_x86_b4").c_str(), 0600), 0); }};
  for (const auto& leave : leaves) {
    leave();
    EXPECT_TRUE(install(4)) << log.text();
    EXPECT_FALSE(test::exists(installed(4) + "/Contents/stale"));
    EXPECT_TRUE(fs::is_empty(outside));
    EXPECT_EQ(leftovers(), std::vector<std::string>());
    fs::remove_all(installed(4));
  }
  test::makeBundle(installed(4), {.build = 3});  // somebody else's, in the final place
  EXPECT_FALSE(install(4));
  EXPECT_LOGGED(log, "E: ", "Unable to install endpoint to " + installed(4) + ": ");
  EXPECT_EQ(bundleBuildNumber(installed(4)), 3);
  EXPECT_EQ(leftovers(), std::vector<std::string>());
}

TEST_F(FullInstallTest, AnInstalledBuildStandsInAndIsNeverLost) {
  const std::string loose = test::makeEndpoint(applications(), 4);
  test::makeFolder(olderVersions());
  EXPECT_TRUE(parts().placement.installEndpoint(4, olderVersions())) << log.text();
  EXPECT_FALSE(test::exists(loose));
  EXPECT_TRUE(test::exists(installed(4)));
  EXPECT_FALSE(parts().placement.installEndpoint(4, olderVersions()));
  EXPECT_FALSE(parts().placement.installEndpoint(4, std::nullopt));
  EXPECT_TRUE(test::exists(installed(4)));
}

/// The makers of archives, with the folder to pack, and what comes of it.
struct ArchiveCase {
  const char* name;
  std::function<void(const std::string& bundle)> change;  ///< of the bundle in it
  const char* message;                                    ///< with its level; of a warning: it is installed
};

const char* const kNotLocated = "E: Unable to locate extracted endpoint!";
const ArchiveCase kArchives[] = {
    {"another build", [](auto& bundle) { fs::rename(bundle, bundle + "/../Vantora (5).app"); }, kNotLocated},
    {"a link",
     [](auto& bundle) {
       fs::rename(bundle, bundle + "/../real");
       fs::create_symlink("real", bundle);
     },
     kNotLocated},
    {"a file",
     [](auto& bundle) {
       fs::remove_all(bundle);
       test::writeFile(bundle, "x");
     },
     kNotLocated},
    {"a pipe in it", [](auto& bundle) { ASSERT_EQ(mkfifo((bundle + "/Contents/x").c_str(), 0600), 0); },
     kNotLocated},
    {"who runs it becomes another user",
     [](auto& bundle) { ASSERT_EQ(chmod((bundle + "/Contents/MacOS/Vantora").c_str(), 04755), 0); },
     kNotLocated},
    {"without information", [](auto& bundle) { fs::remove(bundle + "/Contents/Info.plist"); },
     "W: does not say that it is build 4"},
    {"another number", [](auto& bundle) { test::makeBundle(bundle, {.build = 4, .version = "5"}); },
     "W: does not say that it is build 4"}};

TEST_F(FullInstallTest, WhatMayBeInABundle) {
  test::writeFile(site.published() + "/b6.tar", "no archive at all");
  test::writeFile(site.published() + "/b6.tar.md5", packager::md5OfFile(site.published() + "/b6.tar"));
  EXPECT_FALSE(install(6));
  EXPECT_LOGGED(log, "E: ", "tar failed, exit code 2");
  EXPECT_LOGGED(log, "E: ", "Unable to extract endpoint to folder " + tempPath());
  for (const ArchiveCase& c : kArchives) {
    SCOPED_TRACE(c.name);
    test::makeEndpoint(work, 4);
    c.change(work + "/Vantora (4).app");
    site.publishArchive("b4.tar", work, ".");
    log.clear();
    const bool isInstalled = c.message[0] == 'W';
    EXPECT_EQ(install(4), isInstalled) << log.text();
    EXPECT_TRUE(log.contains(c.message)) << log.text();
    EXPECT_EQ(test::exists(installed(4)), isInstalled);
    EXPECT_EQ(leftovers(), std::vector<std::string>());
    fs::remove_all(work);
    fs::remove_all(installed(4));
  }
}

TEST_F(FullInstallTest, NothingInAnArchiveIsWrittenElsewhere) {
  const std::string outside = sandbox().folder() / "outside";
  test::makeFolder(outside);
  test::writeFile(work + "/in/file", "x");
  const auto members = {"-P --transform='s,^in,../climbed,' in", "-P --transform='s,^in,../../climbed,' in",
                        "-P --transform='s,^in,INSIDE,' in"};
  for (std::string arguments : members) {
    if (const auto at = arguments.find("INSIDE"); at != std::string::npos) arguments.replace(at, 6, outside);
    site.publishArchive("b4.tar", work, arguments);
    EXPECT_FALSE(install(4));
    EXPECT_TRUE(fs::is_empty(outside));
    EXPECT_EQ(leftovers(), std::vector<std::string>());
    EXPECT_FALSE(test::exists(tempPath() + "/../climbed"));
  }
}

}  // namespace

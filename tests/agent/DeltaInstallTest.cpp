#include <gtest/gtest.h>

#include <functional>

#include "Code/MacOSX/VNTUpdate/TemporaryNames.h"
#include "tests/agent/StagedHome.h"

namespace {

namespace fs = std::filesystem;
using staging::Reply;
using Paths = std::vector<std::string>;

class DeltaInstallTest : public ::testing::Test, public test::StagedHome {
 protected:
  void runPass() {
    site.publish();
    const auto info = parts().retrieval.getUpdateInfo();
    ASSERT_TRUE(info) << log.text();
    parts().deltaInstaller.downloadAndInstallActiveBuildsUsingDeltaUpdates(*info);
  }
  void installAtOnce(std::uint32_t build) {
    site.publish();
    engine().downloadAndInstall(build);
  }
  /// The package lies unpacked in the temporary folder.
  void obtainPackage(const packager::BuildEntry& build, std::uint32_t source) {
    const auto target = static_cast<std::uint32_t>(build.buildNumber);
    ASSERT_TRUE(parts().store.downloadAndUnarchiveSingleBuild(
        target, {build.deltaPackages[0].mac.url, deltaArchiveName(target), deltaFolderName(source, target)}));
  }
  /// The installed build is the maker's, file by file and with its execute bits.
  void expectWhole(std::uint32_t build) const {
    ASSERT_TRUE(test::exists(installed(build))) << log.text();
    test::expectSameTree(installed(build), site.bundle(build));
  }
};

TEST_F(DeltaInstallTest, MissingBuildsComeFromDeltaPackagesInTheCheapestOrder) {
  test::makeEndpoint(olderVersions(), 1);
  site.addDelta(site.addBuild(3), 2);
  site.addDelta(site.addBuild(2), 1);
  site.addBuild(1);
  for (auto& build : site.document.activeBuilds)
    build.mac.sizeBytes = 99'000'000;
  runPass();
  EXPECT_EQ(site.requestedPaths(),
            (Paths{test::kUpdatePath, "/d1_2.tar", "/d1_2.tar.md5", "/d2_3.tar", "/d2_3.tar.md5"}));
  expectWhole(2);
  expectWhole(3);
  EXPECT_EQ(leftovers(), Paths());
  EXPECT_LOGGED(
      log, "i: ",
      "{-[VNTUpdate applyPatchFromBuild:fromBuild:toBuild:]} " + installed(1) + ", fromBuild: 1, toBuild 2");
  EXPECT_LOGGED(log, "s: ", " s, using thread pool(3, 3)");
  EXPECT_LOGGED(log, "s: ", "Checksum verificiation time = ");
  log.clear();
  runPass();
  EXPECT_NOT_LOGGED(log, "E: ", "");
}

TEST_F(DeltaInstallTest, WhateverFailsFallsBackOnTheNextPackageOrTheFullArchive) {
  test::makeEndpoint(olderVersions(), 1);
  test::makeEndpoint(olderVersions(), 2);
  auto& build = site.addBuild(5);
  site.addDelta(build, 1);
  site.addDelta(build, 2);
  site.addDelta(build, 3);                                 // its source is not installed
  build.deltaPackages.emplace_back().fromBuildNumber = 1;  // has no package for this system
  const auto refuse = [&](const char* name) {
    site.server.serve(test::kBuildHost, std::string("/") + name, Reply::withStatus(404, "not found"));
  };
  refuse("d1_5.tar.md5");
  // Proved, but cut off: it unpacks in part.
  const std::string package = site.published() + "/d2_5.tar";
  fs::resize_file(package, fs::file_size(package) / 2);
  test::writeFile(package + ".md5", packager::md5OfFile(package));
  runPass();
  expectWhole(5);
  EXPECT_LOGGED(log, "d: ", "Found existing build 1 to install 5");
  EXPECT_LOGGED(log, "d: ", "Found existing build 2 to install 5");
  EXPECT_LOGGED(log, "E: ", "tar failed, exit code 2");
  EXPECT_EQ(site.requestedPaths().back(), "/b5.tar.md5");
  EXPECT_EQ(leftovers(), Paths());
}

TEST_F(DeltaInstallTest, AFailedAssemblyLeavesNothingBehind) {
  auto& build = site.addBuild(5);
  site.addDelta(build, 1);
  struct Case {
    const char* name;
    std::function<void(const std::string& base, const std::string& tree)> damage;
  };
  const Case cases[] = {
      {"no base",
       [](const std::string& base, const std::string&) { fs::remove(base + "/Contents/MacOS/Vantora"); }},
      {"wrong base",
       [](const std::string& base, const std::string&) {
         test::writeFile(base + "/Contents/MacOS/Vantora", std::string(4100, 'y'));
       }},
      {"no list",
       [](const std::string&, const std::string& tree) { fs::remove(tree + "/FileCheckSums.txt"); }},
      // A patch of a file that has another name too would write to that as well.
      {"a second name",
       [](const std::string&, const std::string& tree) {
         fs::create_hard_link(tree + "/../VNTUpdate/VNTUpdate", tree + "/Contents/MacOS/Vantora");
       }},
      {"no executable", [](const std::string&, const std::string& tree) {
         fs::remove(tree + "/Contents/Helpers/VNTUpload.bsdiff");
         test::writeFile(tree + "/FileCheckSums.txt", "");
       }}};
  for (const Case& c : cases) {
    const std::string base = test::makeEndpoint(olderVersions(), 1);
    const std::string tree = tempPath() + "/1_5";
    obtainPackage(build, 1);
    c.damage(base, tree);
    EXPECT_FALSE(parts().deltaInstaller.applyPatchFromBuild(base, 1, 5)) << c.name;
    EXPECT_EQ(test::readFile(executable()), "the agent");
    EXPECT_EQ(leftovers(), Paths()) << c.name;
    fs::remove_all(base);
  }
  EXPECT_FALSE(parts().deltaInstaller.applyPatchFromBuild(olderVersions(), 1, 5));
  EXPECT_LOGGED(log, "E: ", "Unable to locate extracted endpoint in temp folder");
}

TEST_F(DeltaInstallTest, LinksInThePlacesOfPackageAndBundleAreNotFollowed) {
  const std::string outside = sandbox().folder() / "outside";
  test::writeFile(outside + "/precious", "x");
  const std::string base = test::makeEndpoint(olderVersions(), 1);
  auto& build = site.addBuild(5);
  site.addDelta(build, 1);
  fs::create_directory_symlink(outside, tempPath() + "/1_5");
  EXPECT_FALSE(parts().deltaInstaller.getExtractedDeltaPath(1, 5));
  obtainPackage(build, 1);
  fs::create_directory_symlink(outside, tempPath() + "/Vantora (5).app");
  EXPECT_TRUE(parts().deltaInstaller.applyPatchFromBuild(base, 1, 5)) << log.text();
  EXPECT_FALSE(fs::is_symlink(tempPath() + "/Vantora (5).app"));
  EXPECT_EQ(test::readFile(outside + "/precious"), "x");
}

/// Builds 1 and 2 are installed, and packages make 5 of either; which one is smaller the test says.
class AtOnce : public DeltaInstallTest {
 protected:
  AtOnce() {
    test::makeEndpoint(olderVersions(), 1);
    test::makeEndpoint(olderVersions(), 2);
    site.addDelta(site.addBuild(5), 1);
    site.addDelta(site.document.activeBuilds[0], 2);
    packages()[0].mac.sizeBytes = 2;
    packages()[1].mac.sizeBytes = 1;
  }
  std::vector<packager::DeltaEntry>& packages() { return site.document.activeBuilds[0].deltaPackages; }
};

TEST_F(AtOnce, FromTheSmallestPackageOfTheAlternativeServer) {
  site.server.serveFolder("builds.vantora.example", site.published());
  installAtOnce(5);
  expectWhole(5);
  const auto requests = site.server.requests();
  ASSERT_EQ(requests.size(), 3U) << log.text();
  EXPECT_EQ(requests[1].host + requests[1].path, "builds.vantora.example/d2_5.tar");
  EXPECT_EQ(requests[2].host + requests[2].path, "builds.vantora.example/d2_5.tar.md5");
  engine().downloadAndInstall(5);
  EXPECT_EQ(site.server.requests().size(), 3U);
}

TEST_F(AtOnce, FromThePackagesOwnAddressAndNeverWhole) {
  site.addBuild(6);
  // The smallest package does not patch; the next one does, from its own address.
  test::writeFile(installed(2) + "/Contents/MacOS/Vantora", "not what the package was made for");
  installAtOnce(5);
  expectWhole(5);
  EXPECT_NOT_LOGGED(log, "E: ", "apply patch failed!");
  installAtOnce(6);
  installAtOnce(77);
  EXPECT_FALSE(test::exists(installed(6)));
}

TEST_F(AtOnce, AFailedDownloadEndsIt) {
  packages()[1].mac.url = test::MakerSite::url("none.tar");
  installAtOnce(5);
  for (const auto& path : site.requestedPaths())
    EXPECT_EQ(path.find("d1_5"), std::string::npos) << path;
  EXPECT_FALSE(test::exists(installed(5)));
  site.server.serve(test::kUpdateHost, test::kUpdatePath, Reply::text(""));
  engine().downloadAndInstall(5);
  EXPECT_LOGGED(log, "E: ", "Unable to retrieve update info");
}

}  // namespace

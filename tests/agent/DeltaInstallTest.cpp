#include <gtest/gtest.h>

#include <functional>

#include "tests/agent/StagedHome.h"

namespace {

namespace fs = std::filesystem;
using staging::Reply;
using test::Builds;
using test::Names;

class DeltaInstallTest : public ::testing::Test, public test::StagedHome {
 protected:
  void runPass() {
    site.publish();
    const auto info = parts().retrieval.getUpdateInfo();
    ASSERT_TRUE(info) << log.text();
    parts().deltaInstaller.downloadAndInstallActiveBuildsUsingDeltaUpdates(*info);
  }
  /// The package for build 5 of build 1 lies unpacked in the temporary folder.
  void obtainPackage() {
    ASSERT_TRUE(parts().store.downloadAndUnarchiveSingleBuild(
        5, {test::MakerSite::url("d1_5.tar"), deltaArchiveName(5), deltaFolderName(1, 5)}));
  }
  bool applyPatch() { return parts().deltaInstaller.applyPatchFromBuild(installed(1), 1, 5); }
  /// The installed build is the maker's, file by file and with its execute bits.
  void expectWhole(std::uint32_t build) const {
    ASSERT_TRUE(test::exists(installed(build))) << log.text();
    test::expectSameTree(installed(build), site.bundle(build));
  }
  const std::string package = tempPath() + "/1_5";
};

TEST_F(DeltaInstallTest, MissingBuildsComeFromDeltaPackagesInTheCheapestOrder) {
  install({1});
  site.addDelta(site.addBuild(3), 2);
  site.addDelta(site.addBuild(2), 1);
  site.addBuild(1);
  for (auto& build : site.document.activeBuilds)
    build.mac.sizeBytes = 99'000'000;
  runPass();
  EXPECT_EQ(site.requestedPaths(),
            (Names{test::kUpdatePath, "/d1_2.tar", "/d1_2.tar.md5", "/d2_3.tar", "/d2_3.tar.md5"}));
  expectWhole(2);
  expectWhole(3);
  EXPECT_EQ(leftovers(), Names());
}

TEST_F(DeltaInstallTest, WhateverFailsFallsBackOnTheNextPackageOrTheFullArchive) {
  install({1, 2});
  auto& build = site.addBuild(5);
  for (const std::uint32_t source : {1U, 2U, 3U})  // build 3 is not installed
    site.addDelta(build, source);
  for (auto& offered : build.deltaPackages)
    offered.mac.sizeBytes = offered.fromBuildNumber;
  build.deltaPackages.emplace_back().fromBuildNumber = 1;  // has no package for this system
  site.server.serve(test::kBuildHost, "/d1_5.tar.md5", Reply::withStatus(404, "not found"));
  // Proved, but cut off: it unpacks in part.
  const std::string cut = site.published() + "/d2_5.tar";
  fs::resize_file(cut, fs::file_size(cut) / 2);
  test::writeFile(cut + ".md5", packager::md5OfFile(cut));
  runPass();
  expectWhole(5);
  EXPECT_LOGGED(log, "E: ", "tar failed, exit code 2");
  EXPECT_EQ(site.requestedPaths(), (Names{test::kUpdatePath, "/d1_5.tar", "/d1_5.tar.md5", "/d2_5.tar",
                                          "/d2_5.tar.md5", "/b5.tar", "/b5.tar.md5"}));
  EXPECT_EQ(leftovers(), Names());
}

TEST_F(DeltaInstallTest, AFailedAssemblyLeavesNothingBehind) {
  site.addDelta(site.addBuild(5), 1);
  using Damage = std::pair<const char*, std::function<void()>>;
  const std::string base = installed(1) + "/Contents/MacOS/Vantora";
  const Damage kDamages[] = {
      {"no base", [&] { fs::remove(base); }},
      {"wrong base", [&] { test::writeFile(base, std::string(4100, 'y')); }},
      {"no list", [&] { fs::remove(package + "/FileCheckSums.txt"); }},
      // A patch of a file that has another name too would write to that as well.
      {"a second name", [&] { fs::create_hard_link(executable(), package + "/Contents/MacOS/Vantora"); }},
      {"no executable", [&] {
         fs::remove(package + "/Contents/Helpers/VNTUpload.bsdiff");
         test::writeFile(package + "/FileCheckSums.txt", "");
       }}};
  for (const auto& [name, damage] : kDamages) {
    install({1});
    obtainPackage();
    damage();
    EXPECT_FALSE(applyPatch()) << name;
    EXPECT_EQ(test::readFile(executable()), "the agent");
    EXPECT_EQ(leftovers(), Names()) << name;
  }
}

TEST_F(DeltaInstallTest, LinksInThePlacesOfPackageAndBundleAreNotFollowed) {
  const std::string outside = sandbox().folder() / "outside";
  test::writeFile(outside + "/precious", "x");
  install({1});
  site.addDelta(site.addBuild(5), 1);
  fs::create_directory_symlink(outside, package);
  EXPECT_FALSE(applyPatch());
  EXPECT_LOGGED(log, "E: ", "Unable to locate extracted endpoint in temp folder");
  obtainPackage();
  fs::create_directory_symlink(outside, tempPath() + "/Vantora (5).app");
  EXPECT_TRUE(applyPatch()) << log.text();
  EXPECT_FALSE(fs::is_symlink(tempPath() + "/Vantora (5).app"));
  EXPECT_EQ(namesIn(outside), Names{"precious"});
}

/// Builds 1 and 2 are installed, and packages make 5 of either; that of 2 is smaller.
class AtOnce : public DeltaInstallTest {
 protected:
  AtOnce() {
    AgentHome::install({1, 2});
    site.addDelta(site.addBuild(5), 1);
    site.addDelta(site.document.activeBuilds[0], 2);
    packages()[0].mac.sizeBytes = 2;
    packages()[1].mac.sizeBytes = 1;
  }
  std::vector<packager::DeltaEntry>& packages() { return site.document.activeBuilds[0].deltaPackages; }
  void install(std::uint32_t build) {
    site.publish();
    parts().deltaInstaller.downloadAndInstall(build);
  }
};

TEST_F(AtOnce, FromTheSmallestPackageOfTheAlternativeServer) {
  site.server.serveFolder("builds.vantora.example", site.published());
  install(5);
  expectWhole(5);
  EXPECT_EQ(site.requestedPaths(), (Names{test::kUpdatePath, "/d2_5.tar", "/d2_5.tar.md5"}));
  EXPECT_EQ(site.server.requests().back().host, "builds.vantora.example");
}

TEST_F(AtOnce, APackageThatDoesNotPatchIsFollowedByTheNextOneAndAFailedDownloadByNone) {
  test::writeFile(installed(2) + "/Contents/MacOS/Vantora", "not what the package was made for");
  packages()[0].mac.url = test::MakerSite::url("none.tar");
  install(5);
  EXPECT_EQ(site.requestedPaths().back(), "/none.tar.md5") << "from its own address";
  packages()[0].mac.sizeBytes = 0;
  install(5);
  EXPECT_EQ(site.requestedPaths().back(), "/none.tar.md5");
  EXPECT_EQ(builds(), (Builds{1, 2}));
  packages()[0].mac = {.url = test::MakerSite::url("d1_5.tar"), .sizeBytes = 2};
  install(5);
  expectWhole(5);
}

}  // namespace

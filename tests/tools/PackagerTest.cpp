#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <functional>
#include <random>
#include <string>

#include "Code/Common/BundleExecutables.h"
#include "Code/Common/DeltaUpdatesTools.h"
#include "runtime/Applications/ZRProcessManager.h"
#include "runtime/Threads/ZRDynamicThreadPool.h"
#include "tests/support/Bundles.h"
#include "tests/support/ResultMatchers.h"
#include "tests/support/TemporaryFolder.h"
#include "tools/packager/Archive.h"
#include "tools/packager/DeltaPackage.h"
#include "tools/support/Program.h"

namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

std::string noise(unsigned seed, std::size_t size) {
  std::mt19937 random(seed);
  std::string bytes(size, '\0');
  for (char& byte : bytes)
    byte = static_cast<char>(random());
  return bytes;
}

/// A bundle of a client; its big files differ from seed to seed, but not by much.
void makeBundle(const std::string& bundle, unsigned seed) {
  const std::string change = std::to_string(seed);
  const auto write = [&](const std::string& path, const std::string& bytes, unsigned mode = 0644) {
    test::writeFile(bundle + "/" + path, bytes);
    fs::permissions(bundle + "/" + path, fs::perms{mode});
  };
  for (const char* executable : kBundleExecutables)
    write(executable, noise(1, 20000) + change, 0755);
  write("Contents/Frameworks/F.framework/Versions/A/F", noise(2, 30000) + change);
  fs::create_directory_symlink("A", bundle + "/Contents/Frameworks/F.framework/Versions/Current");
  fs::create_symlink("Versions/Current/F", bundle + "/Contents/Frameworks/F.framework/F");
  write("Contents/Resources/same for \xC3\xA4ll", noise(3, 30000));
  write("Contents/Resources/read-only in 7", noise(4, 10000) + change, seed == 7 ? 0444 : 0644);
  write("Contents/Resources/helper.sh", "#!/bin/sh\n" + noise(5, 10000) + change, 0755);
  write("Contents/Resources/with \" quote", noise(6, 10000) + change);
  write("Contents/Resources/only in " + change, noise(seed, 5000));
  write("Contents/Resources/empty", "");
  test::makeFolder(bundle + "/Contents/empty folder");
}

class PackagerTest : public ::testing::Test {
 protected:
  PackagerTest() {
    makeBundle(source, 7);
    makeBundle(target, 8);
  }

  const test::TemporaryFolder folder;
  const std::string source = folder / "source";
  const std::string target = folder / "target";
};

TEST_F(PackagerTest, TheSameInputGivesTheSameBytes) {
  const auto digests = [&](unsigned jobs) {
    return std::pair(
        packager::makeFullArchive(target, 8, folder / "full").md5,
        packager::makeDeltaPackage({source, target, 7, 8, folder / "delta", {}, jobs}).archive.md5);
  };
  const auto before = digests(1);
  for (const auto& entry : fs::recursive_directory_iterator(target)) {
    if (entry.is_symlink()) continue;
    fs::permissions(entry.path(), fs::perms::group_write, fs::perm_options::add);
    fs::last_write_time(entry.path(), fs::file_time_type::clock::now() - std::chrono::hours(1000));
  }
  EXPECT_EQ(digests(4), before);
}

TEST_F(PackagerTest, ADeltaPackageMakesTheTargetFromTheSource) {
  if (!ZRProcessManager::instance()) {
    ASSERT_CODE(ZRProcessManager::init(), ZRError::eNoError);
  }
  const std::string installed = folder / "installed";
  makeBundle(installed, 7);
  const auto package = packager::makeDeltaPackage({source, target, 7, 8, folder / "delta.tar.gz"});
  EXPECT_EQ(package.patchedFiles, 8u);
  EXPECT_EQ(package.wholeFiles, 4u) << "new, empty, quoted, and executable where nothing makes it so again";
  EXPECT_LT(package.archive.sizeBytes, packager::makeFullArchive(target, 8, folder / "full").sizeBytes / 3);

  tools::runProgram({"/usr/bin/tar", {"-x", "-f", package.archive.path, "-C", folder.path()}});
  const std::string tree = folder / "7_8";
  ZRDynamicThreadPool pool("Patching", 3, 3, 30);
  ASSERT_CODE(applyPatch(tree, source, &pool), ZRError::eNoError);
  ASSERT_CODE(verifyCheckSums(tree, &pool), ZRError::eNoError);
  ASSERT_CODE(setExeFileAttributes(tree), ZRError::eNoError);
  test::expectSameTree(tree, target);
  test::expectSameTree(source, installed);
}

TEST_F(PackagerTest, RefusesWhatNoAgentCouldInstall) {
  const std::pair<const char*, std::function<void()>> cases[] = {
      {"lacks \"Contents/Helpers/VNTUpload\"", [&] { fs::remove(target + "/Contents/Helpers/VNTUpload"); }},
      {"taken for a patch", [&] { test::writeFile(target + "/x.bsdiff", ""); }},
      {"line feed", [&] { test::writeFile(target + "/two\nlines", ""); }},
      {"digest list", [&] { test::writeFile(target + "/FileCheckSums.txt", ""); }},
      {"leads outside", [&] { fs::create_symlink("/etc", target + "/way"); }},
      {"leads outside", [&] { fs::create_symlink("../other", target + "/way"); }},
      {"neither a file", [&] { ASSERT_EQ(mkfifo((target + "/pipe").c_str(), 0600), 0); }},
      {"is not a folder", [&] { fs::remove_all(source); }},
  };
  test::makeFolder(folder / "out");
  for (const auto& [message, spoil] : cases) {
    fs::remove_all(target);
    makeBundle(target, 8);
    spoil();
    try {
      packager::makeDeltaPackage({source, target, 7, 8, folder / "out/delta"});
      ADD_FAILURE() << "accepted: " << message;
    } catch (const std::runtime_error& error) {
      EXPECT_THAT(error.what(), HasSubstr(message));
    }
    EXPECT_TRUE(fs::is_empty(folder / "out")) << message;
  }
}

}  // namespace

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <functional>
#include <map>
#include <random>
#include <string>

#include "Code/Common/BundleExecutables.h"
#include "Code/Common/DeltaUpdatesTools.h"
#include "runtime/Applications/ZRProcessManager.h"
#include "runtime/Threads/ZRDynamicThreadPool.h"
#include "tests/support/ResultMatchers.h"
#include "tests/support/TemporaryFolder.h"
#include "tools/packager/Archive.h"
#include "tools/packager/DeltaPackage.h"
#include "tools/packager/Program.h"

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

/// What an archive keeps of a tree: path -> kind, "x" for executable, and contents or target.
std::map<std::string, std::string> contentsOf(const std::string& folder) {
  std::map<std::string, std::string> items;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    std::string& item = items[entry.path().lexically_relative(folder).string()];
    if (entry.is_symlink()) {
      item = "link " + fs::read_symlink(entry.path()).string();
    } else if (entry.is_directory()) {
      item = "folder";
    } else {
      const bool executable = (entry.status().permissions() & fs::perms::owner_exec) != fs::perms::none;
      item = (executable ? "file x " : "file - ") + test::readFile(entry.path().string());
    }
  }
  return items;
}

class PackagerTest : public ::testing::Test {
 protected:
  /// A bundle of a client; its big files differ from seed to seed, but not by much.
  std::string makeBundle(const std::string& name, unsigned seed) {
    const std::string bundle = _folder / name;
    const auto write = [&](const std::string& path, const std::string& bytes, unsigned mode) {
      test::writeFile(bundle + "/" + path, bytes);
      fs::permissions(bundle + "/" + path, fs::perms{mode});
    };
    for (const char* executable : kBundleExecutables)
      write(executable, noise(1, 20000) + std::to_string(seed), 0755);
    write("Contents/Frameworks/F.framework/Versions/A/F", noise(2, 30000) + std::to_string(seed), 0644);
    fs::create_directory_symlink("A", bundle + "/Contents/Frameworks/F.framework/Versions/Current");
    fs::create_symlink("Versions/Current/F", bundle + "/Contents/Frameworks/F.framework/F");
    write("Contents/Resources/same for all", noise(3, 30000), 0644);
    write("Contents/Resources/read-only", noise(4, 10000) + std::to_string(seed), 0444);
    write("Contents/Resources/helper.sh", "#!/bin/sh\n" + noise(5, 10000) + std::to_string(seed), 0755);
    write("Contents/Resources/with \" quote", noise(6, 10000) + std::to_string(seed), 0644);
    write("Contents/Resources/only in " + std::to_string(seed), noise(seed, 5000), 0644);
    write("Contents/Resources/empty", "", 0644);
    test::makeFolder(bundle + "/Contents/empty folder");
    return bundle;
  }
  std::string unpack(const fs::path& archive) {
    const std::string into = _folder / ("unpacked " + archive.filename().string());
    test::makeFolder(into);
    packager::runProgram("/usr/bin/tar", {"-x", "-f", archive.string(), "-C", into});
    return into;
  }

  test::TemporaryFolder _folder;
};

TEST_F(PackagerTest, AFullArchiveHoldsTheBundleUnderItsBuild) {
  const std::string bundle = makeBundle("client", 7);
  const auto archive = packager::makeFullArchive(bundle, 7, _folder / "full.tar.gz");
  EXPECT_EQ(archive.sizeBytes, fs::file_size(archive.path));
  EXPECT_EQ(test::readFile(archive.path.string() + ".md5"), archive.md5 + "\n");
  EXPECT_THAT(archive.md5, ::testing::MatchesRegex("[0-9a-f]{32}"));
  EXPECT_EQ(contentsOf(unpack(archive.path) + "/Vantora (7).app"), contentsOf(bundle));
}

TEST_F(PackagerTest, TheSameInputGivesTheSameBytes) {
  const std::string before = makeBundle("before", 7);
  const std::string one = makeBundle("one", 8);
  const std::string other = makeBundle("other", 8);
  for (const auto& entry : fs::recursive_directory_iterator(other)) {
    if (entry.is_symlink()) continue;
    fs::permissions(entry.path(), fs::perms::group_write, fs::perm_options::add);
    fs::last_write_time(entry.path(), fs::file_time_type::clock::now() - std::chrono::hours(1000));
  }
  const auto fullOf = [&](const std::string& bundle) {
    return packager::makeFullArchive(bundle, 8, bundle + ".tar.gz").md5;
  };
  EXPECT_EQ(fullOf(one), fullOf(other));
  const auto deltaTo = [&](const std::string& bundle, unsigned jobs) {
    return packager::makeDeltaPackage({before, bundle, 7, 8, bundle + ".delta", {}, jobs}).archive.md5;
  };
  EXPECT_EQ(deltaTo(one, 1), deltaTo(other, 4));
}

TEST_F(PackagerTest, ADeltaPackageMakesTheTargetFromTheSource) {
  if (!ZRProcessManager::instance()) {
    ASSERT_CODE(ZRProcessManager::init(), ZRError::eNoError);
  }
  const std::string source = makeBundle("source", 7);
  const std::string target = makeBundle("target", 8);
  const auto package = packager::makeDeltaPackage({source, target, 7, 8, _folder / "delta.tar.gz"});
  EXPECT_EQ(package.patchedFiles, 8u);
  EXPECT_EQ(package.wholeFiles, 4u) << "new, empty, quoted, and executable where nothing makes it so again";
  EXPECT_LT(package.archive.sizeBytes, packager::makeFullArchive(target, 8, _folder / "full").sizeBytes / 3);

  const std::string tree = unpack(package.archive.path) + "/7_8";
  ZRDynamicThreadPool pool("Patching", 3, 3, 30);
  ASSERT_CODE(applyPatch(ZRString(tree), ZRString(source), &pool), ZRError::eNoError);
  ASSERT_CODE(verifyCheckSums(ZRString(tree), &pool), ZRError::eNoError);
  ASSERT_CODE(setExeFileAttributes(ZRString(tree)), ZRError::eNoError);
  EXPECT_EQ(contentsOf(tree), contentsOf(target));
}

TEST_F(PackagerTest, RefusesWhatNoAgentCouldInstall) {
  struct Case {
    const char* message;
    std::function<void(const std::string& bundle)> spoil;
  };
  const Case cases[] = {
      {"lacks \"Contents/Helpers/VNTUpload\"",
       [](const std::string& b) { fs::remove(b + "/Contents/Helpers/VNTUpload"); }},
      {"taken for a patch", [](const std::string& b) { test::writeFile(b + "/x.bsdiff", ""); }},
      {"line feed", [](const std::string& b) { test::writeFile(b + "/two\nlines", ""); }},
      {"digest list", [](const std::string& b) { test::writeFile(b + "/FileCheckSums.txt", ""); }},
      {"leads outside", [](const std::string& b) { fs::create_symlink("/etc", b + "/way"); }},
      {"leads outside", [](const std::string& b) { fs::create_symlink("../other", b + "/way"); }},
      {"neither a file", [](const std::string& b) { ASSERT_EQ(mkfifo((b + "/pipe").c_str(), 0600), 0); }},
      {"is not a folder", [this](const std::string&) { fs::remove_all(_folder / "source"); }},
  };
  for (const Case& c : cases) {
    fs::remove_all(_folder / "target");
    test::makeFolder(_folder / "out");
    makeBundle("source", 7);
    const std::string target = makeBundle("target", 8);
    c.spoil(target);
    try {
      packager::makeDeltaPackage({_folder / "source", target, 7, 8, _folder / "out/delta"});
      ADD_FAILURE() << "accepted: " << c.message;
    } catch (const packager::PackagingError& error) {
      EXPECT_THAT(error.what(), HasSubstr(c.message));
    }
    EXPECT_TRUE(fs::is_empty(_folder / "out")) << c.message;
    fs::remove_all(_folder / "source");
  }
}

}  // namespace

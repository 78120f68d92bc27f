#include "platform/FileManager.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <filesystem>

#include "tests/platform/Matchers.h"
#include "tests/support/ExtendedAttribute.h"
#include "tests/support/OrdinaryUser.h"
#include "tests/support/TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;
using platform::FileManager;
using platform::ItemKind;
using test::FailedWith;
using test::Succeeded;

constexpr timespec kSomeTime{1'234'567'890, 123'456'789};
constexpr const char* kAttribute = "user.test.mark";
const std::string kLarge(300'000, 'x');

unsigned modeOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777;
}

/// A bundle with everything that a copy has to keep: modes, times, links, attributes.
void makeBundle(const std::string& path) {
  test::writeFile(path + "/Contents/MacOS/program", "run");
  test::writeFile(path + "/Contents/large", kLarge);
  fs::create_symlink("nowhere", path + "/Contents/dangling");
  ASSERT_TRUE(test::setAttribute(path + "/Contents", kAttribute, "mark")) << path;
  for (const char* name : {"/Contents/large", "/Contents/dangling"})
    utimensat(AT_FDCWD, (path + name).c_str(), std::array{kSomeTime, kSomeTime}.data(), AT_SYMLINK_NOFOLLOW);
  chmod((path + "/Contents/MacOS/program").c_str(), 0555);
  chmod((path + "/Contents").c_str(), 0555);
}

void expectBundle(const std::string& path) {
  EXPECT_EQ(test::readFile(path + "/Contents/MacOS/program"), "run");
  EXPECT_EQ(test::readFile(path + "/Contents/large"), kLarge);
  EXPECT_EQ(fs::read_symlink(path + "/Contents/dangling"), "nowhere");
  for (const char* name : {"/Contents", "/Contents/MacOS/program"})
    EXPECT_EQ(modeOf(path + name), 0555u) << name;
  for (const char* name : {"/Contents/large", "/Contents/dangling"}) {
    struct stat status {};
    EXPECT_EQ(lstat((path + name).c_str(), &status), 0) << name;
    EXPECT_EQ(status.st_mtime, kSomeTime.tv_sec) << name;
  }
  EXPECT_EQ(test::attributeOf(path + "/Contents", kAttribute), "mark");
}

std::vector<std::string> namesIn(const std::string& path) {
  std::vector<std::string> names;
  EXPECT_THAT(platform::defaultFileManager().contentsOfFolder(path, names), Succeeded());
  return names;
}

class FileManagerTest : public testing::Test {
 protected:
  /// Folders that a test protected would resist the clean-up of an ordinary user.
  ~FileManagerTest() override {
    for (const auto& name : {"a.app", "b.app", "c.app", "locked", "there"}) {
      if (test::exists(folder / name)) static_cast<void>(manager.removeItem(folder / name));
    }
  }
  test::TemporaryFolder folder;
  FileManager& manager = platform::defaultFileManager();
};

TEST_F(FileManagerTest, AnswersQueries) {
  test::writeFile(folder / "file", "x");
  fs::create_symlink("file", folder / "link");
  fs::create_symlink("nowhere", folder / "dangling");
  mkfifo((folder / "pipe").c_str(), 0600);
  const std::pair<const char*, ItemKind> kinds[] = {{"link", ItemKind::file},
                                                    {"", ItemKind::folder},
                                                    {"pipe", ItemKind::other},
                                                    {"dangling", ItemKind::none}};
  for (const auto& [name, kind] : kinds)
    EXPECT_EQ(manager.itemKind(folder / name), kind) << name;
  EXPECT_TRUE(manager.isSameItem(folder / "file", folder / "link"));
  EXPECT_FALSE(manager.isSameItem(folder / "dangling", folder / "dangling"));
  EXPECT_THAT(manager.createFolder(folder / "a/b//c/"), Succeeded());
  EXPECT_THAT(manager.createFolder(folder / "file/x/y"), FailedWith(ENOTDIR, folder / "file"));
  EXPECT_THAT(namesIn(folder.path()), testing::ElementsAre("a", "dangling", "file", "link", "pipe"));
}

TEST_F(FileManagerTest, ACopyIsWholeOrNotThere) {
  const std::string bundle = folder / "a.app";
  test::writeFile(bundle + "/Contents/MacOS/program", "run");
  chmod((bundle + "/Contents/MacOS/program").c_str(), 0555);
  fs::create_symlink("nowhere", bundle + "/Contents/dangling");
  EXPECT_THAT(manager.copyItem(bundle, bundle + "/into itself"), FailedWith(EINVAL, "a.app"));
  mkfifo((bundle + "/pipe").c_str(), 0600);
  EXPECT_THAT(manager.copyItem(bundle, folder / "b.app"), FailedWith(EOPNOTSUPP, "a.app/pipe"));
  EXPECT_FALSE(test::exists(folder / "b.app"));
  unlink((bundle + "/pipe").c_str());
  EXPECT_THAT(manager.copyItem(bundle, folder / "c.app"), Succeeded());
  EXPECT_THAT(manager.copyItem(bundle, folder / "c.app"), FailedWith(EEXIST, folder / "c.app"));
  EXPECT_EQ(test::readFile(folder / "c.app/Contents/MacOS/program"), "run");
  EXPECT_EQ(modeOf(folder / "c.app/Contents/MacOS/program"), 0555u);
  EXPECT_EQ(fs::read_symlink(folder / "c.app/Contents/dangling"), "nowhere");
}

TEST_F(FileManagerTest, ACopyKeepsEverythingOfAProtectedBundle) {
  makeBundle(folder / "a.app");
  const test::OrdinaryUser user;
  EXPECT_THAT(manager.copyItem(folder / "a.app", folder / "c.app"), Succeeded());
  expectBundle(folder / "c.app");
}

TEST_F(FileManagerTest, MovesOnlyToFreePlaces) {
  makeBundle(folder / "a.app");
  chmod((folder / "a.app").c_str(), 0555);
  test::makeFolder(folder / "there/empty");
  test::writeFile(folder / "file", "x");
  fs::create_symlink("nowhere", folder / "dangling");
  for (const char* taken : {"there/empty", "file", "dangling"})
    EXPECT_THAT(manager.moveItem(folder / "a.app", folder / taken), FailedWith(EEXIST, taken));
  EXPECT_THAT(manager.moveItem(folder / "a.app", folder / "missing/b.app"), FailedWith(ENOENT, "missing"));

  const test::OrdinaryUser user;
  EXPECT_THAT(manager.moveItem(folder / "a.app", folder / "there/b.app"), Succeeded());
  EXPECT_EQ(modeOf(folder / "there/b.app"), 0555u);
  expectBundle(folder / "there/b.app");
  EXPECT_THAT(manager.moveItem(folder / "dangling", folder / "there/link"), Succeeded());
  EXPECT_EQ(fs::read_symlink(folder / "there/link"), "nowhere");
}

TEST_F(FileManagerTest, AMoveAcrossVolumesKeepsEverythingOrDoesNotBegin) {
  std::uint64_t here = 0;
  std::uint64_t there = 0;
  EXPECT_THAT(manager.fileSystemNumber(folder.path(), here), Succeeded());
  if (manager.fileSystemNumber("/dev/shm", there).failed() || here == there) GTEST_SKIP() << "one volume";
  const test::TemporaryFolder other("/dev/shm");
  makeBundle(folder / "locked/a.app");
  chmod((folder / "locked/a.app").c_str(), 0555);
  test::makeFolder(other / "taken");
  const auto from = folder / "locked/a.app";
  EXPECT_THAT(manager.moveItem(from, other / "taken"), FailedWith(EEXIST, "taken"));
  chmod((folder / "locked").c_str(), 0555);
  const test::OrdinaryUser user;
  EXPECT_THAT(manager.moveItem(from, other / "b.app"), FailedWith(EACCES, from));
  EXPECT_THAT(namesIn(other.path()), testing::ElementsAre("taken"));
  expectBundle(from);
  chmod((folder / "locked").c_str(), 0755);
  EXPECT_THAT(manager.moveItem(from, other / "b.app"), Succeeded());
  EXPECT_FALSE(test::exists(from));
  EXPECT_THAT(namesIn(other.path()), testing::ElementsAre("b.app", "taken"));
  EXPECT_EQ(modeOf(other / "b.app"), 0555u);
  if (!test::attributeOf(other / "b.app/Contents", kAttribute).empty()) expectBundle(other / "b.app");
  EXPECT_THAT(manager.removeItem(other / "b.app"), Succeeded());
}

TEST_F(FileManagerTest, RemovesTreesAndNothingElse) {
  makeBundle(folder / "a.app");
  test::writeFile(folder / "outside/file", "keep");
  fs::create_directory_symlink(folder / "outside", folder / "a.app/Contents/MacOS/out");
  test::makeFolder(folder / "a.app/closed");
  test::writeFile(folder / "a.app/closed/file", "x");
  chmod((folder / "a.app/closed").c_str(), 0);
  fs::create_directory_symlink(folder / "outside", folder / "link");
  const test::OrdinaryUser user;
  EXPECT_THAT(manager.removeItem(folder / "a.app/"), Succeeded());
  EXPECT_THAT(manager.removeItem(folder / "link"), Succeeded());
  EXPECT_EQ(test::readFile(folder / "outside/file"), "keep");
  EXPECT_THAT(namesIn(folder.path()), testing::ElementsAre("outside"));
  EXPECT_THAT(manager.removeItem(folder / "none"), FailedWith(ENOENT, "none"));
  for (const std::string name : {"outside/.", "outside/.."})
    EXPECT_THAT(manager.removeItem(folder / name), FailedWith(EINVAL, name));

  test::makeFolder(folder / "locked/inner/deep");
  chmod((folder / "locked").c_str(), 0555);
  EXPECT_THAT(manager.removeItem(folder / "locked/inner"), FailedWith(EACCES, "inner"));
  EXPECT_TRUE(test::exists(folder / "locked/inner/deep"));
  EXPECT_THAT(namesIn(folder / "locked"), testing::ElementsAre("inner"));
}

TEST_F(FileManagerTest, ATornTreeNeverStandsUnderItsName) {
  if (geteuid() != 0) GTEST_SKIP() << "takes items of another user";
  constexpr uid_t kAnother = 12'345;
  constexpr std::size_t kFiles = 64;
  const std::string path = folder / "b.app";
  test::makeFolder(path + "/foreign/inner");
  ASSERT_EQ(chown((path + "/foreign").c_str(), kAnother, kAnother), 0);
  for (std::size_t i = 0; i < kFiles; ++i)
    test::writeFile(path + "/" + std::to_string(i), "x");
  const test::OrdinaryUser user;
  EXPECT_THAT(manager.removeItem(path), FailedWith(EACCES, path + "/foreign"));
  const auto left = test::exists(path) ? namesIn(path).size() : 0;
  EXPECT_THAT(left, testing::AnyOf(0, kFiles + 1)) << "whole when the foreign folder came first";
}

TEST_F(FileManagerTest, WorkInProgressIsItsUsers) {
  std::string work;
  ASSERT_THAT(manager.createPrivateFolder(folder.path(), work), Succeeded());
  EXPECT_EQ(modeOf(work), 0700u);
  EXPECT_THAT(manager.unfinishedItems(folder / ""), testing::ElementsAre(work));
  EXPECT_THAT(manager.unfinishedItems(folder / "none"), testing::IsEmpty());
  if (geteuid() != 0) return;
  ASSERT_EQ(chown(work.c_str(), 12'345, 12'345), 0);
  EXPECT_THAT(manager.unfinishedItems(folder.path()), testing::IsEmpty()) << "it is another user's";
}

TEST_F(FileManagerTest, RemovesTreesOfAnyDepth) {
  std::string path = folder / "a.app";
  test::makeFolder(path);
  int current = open(path.c_str(), O_RDONLY | O_DIRECTORY);
  for (int level = 0; level < 3'000; ++level) {
    ASSERT_EQ(mkdirat(current, "removed-1", 0700), 0);
    const int next = openat(current, "removed-1", O_RDONLY | O_DIRECTORY);
    close(current);
    current = next;
  }
  close(current);
  EXPECT_THAT(manager.removeItem(path), Succeeded());
  EXPECT_FALSE(test::exists(path));
}

TEST_F(FileManagerTest, SetsAttributes) {
  const std::string item = folder / "item";
  test::makeFolder(item);
  const test::OrdinaryUser user;
  EXPECT_THAT(manager.setAttributes(item, {.immutable = false, .permissions = 0555}), Succeeded());
  EXPECT_EQ(modeOf(item), 0555u);
  EXPECT_THAT(manager.setAttributes(folder / "none", {.immutable = false}), FailedWith(ENOENT, "none"));
  // The first failure is told, and the rest is still set.
  EXPECT_THAT(manager.setAttributes(item, {.immutable = true, .permissions = 0700}), test::HasCode(EPERM));
  EXPECT_EQ(modeOf(item), 0700u);
}

}  // namespace

#include "platform/FileContents.h"
#include "platform/FileManager.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <filesystem>

#include "platform/FolderLock.h"
#include "tests/platform/Matchers.h"
#include "tests/support/FileSizeLimit.h"
#include "tests/support/OrdinaryUser.h"
#include "tests/support/TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;
using platform::Date;
using platform::FileManager;
using platform::ItemAttributes;
using platform::ItemKind;
using platform::Seconds;
using test::FailedWith;
using test::Succeeded;

constexpr timespec kSomeTime{1'234'567'890, 123'456'789};

unsigned modeOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777;
}

std::string attributeOf(const std::string& path, const char* name) {
  char value[64];
  const ssize_t size = getxattr(path.c_str(), name, value, sizeof value);
  return size < 0 ? "" : std::string(value, static_cast<std::size_t>(size));
}

void setAttribute(const std::string& path, const char* name, const std::string& value) {
  ASSERT_EQ(setxattr(path.c_str(), name, value.data(), value.size(), 0), 0) << path;
}

/// A bundle with everything that a copy has to keep.
void makeBundle(const std::string& path, const std::string& mark = "mark") {
  test::writeFile(path + "/Contents/MacOS/program", mark);
  test::writeFile(path + "/Contents/large", std::string(300'000, 'x') + mark);
  test::makeFolder(path + "/Contents/empty");
  fs::create_symlink("MacOS/program", path + "/Contents/link");
  fs::create_symlink("nowhere", path + "/Contents/dangling");
  setAttribute(path, "user.test.bundle", mark);
  chmod((path + "/Contents/MacOS/program").c_str(), 0555);
  setAttribute(path + "/Contents/large", "user.test.file", mark);
  const timespec times[] = {kSomeTime, kSomeTime};
  utimensat(AT_FDCWD, (path + "/Contents/large").c_str(), times, 0);
  utimensat(AT_FDCWD, (path + "/Contents/link").c_str(), times, AT_SYMLINK_NOFOLLOW);
  chmod((path + "/Contents").c_str(), 0555);
  utimensat(AT_FDCWD, (path + "/Contents").c_str(), times, 0);
}

void expectBundle(const std::string& path, const std::string& mark = "mark") {
  const auto timeOf = [&path](const std::string& name) {
    struct stat status {};
    EXPECT_EQ(lstat((path + name).c_str(), &status), 0) << path + name;
    return status.st_mtim.tv_sec * 1'000'000'000 + status.st_mtim.tv_nsec;
  };
  const auto expected = kSomeTime.tv_sec * 1'000'000'000 + kSomeTime.tv_nsec;
  EXPECT_EQ(test::readFile(path + "/Contents/MacOS/program"), mark);
  EXPECT_EQ(test::readFile(path + "/Contents/large"), std::string(300'000, 'x') + mark);
  EXPECT_TRUE(fs::is_empty(path + "/Contents/empty"));
  EXPECT_EQ(fs::read_symlink(path + "/Contents/link"), "MacOS/program");
  EXPECT_EQ(fs::read_symlink(path + "/Contents/dangling"), "nowhere");
  EXPECT_EQ(modeOf(path + "/Contents"), 0555u);
  EXPECT_EQ(modeOf(path + "/Contents/MacOS/program"), 0555u);
  for (const char* name : {"/Contents/large", "/Contents/link", "/Contents"})
    EXPECT_EQ(timeOf(name), expected) << name;
  EXPECT_EQ(attributeOf(path, "user.test.bundle"), mark);
  EXPECT_EQ(attributeOf(path + "/Contents/large", "user.test.file"), mark);
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
    for (const auto& name : {"a.app", "b.app", "c.app", "locked"}) {
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
  const std::pair<const char*, ItemKind> kinds[] = {
      {"file", ItemKind::file},  {"link", ItemKind::file},     {"", ItemKind::folder},
      {"pipe", ItemKind::other}, {"dangling", ItemKind::none}, {"file/below", ItemKind::none}};
  for (const auto& [name, kind] : kinds)
    EXPECT_EQ(manager.itemKind(folder / name), kind) << name;
  EXPECT_THAT(namesIn(folder.path()), testing::ElementsAre("dangling", "file", "link", "pipe"));
  std::vector<std::string> names;
  EXPECT_THAT(manager.contentsOfFolder(folder / "file", names), FailedWith(ENOTDIR, folder / "file"));
  std::uint64_t number = 0;
  EXPECT_THAT(manager.fileSystemNumber(folder / "none", number), FailedWith(ENOENT, folder / "none"));

  const test::OrdinaryUser user;
  chmod((folder / "file").c_str(), 0444);
  EXPECT_TRUE(manager.isWritable(folder.path()));
  EXPECT_FALSE(manager.isWritable(folder / "file"));
}

TEST_F(FileManagerTest, CreatesFolders) {
  test::writeFile(folder / "file", "x");
  fs::create_directory_symlink(folder.path(), folder / "link");
  for (const char* name : {"a/b//c/", "a/b/c", "link"})
    EXPECT_THAT(manager.createFolder(folder / name), Succeeded()) << name;
  EXPECT_THAT(manager.createFolder(folder / "file"), FailedWith(EEXIST, folder / "file"));
  EXPECT_THAT(manager.createFolder(folder / "file/x/y"), FailedWith(ENOTDIR, folder / "file"));
  EXPECT_EQ(manager.itemKind(folder / "a/b/c"), ItemKind::folder);
}

TEST_F(FileManagerTest, ACopyIsWholeOrNotThere) {
  makeBundle(folder / "a.app");
  EXPECT_THAT(manager.copyItem(folder / "a.app", folder / "a.app/into itself"), FailedWith(EINVAL, "a.app"));
  EXPECT_FALSE(test::exists(folder / "a.app/into itself"));
  mkfifo((folder / "a.app/pipe").c_str(), 0600);
  EXPECT_THAT(manager.copyItem(folder / "a.app", folder / "b.app"), FailedWith(EOPNOTSUPP, "a.app/pipe"));
  EXPECT_FALSE(test::exists(folder / "b.app"));
  unlink((folder / "a.app/pipe").c_str());
  const test::OrdinaryUser user;
  EXPECT_THAT(manager.copyItem(folder / "a.app", folder / "c.app"), Succeeded());
  EXPECT_THAT(manager.copyItem(folder / "a.app", folder / "c.app"), FailedWith(EEXIST, folder / "c.app"));
  expectBundle(folder / "c.app");
  chmod((folder / "a.app/Contents/large").c_str(), 0);
  EXPECT_THAT(manager.copyItem(folder / "a.app", folder / "b.app"), FailedWith(EACCES, "Contents/large"));
  EXPECT_FALSE(test::exists(folder / "b.app"));
}

TEST_F(FileManagerTest, MovesOnlyToFreePlaces) {
  makeBundle(folder / "a.app");
  chmod((folder / "a.app").c_str(), 0555);
  test::makeFolder(folder / "there/empty");
  test::writeFile(folder / "file", "x");
  fs::create_symlink("nowhere", folder / "dangling");
  for (const char* taken : {"there/empty", "file", "dangling"})
    EXPECT_THAT(manager.moveItem(folder / "a.app", folder / taken), FailedWith(EEXIST, taken));
  EXPECT_THAT(manager.moveItem(folder / "none", folder / "c.app"), FailedWith(ENOENT, "none"));
  EXPECT_THAT(manager.moveItem(folder / "a.app", folder / "missing/b.app"), FailedWith(ENOENT, "missing"));
  EXPECT_THAT(manager.moveItem(folder / "a.app", folder / "a.app/b"), FailedWith(EINVAL, "a.app"));

  const test::OrdinaryUser user;
  EXPECT_THAT(manager.moveItem(folder / "a.app", folder / "there/b.app"), Succeeded());
  EXPECT_EQ(modeOf(folder / "there/b.app"), 0555u);
  expectBundle(folder / "there/b.app");
  EXPECT_THAT(manager.moveItem(folder / "there/b.app", folder / "b.app"), Succeeded());
  EXPECT_THAT(manager.moveItem(folder / "dangling", folder / "there/link"), Succeeded());
  EXPECT_EQ(fs::read_symlink(folder / "there/link"), "nowhere");
}

/// A folder on another file system than the usual temporary one, when this machine has one.
class AcrossVolumes : public FileManagerTest {
 protected:
  void SetUp() override {
    std::uint64_t here = 0;
    std::uint64_t there = 0;
    if (manager.fileSystemNumber(folder.path(), here).failed() ||
        manager.fileSystemNumber("/dev/shm", there).failed() || here == there ||
        mkdtemp(_other.data()) == nullptr) {
      GTEST_SKIP() << "there is no second file system";
    }
  }
  void TearDown() override {
    if (test::exists(_other)) {
      EXPECT_THAT(manager.removeItem(_other), Succeeded());
    }
  }
  [[nodiscard]] std::string other(const std::string& name) const { return _other + "/" + name; }

 private:
  std::string _other = "/dev/shm/vantora-test-XXXXXX";
};

TEST_F(AcrossVolumes, AMoveKeepsEverythingOrDoesNotBegin) {
  makeBundle(folder / "locked/a.app");
  chmod((folder / "locked/a.app").c_str(), 0555);
  test::makeFolder(other("taken"));
  const auto from = folder / "locked/a.app";
  EXPECT_THAT(manager.moveItem(from, other("taken")), FailedWith(EEXIST, "taken"));
  chmod((folder / "locked").c_str(), 0555);
  const test::OrdinaryUser user;
  EXPECT_THAT(manager.moveItem(from, other("b.app")), FailedWith(EACCES, from));
  EXPECT_THAT(namesIn(other("")), testing::ElementsAre("taken"));
  expectBundle(from);
  chmod((folder / "locked").c_str(), 0755);
  EXPECT_THAT(manager.moveItem(from, other("b.app")), Succeeded());
  EXPECT_FALSE(test::exists(from));
  EXPECT_THAT(namesIn(other("")), testing::ElementsAre("b.app", "taken"));
  EXPECT_EQ(modeOf(other("b.app")), 0555u);
  if (!attributeOf(other("b.app"), "user.test.bundle").empty()) expectBundle(other("b.app"));
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
  EXPECT_THAT(manager.removeItem("/"), FailedWith(ENOENT, ""));

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

TEST_F(FileManagerTest, WorkInProgressHasNamesOfItsOwn) {
  std::string work;
  ASSERT_THAT(manager.createPrivateFolder(folder.path(), work), Succeeded());
  EXPECT_EQ(modeOf(work), 0700u);
  std::string another;
  ASSERT_THAT(manager.createPrivateFolder(folder / "", another), Succeeded());
  EXPECT_NE(work, another);
  for (const char* name :
       {".vantora-12-3", ".vantora-backup", ".vantora-Backup", ".vantora-", ".vantora-1-", "vantora-AbC123"})
    test::writeFile(folder / name, "x");
  EXPECT_THAT(manager.unfinishedItems(folder / ""),
              testing::UnorderedElementsAre(work, another, folder / ".vantora-12-3"));
  EXPECT_THAT(manager.unfinishedItems(folder / "none"), testing::IsEmpty());
  EXPECT_THAT(manager.createPrivateFolder(folder / "none", work), FailedWith(ENOENT, "none"));
  if (geteuid() != 0) return;
  for (const std::string& path : {another, folder / ".vantora-12-3"})
    ASSERT_EQ(chown(path.c_str(), 12'345, 12'345), 0);
  EXPECT_THAT(manager.unfinishedItems(folder.path()).size(), 1U);
}

TEST_F(FileManagerTest, OneItemMayHaveTwoNames) {
  test::writeFile(folder / "a/file", "x");
  fs::create_directory_symlink(folder / "a", folder / "link");
  fs::create_hard_link(folder / "a/file", folder / "other");
  EXPECT_TRUE(manager.isSameItem(folder / "a/file", folder / "link/file"));
  EXPECT_TRUE(manager.isSameItem(folder / "a/file", folder / "other"));
  EXPECT_FALSE(manager.isSameItem(folder / "a", folder / "a/file"));
  EXPECT_FALSE(manager.isSameItem(folder / "none", folder / "none"));
}

TEST_F(FileManagerTest, AFolderIsLockedForOneAtATime) {
  test::makeFolder(folder / "a");
  fs::create_directory_symlink(folder / "a", folder / "link");
  platform::FolderLock first;
  platform::FolderLock second;
  EXPECT_THAT(first.tryLock(folder / "none"), FailedWith(ENOENT, "none"));
  ASSERT_THAT(first.tryLock(folder / "a"), Succeeded());
  EXPECT_THAT(second.tryLock(folder / "link"), FailedWith(EWOULDBLOCK, "link"));
  const platform::FolderLock moved = std::move(first);
  EXPECT_THAT(second.tryLock(folder / "a"), FailedWith(EWOULDBLOCK, "a"));
  EXPECT_THAT(namesIn(folder / "a"), testing::IsEmpty());
  const pid_t child = fork();
  if (child == 0) {
    platform::FolderLock of;
    const bool taken = !of.tryLock(folder.path()).failed();
    _exit(taken ? 0 : 1);  // ends with the process
  }
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_THAT(second.tryLock(folder.path()), Succeeded());
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
  EXPECT_THAT(manager.setAttributes(item, {.creationDate = Date{Seconds(1'700'000'000)}}), Succeeded());
  EXPECT_EQ(modeOf(item), 0555u);
  EXPECT_EQ(attributeOf(item, "user.vantora.creation-date"), "2023-11-14T22:13:20Z");
  EXPECT_THAT(manager.setAttributes(folder / "none", {.immutable = false}), FailedWith(ENOENT, "none"));
  // The first failure is told, and the rest is still set.
  EXPECT_THAT(manager.setAttributes(item, {.immutable = true, .permissions = 0700}), test::HasCode(EPERM));
  EXPECT_EQ(modeOf(item), 0700u);
}

TEST_F(FileManagerTest, ReplacesItems) {
  makeBundle(folder / "a.app", "old");
  makeBundle(folder / "old.app", "a stale backup");
  const std::string destination = folder / "a.app";
  std::string place;
  ASSERT_THAT(manager.createReplacementFolder(destination, place), Succeeded());
  makeBundle(place + "/new.app", "new");
  for (const auto& path : {destination, place + "/new.app", folder / "old.app"})
    chmod(path.c_str(), 0555);
  const test::OrdinaryUser user;

  EXPECT_THAT(manager.replaceItem(destination, place + "/none.app", "old.app"), FailedWith(ENOENT, "none"));
  for (const char* name : {"", "a.app", "x/y", ".."})
    EXPECT_THAT(manager.replaceItem(destination, place + "/new.app", name), test::HasCode(EINVAL)) << name;
  expectBundle(destination, "old");

  EXPECT_THAT(manager.replaceItem(destination, place + "/new.app", "old.app"), Succeeded());
  expectBundle(destination, "new");
  EXPECT_EQ(modeOf(destination), 0555u);
  EXPECT_THAT(manager.removeItem(place), Succeeded());
  EXPECT_THAT(namesIn(folder.path()), testing::ElementsAre("a.app"));

  EXPECT_THAT(manager.replaceItem(folder / "b.app", destination, "old.app"), Succeeded());
  expectBundle(folder / "b.app", "new");
}

TEST_F(FileManagerTest, AFailedReplacementChangesNothing) {
  makeBundle(folder / "locked/a.app", "old");
  makeBundle(folder / "b.app", "new");
  chmod((folder / "locked").c_str(), 0555);
  const test::OrdinaryUser user;
  EXPECT_THAT(manager.replaceItem(folder / "locked/a.app", folder / "b.app", "old.app"),
              FailedWith(EACCES, "a.app"));
  expectBundle(folder / "locked/a.app", "old");
  expectBundle(folder / "b.app", "new");
  std::string place;
  EXPECT_THAT(manager.createReplacementFolder(folder / "locked/a.app", place), test::HasCode(EACCES));
}

TEST_F(FileManagerTest, WritesFilesAtomically) {
  const std::string path = folder / "file";
  umask(022);
  EXPECT_THAT(platform::writeFileAtomically(path, "one"), Succeeded());
  EXPECT_EQ(modeOf(path), 0644u);
  chmod(path.c_str(), 0640);
  fs::create_symlink("file", folder / "link");
  fs::create_symlink("absent", folder / "dangling");
  EXPECT_THAT(platform::writeFileAtomically(folder / "link", "two"), Succeeded());
  EXPECT_THAT(platform::writeFileAtomically(folder / "dangling", "three"), Succeeded());
  EXPECT_EQ(test::readFile(path), "two");
  EXPECT_EQ(modeOf(path), 0640u);
  EXPECT_TRUE(fs::is_symlink(folder / "link"));
  EXPECT_EQ(test::readFile(folder / "absent"), "three");

  test::makeFolder(folder / "folder");
  fs::create_symlink("loop", folder / "loop");
  EXPECT_THAT(platform::writeFileAtomically(folder / "folder", "x"), FailedWith(EISDIR, "folder"));
  EXPECT_THAT(platform::writeFileAtomically("/dev/null", "x"), FailedWith(EINVAL, "/dev/null"));
  EXPECT_THAT(platform::writeFileAtomically(folder / "loop", "x"), FailedWith(ELOOP, "loop"));
  EXPECT_THAT(platform::writeFileAtomically(folder / "none/file", "x"), FailedWith(ENOENT, "none/file"));
  test::writeFile(folder / "locked/file", "kept");
  chmod((folder / "locked").c_str(), 0555);
  {
    const test::OrdinaryUser user;
    EXPECT_THAT(platform::writeFileAtomically(folder / "locked/file", "x"), FailedWith(EACCES, "locked"));
  }
  EXPECT_EQ(test::readFile(folder / "locked/file"), "kept");
  EXPECT_THAT(namesIn(folder.path()),
              testing::ElementsAre("absent", "dangling", "file", "folder", "link", "locked", "loop"));
}

TEST_F(FileManagerTest, AFullVolumeKeepsTheOldFile) {
  const std::string path = folder / "file";
  ASSERT_THAT(platform::writeFileAtomically(path, "old"), Succeeded());
  {
    const test::FileSizeLimit limit(4'096);
    EXPECT_THAT(platform::writeFileAtomically(path, std::string(10'000, 'x')), FailedWith(EFBIG, path));
  }
  EXPECT_EQ(test::readFile(path), "old");
  EXPECT_THAT(namesIn(folder.path()), testing::ElementsAre("file"));
}

TEST_F(FileManagerTest, ReadsFilesUpToALimit) {
  std::string bytes = "before";
  test::writeFile(folder / "file", std::string(100'000, 'y'));
  mkfifo((folder / "pipe").c_str(), 0600);
  EXPECT_THAT(platform::readFile(folder / "file", 99'999, bytes), FailedWith(EFBIG, "file"));
  EXPECT_THAT(platform::readFile(folder / "none", 10, bytes), FailedWith(ENOENT, "none"));
  EXPECT_THAT(platform::readFile(folder.path(), 10, bytes), FailedWith(EISDIR, folder.path()));
  EXPECT_THAT(platform::readFile(folder / "pipe", 10, bytes), FailedWith(EINVAL, "pipe"));
  EXPECT_THAT(platform::readFile("/proc/self/status", 10, bytes), FailedWith(EFBIG, "status"));
  EXPECT_EQ(bytes, "before");
  EXPECT_THAT(platform::readFile(folder / "file", 100'000, bytes), Succeeded());
  EXPECT_EQ(bytes, std::string(100'000, 'y'));
}

}  // namespace

#include "platform/FileContents.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "tests/platform/Matchers.h"
#include "tests/support/FileSizeLimit.h"
#include "tests/support/OrdinaryUser.h"
#include "tests/support/TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;
using platform::writeFileAtomically;
using test::FailedWith;
using test::Succeeded;

std::size_t itemsIn(const std::string& folder) {
  return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder), {}));
}

TEST(FileContents, AWriteKeepsModeAndLinks) {
  const test::TemporaryFolder folder;
  test::writeFile(folder / "file", "one");
  chmod((folder / "file").c_str(), 0640);
  fs::create_symlink("file", folder / "link");
  fs::create_symlink("absent", folder / "dangling");
  EXPECT_THAT(writeFileAtomically(folder / "link", "two"), Succeeded());
  EXPECT_THAT(writeFileAtomically(folder / "dangling", "three"), Succeeded());
  EXPECT_EQ(test::readFile(folder / "file"), "two");
  EXPECT_EQ(fs::status(folder / "file").permissions(), fs::perms{0640});
  EXPECT_TRUE(fs::is_symlink(folder / "link"));
  EXPECT_EQ(test::readFile(folder / "absent"), "three");
  EXPECT_EQ(itemsIn(folder.path()), 4u);
}

TEST(FileContents, AFailedWriteKeepsTheOldFile) {
  const test::TemporaryFolder folder;
  test::writeFile(folder / "file", "old");
  fs::create_symlink("loop", folder / "loop");
  EXPECT_THAT(writeFileAtomically(folder.path(), "x"), FailedWith(EISDIR, folder.path()));
  EXPECT_THAT(writeFileAtomically(folder / "loop", "x"), FailedWith(ELOOP, "loop"));
  EXPECT_THAT(writeFileAtomically(folder / "none/file", "x"), FailedWith(ENOENT, "none/file"));
  {
    const test::FileSizeLimit full(4'096);
    EXPECT_THAT(writeFileAtomically(folder / "file", std::string(10'000, 'x')), FailedWith(EFBIG, "file"));
  }
  chmod(folder.path().c_str(), 0555);
  {
    const test::OrdinaryUser user;
    EXPECT_THAT(writeFileAtomically(folder / "file", "x"), FailedWith(EACCES, "file"));
  }
  chmod(folder.path().c_str(), 0755);
  EXPECT_EQ(test::readFile(folder / "file"), "old");
  EXPECT_EQ(itemsIn(folder.path()), 2u);
}

TEST(FileContents, OnlyRegularFilesAreReadAndUpToALimit) {
  const test::TemporaryFolder folder;
  std::string bytes = "before";
  test::writeFile(folder / "file", std::string(100'000, 'y'));
  mkfifo((folder / "pipe").c_str(), 0600);
  EXPECT_THAT(platform::readFile(folder / "file", 99'999, bytes), FailedWith(EFBIG, "file"));
  EXPECT_THAT(platform::readFile(folder.path(), 10, bytes), FailedWith(EISDIR, folder.path()));
  EXPECT_THAT(platform::readFile(folder / "pipe", 10, bytes), FailedWith(EINVAL, "pipe"));
  EXPECT_THAT(platform::readFile("/proc/self/status", 10, bytes), FailedWith(EFBIG, "status"));
  EXPECT_EQ(bytes, "before");
  EXPECT_THAT(platform::readFile(folder / "file", 100'000, bytes), Succeeded());
  EXPECT_EQ(bytes, std::string(100'000, 'y'));
}

}  // namespace

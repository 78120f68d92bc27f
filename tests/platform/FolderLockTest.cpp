#include "platform/FolderLock.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <utility>

#include "tests/platform/Matchers.h"
#include "tests/support/TemporaryFolder.h"

namespace {

using test::FailedWith;
using test::Succeeded;

TEST(FolderLock, IsHeldByOneAtATimeAndLeavesNothing) {
  const test::TemporaryFolder folder;
  test::makeFolder(folder / "a");
  std::filesystem::create_directory_symlink(folder / "a", folder / "link");
  platform::FolderLock first;
  platform::FolderLock second;
  EXPECT_THAT(first.tryLock(folder / "none"), FailedWith(ENOENT, "none"));
  ASSERT_THAT(first.tryLock(folder / "a"), Succeeded());
  const platform::FolderLock moved = std::move(first);
  EXPECT_THAT(second.tryLock(folder / "link"), FailedWith(EWOULDBLOCK, "link"));
  EXPECT_TRUE(std::filesystem::is_empty(folder / "a"));

  const pid_t child = fork();
  if (child == 0) {
    platform::FolderLock ended;
    _exit(ended.tryLock(folder.path()).failed() ? 1 : 0);
  }
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_THAT(second.tryLock(folder.path()), Succeeded()) << "it ends with its process";
}

}  // namespace

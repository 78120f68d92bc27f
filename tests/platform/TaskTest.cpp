#include "platform/Task.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <cerrno>
#include <chrono>
#include <string>

#include "tests/support/Environment.h"
#include "tests/support/TemporaryFolder.h"

namespace {

using namespace std::chrono_literals;

platform::Task shell(const std::string& script) {
  return platform::Task("/bin/sh", {"-c", script});
}

TEST(Task, RunsUntilItIsTold) {
  const auto session = test::ScopedEnvironment::with({{"TAR_OPTIONS", "--exclude=*"}});
  platform::Task task = shell("[ -z \"$TAR_OPTIONS\" ] || exit 3; exec sleep 60");
  task.terminate();  // nothing happens, as there is nothing yet
  task.launch();
  EXPECT_TRUE(task.isRunning());
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(task.waitForExit(50ms));
  EXPECT_GE(std::chrono::steady_clock::now() - start, 50ms);
  task.terminate();
  task.waitUntilExit();
  EXPECT_FALSE(task.isRunning());
  EXPECT_EQ(task.terminationStatus(), SIGTERM);
  EXPECT_THROW(task.launch(), platform::LaunchException);
}

TEST(Task, ItsToolDoesNotOutliveIt) {
  const test::TemporaryFolder folder;
  pid_t tool = -1;
  {
    platform::Task task = shell("trap '' TERM; echo $$ > new; mv new pid; while :; do sleep 1; done");
    task.currentFolder = folder.path();
    task.launch();
    while (!test::exists(folder / "pid"))
      EXPECT_FALSE(task.waitForExit(5ms));
    tool = std::stoi(test::readFile(folder / "pid"));
  }
  EXPECT_EQ(::kill(tool, 0), -1);
  EXPECT_EQ(errno, ESRCH);
}

}  // namespace

#include "platform/Task.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <map>
#include <optional>
#include <string>

#include "tests/support/Environment.h"
#include "tests/support/TemporaryFolder.h"

namespace {

using namespace std::chrono_literals;

platform::Task shell(const std::string& script) {
  return platform::Task("/bin/sh", {"-c", script});
}

TEST(Task, RunsUntilItIsTold) {
  platform::Task task = shell("exec sleep 60");
  EXPECT_FALSE(task.isRunning());
  task.terminate();
  task.waitUntilExit();
  task.launch();
  EXPECT_TRUE(task.isRunning());
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(task.waitForExit(50ms));
  EXPECT_GE(std::chrono::steady_clock::now() - start, 50ms);
  task.terminate();
  task.waitUntilExit();
  EXPECT_FALSE(task.isRunning());
  EXPECT_EQ(task.terminationStatus(), SIGTERM);
  task.terminate();
  EXPECT_THROW(task.launch(), platform::LaunchException);
}

TEST(Task, RunsInItsFolderWithAToolsEnvironmentAndStreams) {
  const test::TemporaryFolder folder;
  const test::ScopedEnvironment session(
      std::map<std::string, std::optional<std::string>>{{"TAR_OPTIONS", "--exclude=*"}});
  platform::Task task =
      shell("readlink /proc/$$/fd/0 /proc/$$/fd/2 > out; echo \"$PWD$TAR_OPTIONS\" >> out; exit 3");
  task.currentFolder = folder.path();
  task.launch();
  EXPECT_TRUE(task.waitForExit(20s));
  EXPECT_EQ(task.terminationStatus(), 3);
  EXPECT_EQ(test::readFile(folder / "out"), "/dev/null\n/dev/null\n" + folder.path() + "\n");
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

TEST(Task, WhatCannotBeLaunched) {
  const test::TemporaryFolder folder;
  test::writeFile(folder / "plain", "no program");
  ::chmod((folder / "plain").c_str(), 0644);
  struct Case {
    std::string tool;
    std::string workingFolder;
    std::string reasonNames;
  };
  const Case cases[] = {
      {folder / "missing", "", "missing"},
      {folder / "plain", "", "plain"},
      {folder.path(), "", folder.path()},
      {"", "", ""},
      {"/bin/sh", folder / "no such folder", "no such folder"},
      {"/bin/sh", folder / "plain", "plain"},
  };
  for (const Case& row : cases) {
    platform::Task task;
    task.launchPath = row.tool;
    task.currentFolder = row.workingFolder;
    try {
      task.launch();
      ADD_FAILURE() << row.tool << " was launched in " << row.workingFolder;
    } catch (const platform::LaunchException& exception) {
      EXPECT_EQ(exception.name(), "NSInvalidArgumentException");
      EXPECT_NE(exception.reason().find(row.reasonNames), std::string::npos) << exception.reason();
    }
    EXPECT_FALSE(task.isRunning());
  }
}

}  // namespace

#include "platform/Task.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include <string>

#include "tests/support/TemporaryFolder.h"

namespace {

platform::Task shell(const std::string& script) {
  platform::Task task;
  task.launchPath = "/bin/sh";
  task.arguments = {"-c", script};
  return task;
}

int statusOf(platform::Task task) {
  task.launch();
  task.waitUntilExit();
  EXPECT_FALSE(task.isRunning());
  return task.terminationStatus();
}

TEST(Task, TerminationStatus) {
  struct Case {
    const char* script;
    int status;
  };
  constexpr Case kCases[] = {{"exit 0", 0}, {"exit 3", 3}, {"exit 255", 255}, {"kill -9 $$", SIGKILL}};
  for (const Case& row : kCases)
    EXPECT_EQ(statusOf(shell(row.script)), row.status) << row.script;
}

TEST(Task, RunsUntilItIsTold) {
  platform::Task task = shell("exec sleep 60");
  EXPECT_FALSE(task.isRunning());
  task.terminate();
  task.waitUntilExit();
  task.launch();
  EXPECT_TRUE(task.isRunning());
  task.terminate();
  task.waitUntilExit();
  EXPECT_FALSE(task.isRunning());
  EXPECT_EQ(task.terminationStatus(), SIGTERM);
  task.terminate();
  EXPECT_THROW(task.launch(), platform::LaunchException);
}

TEST(Task, FolderInputAndOutput) {
  const test::TemporaryFolder folder;
  platform::Task task = shell("pwd -P > out; cat >> out; echo seen by nobody; echo nor this >&2");
  task.currentFolder = folder.path();
  task.withoutInput = true;
  task.discardsOutput = true;
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  EXPECT_EQ(statusOf(task), 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(test::readFile(folder / "out"), folder.path() + "\n");
  task.discardsOutput = false;
  testing::internal::CaptureStdout();
  EXPECT_EQ(statusOf(task), 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "seen by nobody\n");
}

TEST(Task, ArgumentsArriveAsTheyAre) {
  const test::TemporaryFolder folder;
  platform::Task task = shell("printf '%s|' \"$@\" > out");
  task.arguments.insert(task.arguments.end(), {"sh", "a b", "", "\"quoted\"", "*", "\xc3\xa9"});
  task.currentFolder = folder.path();
  EXPECT_EQ(statusOf(task), 0);
  EXPECT_EQ(test::readFile(folder / "out"), "a b||\"quoted\"|*|\xc3\xa9|");
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

#include "Code/MacOSX/ToolRun.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <cerrno>

#include "Code/MacOSX/AgentLock.h"
#include "platform/Task.h"
#include "tests/agent/AgentHome.h"
#include "tests/support/OrdinaryUser.h"

namespace {

using namespace std::chrono_literals;

TEST(ToolRun, EndsInAStatusOrAnException) {
  const test::TemporaryFolder folder;
  const test::LogCapture log;
  const Tool stubborn{
      "sh", "/bin/sh", {"-c", "trap '' TERM; echo $$ > pid; exec sleep 60"}, folder.path(), 1s};
  EXPECT_EQ(runTool({"sh", "/bin/sh", {"-c", "exit 3"}, folder.path(), 20s}, "context"), 3);
  EXPECT_EQ(runTool(stubborn, "hangs"), std::nullopt);
  EXPECT_LOGGED(log, "E: ", "hangs - Unable to launch sh command.");
  EXPECT_LOGGED(log, "E: ", "hangs - Exception Name  : Timeout");
  EXPECT_EQ(kill(std::stoi(test::readFile(folder / "pid")), 0), -1);
  EXPECT_EQ(errno, ESRCH) << "it is gone, and collected";
  EXPECT_EQ(runTool({"none", folder / "none", {}, "", 20s}, "missing"), std::nullopt);
  EXPECT_EQ(runTool({"sh", "/bin/sh", {}, folder / "none", 20s}, "nowhere"), std::nullopt);
  for (const std::string context : {"missing", "nowhere"})
    EXPECT_LOGGED(log, "E: ", context + " - Exception Name  : NSInvalidArgumentException");
}

TEST(AgentLock, KeepsOthersOutForAsLongAsItIsHeldByTheAgentAlone) {
  const test::EngineHome home;
  platform::FolderLock first;
  platform::FolderLock second;
  ASSERT_EQ(lockOutOtherAgents(first, 0ms), OtherRuns::lockedOut);
  platform::Task tool("/bin/sleep", {"60"});
  tool.launch();
  EXPECT_EQ(lockOutOtherAgents(second, 200ms), OtherRuns::atWork);
  EXPECT_LOGGED(home.log, "W: ", "VNTUpdate: Another run is still at work. Leaving everything to it.");
  first = platform::FolderLock();
  EXPECT_EQ(lockOutOtherAgents(second, 0ms), OtherRuns::lockedOut) << "the tool has it";
  second = platform::FolderLock();
  std::filesystem::remove_all(home.tempPath());
  EXPECT_EQ(lockOutOtherAgents(first, 0ms), OtherRuns::notExcluded) << "there is nothing to keep apart";
}

TEST(AgentLock, WhatMayNotBeLockedIsTold) {
  const test::EngineHome home;
  const test::OrdinaryUser user;
  std::filesystem::permissions(home.tempPath(), std::filesystem::perms(0300));
  platform::FolderLock lock;
  EXPECT_EQ(lockOutOtherAgents(lock, 0ms), OtherRuns::notExcluded);
  EXPECT_LOGGED(home.log, "W: ", "VNTUpdate: Unable to lock out other runs: ");
  std::filesystem::permissions(home.tempPath(), std::filesystem::perms(0700));
}

}  // namespace

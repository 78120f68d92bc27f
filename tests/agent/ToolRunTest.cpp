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
  struct Case {
    Tool tool;
    std::optional<int> status;
    const char* exception;
  };
  const std::vector<std::string> stubborn = {"-c", "trap '' TERM; echo $$ > pid; exec sleep 60"};
  const Case cases[] = {
      {{"sh", "/bin/sh", {"-c", "exit 3"}, folder.path(), 20s}, 3, nullptr},
      {{"sh", "/bin/sh", stubborn, folder.path(), 1s}, std::nullopt, "Timeout"},
      {{"none", folder / "none", {}, "", 20s}, std::nullopt, "NSInvalidArgumentException"},
      {{"sh", "/bin/sh", {}, folder / "none", 20s}, std::nullopt, "NSInvalidArgumentException"}};
  for (const Case& c : cases) {
    EXPECT_EQ(runTool(c.tool, "context"), c.status);
    if (c.exception == nullptr) continue;
    EXPECT_LOGGED(log, "E: ", std::string("context - Unable to launch ") + c.tool.name + " command.");
    EXPECT_LOGGED(log, "E: ", std::string("context - Exception Name  : ") + c.exception);
  }
  EXPECT_EQ(kill(std::stoi(test::readFile(folder / "pid")), 0), -1);
  EXPECT_EQ(errno, ESRCH) << "it is gone, and collected";
}

TEST(AgentLock, KeepsOthersOutForAsLongAsItIsHeldByTheAgentAlone) {
  const test::EngineHome home;
  platform::FolderLock first;
  platform::FolderLock second;
  ASSERT_EQ(lockOutOtherAgents(first, 0ms), OtherRuns::lockedOut);
  platform::Task tool("/bin/sleep", {"60"});
  tool.launch();
  EXPECT_EQ(lockOutOtherAgents(second, 200ms), OtherRuns::atWork);
  EXPECT_LOGGED(home.log, "i: ", "VNTUpdate: Another run is at work, waiting for its end.");
  EXPECT_LOGGED(home.log, "W: ", "VNTUpdate: Another run is still at work. Leaving everything to it.");
  first = platform::FolderLock();
  EXPECT_EQ(lockOutOtherAgents(second, 0ms), OtherRuns::lockedOut) << "the tool has it";
  second = platform::FolderLock();
  std::filesystem::permissions(home.tempPath(), std::filesystem::perms(0300));
  {
    const test::OrdinaryUser user;
    EXPECT_EQ(lockOutOtherAgents(second, 0ms), OtherRuns::notExcluded);
    EXPECT_LOGGED(home.log, "W: ", "VNTUpdate: Unable to lock out other runs: ");
  }
  std::filesystem::permissions(home.tempPath(), std::filesystem::perms(0700));
  std::filesystem::remove_all(home.tempPath());
  EXPECT_EQ(lockOutOtherAgents(first, 0ms), OtherRuns::notExcluded)
      << "without a folder there is nothing to keep apart";
}

}  // namespace

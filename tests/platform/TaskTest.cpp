#include "platform/Task.h"

#include <gtest/gtest.h>
#include <signal.h>

namespace {

TEST(Task, RunsOnceUntilItIsTold) {
  platform::Task task("/bin/sleep", {"60"});
  task.terminate();  // nothing happens, as there is nothing yet
  task.launch();
  EXPECT_TRUE(task.isRunning());
  task.terminate();
  task.waitUntilExit();
  EXPECT_FALSE(task.isRunning());
  EXPECT_EQ(task.terminationStatus(), SIGTERM);
  EXPECT_THROW(task.launch(), platform::LaunchException);
}

}  // namespace

#include "platform/LaunchAgent.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/platform/Matchers.h"
#include "tests/support/Environment.h"

namespace {

using test::Succeeded;

class LaunchAgentTest : public testing::Test {
 protected:
  test::Sandbox sandbox;
  test::ScopedEnvironment environment{{{"XDG_RUNTIME_DIR", std::nullopt}}};
  std::string label = "com.korvane.Vantora.VNTUpdate";
  std::string plist = sandbox.library() + "/LaunchAgents/" + label + ".plist";
};

TEST_F(LaunchAgentTest, IsReadAsItWasInstalled) {
  const platform::LaunchAgent agent{
      label, {"/opt/100% \"my\" $HOME/VNTUpdate", "a b\\"}, std::chrono::hours(2)};
  EXPECT_THAT(platform::installLaunchAgent({label, {"/bin/true"}}), Succeeded());
  EXPECT_THAT(platform::installLaunchAgent(agent), Succeeded()) << "again";
  platform::LaunchAgent read;
  EXPECT_THAT(platform::readLaunchAgent(plist, read), Succeeded());
  EXPECT_EQ(read.label, agent.label);
  EXPECT_EQ(read.arguments, agent.arguments);
  EXPECT_EQ(read.interval, agent.interval);
}

TEST_F(LaunchAgentTest, RefusesWhatNothingCouldStart) {
  const platform::LaunchAgent agents[] = {{"../x", {"/bin/true"}},
                                          {label, {"true"}},
                                          {label, {"/bin/true", "two\nlines"}},
                                          {label, {"/bin/true"}, std::chrono::seconds(0)}};
  for (const auto& agent : agents)
    EXPECT_THAT(platform::installLaunchAgent(agent), test::HasCode(EINVAL)) << agent.label;
  EXPECT_FALSE(test::exists(plist));
  test::writeFile(plist, "<plist><dict><key>Label</key><string>l</string></dict></plist>");
  platform::LaunchAgent read;
  EXPECT_THAT(platform::readLaunchAgent(plist, read), test::HasCode(3840));
}

}  // namespace

#include "platform/LaunchAgent.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/platform/Matchers.h"
#include "tests/support/Environment.h"

namespace {

namespace fs = std::filesystem;
using test::Succeeded;

class LaunchAgentTest : public testing::Test {
 protected:
  test::Sandbox sandbox;
  test::ScopedEnvironment environment{{{"XDG_RUNTIME_DIR", std::nullopt}}};
  std::string label = "com.korvane.Vantora.VNTUpdate";
  std::string plist = sandbox.library() + "/LaunchAgents/" + label + ".plist";
  std::string units = sandbox.home() + "/.config/systemd/user/";
};

TEST_F(LaunchAgentTest, IsInstalledReadAndRemoved) {
  const platform::LaunchAgent agent{
      label, {"/opt/100% \"my\" $HOME/VNTUpdate", "a b\\", "$x"}, std::chrono::hours(2)};
  EXPECT_THAT(platform::installLaunchAgent(agent), Succeeded());
  platform::LaunchAgent read;
  EXPECT_THAT(platform::readLaunchAgent(plist, read), Succeeded());
  EXPECT_EQ(read.label, agent.label);
  EXPECT_EQ(read.arguments, agent.arguments);
  EXPECT_EQ(read.interval, agent.interval);

  const std::string service = test::readFile(units + label + ".service");
  EXPECT_NE(service.find("ConditionPathExists=" + plist + "\n"), std::string::npos) << service;
  EXPECT_NE(service.find(R"( "/opt/100%% \"my\" $$HOME/VNTUpdate" "a b\\" "$$x")"), std::string::npos)
      << service;
  const std::string timer = test::readFile(units + "timers.target.wants/" + label + ".timer");
  EXPECT_NE(timer.find("OnUnitActiveSec=7200s\n"), std::string::npos) << timer;

  EXPECT_THAT(platform::installLaunchAgent({label, {"/bin/true"}}), Succeeded())
      << "installing again updates";
  EXPECT_THAT(platform::readLaunchAgent(plist, read), Succeeded());
  EXPECT_THAT(read.arguments, testing::ElementsAre("/bin/true"));
  EXPECT_THAT(platform::removeLaunchAgent(label), Succeeded());
  EXPECT_THAT(platform::removeLaunchAgent(label), Succeeded());
  EXPECT_THAT(platform::readLaunchAgent(plist, read), test::FailedWith(ENOENT, plist));
  EXPECT_TRUE(fs::is_empty(units + "timers.target.wants"));
}

TEST_F(LaunchAgentTest, RefusesWhatNothingCouldStart) {
  const platform::LaunchAgent agents[] = {{"", {"/bin/true"}},
                                          {"../x", {"/bin/true"}},
                                          {label, {}},
                                          {label, {"true"}},
                                          {label, {"/bin/true", "two\nlines"}},
                                          {label, {"/bin/\xFF"}},
                                          {label, {"/bin/true"}, std::chrono::seconds(0)}};
  for (const auto& agent : agents)
    EXPECT_THAT(platform::installLaunchAgent(agent), test::HasCode(EINVAL)) << agent.label;
  EXPECT_FALSE(test::exists(plist));
  for (const char* body :
       {"<array/>", "<dict><key>Label</key><string>l</string></dict>",
        "<dict><key>Label</key><string>l</string><key>ProgramArguments</key><array><true/></array></dict>",
        "<dict><key>Label</key><string>l</string><key>Program</key><string>/x</string>"
        "<key>StartInterval</key><integer>0</integer></dict>"}) {
    test::writeFile(plist, std::string("<plist>") + body + "</plist>");
    platform::LaunchAgent read{"untouched", {}};
    EXPECT_THAT(platform::readLaunchAgent(plist, read), test::HasCode(3840)) << body;
    EXPECT_EQ(read.label, "untouched");
  }
}

}  // namespace

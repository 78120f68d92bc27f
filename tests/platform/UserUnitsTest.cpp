#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/LaunchAgent.h"
#include "tests/platform/Matchers.h"
#include "tests/support/Environment.h"

namespace {

TEST(UserUnits, HoldTheLaunchAgentsWordsAsTheyAre) {
  const test::Sandbox sandbox;
  const test::ScopedEnvironment environment{{{"XDG_RUNTIME_DIR", std::nullopt}}};
  const std::string unit = sandbox.home() + "/.config/systemd/user/l";
  EXPECT_THAT(platform::installLaunchAgent(
                  {"l", {"/opt/100% \"my\" $HOME/VNTUpdate", "a b\\"}, std::chrono::hours(2)}),
              test::Succeeded());
  EXPECT_THAT(test::readFile(unit + ".service"),
              testing::HasSubstr(R"( "/opt/100%% \"my\" $$HOME/VNTUpdate" "a b\\")"));
  EXPECT_THAT(test::readFile(unit + ".timer"), testing::HasSubstr("OnUnitActiveSec=7200s\n"));
}

}  // namespace

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>

#include "Code/MacOSX/AgentRun.h"
#include "platform/Metadata.h"
#include "tests/agent/AgentProcess.h"
#include "tests/agent/StagedHome.h"

namespace {

namespace fs = std::filesystem;
namespace plist = platform::plist;
using ::testing::ContainsRegex;
using ::testing::HasSubstr;
using ::testing::Not;

class RunSequenceTest : public ::testing::Test, public test::AgentHome {
 protected:
  [[nodiscard]] std::string logged() const { return process.logged(); }
  static void wantMessenger() { ASSERT_TRUE(writeRegistryString("VNTMessenger", "true").isSuccess()); }
  [[nodiscard]] static bool messengerWasInstalled() {
    bool answer = false;
    return getMessengerWasInstalled(answer).isSuccess() && answer;
  }
  void setDue() const { setPreferences({{"NextUpdateCheck", platform::now()}}); }
  const test::AgentProcess process{*this, VNTUPDATE_PROGRAM};
};

TEST_F(RunSequenceTest, NothingDue) {
  install({1});
  EXPECT_EQ(process.run({"a \"b"}), 0);
  EXPECT_THAT(logged(), HasSubstr("i: <main> \"a \"b\" \n"));
  EXPECT_THAT(logged(), Not(HasSubstr("Messenger"))) << "nobody wants one";
  EXPECT_EQ(*preference("AggressivelyCleanup"), plist::Value(false)) << "no gathering";
}

TEST_F(RunSequenceTest, WithoutAnEndpointTheAgentUninstallsBothIdentities) {
  const std::string old = library() + "/Application Support/HalvardOnline/Vantora/VNTUpdate";
  test::writeFile(library() + "/LaunchAgents/com.halvardonline.Vantora.VNTUpdate.plist", "x");
  test::writeFile(library() + "/Preferences/com.halvardonline.VNTUpdate.plist", "x");
  test::makeFolder(old);
  wantMessenger();
  EXPECT_EQ(process.run(), 0);
  for (const std::string& path : {old, executable(), plistPath(), launchAgentPlist()})
    EXPECT_FALSE(test::exists(path)) << path;
  const std::string text = logged();
  EXPECT_THAT(text,
              ContainsRegex("No endpoints installed\\. Disabling updater.*VNTUpdate \\(old-branded\\) has "
                            "been uninstalled.*VNTUpdate has been uninstalled"));
  EXPECT_THAT(text, Not(HasSubstr("Messenger")));
}

TEST_F(RunSequenceTest, WithoutAnEngineNothingIsTouched) {
  test::writeFile(plistPath(), "unreadable");
  EXPECT_EQ(process.run(), 0);
  EXPECT_TRUE(test::exists(executable()));
  EXPECT_TRUE(test::exists(launchAgentPlist()));
  EXPECT_THAT(logged(), Not(HasSubstr("No endpoints installed")));
}

TEST_F(RunSequenceTest, ALogThatCannotBeOpenedDoesNotStopTheRun) {
  test::writeFile(library() + "/Logs", "no folder");
  EXPECT_EQ(process.run(), 0);
  EXPECT_FALSE(test::exists(plistPath())) << "the pass did not take place";
}

/// What differs from run to run, and from place to place.
std::string masked(std::string text, const test::Sandbox& sandbox) {
  const std::pair<std::string, const char*> kMasks[] = {
      {sandbox.home(), "HOME"},
      {sandbox.root(), "ROOT"},
      {R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d \+0000)", "DATE"},
      {R"(\d+\.\d+ (s|secs|days)\b)", "NUMBER $1"},
      {R"((Length:|downloaded =|download size:) \d+)", "$1 NUMBER"},
      {"[0-9a-f]{32}", "DIGEST"},
      {R"( at \w+, \w+\.cpp:\d+)", " at PLACE"},
      {" +\n", "\n"}};
  for (const auto& [pattern, word] : kMasks)
    text = std::regex_replace(text, std::regex(pattern), word);
  return text;
}

TEST_F(RunSequenceTest, AWholeRunAndItsLog) {
  test::MakerSite site(sandbox());
  // What the user's session has set for tools is not for the agent's.
  const test::ScopedEnvironment session = test::ScopedEnvironment::with(
      {{"TAR_OPTIONS", "--exclude=Contents"}, {"GZIP", "-x"}, {"PATH", "/nonexistent"}});
  site.addDelta(site.addBuild(5), 2);
  site.addBuild(6);
  site.document.removeBuilds = {{.fromBuildNumber = 0, .toBuildNumber = 2}};
  site.publish();
  install({1, 2});
  test::makeEndpoint(applications(), 3);
  const auto longAgo = platform::now() - platform::Seconds(91 * 86'400);
  ASSERT_FALSE(platform::metadata::setLastUsedDate(installed(1), longAgo));
  setPreferences({{"NextUpdateCheck", platform::now()}, {"UpdateInfoURL", site.url("config.json")}});
  wantMessenger();
  EXPECT_EQ(process.run({"-Verbose"}), 0);
  EXPECT_EQ(masked(logged(), sandbox()), test::readFile(GOLDEN_LOG));
  EXPECT_EQ(builds(), (test::Builds{3, 5, 6}));
  for (const std::uint32_t build : {5U, 6U})
    test::expectSameTree(installed(build), site.bundle(build));
  for (const auto& request : site.server.requests())
    EXPECT_EQ(request.userAgent, "VNTUpdate/7759(Mac)") << request.path;
  const auto next = *preference("NextUpdateCheck")->as<platform::Date>() - platform::now();
  EXPECT_NEAR(next.count(), 3.5 * 86'400, 0.5 * 86'400 + 60);
  EXPECT_FALSE(messengerWasInstalled());
  EXPECT_EQ(site.server.connections(), 1U) << "of document, digests and archives";
}

TEST_F(RunSequenceTest, ADocumentThatDisablesUpdatesEndsTheSchedule) {
  test::MakerSite site(sandbox());
  site.addBuild(5);
  site.document.updaterSettings->enabled = false;
  site.publish();
  install({2});
  setDue();
  EXPECT_EQ(process.run(), 0);
  EXPECT_EQ(builds(), test::Builds{2});
  EXPECT_EQ(*preference("NextUpdateCheck"), plist::Value(platform::distantFuture()));
}

TEST_F(RunSequenceTest, DeltaInstallDoesThatAndNothingElse) {
  test::MakerSite site(sandbox());
  site.addDelta(site.addBuild(5), 2);
  site.addBuild(6);
  site.publish();
  install({2});
  setDue();
  const auto before = test::readFile(plistPath());
  for (const char* argument : {"/DeltaInstall", "/DeltaInstall x1", "/DeltaInstall 6"}) {
    EXPECT_EQ(process.run({argument}), 0);
    EXPECT_EQ(builds(), test::Builds{2}) << argument;
  }
  EXPECT_EQ(process.run({"/Other", "/deltainstall 5"}), 0);
  EXPECT_EQ(builds(), (test::Builds{2, 5})) << logged();
  EXPECT_EQ(test::readFile(plistPath()), before);
}

TEST_F(RunSequenceTest, AMessengerThatWasThereIsNotInstalledAgain) {
  install({2});
  const std::string messenger = applications() + "/Messenger.app";
  test::makeBundle(messenger,
                   {.schemes = std::vector<std::string>{}, .identifier = "com.korvane.vantora-messenger"});
  EXPECT_EQ(process.run(), 0);
  EXPECT_TRUE(messengerWasInstalled());
  fs::remove_all(messenger);
  wantMessenger();
  EXPECT_EQ(process.run(), 0);
  EXPECT_THAT(logged(), Not(HasSubstr("Messenger"))) << "wanted, and tried";
}

TEST_F(RunSequenceTest, ARuntimeThatDoesNotStartEndsTheRun) {
  const auto runBroken = [] {
    static_cast<void>(RuntimeInitializersStore::instance().registerStartup(
        -1000, [] { return ZRResult(ZRError::eSomeError); }));
    std::string name = "VNTUpdate";
    char* arguments[] = {name.data(), nullptr};
    std::_Exit(runAgent(1, arguments));
  };
  EXPECT_EXIT(runBroken(), ::testing::ExitedWithCode(209), "");
  EXPECT_THAT(logged(),
              HasSubstr("E: <main> main - Fatal Error - ZRRuntimeInit failed (error code = 2001)!"));
  EXPECT_TRUE(test::exists(executable()));
}

}  // namespace

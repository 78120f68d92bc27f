#include <gtest/gtest.h>

#include "Code/MacOSX/AgentRun.h"
#include "runtime/Registry/ZRRegEntry.h"
#include "tests/agent/AgentProcess.h"
#include "tests/agent/StagedHome.h"

namespace {

namespace fs = std::filesystem;
namespace plist = platform::plist;

class RunSequenceTest : public ::testing::Test, public test::AgentHome {
 protected:
  int run(std::vector<std::string> arguments = {}) const { return process.run(std::move(arguments)); }
  [[nodiscard]] std::string logged() const { return process.logged(); }
  void expectLogged(const std::string& text) const {
    EXPECT_NE(logged().find(text), std::string::npos) << text << "\nis not in\n" << logged();
  }
  void expectNotLogged(const std::string& text) const {
    EXPECT_EQ(logged().find(text), std::string::npos) << text << "\nis in\n" << logged();
  }
  void setRegistry(const char* name, const char* value) const {
    ASSERT_TRUE(writeRegistryString(name, value).isSuccess());
  }
  [[nodiscard]] static std::string registry(const char* name) {
    ZRString value;
    static_cast<void>(readRegistryString(name, value));
    return value.str();
  }
  void setDue() const {
    setPreferences({{"NextUpdateCheck", platform::now()}, {"AggressivelyCleanup", false}});
  }
  const test::AgentProcess process{*this, VNTUPDATE_PROGRAM};
};

TEST_F(RunSequenceTest, NothingDue) {
  test::makeEndpoint(olderVersions(), 1);
  EXPECT_EQ(run(), 0);
  const std::string first = logged();
  EXPECT_EQ(first.rfind("i: <main> " + std::string(66, '-') + "\ni: <main> VNTUpdate activated at ", 0), 0U)
      << first;
  expectNotLogged("Cleaning up unused endpoints");
  expectLogged("d: <main> Next Update Check at 4001-01-01 00:00:00 +0000");
  EXPECT_EQ(*preference("AggressivelyCleanup"), plist::Value(false)) << "no gathering";
  EXPECT_EQ(run({"-Verbose", "a \"b"}), 0);
  EXPECT_EQ(logged().rfind(first, 0), 0U) << "the log is appended to";
  expectLogged("i: <main> \"-Verbose\" \"a \"b\" \n");
}

TEST_F(RunSequenceTest, WithoutAnEndpointTheAgentUninstallsBothIdentities) {
  const std::string old = library() + "/Application Support/HalvardOnline/Vantora/VNTUpdate";
  test::writeFile(library() + "/LaunchAgents/com.halvardonline.Vantora.VNTUpdate.plist", "x");
  test::writeFile(library() + "/Preferences/com.halvardonline.VNTUpdate.plist", "x");
  test::makeFolder(old);
  setDue();
  setRegistry("VNTMessenger", "true");
  EXPECT_EQ(run(), 0);
  expectLogged("VNTUpdate: No endpoints installed. Disabling updater");
  for (const std::string& path : {old, executable(), plistPath(), launchAgentPlist()})
    EXPECT_FALSE(test::exists(path)) << path;
  EXPECT_LT(logged().find("VNTUpdate (old-branded) has been uninstalled"),
            logged().find("VNTUpdate has been uninstalled"));
  expectNotLogged("Messenger");
  expectNotLogged("performing update check");
}

TEST_F(RunSequenceTest, WithoutAnEngineNothingIsTouched) {
  test::writeFile(plistPath(), "unreadable");
  EXPECT_EQ(run(), 0);
  EXPECT_TRUE(test::exists(executable()));
  EXPECT_TRUE(test::exists(launchAgentPlist()));
  expectLogged("E: <main> Error reading plist at " + plistPath());
  expectNotLogged("No endpoints installed");
}

TEST_F(RunSequenceTest, ALogThatCannotBeOpenedDoesNotStopTheRun) {
  test::writeFile(library() + "/Logs", "no folder");
  EXPECT_EQ(run(), 0);
  EXPECT_FALSE(test::exists(plistPath())) << "the pass did not take place";
}

TEST_F(RunSequenceTest, ACheckFromStartToEnd) {
  test::MakerSite site(sandbox());
  // What the user's session has set for tools is not for the agent's.
  const test::ScopedEnvironment session = test::ScopedEnvironment::with(
      {{"TAR_OPTIONS", "--exclude=Contents"}, {"GZIP", "-x"}, {"UNZIP", "-Z"}, {"PATH", "/nonexistent"}});
  site.addDelta(site.addBuild(5), 2);
  site.addBuild(6);
  site.document.removeBuilds = {{.fromBuildNumber = 0, .toBuildNumber = 2}};
  site.publish();
  test::makeEndpoint(olderVersions(), 2);
  test::makeEndpoint(applications(), 3);
  setDue();
  EXPECT_EQ(run(), 0);
  for (const std::uint32_t build : {3U, 5U, 6U})
    EXPECT_TRUE(test::exists(installed(build) + "/Contents/Info.plist")) << logged();
  EXPECT_FALSE(test::exists(installed(2)));
  const char* order[] = {"VNTUpdate: Cleaning up unused endpoints.",
                         "VNTUpdate: performing update check.",
                         "Endpoint successfully installed to ",
                         "Removing retired builds...",
                         "Moving build ",
                         "Next Update Check at "};
  std::size_t at = 0;
  for (const char* text : order) {
    at = logged().find(text, at);
    ASSERT_NE(at, std::string::npos) << text << " in\n" << logged();
  }
  const auto next = *preference("NextUpdateCheck")->as<platform::Date>() - platform::now();
  EXPECT_GT(next.count(), 3 * 86'400 - 60);
  EXPECT_LE(next.count(), 4 * 86'400);
  EXPECT_EQ(*preference("RescheduledUpdateChecks"), plist::Value(0));
}

TEST_F(RunSequenceTest, ADocumentThatDisablesUpdatesEndsTheSchedule) {
  test::MakerSite site(sandbox());
  site.addBuild(5);
  site.document.updaterSettings->enabled = false;
  site.publish();
  test::makeEndpoint(olderVersions(), 2);
  setDue();
  EXPECT_EQ(run(), 0);
  EXPECT_FALSE(test::exists(installed(5)));
  EXPECT_EQ(*preference("NextUpdateCheck"), plist::Value(platform::distantFuture()));
}

TEST_F(RunSequenceTest, DeltaInstallDoesThatAndNothingElse) {
  test::MakerSite site(sandbox());
  site.addDelta(site.addBuild(5), 2);
  site.addBuild(6);
  site.publish();
  test::makeEndpoint(olderVersions(), 2);
  setDue();
  const auto before = test::readFile(plistPath());
  for (const char* argument : {"/DeltaInstall", "/DeltaInstall x1", "/DeltaInstall 6"}) {
    EXPECT_EQ(run({argument}), 0);
    EXPECT_FALSE(test::exists(installed(6))) << argument;
  }
  EXPECT_EQ(run({"/Other", "/deltainstall 5"}), 0);
  EXPECT_TRUE(test::exists(installed(5))) << logged();
  EXPECT_EQ(test::readFile(plistPath()), before);
  expectNotLogged("performing update check");
}

TEST_F(RunSequenceTest, MessengerIsLookedForThenWantedThenTried) {
  test::makeEndpoint(olderVersions(), 2);
  EXPECT_EQ(run(), 0);
  expectNotLogged("Messenger");
  EXPECT_EQ(registry("MessengerWasInstalled"), "");

  setRegistry("VNTMessenger", "true");
  test::writeFile(tempPath() + "/config.json", "{}");
  EXPECT_EQ(run(), 0);
  expectLogged("s: <main> main - MessengerIntegration=\"Downloading Messenger for the first time\"");
  expectLogged("s: <main> MessengerIntegration=\"installer failed\"");
  EXPECT_EQ(registry("MessengerWasInstalled"), "");

  const std::string messenger = applications() + "/Messenger.app";
  test::makeBundle(
      messenger,
      {.build = 1, .schemes = std::vector<std::string>{}, .identifier = "com.korvane.vantora-messenger"});
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(registry("MessengerWasInstalled"), "true");

  fs::remove_all(messenger);
  const std::string before = logged();
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(logged().find("Messenger", before.size()), std::string::npos) << "tried again";
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
  expectLogged("E: <main> main - Fatal Error - ZRRuntimeInit failed (error code = 2001)!");
  EXPECT_TRUE(test::exists(executable()));
}

}  // namespace

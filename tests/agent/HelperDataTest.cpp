#include <gtest/gtest.h>

#include "Code/MacOSX/VNTHelperData.h"
#include "platform/LaunchAgent.h"
#include "runtime/Registry/ZRRegEntry.h"
#include "tests/agent/AgentHome.h"
#include "tests/support/ResultMatchers.h"

namespace {

namespace fs = std::filesystem;
namespace plist = platform::plist;

class HelperDataTest : public ::testing::Test, public test::AgentHome {
 protected:
  void setRegistry(const char* name, const plist::Value& value) {
    ZRClearEntry entry;
    ASSERT_CODE(entry.open("Software/KorvaneInc/Vantora", ZRRegEntry::eCurrentUserThisHost),
                ZRError::eNoError);
    ASSERT_CODE(entry.setValue(name, value), ZRError::eNoError);
  }
};

TEST_F(HelperDataTest, InstalledMeansAllThreeItems) {
  int build = 0;
  setPreferences({{"VNTBuildNumber", 7000}});
  EXPECT_TRUE(isVNTHelperInstalled(gVNTUpdateData, build));
  EXPECT_EQ(build, 7000);
  setPreferences({});
  EXPECT_TRUE(isVNTHelperInstalled(gVNTUpdateData, build));
  EXPECT_EQ(build, -1);
  for (const std::string& item : {tempPath() + "/VNTUpdate", launchAgentPlist(), plistPath()}) {
    fs::rename(item, item + ".away");
    EXPECT_FALSE(isVNTHelperInstalled(gVNTUpdateData, build)) << item;
    fs::rename(item + ".away", item);
  }
}

TEST_F(HelperDataTest, UninstallStopsAtTheFirstFailure) {
  struct Case {
    const char* ending;
    const char* message;
    std::vector<bool> left;  ///< launch agent, preferences, executable
  };
  const Case cases[] = {{"LaunchAgents/com.korvane.Vantora.VNTUpdate.plist",
                         "unable to remove VNTUpdate launch agent plist",
                         {true, true, true}},
                        {"Preferences/com.korvane.VNTUpdate.plist",
                         "unable to remove VNTUpdate prefs plist",
                         {false, true, true}},
                        {"Vantora/VNTUpdate", "unable to remove VNTUpdate executable", {false, false, true}}};
  for (const Case& c : cases) {
    test::writeFile(launchAgentPlist(), "x");
    setPreferences({});
    test::FaultyFileManager failing;
    failing.fail(test::FaultyFileManager::Call::remove, c.ending, EACCES);
    EXPECT_CODE(uninstallVNTHelper(gVNTUpdateData, failing), ZRError::eNoAccess);
    EXPECT_LOGGED(log, "E: ", c.message);
    const std::vector<bool> left = {test::exists(launchAgentPlist()), test::exists(plistPath()),
                                    test::exists(executable())};
    EXPECT_EQ(left, c.left) << c.ending;
  }
  EXPECT_LOGGED(log, "E: ", "removeFile - Unable to remove '");
  EXPECT_CODE(uninstallVNTHelper(gVNTUpdateData), ZRError::eNoError);
  EXPECT_TRUE(test::exists(executable())) << "two of three items are no installation";
}

TEST_F(HelperDataTest, UninstallLeavesNothingOfTheLaunchAgentThatStartsIt) {
  const std::string label = gVNTUpdateData.launchAgentLabel();
  const std::string units = sandbox().home() + "/.config/systemd/user/";
  const std::string service = units + label + ".service";
  for (const bool isStuck : {false, true}) {
    setPreferences({});
    test::makeFolder(tempPath() + "/VNTUpdate");
    ASSERT_FALSE(platform::installLaunchAgent({label, {executable()}}));
    if (isStuck) {
      ASSERT_TRUE(fs::remove(service));
      test::makeFolder(service);
    }
    EXPECT_CODE(uninstallVNTHelper(gVNTUpdateData), ZRError::eNoError);
    EXPECT_EQ(log.contains("W: ", "unable to remove VNTUpdate launch agent registration: "), isStuck);
    EXPECT_EQ(leftovers(), test::Names());
    EXPECT_FALSE(test::exists(tempPath() + "/VNTUpdate"));
    EXPECT_FALSE(test::exists(units + label + ".timer"));
    EXPECT_TRUE(fs::is_empty(units + "timers.target.wants"));
    EXPECT_EQ(test::exists(service), isStuck);
  }
}

TEST_F(HelperDataTest, PreferencesAreSeeded) {
  const test::FixedClock clock;
  plist::Dictionary seeded;
  EXPECT_CODE(gVNTUpdateData.getHelperPrefs(library() + "/none.plist", seeded), ZRError::eNotFound);

  setPreferences({{"Kept", true}});
  for (const std::uint32_t number : {0U, 86'399U, 86'400U, 4'294'967'295U}) {
    const test::FixedRandom random(number);
    ASSERT_CODE(gVNTUpdateData.getHelperPrefs(plistPath(), seeded), ZRError::eNoError);
    const double delay = (*seeded["NextUpdateCheck"].as<platform::Date>() - clock.now()).count();
    EXPECT_DOUBLE_EQ(delay, 86'400 + number % 86'400);
  }
  EXPECT_EQ(seeded["UpdateInfoURL"], plist::Value(test::kDefaultUpdateInfoUrl));
  EXPECT_EQ(seeded["VNTBuildNumber"], plist::Value(7759));
  EXPECT_EQ(seeded["Kept"], plist::Value(true));
  EXPECT_FALSE(preference("VNTBuildNumber")) << "reading wrote the file";

  setPreferences({{"NextUpdateCheck", clock.now()}, {"UpdateInfoURL", "https://old.vantora.example/"}});
  setRegistry("UpdateInfoURL", "https://new.vantora.example/");
  ASSERT_CODE(gVNTUpdateOldBrandedData.getHelperPrefs(plistPath(), seeded), ZRError::eNoError);
  EXPECT_EQ(seeded["NextUpdateCheck"], plist::Value(clock.now()));
  EXPECT_EQ(seeded["UpdateInfoURL"], plist::Value("https://new.vantora.example/"));
}

TEST_F(HelperDataTest, MessengerFlagInAllItsForms) {
  bool flag = false;
  EXPECT_CODE(getMessengerWasInstalled(flag), ZRError::eNotFound);
  const std::pair<plist::Value, bool> kForms[] = {
      {"true", true}, {"1", false}, {true, true}, {0, false}, {0.5, true}};
  for (const auto& [value, expected] : kForms) {
    setRegistry("MessengerWasInstalled", value);
    flag = !expected;
    EXPECT_CODE(getMessengerWasInstalled(flag), ZRError::eNoError);
    EXPECT_EQ(flag, expected) << plist::toXml(value);
  }
  setRegistry("MessengerWasInstalled", plist::Array{});
  EXPECT_CODE(getMessengerWasInstalled(flag), ZRError::eInvalidType);
  EXPECT_STREQ(settingsKeyPath("Beta").c_str(), "Software/KorvaneInc/Vantora Beta");
}

}  // namespace

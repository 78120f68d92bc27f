#include <gtest/gtest.h>

#include "Code/MacOSX/ProductSettings.h"
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
  const test::Names items = {launchAgentPlist(), plistPath(), tempPath() + "/VNTUpdate"};
};

TEST_F(HelperDataTest, InstalledMeansAllThreeItems) {
  int build = 0;
  setPreferences({{"VNTBuildNumber", 7000}});
  EXPECT_TRUE(isVNTHelperInstalled(gVNTUpdateData, build));
  EXPECT_EQ(build, 7000);
  for (const std::string& item : items) {
    setPreferences({});
    EXPECT_TRUE(isVNTHelperInstalled(gVNTUpdateData, build));
    EXPECT_EQ(build, -1);
    fs::rename(item, item + ".away");
    EXPECT_CODE(uninstallVNTHelper(gVNTUpdateData), ZRError::eNoError) << "it is none";
    EXPECT_FALSE(isVNTHelperInstalled(gVNTUpdateData, build)) << item;
    fs::rename(item + ".away", item);
  }
}

TEST_F(HelperDataTest, TheLaunchAgentThatShipsIsTheOneThatIsUninstalled) {
  platform::LaunchAgent agent;
  ASSERT_FALSE(platform::readLaunchAgent(LAUNCH_AGENT, agent));
  EXPECT_EQ(agent.label, gVNTUpdateData.launchAgentLabel());
  const std::string program =
      std::string("@HOME@/Library/") + gVNTUpdateData.executableFolder() + "/VNTUpdate";
  EXPECT_EQ(agent.arguments, std::vector<std::string>{program});
}

TEST_F(HelperDataTest, UninstallStopsAtTheFirstFailure) {
  const char* const kNames[] = {"launch agent plist", "prefs plist", "executable"};
  for (std::size_t failing = 0; failing < items.size(); ++failing) {
    test::writeFile(launchAgentPlist(), "x");
    setPreferences({});
    test::FaultyFileManager manager;
    manager.fail(test::FaultyFileManager::Call::remove, items[failing]);
    EXPECT_CODE(uninstallVNTHelper(gVNTUpdateData, manager), ZRError::eNoAccess);
    EXPECT_LOGGED(log, "E: ", std::string("unable to remove VNTUpdate ") + kNames[failing]);
    EXPECT_LOGGED(log, "E: ", "removeFile - Unable to remove '" + items[failing]);
    for (std::size_t i = 0; i < items.size(); ++i)
      EXPECT_EQ(test::exists(items[i]), i >= failing) << items[i];
  }
}

TEST_F(HelperDataTest, UninstallEndsTheLaunchAgentAsFarAsItCan) {
  const std::string label = gVNTUpdateData.launchAgentLabel();
  const std::string unit = sandbox().home() + "/.config/systemd/user/" + label;
  setPreferences({});
  ASSERT_FALSE(platform::installLaunchAgent({label, {executable()}}));
  ASSERT_TRUE(fs::remove(unit + ".service"));
  test::makeFolder(unit + ".service");  // which cannot be removed as a file
  EXPECT_CODE(uninstallVNTHelper(gVNTUpdateData), ZRError::eNoError);
  EXPECT_LOGGED(log, "W: ", "unable to remove VNTUpdate launch agent registration: ");
  EXPECT_FALSE(test::exists(unit + ".timer"));
  EXPECT_EQ(namesIn(tempPath()), test::Names());
}

TEST_F(HelperDataTest, PreferencesAreSeeded) {
  const test::FixedClock clock;
  plist::Dictionary seeded;
  EXPECT_CODE(gVNTUpdateData.getHelperPrefs(library() + "/none.plist", seeded), ZRError::eNotFound);

  setPreferences({{"Kept", true}, {"UpdateInfoURL", "https://old.vantora.example/"}});
  const test::FixedRandom random(86'399);
  ASSERT_CODE(gVNTUpdateData.getHelperPrefs(plistPath(), seeded), ZRError::eNoError);
  const platform::Date next = clock.now() + platform::Seconds(172'799);
  EXPECT_EQ(seeded, (plist::Dictionary{{"Kept", true},
                                       {"NextUpdateCheck", next},
                                       {"UpdateInfoURL", configuration::kDefaultUpdateInfoUrl},
                                       {"VNTBuildNumber", 7759}}));
  EXPECT_FALSE(preference("VNTBuildNumber")) << "reading wrote the file";

  setPreferences({{"NextUpdateCheck", clock.now()}});
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
    EXPECT_CODE(getMessengerWasInstalled(flag), ZRError::eNoError);
    EXPECT_EQ(flag, expected) << plist::toXml(value);
  }
  setRegistry("MessengerWasInstalled", plist::Array{});
  EXPECT_CODE(getMessengerWasInstalled(flag), ZRError::eInvalidType);
}

}  // namespace

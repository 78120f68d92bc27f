#include <gtest/gtest.h>

#include "platform/ApplicationRegistry.h"
#include "tests/agent/AgentHome.h"

namespace {

namespace fs = std::filesystem;

class InventoryTest : public ::testing::Test, public test::EngineHome {
 protected:
  BuildInventory& inventory() { return engine().inventory(); }
};

TEST_F(InventoryTest, ForeignCopiesAreInvisible) {
  const char* foreign[] = {"/.Trash/Vantora (5).app", "/com.korvane.Vantora/Vantora (5).app",
                           "/com.halvardonline.Vantora.x/Vantora (5).app", "/_output/Debug/Vantora (5).app",
                           "/_output/Release/Vantora (5).app"};
  for (const char* place : foreign) {
    test::makeBundle(sandbox().home() + place, {.build = 5});
    ASSERT_FALSE(platform::applications::registerApplication(sandbox().home() + place));
  }
  test::makeBundle(applications() + "/Developers.app",
                   {.build = 5, .files = {{"Contents/Resources/developer_build", ""}}});
  EXPECT_TRUE(inventory().allInstalledBuilds().empty()) << inventory().allInstalledBuilds().front();
  EXPECT_FALSE(inventory().isInstalled(5));
  const std::string real = test::makeEndpoint(applications(), 5);
  EXPECT_EQ(inventory().allInstalledBuilds(), Endpoints{real});
  EXPECT_EQ(inventory().isInstalled(5), real);
  EXPECT_TRUE(log.contains("d: ", "Found installed endpoint at '" + real + "'."));
}

TEST_F(InventoryTest, BuildNumbers) {
  struct Case {
    std::optional<std::string> version;
    std::int32_t number;
  };
  const Case cases[] = {{"7759", 7759}, {"12abc", 12}, {" 8", 8},
                        {"x", 0},       {"", 0},       {"99999999999", INT32_MAX}};
  EXPECT_EQ(inventory().latestInstalledVersion({}), -1);
  for (const Case& c : cases) {
    const std::string path = applications() + "/A.app";
    test::makeBundle(path, {.build = 5, .version = c.version});
    EXPECT_EQ(bundleBuildNumber(path), c.number) << *c.version;
    EXPECT_EQ(inventory().latestInstalledVersion({path}), c.number);
  }
}

TEST_F(InventoryTest, TheSchemeDecidesWhatIsInstalled) {
  test::makeBundle(applications() + "/A.app", {.build = 5, .version = "9"});
  test::makeBundle(applications() + "/B.app", {.build = 5});
  EXPECT_EQ(inventory().allInstalledBuilds().size(), 2U);
  EXPECT_EQ(inventory().isInstalled(5), inventory().allInstalledBuilds().front());
  EXPECT_FALSE(inventory().isInstalled(9));
  test::makeBundle(
      applications() + "/C.app",
      {.build = 6, .schemes = {{"vantora", "VANTORA6", "vantora07", "vantora-1", "vantorax", "mailto"}}});
  EXPECT_EQ(inventory().declaredBuilds(), (std::vector<std::uint32_t>{5, 6, 0xFFFFFFFF}));
  engine().updateInfoParser().activeBuilds.resize(1);
  engine().updateInfoParser().activeBuilds[0].buildNumber = 6;
  EXPECT_TRUE(inventory().isActiveBuild(6));
  EXPECT_FALSE(inventory().isActiveBuild(5));
}

TEST_F(InventoryTest, FolderForInstalledBuilds) {
  EXPECT_EQ(inventory().getOlderVersionsFolder(), olderVersions());
  EXPECT_TRUE(fs::is_directory(olderVersions()));
  engine().setInstallationPath("");
  EXPECT_FALSE(inventory().getOlderVersionsFolder());
  engine().setInstallationPath(applications() + "/missing");
  EXPECT_FALSE(inventory().getOlderVersionsFolder());
  EXPECT_EQ(inventory().possibleInstallPaths(),
            (std::vector<std::string>{applications(), sandbox().home() + "/Applications",
                                      sandbox().home() + "/Desktop"}));
}

/// Cannot create folders, and what is not there is not writable.
class NoNewFolders : public platform::FileManager {
 public:
  platform::Error createFolder(const std::string& path) override { return platform::posixError(EROFS, path); }
};

TEST_F(InventoryTest, BuildsGoBesideThePlainBundleWhenTheirFolderCannotBeMade) {
  NoNewFolders manager;
  otherFileManager = &manager;
  EXPECT_EQ(inventory().getOlderVersionsFolder(), applications());
  EXPECT_TRUE(log.contains("E: ", "Creation of nested Applications folder failed: ")) << log.text();
}

}  // namespace

#include <gtest/gtest.h>

#include "platform/ApplicationRegistry.h"
#include "tests/agent/AgentHome.h"

namespace {

class InventoryTest : public ::testing::Test, public test::EngineHome {
 protected:
  const BuildInventory& inventory() { return parts().inventory; }
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
  EXPECT_EQ(inventory().allInstalledBuilds().paths, test::Names());
  EXPECT_TRUE(inventory().allInstalledBuilds().sawEverything);
  EXPECT_FALSE(inventory().isInstalled(5));
  const std::string real = test::makeEndpoint(applications(), 5);
  EXPECT_EQ(inventory().allInstalledBuilds().paths, std::vector{real});
  EXPECT_EQ(inventory().isInstalled(5), real);
}

TEST_F(InventoryTest, BuildNumbers) {
  const std::pair<const char*, std::int32_t> kVersions[] = {{"7759", 7759},
                                                            {"12abc", 12},
                                                            {" 8", 8},
                                                            {"x", 0},
                                                            {"", 0},
                                                            {"99999999999", INT32_MAX},
                                                            {"99999999999999999999", INT32_MAX}};
  const std::string path = applications() + "/A.app";
  for (const auto& [version, number] : kVersions) {
    test::makeBundle(path, {.build = 5, .version = version});
    EXPECT_EQ(inventory().latestInstalledVersion({{path}}), number) << version;
  }
}

TEST_F(InventoryTest, TheSchemeDecidesWhatIsInstalled) {
  test::makeBundle(applications() + "/A.app", {.build = 5, .version = "9"});
  test::makeBundle(applications() + "/B.app", {.build = 5});
  EXPECT_FALSE(inventory().isInstalled(9));
  test::makeBundle(
      applications() + "/C.app",
      {.build = 6, .schemes = {{"vantora", "VANTORA6", "vantora07", "vantora-1", "vantorax", "mailto"}}});
  EXPECT_EQ(inventory().installedPaths(),
            (std::map<std::uint32_t, std::string>{{5, inventory().allInstalledBuilds().paths.front()},
                                                  {6, applications() + "/C.app"},
                                                  {0xFFFFFFFF, applications() + "/C.app"}}));
}

}  // namespace

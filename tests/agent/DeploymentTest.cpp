#include "Code/MacOSX/DeploymentUtilities.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "platform/Bundle.h"
#include "tests/agent/AgentHome.h"

namespace {

namespace fs = std::filesystem;
using Call = test::FaultyFileManager::Call;
using Names = std::vector<std::string>;

class DeploymentTest : public ::testing::Test, public test::AgentHome {
 protected:
  [[nodiscard]] std::string plainBundle() const { return applications() + "/Vantora.app"; }
};

TEST_F(DeploymentTest, FirstWritableFolderWins) {
  const std::string user = sandbox().home() + "/Applications";
  const std::string desktop = sandbox().home() + "/Desktop";
  const auto& manager = platform::defaultFileManager();
  EXPECT_EQ(findInstallationFolder(manager), applications());
  EXPECT_TRUE(log.lines().empty());
  fs::remove_all(applications());
  test::makeFolder(user);
  EXPECT_EQ(findInstallationFolder(manager), user);
  EXPECT_LOGGED(log,
                "W: ", "System Applications path not accessible, falling back on User Applications folder.");
  fs::remove_all(user);
  test::writeFile(user, "no folder");
  test::makeFolder(desktop);
  EXPECT_EQ(findInstallationFolder(manager), desktop);
  EXPECT_LOGGED(log, "W: ", "User Applications path not accessible, falling back on Desktop folder.");
}

TEST_F(DeploymentTest, AReaderFindsTheOldBundleOrTheNewOne) {
  const std::string sources[] = {test::makeEndpoint(olderVersions(), 1),
                                 test::makeEndpoint(olderVersions(), 2)};
  test::makeBundle(plainBundle(), {.build = 1});
  std::atomic<bool> done{false};
  std::atomic<int> broken{0};
  std::thread reader([&] {
    platform::plist::Dictionary information;
    while (!done)
      if (platform::bundleInformation(plainBundle(), information).failed()) ++broken;
  });
  for (std::uint32_t i = 0; i < 40; ++i) {
    const std::uint32_t build = 2 - i % 2;
    EXPECT_TRUE(duplicateAndSwap(build, sources[build - 1], applications(), platform::defaultFileManager()));
    EXPECT_EQ(installedBuildNumber(applications()), build);
  }
  done = true;
  reader.join();
  EXPECT_EQ(broken, 0);
  EXPECT_EQ(namesIn(applications()), (Names{"Vantora", "Vantora.app"}));
}

TEST_F(DeploymentTest, AFailureLeavesTheOldBundleAndNothingElse) {
  struct Case {
    Call fails;
    const char* message;
    bool swapped;
  };
  const Case cases[] = {{Call::folder, "Error creating temporary directory: ", false},
                        {Call::copy, "Error duplicating latest app: ", false},
                        {Call::replace, "Error replacing app: ", false},
                        {Call::attributes, "Couldn't reset file permissions: ", true},
                        {Call::attributes, "Error resetting 'immutable' attribute of ", true}};
  const std::string source = test::makeEndpoint(olderVersions(), 2);
  for (const Case& c : cases) {
    fs::remove_all(plainBundle());
    test::makeBundle(plainBundle(), {.build = 1});
    test::FaultyFileManager manager;
    manager.fail(c.fails);
    EXPECT_EQ(duplicateAndSwap(2, source, applications(), manager), c.swapped);
    EXPECT_LOGGED(log, "E: ", c.message);
    EXPECT_EQ(installedBuildNumber(applications()), c.swapped ? 2 : 1);
    EXPECT_EQ(namesIn(applications()), (Names{"Vantora", "Vantora.app"}));
  }
}

}  // namespace

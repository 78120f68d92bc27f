#include "Code/MacOSX/DeploymentUtilities.h"

#include <gtest/gtest.h>

#include "tests/agent/AgentHome.h"

namespace {

namespace fs = std::filesystem;
using Call = test::FaultyFileManager::Call;

class DeploymentTest : public ::testing::Test, public test::AgentHome {};

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

TEST_F(DeploymentTest, TheBundleIsReplacedOrStaysAndNothingElseIsLeft) {
  struct Case {
    std::optional<Call> fails;
    const char* message;
    std::int64_t build;  ///< after it
  };
  const Case cases[] = {{Call::folder, "Error creating temporary directory: ", 1},
                        {Call::copy, "Error duplicating latest app: ", 1},
                        {Call::replace, "Error replacing app: ", 1},
                        {Call::attributes, "Couldn't reset file permissions: ", 2},
                        {{}, "Error resetting 'immutable' attribute of ", 2}};  // of the case before
  const std::string source = test::makeEndpoint(olderVersions(), 2);
  const std::string bundle = applications() + "/Vantora.app";
  for (const Case& c : cases) {
    fs::remove_all(bundle);
    test::makeBundle(bundle, {.build = 1});
    test::FaultyFileManager manager;
    if (c.fails) manager.fail(*c.fails);
    EXPECT_EQ(duplicateAndSwap(2, source, applications(), manager), c.build == 2);
    EXPECT_LOGGED(log, "E: ", c.message);
    EXPECT_EQ(installedBuildNumber(applications()), c.build);
    EXPECT_EQ(namesIn(applications()), (test::Names{"Vantora", "Vantora.app"}));
  }
}

}  // namespace

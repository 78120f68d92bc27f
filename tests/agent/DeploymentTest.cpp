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
  for (const std::string& folder : {applications(), user, desktop}) {
    log.clear();
    test::makeFolder(folder);
    EXPECT_EQ(findInstallationFolder(platform::defaultFileManager()), folder);
    EXPECT_EQ(log.contains("W: ", "System Applications path not accessible"), folder != applications());
    EXPECT_EQ(log.contains("W: ", "User Applications path not accessible"), folder == desktop);
    fs::remove_all(folder);
    test::writeFile(folder, "no folder");
  }
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

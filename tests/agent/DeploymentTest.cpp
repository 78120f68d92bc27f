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
  const std::pair<Call, std::int64_t> kFailingAndBuildAfter[] = {
      {Call::folder, 1}, {Call::copy, 1}, {Call::replace, 1}, {Call::attributes, 2}};
  const std::string source = test::makeEndpoint(olderVersions(), 2);
  const std::string bundle = applications() + "/Vantora.app";
  for (const auto& [failing, build] : kFailingAndBuildAfter) {
    fs::remove_all(bundle);
    test::makeBundle(bundle, {.build = 1});
    test::FaultyFileManager manager;
    manager.fail(failing);
    EXPECT_EQ(duplicateAndSwap(2, source, applications(), manager), build == 2);
    EXPECT_EQ(installedBuildNumber(applications()), build);
    EXPECT_EQ(namesIn(applications()), (test::Names{"Vantora", "Vantora.app"}));
  }
}

}  // namespace

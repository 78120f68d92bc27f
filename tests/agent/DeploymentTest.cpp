#include "Code/MacOSX/DeploymentUtilities.h"

#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <thread>

#include "platform/Bundle.h"
#include "tests/agent/AgentHome.h"

namespace {

namespace fs = std::filesystem;

class DeploymentTest : public ::testing::Test, public test::AgentHome {
 protected:
  [[nodiscard]] std::string plainBundle() const { return applications() + "/Vantora.app"; }
  /// Names in the Applications folder.
  [[nodiscard]] std::set<std::string> names() const {
    std::set<std::string> found;
    for (const auto& entry : fs::directory_iterator(applications()))
      found.insert(entry.path().filename());
    return found;
  }
};

/// Refuses what a test lists: "copy", "attributes", "replace" or "folder".
class Refusing : public platform::FileManager {
 public:
  explicit Refusing(std::string what) : _what(std::move(what)) {}
  platform::Error copyItem(const std::string& from, const std::string& to) override {
    return refuses("copy") ? failure() : FileManager::copyItem(from, to);
  }
  platform::Error setAttributes(const std::string& path, const platform::ItemAttributes& set) override {
    return refuses("attributes") ? failure() : FileManager::setAttributes(path, set);
  }
  platform::Error createReplacementFolder(const std::string& destination, std::string& folder) override {
    return refuses("folder") ? failure() : FileManager::createReplacementFolder(destination, folder);
  }
  platform::Error replaceItem(const std::string& destination, const std::string& replacement,
                              const std::string& backup) override {
    return refuses("replace") ? failure() : FileManager::replaceItem(destination, replacement, backup);
  }

 private:
  [[nodiscard]] bool refuses(const char* what) const { return _what == what; }
  static platform::Error failure() { return platform::posixError(EIO); }
  std::string _what;
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
  EXPECT_EQ(log.lines().size(), 1U);
  EXPECT_TRUE(log.contains(
      "W: ", "System Applications path not accessible, falling back on User Applications folder."));
  fs::remove_all(user);
  test::writeFile(user, "no folder");
  test::makeFolder(desktop);
  EXPECT_EQ(findInstallationFolder(manager), desktop);
  EXPECT_TRUE(log.contains("W: ", "User Applications path not accessible, falling back on Desktop folder."));
}

TEST_F(DeploymentTest, BuildNumberOfThePlainBundle) {
  EXPECT_EQ(installedBuildNumber(applications()), 9223372036854775807);
  test::makeBundle(plainBundle(), {.build = 7});
  EXPECT_EQ(installedBuildNumber(applications()), 7);
  test::makeBundle(plainBundle(), {.build = 7, .version = ""});
  EXPECT_EQ(installedBuildNumber(applications()), 0);
  test::writeFile(plainBundle() + "/Contents/Info.plist", "garbage");
  EXPECT_EQ(installedBuildNumber(applications()), 9223372036854775807);
}

TEST_F(DeploymentTest, AReaderFindsTheOldBundleOrTheNewOne) {
  const std::string sources[] = {test::makeEndpoint(olderVersions(), 1),
                                 test::makeEndpoint(olderVersions(), 2)};
  test::makeBundle(plainBundle(), {.build = 1});
  std::atomic<bool> done{false};
  std::atomic<int> broken{0};
  std::thread reader([&] {
    while (!done)
      if (!platform::bundleInformation(plainBundle())) ++broken;
  });
  for (std::uint32_t i = 0; i < 40; ++i) {
    const std::uint32_t build = 2 - i % 2;
    EXPECT_TRUE(duplicateAndSwap(build, sources[build - 1], applications(), platform::defaultFileManager()));
    EXPECT_EQ(installedBuildNumber(applications()), build);
  }
  done = true;
  reader.join();
  EXPECT_EQ(broken, 0);
  EXPECT_EQ(names(), (std::set<std::string>{"Vantora", "Vantora.app"}));
}

TEST_F(DeploymentTest, AFailureLeavesTheOldBundleAndNothingElse) {
  struct Case {
    const char* refused;
    const char* message;
    bool swapped;
  };
  const Case cases[] = {{"folder", "Error creating temporary directory: ", false},
                        {"copy", "Error duplicating latest app: ", false},
                        {"replace", "Error replacing app: Input/output error (5)", false},
                        {"attributes", "Couldn't reset file permissions: ", true},
                        {"attributes", "Error resetting 'immutable' attribute of ", true}};
  const std::string source = test::makeEndpoint(olderVersions(), 2);
  for (const Case& c : cases) {
    fs::remove_all(plainBundle());
    test::makeBundle(plainBundle(), {.build = 1});
    Refusing manager(c.refused);
    EXPECT_EQ(duplicateAndSwap(2, source, applications(), manager), c.swapped);
    EXPECT_TRUE(log.contains("E: ", c.message)) << c.message << " in\n" << log.text();
    EXPECT_EQ(installedBuildNumber(applications()), c.swapped ? 2 : 1);
    EXPECT_EQ(names(), (std::set<std::string>{"Vantora", "Vantora.app"}));
  }
}

}  // namespace

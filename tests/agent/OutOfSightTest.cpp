#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/ApplicationRegistry.h"
#include "tests/agent/AgentProcess.h"

namespace {

namespace fs = std::filesystem;

/// The only build is there, but the agent cannot see that.
class OutOfSight : public ::testing::Test, public test::AgentHome {
 protected:
  ~OutOfSight() override { fs::permissions(applications(), fs::perms(0755)); }
  void expectInstalled() const {
    for (const auto& path : {executable(), plistPath(), launchAgentPlist()})
      EXPECT_TRUE(test::exists(path)) << path << " in\n" << process.logged();
  }
  /// By a run.
  void expectLeftAlone() const {
    EXPECT_EQ(process.runAsOrdinaryUser(), 0);
    expectInstalled();
    EXPECT_THAT(process.logged(),
                ::testing::HasSubstr("W: <main> VNTUpdate: No endpoints seen, but not every"));
    fs::remove(process.logPath());
  }
  const std::string bundle = applications() + "/Vantora (5).app";
  const test::AgentProcess process{*this, VNTUPDATE_PROGRAM};
};

TEST_F(OutOfSight, NothingIsUninstalled) {
  const std::string information = bundle + "/Contents/Info.plist";
  test::makeBundle(bundle, {.build = 5});
  for (const auto& path : {applications(), bundle, bundle + "/Contents", information}) {
    const fs::perms before = fs::status(path).permissions();
    ::chmod(path.c_str(), path == applications() ? 0300 : 0);
    expectLeftAlone();
    fs::permissions(path, before);
  }
  test::writeFile(information, "");
  expectLeftAlone();
}

TEST_F(OutOfSight, NorWithoutTheRegistry) {
  const std::string path = sandbox().folder() / "elsewhere/a.app";  // the registry alone knows of it
  test::makeBundle(path, {.build = 5});
  ASSERT_FALSE(platform::applications::registerApplication(path));
  const std::string database = sandbox().home() + "/.local/share/vantora/applications.sqlite3";
  const int file = ::open(database.c_str(), O_RDWR);
  struct flock lock {};
  lock.l_type = F_WRLCK;
  ASSERT_EQ(::fcntl(file, F_SETLK, &lock), 0);
  EXPECT_EQ(process.run(), 0);
  ::close(file);
  expectInstalled();
  ::chmod(database.c_str(), 0);
  expectLeftAlone();
}

TEST_F(OutOfSight, NorWithoutDescriptors) {
  test::makeBundle(bundle, {.build = 5});
  for (int limit = 4; limit <= 12; ++limit) {
    static_cast<void>(process.runWithLimit("-n " + std::to_string(limit)));
    expectInstalled();
  }
}

}  // namespace

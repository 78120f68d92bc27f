#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <functional>

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
  /// The registry alone knows of it.
  void moveBuildAside() const {
    const std::string path = sandbox().folder() / "elsewhere/a.app";
    test::makeBundle(path, {.build = 5});
    ASSERT_FALSE(platform::applications::registerApplication(path));
    fs::remove_all(bundle);
  }
  const std::string bundle = applications() + "/Vantora (5).app";
  const std::string database = sandbox().home() + "/.local/share/vantora/applications.sqlite3";
  const test::AgentProcess process{*this, VNTUPDATE_PROGRAM};
};

TEST_F(OutOfSight, NothingIsUninstalled) {
  struct Case {
    const char* name;
    std::function<void()> prepare;
  };
  const auto close = [](const std::string& path) { return [path] { ::chmod(path.c_str(), 0); }; };
  const Case cases[] = {
      {"folder", [&] { ::chmod(applications().c_str(), 0300); }},
      {"bundle", close(bundle)},
      {"contents", close(bundle + "/Contents")},
      {"information", close(bundle + "/Contents/Info.plist")},
      {"information of no bytes", [&] { test::writeFile(bundle + "/Contents/Info.plist", ""); }},
      {"registry", [&] {
         moveBuildAside();
         ::chmod(database.c_str(), 0);
       }}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    test::makeBundle(bundle, {.build = 5});
    c.prepare();
    EXPECT_EQ(process.runAsOrdinaryUser(), 0);
    expectInstalled();
    EXPECT_NE(process.logged().find("W: <main> VNTUpdate: No endpoints seen, but not everything could be "
                                    "looked at. Leaving all as it is."),
              std::string::npos)
        << process.logged();
    ::chmod(applications().c_str(), 0755);
    ::chmod(bundle.c_str(), 0755);
    ::chmod((bundle + "/Contents").c_str(), 0755);
    fs::remove_all(bundle);
    fs::remove(process.logPath());
  }
}

TEST_F(OutOfSight, NorWhileTheRegistryIsLocked) {
  moveBuildAside();
  const int file = ::open(database.c_str(), O_RDWR);
  struct flock lock {};
  lock.l_type = F_WRLCK;
  ASSERT_EQ(::fcntl(file, F_SETLK, &lock), 0);
  EXPECT_EQ(process.run(), 0);
  ::close(file);
  expectInstalled();
}

TEST_F(OutOfSight, NorWithoutDescriptors) {
  test::makeBundle(bundle, {.build = 5});
  for (int limit = 4; limit <= 12; ++limit) {
    static_cast<void>(process.runWithFiles(limit));
    expectInstalled();
  }
}

}  // namespace

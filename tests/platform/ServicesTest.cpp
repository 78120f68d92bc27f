#include <gtest/gtest.h>

#include <filesystem>
#include <list>

#include "platform/Folders.h"
#include "platform/RunningApplications.h"
#include "platform/Task.h"
#include "tests/support/Bundles.h"
#include "tests/support/Environment.h"

namespace {

namespace fs = std::filesystem;
using platform::FolderDomain;

TEST(Folders, FollowTheEnvironmentWhereItNamesPlaces) {
  const test::ScopedEnvironment places({{"HOME", "/home/me/"}, {"VANTORA_SYSTEM_ROOT", "/root//"}});
  EXPECT_EQ(platform::applicationsFolder(FolderDomain::user), "/home/me/Applications");
  EXPECT_EQ(platform::applicationsFolder(FolderDomain::local), "/root/Applications");
  const auto noPlace = test::ScopedEnvironment::with({{"VANTORA_SYSTEM_ROOT", "relative"}});
  EXPECT_EQ(platform::applicationsFolder(FolderDomain::local), std::nullopt);
}

TEST(RunningApplications, AreThoseWithTheIdentifier) {
  const test::TemporaryFolder folder;
  std::list<platform::Task> tools;
  for (const char* name : {"running", "other"}) {
    const std::string bundle = folder / name + ".app";
    test::makeBundle(bundle, {.identifier = std::string("org.test.") + name});
    const std::string program = bundle + "/Contents/MacOS/p";
    fs::copy_file("/bin/sleep", program);
    tools.emplace_back(program, std::vector<std::string>{"60"}).launch();
  }
  const auto found = platform::runningApplications("org.TEST.running");
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0].bundlePath, folder / "running.app");
}

}  // namespace
